#pragma once

#include "inspect/Catalogue.h"

#include <vector>

namespace qvp {

/// The circles of dependencies.
class CycleFinder {
public:
    /// The paths begin with the plugin that comes first in `order`, which holds every place.
    CycleFinder(const std::vector<Entry>& entries, const std::vector<std::size_t>& order);

    /// As `Catalogue::cycles`.
    std::vector<std::vector<std::size_t>> takePaths();
    /// Whether both are on a common circle.
    bool areOnOne(std::size_t a, std::size_t b) const { return circle_[a] == circle_[b]; }

private:
    void visit(std::size_t place);
    void follow(std::size_t place, std::size_t target);
    void closePath(std::size_t target);

    const std::vector<Entry>& entries_;
    std::vector<std::size_t> rank_;       // by place, in the order
    std::vector<std::size_t> visitedAs_;  // running number from 1; 0 before
    std::vector<std::size_t> lowest_;     // of those reached that are in no circle yet
    std::vector<std::size_t> circle_;  // the first visited plugin of its circle; kNone before that is known
    std::vector<std::size_t> open_;    // visited and in no circle yet
    std::vector<std::size_t> path_;    // being visited
    std::vector<std::size_t> depth_;   // place on the path from 1; 0 when not on it
    std::vector<std::vector<std::size_t>> paths_;
    std::size_t visits_ = 0;
};

}  // namespace qvp
