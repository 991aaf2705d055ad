// The loader runs a library's static initializers inside of `dlopen`. An exception from one of them passes
// through the loader, which does not support that: it keeps the library as if it were complete, and keeps its
// own lock. So such a library is refused from then on, together with all libraries mapped with it and
// everything that needs it.

#include "os/SharedLibrary.h"

#include "os/Environment.h"
#include "os/Filesystem.h"
#include "os/RefusedLibraries.h"
#include "os/posix/ElfFile.h"
#include "os/posix/PosixSupport.h"

#include <cxxabi.h>
#include <dlfcn.h>
#include <link.h>

#include <cerrno>
#include <exception>
#include <memory>
#include <mutex>
#include <new>
#include <set>
#include <string>
#include <utility>
#include <vector>

namespace os {
namespace {

constexpr const char* kNoMemory = "out of memory";  // short enough for a string without an allocation

// The loader's text of this thread's last failure, truncated; valid until another call sets errno. Not a
// string: the C library ends the process if it has no memory to register a thread's destructor.
thread_local char loaderError[1024] = "";

void* failWith(const std::string& text, std::string& error) {
    loaderError[text.copy(loaderError, sizeof loaderError - 1)] = '\0';
    error = text;
    errno = 0;
    return nullptr;
}

void takeLoaderError(std::string& error) {
    try {
        const std::lock_guard guard(kEnvironmentLock);  // translating the text reads environment variables
        const char* text = dlerror();
        failWith(text ? text : "", error);
    } catch (const std::bad_alloc&) {
        failWith(kNoMemory, error);
    }
}

// Called through a pointer, because the declaration promises the compiler that it never throws.
void* (*const volatile openThrowing)(const char*, int) = dlopen;

void refuse(const std::string& path, const std::string& reason) {
    const std::string own = posix::readLinkNames(path.c_str()).own;
    refuseLibrary(path, own.empty() ? path.substr(path.rfind('/') + 1) : own, reason);
}

// In the loader's list, the libraries mapped last are at the end.
void refuseHalfBuilt(const std::string& path, const std::string& reason) {
    refuse(path, reason);
    void* handle = dlopen(path.c_str(), RTLD_LAZY | RTLD_NOLOAD);
    const link_map* map = handle ? posix::linkMapOf(handle) : nullptr;
    if (!map) return;
    for (map = map->l_next; map; map = map->l_next) refuse(map->l_name, reason);
}

void* openFile(const std::string& path, std::string& error) {
    std::string thrown;
    try {
        void* handle = openThrowing(path.c_str(), RTLD_NOW | RTLD_LOCAL);
        if (!handle) takeLoaderError(error);
        return handle;
    } catch (const abi::__forced_unwind&) {
        refuseHalfBuilt(path, "its static initializers ended their thread");
        throw;
    } catch (const std::exception& exception) {
        thrown = initializersThrew(exception.what());
    } catch (...) {
        thrown = initializersThrew("unknown exception");
    }
    refuseHalfBuilt(path, thrown);
    return failWith(thrown, error);
}

// The loader also finds symbols of the libraries that this one links to.
bool isDefinedBy(void* handle, void* address) {
    dl_find_object definer{};
    if (_dl_find_object(address, &definer) != 0) return false;
    // With this loader the handle is the library's record itself; querying the record takes longer.
    return definer.dlfo_link_map == handle || definer.dlfo_link_map == posix::linkMapOf(handle);
}

// Opens a library in a folder. Libraries that it needs and that the loader does not find are opened first, if
// they are in the same folder.
class FolderOpening {
public:
    explicit FolderOpening(std::string folder) : folder_(std::move(folder)) {}
    FolderOpening(const FolderOpening&) = delete;
    FolderOpening& operator=(const FolderOpening&) = delete;
    // By now the library that needs the neighbours keeps them open, or they are not needed.
    ~FolderOpening() {
        while (!neighbours_.empty()) neighbours_.pop_back();
    }

    void* open(const std::string& path, std::string& error) {
        if (posix::isTruncatedLibrary(path.c_str())) return failWith(path + ": file too short", error);
        if (const std::string reason = refusal(path); !reason.empty()) return failWith(reason, error);
        if (void* handle = openFile(path, error)) return handle;
        std::string neighbourError;
        const bool isWorthTrying = openNeighbours(path, neighbourError);
        void* handle = isWorthTrying && refusal(path).empty() ? openFile(path, error) : nullptr;
        // The reason why a neighbour cannot be opened is more useful than that it was not found.
        if (!handle) failWith(neighbourError.empty() ? error : neighbourError, error);
        return handle;
    }

private:
    struct Close {
        void operator()(void* handle) const { dlclose(handle); }
    };
    using Neighbour = std::unique_ptr<void, Close>;

    /// The reason why the library is, or would use, a partly initialized one.
    static std::string reasonIn(std::string name, const std::string& reason) {
        name += ": ";
        return name += reason;
    }

    std::string refusal(const std::string& path) {
        if (!areLibrariesRefused()) return {};
        std::set<std::string> seen;
        return refusal(path, seen);
    }

    std::string refusal(const std::string& path, std::set<std::string>& seen) {
        std::string reason = refusalOfFile(path);
        if (!reason.empty()) return reason;
        for (const std::string& name : posix::readLinkNames(path.c_str()).needed) {
            reason = refusalOfNeeded(name);
            if (!reason.empty()) return reasonIn(name, reason);
            if (seen.insert(name).second && isNeighbour(name)) reason = refusal(folder_ + name, seen);
            if (!reason.empty()) return reason;
        }
        return {};
    }

    /// Returns true if any was opened.
    bool openNeighbours(const std::string& path, std::string& error) {
        const std::size_t before = neighbours_.size();
        for (const std::string& name : posix::readLinkNames(path.c_str()).needed) {
            if (!tried_.insert(name).second || !isNeighbour(name) || posix::isLoaded(name.c_str())) continue;
            std::string reason;
            Neighbour neighbour(open(folder_ + name, reason));
            if (neighbour)
                neighbours_.push_back(std::move(neighbour));
            else if (error.empty())
                error = reasonIn(name, reason);
        }
        return neighbours_.size() != before;
    }

    bool isNeighbour(const std::string& name) const {
        return !name.empty() && name.find('/') == std::string::npos &&
               isReadableFile(base::widen(folder_ + name));
    }

    std::string folder_;
    std::set<std::string> tried_;
    std::vector<Neighbour> neighbours_;
};

}  // namespace

void* openLibrary(const std::string& path, std::string& error) {
    return FolderOpening(path.substr(0, path.rfind('/') + 1)).open(path, error);
}

bool isCompleteLibrary(const std::wstring& path) {
    const CancellationShield shield;
    return posix::isWholeLibrary(posix::systemPath(path).c_str());
}

bool closeLibrary(void* handle, std::string& error) {
    if (dlclose(handle) == 0) return true;
    takeLoaderError(error);
    return false;
}

void* findSymbol(void* handle, const char* name) {
    void* address = dlsym(handle, name);
    if (!address) {
        std::string ignored;
        takeLoaderError(ignored);
        return nullptr;
    }
    return isDefinedBy(handle, address) ? address : nullptr;
}

std::string lastErrorText() {
    if (errno == 0) return loaderError;
    return posix::errorText(errno);
}

LastErrorKeeper::LastErrorKeeper() noexcept : error_(static_cast<unsigned long>(errno)) {}

LastErrorKeeper::~LastErrorKeeper() { errno = static_cast<int>(error_); }

}  // namespace os
