#include "os/FileTrust.h"

#include "os/posix/PathWalk.h"

namespace os {
namespace {

// A directory with the sticky bit is writable too: others cannot replace what it contains, but they can take
// a name that becomes free.
std::string weaknessOf(const struct stat& status) {
    if (!posix::isOfTrustedUser(status)) return "belongs to user " + std::to_string(status.st_uid);
    if ((status.st_mode & S_IWOTH) != 0) return "is writable by everyone";
    return posix::isWritableByOthers(status) ? "is writable by its group" : "";
}

}  // namespace

std::optional<WeakPoint> findWeakPoint(const std::string& path) {
    // Where it leads depends on the current directory, whose way is not known.
    if (!path.starts_with('/')) return WeakPoint{path, "is not an absolute path"};
    std::optional<WeakPoint> found;
    posix::walkPath(path, [&](const posix::PathStep& step) {
        // Everyone may write a link, but nobody can: whoever may write its directory replaces it.
        if (S_ISLNK(step.entry.st_mode)) return true;
        std::string why = weaknessOf(step.entry);
        if (!why.empty()) found = {step.path, std::move(why)};
        return !found;
    });
    return found;
}

}  // namespace os
