#pragma once

#include <cstddef>
#include <optional>
#include <utility>
#include <vector>

namespace base {

/// Visits a node and what it leads to, depth-first, on a stack of its own: a path may be longer than the
/// thread's stack is deep. `enter(node)` says whether to visit it; `next(node, i)` is what its i-th edge
/// leads to, nothing past the last one; `leave(node)` follows when all of that was left.
template <typename Node, typename Enter, typename Next, typename Leave>
void visitDepthFirst(Node root, Enter enter, Next next, Leave leave) {
    std::vector<std::pair<Node, std::size_t>> path;
    if (enter(root)) path.emplace_back(root, 0);
    while (!path.empty()) {
        const Node node = path.back().first;
        const std::optional<Node> target = next(node, path.back().second++);
        if (!target) {
            path.pop_back();
            leave(node);
        } else if (enter(*target)) {
            path.emplace_back(*target, 0);
        }
    }
}

}  // namespace base
