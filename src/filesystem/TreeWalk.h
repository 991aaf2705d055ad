#pragma once

#include "os/TreeCursor.h"

#include <string>
#include <vector>

/// Depth first through a tree, with a stack on the heap, so that depth costs no thread's stack.
namespace QvPlatform::TreeWalk {

struct Entry {
    std::string name;
    bool isLink;
};

/// What one directory of the tree holds. It is read once, completely, before anything in the directory
/// changes.
struct Level {
    std::vector<Entry> directories;  // and links to directories
    std::vector<Entry> files;
    bool isComplete = false;
    std::size_t next = 0;  // of `directories`, to be worked on
};

enum class Step { entered, passed, failed };

template <typename Visitor>
Level levelAt(const os::TreeCursor& place, Visitor& visitor) {
    Level level;
    level.isComplete = place.visit([&](const os::DirectoryEntry& entry) {
        if (!visitor.keeps(entry)) return;
        (entry.isDirectory ? level.directories : level.files)
            .push_back({std::string(entry.name), entry.isLink});
    });
    return level;
}

/// Works on each directory below `place`, which is back where it was then. For each entry among the
/// directories that `visitor` keeps it calls `enter`, which moves `place` there (Entered) or deals with the
/// entry otherwise (Passed). Then it calls `finish` with the directory's content, while `place` is still
/// there, and `left` after having moved up. False when one of them fails.
template <typename Visitor>
bool walk(os::TreeCursor& place, Visitor visitor) {
    std::vector<Level> levels;
    levels.push_back(levelAt(place, visitor));
    for (;;) {
        Level& level = levels.back();
        if (level.next < level.directories.size()) {
            const Step step = visitor.enter(level.directories[level.next]);
            if (step == Step::failed) return false;
            if (step == Step::entered)
                levels.push_back(levelAt(place, visitor));
            else
                ++level.next;
            continue;
        }
        if (!visitor.finish(level)) return false;
        levels.pop_back();
        if (levels.empty()) return true;
        Level& parent = levels.back();
        if (!place.leave() || !visitor.left(parent.directories[parent.next++])) return false;
    }
}

}  // namespace QvPlatform::TreeWalk
