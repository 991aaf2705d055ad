#include "os/FileSystem.h"

#include "os/Utf.h"

#include <dirent.h>
#include <fcntl.h>
#include <sys/stat.h>
#include <unistd.h>

#include <memory>
#include <string_view>

namespace os {
namespace {

struct CloseDirectory {
    void operator()(DIR* directory) const { closedir(directory); }
};

EntryKind kindOf(mode_t mode) {
    if (S_ISDIR(mode)) return EntryKind::Directory;
    return S_ISREG(mode) ? EntryKind::RegularFile : EntryKind::Other;
}

bool isDirectoryEntry(DIR* directory, const dirent& entry) {
    if (entry.d_type != DT_UNKNOWN && entry.d_type != DT_LNK) return entry.d_type == DT_DIR;
    struct stat status {};
    return fstatat(dirfd(directory), entry.d_name, &status, 0) == 0 && S_ISDIR(status.st_mode);
}

}  // namespace

EntryStatus entryStatus(const std::wstring& path) {
    struct stat status {};
    if (stat(narrow(path).c_str(), &status) != 0) return {};
    return {kindOf(status.st_mode), FileIdentity{status.st_dev, status.st_ino}};
}

bool isReadableFile(const std::wstring& path) {
    // Without waiting: a pipe that nobody writes to would block.
    const int descriptor = open(narrow(path).c_str(), O_RDONLY | O_CLOEXEC | O_NONBLOCK);
    if (descriptor < 0) return false;
    struct stat status {};
    const bool isRegular = fstat(descriptor, &status) == 0 && S_ISREG(status.st_mode);
    close(descriptor);
    return isRegular;
}

std::vector<DirectoryEntry> listDirectory(const std::wstring& directory) {
    std::vector<DirectoryEntry> entries;
    const std::unique_ptr<DIR, CloseDirectory> stream(opendir(narrow(directory).c_str()));
    if (!stream) return entries;
    while (const dirent* entry = readdir(stream.get())) {
        const std::string_view name = entry->d_name;
        if (name == "." || name == "..") continue;
        entries.push_back({widen(name), isDirectoryEntry(stream.get(), *entry), name.front() == '.'});
    }
    return entries;
}

}  // namespace os
