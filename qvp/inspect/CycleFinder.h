#pragma once

#include "inspect/Catalogue.h"

#include <optional>
#include <vector>

namespace qvp {

/// The dependency cycles.
class CycleFinder {
public:
    /// `order` contains every index. Each path begins with its first plugin in `order`.
    CycleFinder(const std::vector<Entry>& entries, const std::vector<std::size_t>& order);

    /// As `Catalogue::cycles`.
    std::vector<std::vector<std::size_t>> takePaths();
    /// True if both are on a common cycle.
    bool areOnOneCycle(std::size_t a, std::size_t b) const { return component_[a] == component_[b]; }

private:
    bool enter(std::size_t index);
    void leave(std::size_t index);
    std::optional<std::size_t> targetOf(std::size_t index, std::size_t i) const;
    void closePath(std::size_t target);

    const std::vector<Entry>& entries_;
    std::vector<std::size_t> rank_;       // position of each index in the order
    std::vector<std::size_t> visitedAs_;  // running number from 1; 0 before the visit
    std::vector<std::size_t> lowest_;     // lowest running number reached whose component is unknown
    std::vector<std::size_t> component_;  // its first visited plugin; kNone while unknown
    std::vector<std::size_t> open_;       // visited, component unknown
    std::vector<std::size_t> path_;       // being visited
    std::vector<std::size_t> depth_;      // position on the path from 1; 0 if not on it
    std::vector<std::vector<std::size_t>> paths_;
    std::size_t visits_ = 0;
};

}  // namespace qvp
