// One inotify queue for all directories. The system identifies a directory by its inode, so several numbers
// may share a watch descriptor, which goes with the last of them.
//
// A forked child has the parent's queue. It must neither read from it nor remove watches from it, so it
// leaves the queue and reports its directories as unwatched.

#include "os/DirectoryWatch.h"

#include "os/posix/OpenDirectories.h"

#include <sys/inotify.h>
#include <sys/stat.h>

#include <algorithm>
#include <array>
#include <utility>
#include <vector>

namespace os {
namespace {

using Kind = DirectoryChange::Kind;
using Visit = std::function<void(const DirectoryChange&)>;

// A new file is reported when it is closed, but a new link is never written to.
constexpr std::uint32_t kEvents =
    IN_CLOSE_WRITE | IN_MOVED_TO | IN_CREATE | IN_DELETE | IN_MOVED_FROM | IN_DELETE_SELF | IN_MOVE_SELF;
constexpr std::uint32_t kDirectoryGone = IN_DELETE_SELF | IN_MOVE_SELF | IN_UNMOUNT | IN_IGNORED;
constexpr std::size_t kBufferSize = 32'768;

std::string reasonFor(int error) {
    if (error == ENOSPC) return "the limit of watched directories, fs.inotify.max_user_watches, is reached";
    if (error == EMFILE)
        return "the limit of open files or of watching programs, fs.inotify.max_user_instances, is reached";
    return posix::errorText(error);
}

bool isLinked(const std::string& path) {
    struct stat status {};
    return lstat(path.c_str(), &status) == 0 && (S_ISLNK(status.st_mode) || status.st_nlink > 1);
}

}  // namespace

struct DirectoryWatch::State {
    struct Watched {
        std::size_t number;
        int descriptor;
        std::string path;
    };

    explicit State(posix::Descriptor openedQueue) : queue(std::move(openedQueue)) {}

    bool isOwn() const { return owner == getpid(); }

    bool isUsed(int descriptor) const {
        return std::any_of(directories.begin(), directories.end(),
                           [=](const Watched& watched) { return watched.descriptor == descriptor; });
    }

    void remove(std::size_t number) {
        const auto found = std::find_if(directories.begin(), directories.end(),
                                        [=](const Watched& watched) { return watched.number == number; });
        if (found == directories.end()) return;
        const int descriptor = found->descriptor;
        directories.erase(found);
        if (!isUsed(descriptor) && isOwn()) inotify_rm_watch(queue.get(), descriptor);
    }

    void takeAll(Kind kind, const Visit& visit) const {
        for (const Watched& watched : directories) visit({watched.number, kind, {}});
    }

    void dropAll(const Visit& visit) {
        for (const Watched& watched : std::exchange(directories, {}))
            visit({watched.number, Kind::unwatched, {}});
    }

    void takeEvent(const inotify_event& event, const Visit& visit) {
        if ((event.mask & IN_Q_OVERFLOW) != 0) return takeAll(Kind::unknown, visit);
        if ((event.mask & kDirectoryGone) != 0) return takeLoss(event.wd, visit);
        if (event.len == 0) return;
        for (const Watched& watched : directories) {
            if (watched.descriptor != event.wd) continue;
            const bool isUnfinished = (event.mask & IN_CREATE) != 0 && !isLinked(watched.path + event.name);
            if (!isUnfinished) visit({watched.number, Kind::entry, event.name});
        }
    }

    void takeLoss(int descriptor, const Visit& visit) {
        const auto isOther = [=](const Watched& watched) { return watched.descriptor != descriptor; };
        const auto lost = std::partition(directories.begin(), directories.end(), isOther);
        if (lost == directories.end()) return;
        inotify_rm_watch(queue.get(), descriptor);  // a moved directory still has its watch
        for (auto watched = lost; watched != directories.end(); ++watched)
            visit({watched->number, Kind::unwatched, {}});
        directories.erase(lost, directories.end());
    }

    posix::Descriptor queue;
    pid_t owner = getpid();
    std::vector<Watched> directories;
    bool isTaking = false;  // after an exception from a visit, too
    alignas(inotify_event) std::array<char, kBufferSize> buffer;
};

DirectoryWatch::DirectoryWatch() = default;

DirectoryWatch::~DirectoryWatch() = default;

bool DirectoryWatch::add(std::size_t directory, const std::wstring& path, std::string& error) {
    if (!state_ || !state_->isOwn()) {
        state_.reset();
        posix::Descriptor queue(inotify_init1(IN_NONBLOCK | IN_CLOEXEC));
        if (!queue) {
            error = reasonFor(errno);
            return false;
        }
        state_ = std::make_unique<State>(std::move(queue));
    }
    const std::string name = posix::systemPath(path);
    auto& directories = state_->directories;
    directories.push_back({directory, -1, name + (name.ends_with('/') ? "" : "/")});
    const int descriptor = inotify_add_watch(state_->queue.get(), name.c_str(), kEvents | IN_ONLYDIR);
    if (descriptor < 0) {
        const int reason = errno;
        directories.pop_back();
        error = reasonFor(reason);
        return false;
    }
    directories.back().descriptor = descriptor;
    return true;
}

void DirectoryWatch::remove(std::size_t directory) {
    if (state_) state_->remove(directory);
}

void DirectoryWatch::take(const Visit& visit) {
    if (!state_) return;
    if (!state_->isOwn()) return state_->dropAll(visit);
    const CancellationShield shield;
    if (std::exchange(state_->isTaking, true)) state_->takeAll(Kind::unknown, visit);
    const ssize_t size = posix::retryOnInterrupt(
        [&] { return read(state_->queue.get(), state_->buffer.data(), state_->buffer.size()); });
    for (ssize_t next = 0; next < size;) {
        const auto& event = *reinterpret_cast<const inotify_event*>(state_->buffer.data() + next);
        state_->takeEvent(event, visit);
        next += static_cast<ssize_t>(sizeof event + event.len);
    }
    state_->isTaking = false;
}

}  // namespace os
