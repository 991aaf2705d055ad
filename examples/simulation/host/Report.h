#pragma once

#include "HostListener.h"
#include "Run.h"

#include <QvPlatform/QvPluginSystem/QvPluginManager.h>

#include <string>
#include <vector>

// What the host prints, section by section, in columns.

void printHeading(const std::string& text);
/// One line: a name and what is to be said about it.
void printLine(const std::string& name, const std::string& text);
void printSearchDirectories(const QvPluginSystem::QvPluginManager& manager);
void printRefusals(const HostListener::Refusals& refusals);
void printPlugins(const std::vector<QvPluginSystem::QvPluginInfo>& plugins);
/// Energy and momentum in columns.
std::string measurementText(const Measurement& measurement);
void printRun(const RunResult& run);

/// "a, b, c"
std::string joined(const std::vector<std::string>& texts);
