#pragma once

#include <QvPlatform/diagnostics/CallStackViewer.h>

/// From now on a crash prints the stack of every thread to the standard error stream before the process dies
/// of it as it would have anyway. One file for each platform.
void reportCrashes();

/// Prints the stack of each thread of this process; that of the calling one from `context` on.
void printStacks(const char* reason, const CONTEXT* context);

/// Writes where nothing may be written.
void crashOnPurpose();
