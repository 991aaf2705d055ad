#include "os/RefusedLibraries.h"

#include "base/Utf.h"
#include "os/Filesystem.h"
#include "os/ProcessLock.h"

#include <algorithm>
#include <atomic>
#include <mutex>
#include <optional>
#include <vector>

namespace os {
namespace {

// Each member identifies the file: the Linux loader recognizes a loaded library by its path text and by its
// inode.
struct Place {
    explicit Place(const std::string& text)
        : path(text),
          canonical(canonicalPath(base::widen(text))),
          identity(entryStatus(base::widen(text)).identity) {}

    bool isSame(const Place& other) const {
        return path == other.path || (canonical && canonical == other.canonical) ||
               (identity && identity == other.identity);
    }

    std::string path;
    std::optional<std::wstring> canonical;
    std::optional<FileIdentity> identity;
};

struct Refused {
    Place place;
    std::string neededAs;
    std::string reason;
};

constexpr ProcessLock kLock{LockRank::refusedLibraries};
constinit std::atomic<bool> hasAny{false};

// Never destroyed: static destructors load libraries too.
std::vector<Refused>& refused() {
    static auto& list = *new std::vector<Refused>;
    return list;
}

template <typename Fits>
std::string reasonOfFirst(Fits fits) {
    const std::lock_guard guard(kLock);
    const auto found = std::find_if(refused().begin(), refused().end(), fits);
    return found == refused().end() ? std::string() : found->reason;
}

}  // namespace

std::string initializersThrew(const std::string& exceptionText) {
    return "its static initializers threw: " + exceptionText;
}

void refuseLibrary(const std::string& path, const std::string& neededAs, const std::string& reason) {
    Refused entry{Place(path), neededAs, reason};
    const std::lock_guard guard(kLock);
    refused().push_back(std::move(entry));
    hasAny = true;
}

bool areLibrariesRefused() noexcept { return hasAny; }

std::string refusalOfFile(const std::string& path) {
    const Place place(path);
    return reasonOfFirst([&](const Refused& entry) { return entry.place.isSame(place); });
}

std::string refusalOfNeeded(const std::string& name) {
    return reasonOfFirst([&](const Refused& entry) { return entry.neededAs == name; });
}

}  // namespace os
