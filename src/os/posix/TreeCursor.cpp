// `identities` has the identity of each directory from the root to the cursor. `open` has the descriptors of
// the innermost ones, at most `kOpenDirectories`, and never none; the last one is the cursor's. Names are
// always resolved relative to that descriptor, and `enter` follows no link, so renaming above the cursor does
// not matter.
//
// `enter` changes nothing on failure. `leave` opens ".." only when the parent's descriptor is no longer open,
// and accepts it only with the identity that was recorded on the way down. If it differs, the directory was
// moved, and the cursor must not be used any more.

#include "os/TreeCursor.h"

#include "os/posix/OpenDirectories.h"

#include <fcntl.h>
#include <sys/stat.h>
#include <unistd.h>

#include <cerrno>
#include <deque>
#include <optional>
#include <utility>
#include <vector>

namespace os {
namespace {

using posix::Descriptor;

constexpr std::size_t kOpenDirectories = 8;

std::optional<FileIdentity> identityOf(const Descriptor& directory) {
    struct stat status {};
    if (!directory || fstat(directory.get(), &status) != 0) return std::nullopt;
    return FileIdentity{status.st_dev, status.st_ino};
}

}  // namespace

struct TreeCursor::State {
    int access;  // O_RDONLY, or O_PATH if the directories are not listed
    std::vector<FileIdentity> identities;
    std::deque<Descriptor> open;

    int here() const { return open.back().get(); }

    bool push(int from, const char* path, int flags) {
        Descriptor directory(openat(from, path, access | O_DIRECTORY | O_CLOEXEC | flags));
        const auto identity = identityOf(directory);
        if (!identity) return false;
        identities.push_back(*identity);
        open.push_back(std::move(directory));
        if (open.size() > kOpenDirectories) open.pop_front();
        return true;
    }

    bool pop() {
        identities.pop_back();
        if (open.size() == 1) {
            Descriptor parent(openat(here(), "..", O_PATH | O_DIRECTORY | O_CLOEXEC));
            if (identityOf(parent) != identities.back()) return false;
            open.push_front(std::move(parent));
        }
        open.pop_back();
        return true;
    }
};

TreeCursor::TreeCursor(const std::wstring& root, TreeUse use) {
    const bool followsLink = use != TreeUse::remove;
    const std::string path = followsLink ? posix::systemPath(root) : posix::withoutFinalSlash(root);
    auto state = std::make_unique<State>();
    state->access = use == TreeUse::write ? O_PATH : O_RDONLY;
    if (state->push(AT_FDCWD, path.c_str(), followsLink ? 0 : O_NOFOLLOW)) state_ = std::move(state);
}

TreeCursor::~TreeCursor() = default;

FileIdentity TreeCursor::identity() const { return state_->identities.back(); }

bool TreeCursor::visit(const std::function<void(const DirectoryEntry&)>& visit) const {
    return posix::visitDirectory(state_->here(), visit);
}

bool TreeCursor::enter(const std::string& name) {
    return state_->push(state_->here(), name.c_str(), O_NOFOLLOW);
}

bool TreeCursor::leave() { return state_->pop(); }

bool TreeCursor::createDirectory(const std::string& name) {
    return mkdirat(state_->here(), name.c_str(), 0777) == 0 || errno == EEXIST;
}

bool TreeCursor::removeFile(const std::string& name) {
    return unlinkat(state_->here(), name.c_str(), 0) == 0;
}

bool TreeCursor::removeDirectory(const std::string& name) {
    const int here = state_->here();
    return unlinkat(here, name.c_str(), AT_REMOVEDIR) == 0 ||
           (errno == ENOTDIR && unlinkat(here, name.c_str(), 0) == 0);
}

bool TreeCursor::copyFile(const std::string& name, bool isLink, const TreeCursor& target,
                          bool overwrite) const {
    struct stat status {};
    if (isLink && fstatat(state_->here(), name.c_str(), &status, 0) != 0)
        return copyLink(name, target, overwrite);
    return posix::copyFile({state_->here(), name}, isLink, {target.state_->here(), name}, overwrite);
}

bool TreeCursor::copyLink(const std::string& name, const TreeCursor& target, bool overwrite) const {
    return posix::copyLink({state_->here(), name}, {target.state_->here(), name}, overwrite);
}

}  // namespace os
