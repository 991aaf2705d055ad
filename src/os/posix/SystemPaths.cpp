#include "os/SystemPaths.h"

#include "os/Environment.h"
#include "os/posix/PosixSupport.h"

#include <dlfcn.h>
#include <fcntl.h>
#include <link.h>
#include <pwd.h>
#include <sys/stat.h>
#include <unistd.h>

#include <cstdint>
#include <fstream>
#include <sstream>
#include <string_view>
#include <vector>

namespace os {
namespace {

// The system marks the path of a file that was removed while in use. A file may really have such a name, so
// the inode is compared; the device is not, because some file systems report a different one here.
std::string withoutDeletedMark(std::string path, ino_t inode) {
    constexpr std::string_view kMark = " (deleted)";
    struct stat found {};
    const bool isNamedSo = stat(path.c_str(), &found) == 0 && found.st_ino == inode;
    if (path.ends_with(kMark) && !isNamedSo) path.resize(path.size() - kMark.size());
    return path;
}

// Each line is "first-last access offset device inode   path", the inode in decimal.
std::string mappedFileAt(const void* address) {
    const auto wanted = reinterpret_cast<std::uintptr_t>(address);
    std::ifstream maps("/proc/self/maps");
    for (std::string line; std::getline(maps, line);) {
        std::istringstream fields(line);
        std::uintptr_t first = 0;
        std::uintptr_t last = 0;
        ino_t inode = 0;
        char dash = 0;
        std::string skipped;
        fields >> std::hex >> first >> dash >> last;
        if (wanted < first || wanted >= last) continue;
        fields >> skipped >> skipped >> skipped >> std::dec >> inode;
        const auto path = line.find('/');
        return path == std::string::npos ? std::string() : withoutDeletedMark(line.substr(path), inode);
    }
    return {};
}

std::string resolved(const std::string& path) {
    const posix::MallocText real(realpath(path.c_str(), nullptr));
    return real ? real.get() : path;
}

std::string accountHome() {
    std::vector<char> buffer(16384);
    passwd record{};
    passwd* found = nullptr;
    if (getpwuid_r(getuid(), &record, buffer.data(), buffer.size(), &found) != 0 || !found) return {};
    return found->pw_dir ? found->pw_dir : "";
}

// Resolves a relative directory against the current one immediately; empty if there is none.
std::wstring directoryIn(const char* variable) {
    const std::string named = readVariable(variable).value_or(std::string());
    if (named.empty() || named.front() == '/') return base::widen(named);
    const std::wstring current = currentDirectory();
    if (current.empty()) return {};
    return current + (current.ends_with(L'/') ? L"" : L"/") + base::widen(named);
}

}  // namespace

PathStyle nativePathStyle() { return PathStyle::posix; }

std::wstring currentDirectory() {
    const posix::MallocText text(getcwd(nullptr, 0));
    // For a directory that cannot be reached from the root, the system returns a text that is not a path.
    return text && text.get()[0] == '/' ? base::widen(text.get()) : std::wstring();
}

std::wstring systemDrive() { return L"/"; }

std::wstring userProfile() {
    const std::wstring home = directoryIn("HOME");
    return home.empty() ? base::widen(accountHome()) : home;
}

std::wstring temporaryDirectory() {
    const std::wstring directory = directoryIn("TMPDIR");
    return directory.empty() ? L"/tmp/" : directory;
}

std::wstring executableFile() {
    constexpr const char* kLink = "/proc/self/exe";
    const auto path = posix::linkText(AT_FDCWD, kLink);
    if (!path) return {};
    struct stat program {};
    stat(kLink, &program);
    return base::widen(withoutDeletedMark(*path, program.st_ino));
}

std::wstring moduleContaining(const void* address) {
    Dl_info info{};
    link_map* map = nullptr;
    if (dladdr1(address, &info, reinterpret_cast<void**>(&map), RTLD_DL_LINKMAP) == 0 || !map) return {};
    const std::string_view name = map->l_name;
    if (name.empty()) return executableFile();
    // A library opened by a relative path keeps that text even if the current directory changes.
    return base::widen(name.front() == '/' ? resolved(std::string(name)) : mappedFileAt(address));
}

}  // namespace os
