#include "QvPluginSystem/ReloadPlan.h"

#include "QvPluginSystem/ReloadJudge.h"
#include "QvPluginSystem/rules/PluginRules.h"
#include "os/MappedLibraries.h"

#include <algorithm>

namespace QvPluginSystem {

bool ReloadPlan::refuse(const std::string& plugin, const std::string& reason) {
    refusedBy_ = plugin;
    reason_ = reason;
    return false;
}

bool ReloadPlan::make(const Qv::QvArray<std::string>& names) {
    Targets targets;
    for (const std::string& name : names) {
        if (!copyChanged(name, targets)) return false;
    }
    if (targets.empty()) return true;
    collect(targets);
    if (!isOffStack()) return false;
    stageNew();
    for (ReloadEntry& entry : entries_) {
        if (entry.newCopy && !open(entry)) return false;
    }
    ReloadJudge judge(manager_.shared, manager_.loader, entries_);
    return judge.accepts() || refuse(judge.rejected(), judge.reason());
}

std::shared_ptr<LibraryCopy> ReloadPlan::runningCopy(const LoadedPlugin& plugin) const {
    const PluginLibraryRecord* const library = manager_.shared.libraries.find(plugin.file.path);
    return library && library->copy ? library->copy : live_.adopted(plugin.file.path);
}

bool ReloadPlan::copyChanged(const std::string& name, Targets& targets) {
    LoadedPlugin* const plugin = manager_.shared.registry.findByName(name);
    if (!plugin) return refuse(name, "no plugin of this name is loaded");
    const std::string& file = plugin->file.path;
    std::string error;
    auto copy = live_.copy(file, file, error);
    if (!copy && !PluginFile(file).isRegular()) error = "there is no file " + plugin->requestedPath;
    if (!copy) return refuse(name, error);
    const auto running = runningCopy(*plugin);
    if (!running || !haveSameContent(running->path(), copy->path())) targets[plugin] = std::move(copy);
    return true;
}

// Follows the loader's own links. Initialization order: a plugin is after all that it needs.
void ReloadPlan::collect(const Targets& targets) {
    std::unordered_map<const LoadedPlugin*, std::size_t> places;
    for (QvPluginInfo* info : manager_.shared.registry.plugins()) {
        LoadedPlugin& plugin = *static_cast<LoadedPlugin*>(info);
        ReloadEntry entry(plugin);
        for (const LoadedPlugin* needed : plugin.neededPlugins) {
            const auto place = places.find(needed);
            if (place != places.end()) entry.needed.push_back(place->second);
        }
        const auto target = targets.find(&plugin);
        if (target == targets.end() && entry.needed.empty()) continue;
        if (target != targets.end()) entry.newCopy = target->second;
        entry.oldCopy = runningCopy(plugin);
        places[&plugin] = entries_.size();
        entries_.push_back(std::move(entry));
    }
}

// Whether each plugin may be unloaded: none of its functions is on the call stack, and it can come back.
bool ReloadPlan::isOffStack() {
    const std::vector<void*> callers = os::callingLibraries();
    for (const ReloadEntry& entry : entries_) {
        const PluginLibraryRecord* const library = manager_.shared.libraries.find(entry.filePath);
        void* const handle = library ? library->moduleHandle : nullptr;
        if (std::find(callers.begin(), callers.end(), handle) != callers.end())
            return refuse(entry.name, "one of its functions is on the call stack");
        if (!entry.oldCopy)
            return refuse(
                entry.name,
                "it was loaded before live mode, and there is no copy of the file that runs: unload "
                "and load it instead");
    }
    return true;
}

bool ReloadPlan::open(ReloadEntry& entry) {
    std::string reason;
    auto library = std::make_unique<OpenPluginLibrary>(newLibraries_);
    if (!library->open(entry.filePath, reason)) return refuse(entry.name, rules::cannotLoadMessage(reason));
    entry.newInfo = QvPluginInfo(entry.path);
    const bool isRead = readDescriptor(library->entryPoints(), entry.newInfo, reason);
    opened_.push_back(std::move(library));
    if (!isRead) return refuse(entry.name, rules::cannotLoadMessage(reason));
    if (entry.newInfo.name != entry.name)
        return refuse(entry.name, "its file now contains the plugin \"" + entry.newInfo.name + '"');
    return true;
}

void ReloadPlan::stageNew() {
    for (const ReloadEntry& entry : entries_) live_.stage(entry.newCopy ? entry.newCopy : entry.oldCopy);
}

void ReloadPlan::stageOld() {
    for (const ReloadEntry& entry : entries_) live_.stage(entry.oldCopy);
}

}  // namespace QvPluginSystem
