// A host program whose work is done by plugins: it loads them from "simulation-plugins" next to itself,
// reports the result for each, runs the simulation that they implement together, and unloads them. Its log
// goes to the standard error stream and to a file. Exits with 0 if everything went as expected for these
// plugins; --help shows the options.

#include "../ObjectPool.h"
#include "CrashReport.h"
#include "Expectations.h"
#include "HostListener.h"
#include "Live.h"
#include "Options.h"
#include "Report.h"
#include "Run.h"
#include "Watch.h"

#include <QvPlatform/diagnostics/Log.h>
#include <QvPlatform/diagnostics/LogFile.h>
#include <QvPlatform/filesystem/Directory.h>
#include <QvPlatform/filesystem/Filesystem.h>

#include <exception>
#include <iostream>

using QvPlatform::Directory;
using QvPluginSystem::QvPluginInfo;
using QvPluginSystem::QvPluginManager;

namespace {

/// Loads whatever can be loaded; returns copies of the descriptors, which outlive the plugins.
std::vector<QvPluginInfo> loadPlugins(QvPluginManager& manager) {
    const Directory programDirectory(Directory::kExecutableDirectory);
    manager.addPluginSearchDir(programDirectory.directory("simulation-plugins").toUniversalPath());
    manager.loadAllQvp();
    std::vector<QvPluginInfo> queue;
    for (const auto* info : manager.getQueue()) queue.push_back(*info);
    return queue;
}

void reportLoading(const QvPluginManager& manager, const HostListener& listener,
                   const std::vector<QvPluginInfo>& queue) {
    printSearchDirectories(manager);
    printRefusals(listener.refusals());
    printHeading("Kept out by the host's listener");
    for (const auto& name : listener.keptOut()) printLine(name, "vetoed before its initialization");
    printPlugins(queue);
}

void run(const QvPluginManager& manager, const Options& options, Expectations& expectations) {
    Qv::LogInfo("simulation begins: %d steps", options.steps);
    const RunResult result = runSimulation(manager, options);
    Qv::LogInfo("simulation ended: %d contacts", result.contacts);
    printRun(result);
    expectations.checkRun(result);

    const bool written = simulation::findObject<simulation::Recorder>(manager).write(options.resultFile);
    const std::string place = QvPlatform::File(options.resultFile).toNativePath();
    printLine("result", (written ? "written to " : "could not be written to ") + place);
    expectations.expect(written, "writing the result");
}

/// Two requests that leave the plugin where it is: others need the scene, and the listener keeps the
/// recorder.
void tryToUnload(QvPluginManager& manager, Expectations& expectations) {
    std::vector<std::string> dependents;
    for (const auto* info : manager.getProvidedPlugins(manager.getPluginForName("scene")))
        if (info->getName() != "scene") dependents.push_back(info->getName());
    expectations.expect(!manager.unload("scene"), "unloading a plugin that others need");
    printLine("scene", "stays: needed by " + joined(dependents));

    expectations.expect(!manager.unload("recorder"), "unloading a plugin against the listener's veto");
    printLine("recorder", "stays: vetoed by the host's listener");
}

void unloadPlugins(QvPluginManager& manager, const HostListener& listener,
                   const std::vector<QvPluginInfo>& queue, Expectations& expectations) {
    printHeading("Unloading");
    tryToUnload(manager, expectations);
    manager.unloadAll();
    printLine("all", joined(listener.unloadOrder()));
    expectations.checkUnloadOrder(queue, listener.unloadOrder());

    const auto plugins = manager.getPlugins().size();
    const auto objects = manager.getAllObjects().size();
    printLine("left",
              std::to_string(plugins) + " plugins, " + std::to_string(objects) + " objects in the pool");
    expectations.expect(plugins == 0 && objects == 0, "leaving something behind");
}

bool demonstrate(const Options& options) {
    auto& manager = *QvPluginManager::instance();
    HostListener listener("telemetry", "recorder");
    Expectations expectations;

    const auto queue = loadPlugins(manager);
    reportLoading(manager, listener, queue);
    expectations.checkLoading(queue, listener);
    if (!expectations.met()) return false;

    run(manager, options, expectations);
    unloadPlugins(manager, listener, queue, expectations);
    return expectations.met();
}

/// Every plugin runs from a copy, so that a build can overwrite its file.
bool demonstrateLive(const Options& options) {
    auto& manager = *QvPluginManager::instance();
    QvPluginSystem::QvPluginReloader reloader;
    const HostListener listener("telemetry", "");
    const auto queue = loadPlugins(manager);
    reportLoading(manager, listener, queue);
    runLive(manager, reloader, options);
    manager.unloadAll();
    return manager.getPlugins().empty();
}

}  // namespace

int main(int argc, char** argv) {
    Options options;
    const Answer answer = readOptions(argc, argv, options);
    if (answer != Answer::Run) return answer == Answer::Done ? 0 : 2;
    reportCrashes(options.logFile + ".dmp");
    Qv::LogSetLevel(Qv::kLogLevelInfo);
    if (options.watch) return watchSimulation();
    QvPlatform::Filesystem::create(Directory(QvPlatform::File(options.logFile)));
    Qv::setLogFile(options.logFile);
    try {
        return (options.live ? demonstrateLive(options) : demonstrate(options)) ? 0 : 1;
    } catch (const std::exception& error) {
        std::cerr << error.what() << '\n';
        return 1;
    }
}
