// Tarjan's algorithm for strongly connected components, extended to record paths. The constructor does all
// the work and visits each plugin once, in `order`. `open_` is the algorithm's stack; `path_` has the plugins
// from the first one to the one being visited.
//
// Each dependency that leads to a plugin on `path_` closes a cycle and adds one path, so there is a path for
// each such dependency, and not for each possible cycle. A path begins with its first plugin in `order`.
// `takePaths` sorts the paths and removes duplicates; it may be called once. `areOnOneCycle` compares
// components.

#include "inspect/CycleFinder.h"

#include "QvPluginSystem/rules/PluginRules.h"
#include "base/DepthFirst.h"

#include <algorithm>

namespace qvp {

CycleFinder::CycleFinder(const std::vector<Entry>& entries, const std::vector<std::size_t>& order)
    : entries_(entries),
      rank_(entries.size()),
      visitedAs_(entries.size()),
      lowest_(entries.size()),
      component_(entries.size(), Entry::kNone),
      depth_(entries.size()) {
    for (std::size_t i = 0; i < order.size(); ++i) rank_[order[i]] = i;
    for (const std::size_t index : order) {
        if (visitedAs_[index] != 0) continue;
        base::visitDepthFirst(
            index, [this](std::size_t target) { return enter(target); },
            [this](std::size_t dependent, std::size_t i) { return targetOf(dependent, i); },
            [this](std::size_t left) { leave(left); });
    }
}

// What a plugin's i-th dependency leads to, kNone if nowhere. A plugin that needs its own name depends on
// itself, whatever file has that name.
std::optional<std::size_t> CycleFinder::targetOf(std::size_t index, std::size_t i) const {
    const Entry& entry = entries_[index];
    if (i == entry.dependencies.size()) return std::nullopt;
    const Entry::Edge& edge = entry.dependencies[i];
    return QvPluginSystem::rules::isSameName(edge.name, entry.name()) ? index : edge.target;
}

// From the plugin at the end of the path; whether it is new.
bool CycleFinder::enter(std::size_t index) {
    if (index == Entry::kNone) return false;
    if (depth_[index] != 0) closePath(index);
    if (visitedAs_[index] != 0) {
        if (component_[index] == Entry::kNone)
            lowest_[path_.back()] = std::min(lowest_[path_.back()], visitedAs_[index]);
        return false;
    }
    visitedAs_[index] = lowest_[index] = ++visits_;
    open_.push_back(index);
    path_.push_back(index);
    depth_[index] = path_.size();
    return true;
}

void CycleFinder::leave(std::size_t index) {
    depth_[index] = 0;
    path_.pop_back();
    if (!path_.empty()) lowest_[path_.back()] = std::min(lowest_[path_.back()], lowest_[index]);
    if (lowest_[index] != visitedAs_[index]) return;
    std::size_t member = Entry::kNone;
    while (member != index) {
        member = open_.back();
        open_.pop_back();
        component_[member] = index;
    }
}

void CycleFinder::closePath(std::size_t target) {
    std::vector<std::size_t> path(path_.begin() + static_cast<std::ptrdiff_t>(depth_[target] - 1),
                                  path_.end());
    const auto first = std::min_element(path.begin(), path.end(),
                                        [this](std::size_t a, std::size_t b) { return rank_[a] < rank_[b]; });
    std::rotate(path.begin(), first, path.end());
    path.push_back(path.front());
    paths_.push_back(std::move(path));
}

std::vector<std::vector<std::size_t>> CycleFinder::takePaths() {
    // A dependency that is listed twice closes the same cycle twice.
    std::sort(paths_.begin(), paths_.end(), [this](const auto& a, const auto& b) {
        return std::lexicographical_compare(
            a.begin(), a.end(), b.begin(), b.end(),
            [this](std::size_t x, std::size_t y) { return rank_[x] < rank_[y]; });
    });
    paths_.erase(std::unique(paths_.begin(), paths_.end()), paths_.end());
    return std::move(paths_);
}

}  // namespace qvp
