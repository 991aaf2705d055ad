// `run` makes a plan, which changes nothing. Then it takes the plugins down, the last one first, and brings
// them up again in their order: with the new versions, and if one of them or a dependent fails, all from the
// old copies.
//
// Whatever must stay is pinned: the plugins of the plan while they are loaded, and what they need. So
// unloading one never unloads another, and no request of a listener or an entry point takes them away. Such a
// request for a plugin that is down loads the version that is staged; it is found loaded then.

#include "QvPluginSystem/ReloadTransaction.h"

#include <algorithm>
#include <string_view>
#include <unordered_map>
#include <unordered_set>
#include <utility>

namespace QvPluginSystem {

ReloadTransaction::~ReloadTransaction() {
    for (LoadedPlugin* neighbour : neighbours_) --neighbour->pins;
    if (!arePinned_) return;
    for (const ReloadEntry& entry : plan_.entries()) {
        if (entry.plugin) --entry.plugin->pins;
    }
}

QvReloadResult ReloadTransaction::run(const Qv::QvArray<std::string>& names) {
    const ManagerRequest underWay(manager_.shared);
    record_.result.plugins = names;
    record_.result.outcome = makePlan(names) ? replaceAll() : Outcome::refused;
    if (!moves_.hasChanged()) return std::move(record_.result);
    record_.withMemory([&] { restoreOrder(); });
    tellOfChange();
    return std::move(record_.result);
}

QvReloadResult ReloadTransaction::loadNew(const std::string& path) {
    const ManagerRequest underWay(manager_.shared);
    record_.result.outcome = Outcome::refused;
    record_.withMemory([&] {
        std::string name = QvPlatform::File(path).getBaseName();
        const bool isUp = record_.step(Action::load, name, [&](std::string& message) {
            LoadedPlugin* const plugin =
                moves_.load(path, PluginFile(path), PluginLoader::Request::direct, message);
            if (plugin) name = plugin->indexedName;
            return plugin != nullptr;
        });
        record_.result.plugins.push_back(name);
        if (!isUp) return void(record_.failAt(name));
        record_.result.outcome = Outcome::loaded;
    });
    if (record_.result.outcome == Outcome::loaded) tellOfChange();
    return std::move(record_.result);
}

void ReloadTransaction::tellOfChange() {
    const auto tell = [&] {
        manager_.shared.listeners.tell(&QvPluginManagerListener::onPluginsChanged);
        return true;
    };
    callPlugin(tell, record_.message);
}

bool ReloadTransaction::makePlan(const Qv::QvArray<std::string>& names) {
    bool isMade = false;
    const bool hasMemory = record_.withMemory([&] {
        std::string plugins;
        for (const std::string& name : names) plugins += (plugins.empty() ? "" : ", ") + name;
        isMade = record_.step(Action::check, plugins, [&](std::string& message) {
            if (plan_.make(names)) return true;
            message = plan_.refusedBy() + ": " + plan_.reason();
            return false;
        });
        if (isMade) return;
        record_.result.reason = record_.message;
        record_.result.refusedBy = plan_.refusedBy();
    });
    return isMade && hasMemory && record_.withMemory([&] { pinAll(); });
}

void ReloadTransaction::pinAll() {
    std::unordered_set<LoadedPlugin*> known;
    for (const ReloadEntry& entry : plan_.entries()) known.insert(entry.plugin);
    for (const ReloadEntry& entry : plan_.entries()) {
        for (LoadedPlugin* needed : entry.plugin->neededPlugins) {
            if (known.insert(needed).second) neighbours_.push_back(needed);
        }
    }
    for (QvPluginInfo* info : manager_.shared.registry.plugins())
        filesBefore_.push_back(static_cast<LoadedPlugin*>(info)->file.path);
    // From here nothing throws.
    for (LoadedPlugin* neighbour : neighbours_) ++neighbour->pins;
    for (const ReloadEntry& entry : plan_.entries()) ++entry.plugin->pins;
    arePinned_ = true;
}

ReloadTransaction::Outcome ReloadTransaction::replaceAll() {
    if (plan_.entries().empty()) return Outcome::unchanged;
    if (!takeDownAll()) return bringOldBack(Outcome::refused);
    return bringNewUp();
}

ReloadTransaction::Outcome ReloadTransaction::bringNewUp() {
    plan_.stageNew();
    const bool areUp = bringUpAll(AfterFailure::stop);
    plan_.closeNewLibraries();
    if (areUp) {
        record_.withMemory([&] { unloadUnneeded(); });
        return Outcome::reloaded;
    }
    if (takeNewDown()) {
        record_.withMemory([&] { unloadNewcomers(); });
        return bringOldBack(Outcome::rolledBack);
    }
    // One of the new versions refused to go, and so all that it needs stays.
    if (bringUpAll(AfterFailure::tryOthers)) {
        record_.result.reason.clear();
        return Outcome::reloaded;
    }
    listLost();
    return Outcome::lost;
}

ReloadTransaction::Outcome ReloadTransaction::bringOldBack(Outcome outcome) {
    plan_.closeNewLibraries();
    plan_.stageOld();
    if (bringUpAll(AfterFailure::tryOthers)) return outcome;
    listLost();
    return Outcome::lost;
}

bool ReloadTransaction::takeDownAll() {
    auto& entries = plan_.entries();
    return std::all_of(entries.rbegin(), entries.rend(), [this](ReloadEntry& entry) {
        moves_.saveState(entry);
        return moves_.takeDown(entry) || record_.failAt(entry.name);
    });
}

bool ReloadTransaction::takeNewDown() {
    auto& entries = plan_.entries();
    return std::all_of(entries.rbegin(), entries.rend(),
                       [this](ReloadEntry& entry) { return !entry.plugin || moves_.takeDown(entry); });
}

// A plugin is not tried if one that it needs is not loaded.
bool ReloadTransaction::bringUpAll(AfterFailure afterFailure) {
    auto& entries = plan_.entries();
    bool areUp = true;
    for (ReloadEntry& entry : entries) {
        const bool isPossible =
            std::all_of(entry.needed.begin(), entry.needed.end(),
                        [&](std::size_t needed) { return entries[needed].plugin != nullptr; });
        const bool isUp = entry.plugin || (isPossible && moves_.bringUp(entry));
        areUp = areUp && isUp;
        if (!isUp && afterFailure == AfterFailure::stop) return false;
    }
    return areUp;
}

// What was needed before the reload and is not needed now, dependents first.
void ReloadTransaction::unloadUnneeded() {
    std::unordered_map<const LoadedPlugin*, ReloadEntry*> wereUsed;
    for (LoadedPlugin* neighbour : neighbours_) wereUsed.emplace(neighbour, nullptr);
    for (ReloadEntry& entry : plan_.entries()) {
        if (entry.wasUsed) wereUsed.emplace(entry.plugin, &entry);
    }
    const Qv::QvArray<QvPluginInfo*> plugins = manager_.shared.registry.plugins();
    for (auto info = plugins.rbegin(); info != plugins.rend(); ++info) {
        auto* const plugin = static_cast<LoadedPlugin*>(*info);
        const auto found = wereUsed.find(plugin);
        if (found == wereUsed.end() || plugin->getUseCount() > 0) continue;
        if (found->second) {
            moves_.takeDown(*found->second);
            continue;
        }
        neighbours_.erase(std::find(neighbours_.begin(), neighbours_.end(), plugin));
        --plugin->pins;
        moves_.unload(*plugin);
    }
}

// What was loaded for new versions that have failed.
void ReloadTransaction::unloadNewcomers() {
    const std::unordered_set<std::string_view> before(filesBefore_.begin(), filesBefore_.end());
    const Qv::QvArray<QvPluginInfo*> plugins = manager_.shared.registry.plugins();
    for (auto info = plugins.rbegin(); info != plugins.rend(); ++info) {
        auto* const plugin = static_cast<LoadedPlugin*>(*info);
        if (!moves_.isLoaded(plugin) || before.count(plugin->file.path) != 0) continue;
        if (plugin->getUseCount() > 0 || plugin->pins > 0) continue;
        moves_.unload(*plugin);
    }
}

void ReloadTransaction::restoreOrder() {
    PluginRegistry& registry = manager_.shared.registry;
    std::unordered_map<std::string_view, LoadedPlugin*> loaded;
    for (QvPluginInfo* info : registry.plugins()) {
        auto* const plugin = static_cast<LoadedPlugin*>(info);
        loaded.emplace(plugin->file.path, plugin);
    }
    std::vector<LoadedPlugin*> order;
    for (const std::string& file : filesBefore_) {
        const auto found = loaded.find(file);
        if (found != loaded.end()) order.push_back(found->second);
    }
    registry.arrange(order);
}

void ReloadTransaction::listLost() {
    record_.withMemory([&] {
        for (const ReloadEntry& entry : plan_.entries()) {
            if (!entry.plugin) record_.result.lost.push_back(entry.name);
        }
    });
}

}  // namespace QvPluginSystem
