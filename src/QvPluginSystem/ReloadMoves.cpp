#include "QvPluginSystem/ReloadMoves.h"

#include <algorithm>
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

}  // namespace

void ReloadMoves::saveState(ReloadEntry& entry) {
    const PluginLibraryRecord* const library = manager_.shared.libraries.find(entry.filePath);
    const SaveStateFunction savePluginState = library ? saveFunctionOf(*library) : nullptr;
    if (!savePluginState) return;
    std::string state;
    const auto save = [&](std::string& message) {
        if (savePluginState(&state)) return true;
        message = "SavePluginState returned false";
        return false;
    };
    if (record_.step(Action::save, entry.name, save)) entry.state = std::move(state);
}

bool ReloadMoves::takeDown(ReloadEntry& entry) {
    LoadedPlugin* const plugin = std::exchange(entry.plugin, nullptr);
    --plugin->pins;
    const bool isDown = record_.step(Action::unload, entry.name,
                                     [&](std::string& message) { return unload(*plugin, message); });
    if (!isDown && isLoaded(plugin)) {
        entry.plugin = plugin;
        ++plugin->pins;
        plugin->explicitlyLoaded = entry.wasRequested;
        return false;
    }
    hasChanged_ = true;
    // A library that stayed in memory would be found again with its old variables.
    record_.withMemory([&] {
        std::string ignored;
        if (!entry.oldCopy->isMapped()) return;
        if (auto copy = live_.copy(entry.oldCopy->path(), entry.filePath, ignored))
            entry.oldCopy = std::move(copy);
    });
    return true;
}

bool ReloadMoves::unload(LoadedPlugin& plugin, std::string& message) {
    PluginUnloader::Refusal refusal;
    const auto outcome = manager_.unloader.unload(plugin, &refusal);
    message = live_.takeNotes();
    if (outcome == PluginUnloader::Result::unloaded) return true;
    if (record_.result.reason.empty()) record_.result.refusedBy = refusal.by;
    if (refusal.by.empty())
        message = "other plugins that depend on it were loaded meanwhile";
    else if (refusal.words.empty())
        message = refusal.by + " refuses to let it be unloaded";
    else
        message = refusal.words;
    return false;
}

bool ReloadMoves::bringUp(ReloadEntry& entry) {
    using Request = PluginLoader::Request;
    const Request request = entry.wasRequested ? Request::direct : Request::dependency;
    const bool isUp = record_.step(Action::load, entry.name, [&](std::string& message) {
        entry.plugin = load(entry.path, entry.currentFile(), request, message);
        return entry.plugin != nullptr;
    });
    if (!isUp) return record_.failAt(entry.name);
    entry.plugin->explicitlyLoaded = entry.wasRequested;
    ++entry.plugin->pins;
    restoreState(entry);
    return true;
}

void ReloadMoves::unload(LoadedPlugin& plugin) {
    const std::string name = plugin.indexedName;
    record_.step(Action::unload, name, [&](std::string& message) { return unload(plugin, message); });
}

LoadedPlugin* ReloadMoves::load(const std::string& path, const PluginFile& file,
                                PluginLoader::Request request, std::string& message) {
    const ReportedErrors errors(manager_.shared.listeners);
    LoadedPlugin* const plugin = manager_.loader.load(path, file, request);
    message = plugin ? live_.takeNotes() : errors.text;
    if (!plugin && message.empty()) message = "a listener refuses to let it be initialized";
    return plugin;
}

void ReloadMoves::restoreState(const ReloadEntry& entry) {
    const PluginLibraryRecord* const library = manager_.shared.libraries.find(entry.filePath);
    const RestoreStateFunction restorePluginState =
        entry.state && library ? restoreFunctionOf(*library) : nullptr;
    if (!restorePluginState) return;
    record_.step(Action::restore, entry.name, [&](std::string& message) {
        if (restorePluginState(*entry.state)) return true;
        message = "RestorePluginState returned false: the plugin starts anew";
        return false;
    });
}

bool ReloadMoves::isLoaded(const LoadedPlugin* plugin) const {
    const auto& plugins = manager_.shared.registry.plugins();
    return std::find(plugins.begin(), plugins.end(), plugin) != plugins.end();
}

}  // namespace QvPluginSystem
