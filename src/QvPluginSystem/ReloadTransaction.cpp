// `run` makes a plan, which changes nothing. Then it takes the plugins down, the last one first, and brings
// them up again in their order: with the new versions, and if one of them or a dependent fails, all from the
// old copies.
//
// Whatever must stay is pinned: the plugins of the plan while they are loaded, and what they need. So
// unloading one never unloads another, and no request of a listener or an entry point takes them away. Such a
// request for a plugin that is down loads the version that is staged; it is found loaded then.
//
// Whatever throws within a step makes it fail. If memory runs out, the record may lack steps.

#include "QvPluginSystem/ReloadTransaction.h"

#include "os/MappedLibraries.h"

#include <algorithm>
#include <chrono>
#include <new>
#include <string_view>
#include <unordered_map>
#include <unordered_set>
#include <utility>

namespace QvPluginSystem {
namespace {

// Collects what the manager reports meanwhile.
class ReportedErrors : public QvPluginManagerListener {
public:
    explicit ReportedErrors(ListenerList& listeners) : listeners_(listeners) { listeners_.add(this); }
    ReportedErrors(const ReportedErrors&) = delete;
    ReportedErrors& operator=(const ReportedErrors&) = delete;
    ~ReportedErrors() override { listeners_.remove(this); }

    void onPluginError(const std::string& /*file*/, const QvPluginInfo* /*info*/,
                       const std::string& error) override {
        text += (text.empty() ? "" : "; ") + error;
    }

    std::string text;

private:
    ListenerList& listeners_;
};

double millisecondsSince(std::chrono::steady_clock::time_point start) {
    return std::chrono::duration<double, std::milli>(std::chrono::steady_clock::now() - start).count();
}

}  // namespace

ReloadTransaction::~ReloadTransaction() {
    for (LoadedPlugin* neighbour : neighbours_) --neighbour->pins;
    if (!arePinned_) return;
    for (const ReloadEntry& entry : plan_.entries()) {
        if (entry.plugin) --entry.plugin->pins;
    }
}

// Runs a part of the reload that may fail, with its message.
template <typename Work>
bool ReloadTransaction::step(Action action, const std::string& plugin, Work work) {
    const auto start = std::chrono::steady_clock::now();
    bool succeeded = false;
    try {
        message_.clear();
        succeeded = callPlugin([&] { return work(message_); }, message_);
        result_.steps.push_back({action, plugin, succeeded, message_, millisecondsSince(start)});
    } catch (const std::bad_alloc&) {
        if (!succeeded) message_ = "out of memory";
    }
    return succeeded;
}

template <typename Work>
bool ReloadTransaction::withMemory(Work work) {
    try {
        work();
        return true;
    } catch (const std::bad_alloc&) {
        if (result_.reason.empty()) result_.reason = "out of memory";
        return false;
    }
}

// Only the first failure is the reason of the result.
bool ReloadTransaction::failAt(const std::string& plugin) {
    withMemory([&] {
        if (result_.reason.empty()) result_.reason = plugin + ": " + message_;
    });
    return false;
}

QvReloadResult ReloadTransaction::run(const Qv::QvArray<std::string>& names) {
    const ManagerRequest underWay(manager_.shared);
    result_.plugins = names;
    result_.outcome = makePlan(names) ? replaceAll() : Outcome::refused;
    if (!hasChanged_) return std::move(result_);
    withMemory([&] { restoreOrder(); });
    tellOfChange();
    return std::move(result_);
}

QvReloadResult ReloadTransaction::loadNew(const std::string& path) {
    const ManagerRequest underWay(manager_.shared);
    result_.outcome = Outcome::refused;
    withMemory([&] {
        std::string name = QvPlatform::File(path).getBaseName();
        const bool isUp = step(Action::load, name, [&](std::string& message) {
            LoadedPlugin* const plugin = load(path, PluginFile(path), PluginLoader::Request::direct, message);
            if (plugin) name = plugin->indexedName;
            return plugin != nullptr;
        });
        result_.plugins.push_back(name);
        if (!isUp) return void(failAt(name));
        result_.outcome = Outcome::loaded;
    });
    if (result_.outcome == Outcome::loaded) tellOfChange();
    return std::move(result_);
}

void ReloadTransaction::tellOfChange() {
    const auto tell = [&] {
        manager_.shared.listeners.tell(&QvPluginManagerListener::onPluginsChanged);
        return true;
    };
    callPlugin(tell, message_);
}

bool ReloadTransaction::makePlan(const Qv::QvArray<std::string>& names) {
    bool isMade = false;
    const bool hasMemory = withMemory([&] {
        std::string plugins;
        for (const std::string& name : names) plugins += (plugins.empty() ? "" : ", ") + name;
        isMade = step(Action::check, plugins, [&](std::string& message) {
            if (plan_.make(names)) return true;
            message = plan_.refusedBy() + ": " + plan_.reason();
            return false;
        });
        if (isMade) return;
        result_.reason = message_;
        result_.refusedBy = plan_.refusedBy();
    });
    return isMade && hasMemory && withMemory([&] { pinAll(); });
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
        withMemory([&] { unloadUnneeded(); });
        return Outcome::reloaded;
    }
    if (takeNewDown()) {
        withMemory([&] { unloadNewcomers(); });
        return bringOldBack(Outcome::rolledBack);
    }
    // One of the new versions refused to go, and so all that it needs stays.
    if (bringUpAll(AfterFailure::tryOthers)) {
        result_.reason.clear();
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
        saveState(entry);
        return takeDown(entry) || failAt(entry.name);
    });
}

