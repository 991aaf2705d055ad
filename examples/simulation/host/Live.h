#pragma once

#include "Options.h"

#include <QvPlatform/QvPluginSystem/QvPluginManager.h>
#include <QvPlatform/QvPluginSystem/QvPluginReloader.h>

/// Steps the simulation in real time on this thread and prints its state once a second. Between two steps,
/// plugins whose files have changed are reloaded, and the results are printed. Ends after `options.steps`.
void runLive(const QvPluginSystem::QvPluginManager& manager, QvPluginSystem::QvPluginReloader& reloader,
             const Options& options);
