// Repeats the rules of `PluginLoader` and `PluginUnloader` on descriptors; whoever changes those must change
// this file too. It assumes that entry points succeed and no listener refuses. Order: `loadEverything`, then
// `loadedFor` and `loaded` if needed, then `unloadEverything` once, which leaves `loaded` as it is.
//
// Between calls nothing is under way, and a plugin's `dependents` is the number of claims that loaded plugins
// have on it. A plugin that fails keeps no claim; those that were loaded for it stay loaded.
//
// To avoid repeated work, a failure is remembered and the plugin is not tried again. If the failure depends
// on the plugins of some name, it counts only until another one of that name is loaded. If a plugin of the
// same name but another file was under way, it does not count at all.

#include "inspect/Rehearsal.h"

#include "inspect/PluginName.h"

#include <algorithm>

namespace qvp {

namespace words {

std::string notFound(const std::string& name) { return "Could not find dependent plugin " + name; }
std::string circular(const std::string& name) { return "Circular dependency detected with " + name; }
std::string notInitialized(const std::string& name) {
    return "The following dependency has not been initialized : " + name;
}
std::string notCompatible(const Entry::Edge& edge) {
    return edge.name + " is not compatible. Expected version " + edge.version.toString();
}

}  // namespace words

namespace {

bool fits(const Entry& entry, const Entry::Edge& edge) {
    return satisfies(*entry.inspection.descriptor, {edge.name, edge.version});
}

}  // namespace

Rehearsal::Rehearsal(std::vector<Entry>& entries) : entries_(entries), plugins_(entries.size()) {
    for (Entry& entry : entries_) entry.isInitialized = false;
}

void Rehearsal::loadEverything() {
    for (std::size_t place = 0; place < entries_.size(); ++place) {
        if (entries_[place].isListed && load(place)) plugins_[place].isRequested = true;
    }
}

// The manager tries a failed plugin again for each dependent; this tries it again only if the outcome may
// differ.
bool Rehearsal::load(std::size_t place) {
    Plugin& plugin = plugins_[place];
    if (plugin.isLoaded) return true;
    if (plugin.failure && stillHolds(*plugin.failure)) return false;
    plugin.failure = loadNew(place);
    if (!plugin.failure) accept(place);
    return plugin.isLoaded;
}

std::optional<Rehearsal::Failure> Rehearsal::loadNew(std::size_t place) {
    const Entry& entry = entries_[place];
    if (!entry.isUsable()) return report(place, entry.problem, {});
    const std::string name = foldedCase(entry.inspection.descriptor->name);
    plugins_[place].isUnderWay = true;
    ++namesUnderWay_[name];
    std::optional<Failure> failure;
    for (const Entry::Edge& edge : entry.dependencies) {
        failure = claim(place, edge);
        if (failure) break;
    }
    --namesUnderWay_[name];
    plugins_[place].isUnderWay = false;
    if (failure) plugins_[place].claims.clear();
    return failure;
}

std::optional<Rehearsal::Failure> Rehearsal::claim(std::size_t place, const Entry::Edge& edge) {
    const std::string name = foldedCase(edge.name);
    const bool hasFile = edge.target != Entry::kNone;
    const bool closesCircle = hasFile && plugins_[edge.target].isUnderWay;
    const auto underWay = namesUnderWay_.find(name);
    if (closesCircle || (underWay != namesUnderWay_.end() && underWay->second > 0))
        return report(place, words::circular(edge.name), {closesCircle, {}, 0});

    const std::size_t found = hasFile ? edge.target : loadedFor(edge);
    const Failure untilLoaded{true, hasFile ? std::string() : name, namesakesOf(name)};
    if (found == Entry::kNone) return report(place, words::notFound(edge.name), untilLoaded);
    if (!load(found)) return report(place, words::notInitialized(edge.name), *plugins_[found].failure);
    if (!fits(entries_[found], edge)) return report(place, words::notCompatible(edge), untilLoaded);
    plugins_[place].claims.push_back(found);
    return std::nullopt;
}

void Rehearsal::accept(std::size_t place) {
    Plugin& plugin = plugins_[place];
    Entry& entry = entries_[place];
    plugin.isLoaded = true;
    entry.isInitialized = true;
    entry.problem.clear();
    for (const std::size_t dependency : plugin.claims) ++plugins_[dependency].dependents;
    loadedByName_[foldedCase(entry.inspection.descriptor->name)].push_back(place);
    loaded_.push_back(place);
}

Rehearsal::Failure Rehearsal::report(std::size_t place, const std::string& problem, Failure failure) const {
    if (entries_[place].problem.empty()) entries_[place].problem = problem;
    return failure;
}

bool Rehearsal::stillHolds(const Failure& failure) const {
    if (!failure.isLasting) return false;
    return failure.foldedName.empty() || namesakesOf(failure.foldedName) == failure.namesakes;
}

std::size_t Rehearsal::namesakesOf(const std::string& foldedName) const {
    const auto found = loadedByName_.find(foldedName);
    return found == loadedByName_.end() ? 0 : found->second.size();
}

std::size_t Rehearsal::loadedFor(const Entry::Edge& edge) const {
    const auto found = loadedByName_.find(foldedCase(edge.name));
    if (found == loadedByName_.end() || found->second.empty()) return Entry::kNone;
    const auto fitting = std::find_if(found->second.begin(), found->second.end(),
                                      [&](std::size_t place) { return fits(entries_[place], edge); });
    return fitting == found->second.end() ? found->second.front() : *fitting;
}

std::vector<std::size_t> Rehearsal::unloadEverything() {
    std::vector<std::size_t> order;
    for (const std::size_t place : loaded_) unload(entries_[place].inspection.descriptor->name, order);
    return order;
}

// A name always means the first plugin of that name, even if that one stays and another could be unloaded.
void Rehearsal::unload(const std::string& name, std::vector<std::size_t>& order) {
    const std::vector<std::size_t>& namesakes = loadedByName_[foldedCase(name)];
    const auto found = std::find_if(namesakes.begin(), namesakes.end(), [&](std::size_t place) {
        return entries_[place].inspection.descriptor->name == name;
    });
    if (found == namesakes.end()) return;
    const std::size_t place = *found;
    plugins_[place].isRequested = false;
    if (plugins_[place].dependents == 0) release(place, order);
}

void Rehearsal::release(std::size_t place, std::vector<std::size_t>& order) {
    Plugin& plugin = plugins_[place];
    order.push_back(place);
    plugin.isLoaded = false;
    for (const std::size_t dependency : plugin.claims) {
        Plugin& needed = plugins_[dependency];
        --needed.dependents;
        if (needed.dependents == 0 && !needed.isRequested && needed.isLoaded) release(dependency, order);
    }
    std::erase(loadedByName_[foldedCase(entries_[place].inspection.descriptor->name)], place);
}

}  // namespace qvp
