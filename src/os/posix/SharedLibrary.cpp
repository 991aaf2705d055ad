#include "os/SharedLibrary.h"

#include "os/posix/ElfFile.h"
#include "os/posix/Gate.h"

#include <dlfcn.h>
#include <link.h>

#include <cerrno>
#include <set>
#include <string>
#include <vector>

namespace os {
namespace {

// The loader's text of this thread's last failure; it stands until another call sets errno.
thread_local std::string loaderError;

std::string takeLoaderError() {
    const char* text = dlerror();
    loaderError = text ? text : "";
    errno = 0;
    return loaderError;
}

// The loader says "NAME: cannot open shared object file: ..." when a needed library is missing.
std::string missingLibrary(const std::string& error) {
    const auto end = error.find(": cannot open shared object file");
    if (end == std::string::npos) return {};
    std::string name = error.substr(0, end);
    return name.find('/') == std::string::npos ? name : std::string();
}

void* openFile(const std::string& path, std::string& error) {
    if (posix::isTruncatedLibrary(path.c_str())) {
        error = loaderError = path + ": file too short";
        errno = 0;
        return nullptr;
    }
    void* handle = dlopen(path.c_str(), RTLD_NOW | RTLD_LOCAL);
    if (!handle) error = takeLoaderError();
    return handle;
}

// The loader also finds what the libraries define that this one links to.
bool isDefinedBy(void* handle, void* address) {
    dl_find_object definer{};
    if (_dl_find_object(address, &definer) != 0) return false;
    // With this loader a handle is the library's own record; asking for the record takes longer.
    if (definer.dlfo_link_map == handle) return true;
    link_map* own = nullptr;
    return dlinfo(handle, RTLD_DI_LINKMAP, static_cast<void*>(&own)) == 0 && definer.dlfo_link_map == own;
}

// Closes the neighbours again: by then the library that needs them holds them, or nobody does.
struct Neighbours {
    Neighbours() = default;
    Neighbours(const Neighbours&) = delete;
    Neighbours& operator=(const Neighbours&) = delete;
    ~Neighbours() {
        for (void* handle : handles) dlclose(handle);
    }
    std::vector<void*> handles;
};

// Opens `path`; as long as a needed library is missing that lies in `folder`, opens that one first.
void* openWithNeighbours(const std::string& path, const std::string& folder, std::set<std::string>& tried,
                         std::string& error) {
    Neighbours neighbours;
    for (;;) {
        if (void* handle = openFile(path, error)) return handle;
        const std::string missing = missingLibrary(error);
        if (missing.empty() || !tried.insert(missing).second) return nullptr;
        std::string ignored;
        void* neighbour = openWithNeighbours(folder + missing, folder, tried, ignored);
        if (!neighbour) return nullptr;
        neighbours.handles.push_back(neighbour);
    }
}

}  // namespace

void* openLibrary(const std::string& path, std::string& error) {
    std::set<std::string> tried;
    const auto slash = path.rfind('/');
    if (slash != std::string::npos) return openWithNeighbours(path, path.substr(0, slash + 1), tried, error);
    // Without a slash the loader would search its own path instead of the current directory.
    return openWithNeighbours("./" + path, "./", tried, error);
}

bool closeLibrary(void* handle, std::string& error) {
    if (dlclose(handle) == 0) return true;
    error = takeLoaderError();
    return false;
}

void* findSymbol(void* handle, const char* name) {
    void* address = dlsym(handle, name);
    if (!address) {
        takeLoaderError();
        return nullptr;
    }
    return isDefinedBy(handle, address) ? address : nullptr;
}

std::string lastErrorText() {
    if (errno == 0) return loaderError;
    return posix::errorText(errno);
}

}  // namespace os