void ReloadTransaction::saveState(ReloadEntry& entry) {
    const PluginLibraryRecord* const library = manager_.shared.libraries.find(entry.filePath);
    if (!library || !library->stateFunctions.save) return;
    std::string state;
    const auto save = [&](std::string& message) {
        if (library->stateFunctions.save(&state)) return true;
        message = "SavePluginState returned false";
        return false;
    };
    if (step(Action::save, entry.name, save)) entry.state = std::move(state);
}

bool ReloadTransaction::takeDown(ReloadEntry& entry) {
    LoadedPlugin* const plugin = std::exchange(entry.plugin, nullptr);
    --plugin->pins;
    const bool isDown =
        step(Action::unload, entry.name, [&](std::string& message) { return unload(*plugin, message); });
    if (!isDown && isLoaded(plugin)) {
        entry.plugin = plugin;
        ++plugin->pins;
        plugin->explicitlyLoaded = entry.wasRequested;
        return false;
    }
    hasChanged_ = true;
    // A library that stayed in memory would be found again with its old variables.
    withMemory([&] {
        std::string ignored;
        if (!entry.oldCopy->isMapped()) return;
        if (auto copy = live_.copy(entry.oldCopy->path(), entry.filePath, ignored))
            entry.oldCopy = std::move(copy);
    });
    return true;
}

bool ReloadTransaction::unload(LoadedPlugin& plugin, std::string& message) {
    PluginUnloader::Refusal refusal;
    const auto outcome = manager_.unloader.unload(plugin, &refusal);
    message = live_.takeNotes();
    if (outcome == PluginUnloader::Result::unloaded) return true;
    if (result_.reason.empty()) result_.refusedBy = refusal.by;
    if (refusal.by.empty())
        message = "other plugins that depend on it were loaded meanwhile";
    else if (refusal.words.empty())
        message = refusal.by + " refuses to let it be unloaded";
    else
        message = refusal.words;
    return false;
}

bool ReloadTransaction::takeNewDown() {
    auto& entries = plan_.entries();
    return std::all_of(entries.rbegin(), entries.rend(),
                       [this](ReloadEntry& entry) { return !entry.plugin || takeDown(entry); });
}

// A plugin is not tried if one that it needs is not loaded.
bool ReloadTransaction::bringUpAll(AfterFailure afterFailure) {
    auto& entries = plan_.entries();
    bool areUp = true;
    for (ReloadEntry& entry : entries) {
        const bool isPossible =
            std::all_of(entry.needed.begin(), entry.needed.end(),
                        [&](std::size_t needed) { return entries[needed].plugin != nullptr; });
        const bool isUp = entry.plugin || (isPossible && bringUp(entry));
        areUp = areUp && isUp;
        if (!isUp && afterFailure == AfterFailure::stop) return false;
    }
    return areUp;
}

bool ReloadTransaction::bringUp(ReloadEntry& entry) {
    using Request = PluginLoader::Request;
    const Request request = entry.wasRequested ? Request::direct : Request::dependency;
    const bool isUp = step(Action::load, entry.name, [&](std::string& message) {
        entry.plugin = load(entry.path, entry.currentFile(), request, message);
        return entry.plugin != nullptr;
    });
    if (!isUp) return failAt(entry.name);
    entry.plugin->explicitlyLoaded = entry.wasRequested;
    ++entry.plugin->pins;
    restoreState(entry);
    return true;
}

LoadedPlugin* ReloadTransaction::load(const std::string& path, const PluginFile& file,
                                      PluginLoader::Request request, std::string& message) {
    const ReportedErrors errors(manager_.shared.listeners);
    LoadedPlugin* const plugin = manager_.loader.load(path, file, request);
    message = plugin ? live_.takeNotes() : errors.text;
    if (!plugin && message.empty()) message = "a listener refuses to let it be initialized";
    return plugin;
}

void ReloadTransaction::restoreState(const ReloadEntry& entry) {
    const PluginLibraryRecord* const library = manager_.shared.libraries.find(entry.filePath);
    if (!entry.state || !library || !library->stateFunctions.restore) return;
    step(Action::restore, entry.name, [&](std::string& message) {
        if (library->stateFunctions.restore(*entry.state)) return true;
        message = "RestorePluginState returned false: the plugin starts anew";
        return false;
    });
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
            takeDown(*found->second);
            continue;
        }
        neighbours_.erase(std::find(neighbours_.begin(), neighbours_.end(), plugin));
        --plugin->pins;
        const std::string name = plugin->indexedName;
        step(Action::unload, name, [&](std::string& message) { return unload(*plugin, message); });
    }
}

// What was loaded for new versions that have failed.
void ReloadTransaction::unloadNewcomers() {
    const std::unordered_set<std::string_view> before(filesBefore_.begin(), filesBefore_.end());
    const Qv::QvArray<QvPluginInfo*> plugins = manager_.shared.registry.plugins();
    for (auto info = plugins.rbegin(); info != plugins.rend(); ++info) {
        auto* const plugin = static_cast<LoadedPlugin*>(*info);
        if (!isLoaded(plugin) || before.count(plugin->file.path) != 0) continue;
        if (plugin->getUseCount() > 0 || plugin->pins > 0) continue;
        const std::string name = plugin->indexedName;
        step(Action::unload, name, [&](std::string& message) { return unload(*plugin, message); });
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
    withMemory([&] {
        for (const ReloadEntry& entry : plan_.entries()) {
            if (!entry.plugin) result_.lost.push_back(entry.name);
        }
    });
}

bool ReloadTransaction::isLoaded(const LoadedPlugin* plugin) const {
    const auto& plugins = manager_.shared.registry.plugins();
    return std::find(plugins.begin(), plugins.end(), plugin) != plugins.end();
}

}  // namespace QvPluginSystem
