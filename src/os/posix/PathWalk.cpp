// Each name is opened relative to the directory before it, without following a link, and judged by the open
// file. So what `accepts` has seen is what is entered, even if somebody exchanges names during the walk.

#include "os/posix/PathWalk.h"

#include <fcntl.h>
#include <unistd.h>

#include <cerrno>
#include <utility>
#include <vector>

namespace os::posix {
namespace {

constexpr int kMostLinks = 40;  // as the system

class PathWalk {
public:
    PathWalk(std::string_view path, const std::function<bool(const PathStep&)>& accepts) : accepts_(accepts) {
        push(path);
    }

    std::optional<PathEnd> walk() {
        std::string name = takeName();
        while (!name.empty()) {
            const bool isLast = names_.empty();
            struct stat status {};
            Descriptor entry = openEntry(name);
            if (!entry && errno == ENOENT && isLast) return PathEnd{std::move(directory_), name, false};
            if (!entry || fstat(entry.get(), &status) != 0) return std::nullopt;
            if (!accepts_({path_ + name, status_, status})) return std::nullopt;
            if (S_ISLNK(status.st_mode)) {
                if (!follow(entry)) return std::nullopt;
            } else if (isLast) {
                return PathEnd{std::move(directory_), name, true};
            } else {
                path_ += name + "/";
                status_ = status;
                directory_ = std::move(entry);
            }
            name = takeName();
        }
        return isValid_ ? std::optional<PathEnd>(PathEnd{std::move(directory_), ".", true}) : std::nullopt;
    }

private:
    // Puts the names of a path before those that are left, and begins at the root if the path does.
    void push(std::string_view path) {
        const bool isAbsolute = path.starts_with('/');
        while (!path.empty()) {
            const auto begin = path.rfind('/') + 1;
            const std::string_view name = path.substr(begin);
            if (!name.empty() && name != ".") names_.emplace_back(name);
            path = path.substr(0, begin == 0 ? 0 : begin - 1);
        }
        if (isAbsolute || !directory_) startAt(isAbsolute ? "/" : "");
    }

    void startAt(const std::string& path) {
        const std::string start = path.empty() ? "." : path;
        path_ = path;
        directory_ = Descriptor(open(start.c_str(), O_PATH | O_DIRECTORY | O_CLOEXEC));
        isValid_ =
            directory_ && fstat(directory_.get(), &status_) == 0 && accepts_({start, status_, status_});
        if (!isValid_) names_.clear();
    }

    std::string takeName() {
        if (names_.empty()) return {};
        std::string name = std::move(names_.back());
        names_.pop_back();
        return name;
    }

    // The first attempt mounts what is mounted on demand.
    Descriptor openEntry(const std::string& name) const {
        constexpr int kFlags = O_PATH | O_NOFOLLOW | O_CLOEXEC;
        Descriptor entry(openat(directory_.get(), name.c_str(), kFlags | O_DIRECTORY));
        if (entry || (errno != ENOTDIR && errno != ELOOP)) return entry;
        return Descriptor(openat(directory_.get(), name.c_str(), kFlags));
    }

    bool follow(const Descriptor& link) {
        const auto text = linkText(link.get(), "");
        if (!text || text->empty() || ++links_ > kMostLinks) return false;
        push(*text);
        return isValid_;
    }

    const std::function<bool(const PathStep&)>& accepts_;
    std::vector<std::string> names_;  // those that are left, the next one last
    std::string path_;                // of the directory, with a "/" at its end
    Descriptor directory_;
    struct stat status_ {};
    bool isValid_ = false;
    int links_ = 0;
};

}  // namespace

std::optional<PathEnd> walkPath(std::string_view path, const std::function<bool(const PathStep&)>& accepts) {
    if (path.empty() || path.find('\0') != std::string_view::npos) return std::nullopt;
    return PathWalk(path, accepts).walk();
}

bool isOfTrustedUser(const struct stat& status) noexcept {
    return status.st_uid == 0 || status.st_uid == geteuid();
}

bool isWritableByOthers(const struct stat& status) noexcept {
    return (status.st_mode & (S_IWGRP | S_IWOTH)) != 0;
}

bool mayBeTrap(const struct stat& directory, const struct stat& entry) noexcept {
    return isWritableByOthers(directory) && !isOfTrustedUser(entry);
}

bool isNoTrapLink(const PathStep& step) noexcept {
    return !S_ISLNK(step.entry.st_mode) || !mayBeTrap(step.directory, step.entry);
}

}  // namespace os::posix
