#include "loader/LoaderRules.h"

#include "loader/posix/LoaderCache.h"
#include "loader/posix/RunPath.h"
#include "os/posix/PosixSupport.h"

#include <dlfcn.h>
#include <link.h>

#include <algorithm>
#include <cstddef>
#include <cstdlib>
#include <memory>
#include <new>
#include <vector>

namespace qvp {
namespace {

using Folders = std::vector<std::string>;

// An empty folder is the current directory.
Folders environmentFolders() {
    const char* const text = std::getenv("LD_LIBRARY_PATH");
    Folders folders;
    if (!text || !*text) return folders;
    const std::string whole = text;
    for (std::size_t begin = 0; begin <= whole.size();) {
        const auto end = std::min(whole.find_first_of(":;", begin), whole.size());
        const std::string folder = whole.substr(begin, end - begin);
        folders.push_back(folder.empty() ? "." : folder);
        begin = end + 1;
    }
    return folders;
}

struct Unload {
    void operator()(void* handle) const { dlclose(handle); }
};

// What the loader says it searches for a library without a run path.
Folders loaderFolders() {
    const std::unique_ptr<void, Unload> handle(dlopen("libc.so.6", RTLD_LAZY | RTLD_NOLOAD));
    Dl_serinfo size;
    if (!handle || dlinfo(handle.get(), RTLD_DI_SERINFOSIZE, &size) != 0) return {};
    std::vector<std::max_align_t> storage(size.dls_size / sizeof(std::max_align_t) + 1);
    auto* const info = new (storage.data()) Dl_serinfo;
    if (dlinfo(handle.get(), RTLD_DI_SERINFOSIZE, info) != 0) return {};
    if (dlinfo(handle.get(), RTLD_DI_SERINFO, info) != 0) return {};
    Folders folders;
    const Dl_serpath* const paths = info->dls_serpath;
    for (unsigned i = 0; i < info->dls_cnt; ++i) folders.emplace_back(paths[i].dls_name);
    return folders;
}

// Those that come after the environment's.
Folders systemFolders() {
    Folders folders = loaderFolders();
    const Folders before = environmentFolders();
    const auto isBefore = [&](const std::string& folder) {
        return std::find(before.begin(), before.end(), folder) != before.end();
    };
    folders.erase(folders.begin(), std::find_if_not(folders.begin(), folders.end(), isBefore));
    if (folders.empty()) folders = {"/lib", "/usr/lib"};
    return folders;
}

// Under its own name or another one; the loader keeps it where it is.
bool takeIfLoaded(NeededLibrary& library) {
    const std::unique_ptr<void, Unload> handle(dlopen(library.name.c_str(), RTLD_LAZY | RTLD_NOLOAD));
    const link_map* const map = handle ? os::posix::linkMapOf(handle.get()) : nullptr;
    if (!map) return false;
    library.path = map->l_name;
    library.foundBy = "already loaded";
    return true;
}

class Search {
public:
    explicit Search(NeededLibrary& library) : library_(library) {}

    std::optional<LibraryFile> in(const Folders& folders, const char* why) {
        for (const std::string& folder : folders) {
            const bool isKnown = std::find(library_.lookedIn.begin(), library_.lookedIn.end(), folder) !=
                                 library_.lookedIn.end();
            if (!isKnown) library_.lookedIn.push_back(folder);
            if (auto file = takeIfLibrary(folder + "/" + library_.name, why, library_)) return file;
        }
        return std::nullopt;
    }

    std::optional<LibraryFile> inRunPathsOf(const DependencyChain& chain) {
        if (chain.file.runpath) return std::nullopt;
        for (const DependencyChain* at = &chain; at; at = at->neededBy.get()) {
            if (auto file = inRunPath(at->file.rpath, at->file.path)) return file;
        }
        return std::nullopt;
    }

    std::optional<LibraryFile> inRunPath(const std::optional<std::string>& runPath, const std::string& file) {
        return runPath ? in(runPathFolders(*runPath, file), "run path") : std::nullopt;
    }

    std::optional<LibraryFile> inCache() {
        library_.lookedIn.emplace_back(kLoaderCacheFile);
        const std::string path = findInLoaderCache(library_.name);
        return path.empty() ? std::nullopt : takeIfLibrary(path, "loader cache", library_);
    }

private:
    NeededLibrary& library_;
};

}  // namespace

std::optional<LibraryFile> findAsLoader(const DependencyChain& chain, NeededLibrary& library) {
    static const Folders kEnvironment = environmentFolders();
    static const Folders kSystem = systemFolders();
    if (takeIfLoaded(library)) return std::nullopt;
    if (library.name.find('/') != std::string::npos) return takeIfLibrary(library.name, "its path", library);
    Search search(library);
    if (auto file = search.inRunPathsOf(chain)) return file;
    if (auto file = search.in(kEnvironment, "LD_LIBRARY_PATH")) return file;
    if (auto file = search.inRunPath(chain.file.runpath, chain.file.path)) return file;
    if (auto file = search.inCache()) return file;
    if (auto file = search.in(kSystem, "system folder")) return file;
    return search.in({ownFolder(chain)}, "own folder");
}

// This process holds what they hold. The first entry, without a name, is the program, which defines the
// symbols of a checker that it is built with.
std::vector<std::string> librariesOfHost() {
    std::vector<std::string> paths;
    const auto take = [](dl_phdr_info* info, std::size_t, void* result) {
        const std::string name = *info->dlpi_name ? info->dlpi_name : "/proc/self/exe";
        if (name.front() == '/') static_cast<std::vector<std::string>*>(result)->push_back(name);
        return 0;
    };
    dl_iterate_phdr(take, &paths);
    return paths;
}

std::vector<std::string> librariesOfSystem() { return librariesInLoaderCache(); }

bool isForThisSystem(const LibraryFile& file) { return file.kind == LibraryFormat::Kind::elf; }

std::string comparedLibraryName(const std::string& name) { return name; }

}  // namespace qvp
