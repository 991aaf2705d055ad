#pragma once

#include "os/TreeCursor.h"

#include <string>
#include <vector>

/// Walks through a tree, depth first. The stack of directories is on the heap, so the depth of a tree is not
/// limited by a thread's stack.
namespace QvPlatform::TreeWalk {

struct Entry {
    std::string name;
    bool isLink;
};

/// The content of one directory of the tree. It is read once, completely, before anything in the directory
/// is changed.
struct Level {
    std::vector<Entry> directories;  // and links to directories
    std::vector<Entry> files;
    bool isComplete = false;
    std::size_t next = 0;  // index in `directories` of the next one to visit
};

enum class Step { entered, passed, failed };

template <typename Visitor>
Level levelAt(const os::TreeCursor& cursor, Visitor& visitor) {
    Level level;
    level.isComplete = cursor.visit([&](const os::DirectoryEntry& entry) {
        if (!visitor.keeps(entry)) return;
        (entry.isDirectory ? level.directories : level.files)
            .push_back({std::string(entry.name), entry.isLink});
    });
    return level;
}

/// Visits the directory of `cursor` and each one below it; at the end, `cursor` is where it was. For each
/// subdirectory that `visitor.keeps` accepts, calls `visitor.enter`, which moves `cursor` there (Entered) or
/// handles the entry without moving (Passed). After the subdirectories, calls `visitor.finish` with the
/// directory's content while `cursor` is still in it, then moves up and calls `visitor.left`. Stops and
/// returns false if one of these calls fails.
template <typename Visitor>
bool walk(os::TreeCursor& cursor, Visitor visitor) {
    std::vector<Level> levels;
    levels.push_back(levelAt(cursor, visitor));
    for (;;) {
        Level& level = levels.back();
        if (level.next < level.directories.size()) {
            const Step step = visitor.enter(level.directories[level.next]);
            if (step == Step::failed) return false;
            if (step == Step::entered)
                levels.push_back(levelAt(cursor, visitor));
            else
                ++level.next;
            continue;
        }
        if (!visitor.finish(level)) return false;
        levels.pop_back();
        if (levels.empty()) return true;
        Level& parent = levels.back();
        if (!cursor.leave() || !visitor.left(parent.directories[parent.next++])) return false;
    }
}

}  // namespace QvPlatform::TreeWalk
