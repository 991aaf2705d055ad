#pragma once

#include <QvPlatform/diagnostics/CallStackViewer.h>

#include <string>

/// From now on a crash prints the stack of every thread to the standard error stream before the process dies
/// of it as it would have anyway. On Windows it first writes the minidump `dumpFile`, UTF-8, for debuggers;
/// on Linux that is left to the system's core files. One file for each platform.
void reportCrashes(const std::string& dumpFile);

/// Prints the stack of each thread of this process; that of the calling one from `context` on.
void printStacks(const char* reason, const CONTEXT* context);

/// Writes where nothing may be written.
void crashOnPurpose();
