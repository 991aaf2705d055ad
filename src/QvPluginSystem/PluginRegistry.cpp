// Owns the loaded plugins. Between calls the list and both indexes hold the same plugins; `PluginLoader` adds
// a plugin once it is initialized, and `PluginUnloader` removes it after its library was closed.
//
// The indexes use `indexedName` and `file`, copies that no client can change, because clients may write to
// the descriptor. `byName_` ignores case and keeps plugins of one name in the order in which they were added.
// Its key is a view of the `indexedName` of one of them, so removing a plugin inserts the entry again under
// another plugin's text. A `PluginFileIndex` refers to the plugin's `file` in the same way.

#include "QvPluginSystem/PluginRegistry.h"

#include "QvPluginSystem/rules/PluginRules.h"
#include "base/AsciiCase.h"
#include "base/DepthFirst.h"
#include "base/Fnv.h"

#include <algorithm>
#include <new>
#include <optional>
#include <unordered_set>
#include <utility>

namespace QvPluginSystem {

std::size_t PluginRegistry::FoldedHash::operator()(std::string_view name) const {
    return base::fnv1a(name, base::foldCase<char>);
}

bool PluginRegistry::FoldedEqual::operator()(std::string_view a, std::string_view b) const {
    return rules::isSameName(a, b);
}

PluginRegistry::~PluginRegistry() {
    for (QvPluginInfo* plugin : plugins_) delete static_cast<LoadedPlugin*>(plugin);
}

LoadedPlugin* PluginRegistry::findByName(const std::string& name) const {
    const auto found = byName_.find(name);
    if (found == byName_.end()) return nullptr;
    const auto exact = std::find_if(found->second.begin(), found->second.end(),
                                    [&](const LoadedPlugin* plugin) { return plugin->indexedName == name; });
    return exact == found->second.end() ? nullptr : *exact;
}

const std::vector<LoadedPlugin*>* PluginRegistry::findNamesakes(std::string_view name) const {
    const auto found = byName_.find(name);
    return found == byName_.end() ? nullptr : &found->second;
}

LoadedPlugin* PluginRegistry::findForDependency(const QvDependency& dependency) const {
    const auto* const namesakes = findNamesakes(dependency.name);
    if (!namesakes) return nullptr;
    return *rules::pickForDependency(
        *namesakes, dependency, [](const LoadedPlugin* plugin) -> const QvPluginInfo& { return *plugin; });
}

// While a copy is mapped, its file may have been replaced, and the system may have given its identity to a
// new file. Then the plugin gets the identity that its file has now.
LoadedPlugin* PluginRegistry::findByFile(const PluginFile& file) {
    LoadedPlugin* const found = byFile_.find(file);
    if (!found || !found->runsCopy || PluginPathKey(found->file.path) == PluginPathKey(file.path))
        return found;
    const auto identity = PluginFile(found->file.path).status.identity;
    if (identity == file.status.identity) return found;
    byFile_.remove(found->file);
    found->file.status.identity = identity;
    byFile_.add(found->file, found);
    return byFile_.find(file);
}

LoadedPlugin* PluginRegistry::findByPath(const std::string& path) {
    LoadedPlugin* const found = byFile_.find(path);
    return found && found->runsCopy ? findByFile(PluginFile(path)) : found;
}

LoadedPlugin& PluginRegistry::add(std::unique_ptr<LoadedPlugin> plugin) {
    ++generation_;
    plugin->indexedName = plugin->name;
    try {
        plugins_.push_back(plugin.get());
        byName_[plugin->indexedName].push_back(plugin.get());
        byFile_.add(plugin->file, plugin.get());
    } catch (const std::bad_alloc&) {
        takeOut(*plugin);
        throw;
    }
    return *plugin.release();
}

void PluginRegistry::remove(LoadedPlugin& plugin) {
    ++generation_;
    const std::unique_ptr<LoadedPlugin> owner(&plugin);
    byFile_.remove(plugin.file);
    takeOut(plugin);
}

// From wherever it is. The key of the name may be a view of the name of this plugin.
void PluginRegistry::takeOut(const LoadedPlugin& plugin) {
    plugins_.erase(std::remove(plugins_.begin(), plugins_.end(), &plugin), plugins_.end());
    const auto entry = byName_.find(plugin.indexedName);
    if (entry == byName_.end()) return;
    auto node = byName_.extract(entry);
    auto& namesakes = node.mapped();
    namesakes.erase(std::remove(namesakes.begin(), namesakes.end(), &plugin), namesakes.end());
    if (namesakes.empty()) return;
    node.key() = namesakes.front()->indexedName;
    byName_.insert(std::move(node));
}

namespace {

// Collects plugins, each once and after those that it needs.
class Arrangement {
public:
    explicit Arrangement(const Qv::QvArray<QvPluginInfo*>& plugins) {
        for (QvPluginInfo* plugin : plugins) waiting_.insert(plugin);
    }

    void add(LoadedPlugin* plugin) {
        base::visitDepthFirst(
            plugin, [this](LoadedPlugin* each) { return waiting_.erase(each) != 0; },
            [](const LoadedPlugin* each, std::size_t i) -> std::optional<LoadedPlugin*> {
                if (i == each->neededPlugins.size()) return std::nullopt;
                return each->neededPlugins[i];
            },
            [this](LoadedPlugin* each) { list.push_back(each); });
    }

    Qv::QvArray<QvPluginInfo*> list;

private:
    std::unordered_set<QvPluginInfo*> waiting_;
};

}  // namespace

void PluginRegistry::arrange(const std::vector<LoadedPlugin*>& first) {
    Arrangement arrangement(plugins_);
    for (LoadedPlugin* plugin : first) arrangement.add(plugin);
    for (QvPluginInfo* plugin : plugins_) arrangement.add(static_cast<LoadedPlugin*>(plugin));
    NameIndex byName;
    for (QvPluginInfo* plugin : arrangement.list)
        byName[static_cast<LoadedPlugin*>(plugin)->indexedName].push_back(static_cast<LoadedPlugin*>(plugin));
    plugins_ = std::move(arrangement.list);
    byName_ = std::move(byName);
}

}  // namespace QvPluginSystem
