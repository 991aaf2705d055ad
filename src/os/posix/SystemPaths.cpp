#include "os/SystemPaths.h"

#include "os/posix/Gate.h"

#include <dlfcn.h>
#include <link.h>
#include <pwd.h>
#include <unistd.h>

#include <climits>
#include <cstdint>
#include <cstdlib>
#include <fstream>
#include <memory>
#include <sstream>
#include <string_view>
#include <vector>

namespace os {
namespace {

using OwnedText = std::unique_ptr<char, posix::Free>;

// The kernel marks a file that was removed while in use.
std::string withoutDeletedMark(std::string path) {
    constexpr std::string_view kMark = " (deleted)";
    if (path.size() > kMark.size() && path.compare(path.size() - kMark.size(), kMark.size(), kMark) == 0)
        path.resize(path.size() - kMark.size());
    return path;
}

// Each line is "first-last access offset device inode   path", addresses in hexadecimal.
std::string mappedFileAt(const void* address) {
    const auto wanted = reinterpret_cast<std::uintptr_t>(address);
    std::ifstream maps("/proc/self/maps");
    for (std::string line; std::getline(maps, line);) {
        std::istringstream fields(line);
        std::uintptr_t first = 0;
        std::uintptr_t last = 0;
        char dash = 0;
        fields >> std::hex >> first >> dash >> last;
        if (wanted < first || wanted >= last) continue;
        const auto path = line.find('/');
        return path == std::string::npos ? std::string() : withoutDeletedMark(line.substr(path));
    }
    return {};
}

std::string resolved(const std::string& path) {
    const OwnedText real(realpath(path.c_str(), nullptr));
    return real ? real.get() : path;
}

std::string accountHome() {
    std::vector<char> buffer(16384);
    passwd record{};
    passwd* found = nullptr;
    if (getpwuid_r(getuid(), &record, buffer.data(), buffer.size(), &found) != 0 || !found) return {};
    return found->pw_dir ? found->pw_dir : "";
}

}  // namespace

PathStyle nativePathStyle() { return PathStyle::Posix; }

std::wstring currentDirectory() {
    const OwnedText text(getcwd(nullptr, 0));
    // The system marks a directory that cannot be reached from the root by a text that is no path.
    return text && text.get()[0] == '/' ? widen(text.get()) : std::wstring();
}

std::wstring systemDrive() { return L"/"; }

std::wstring userProfile() {
    const char* home = std::getenv("HOME");
    return widen(home && *home ? std::string(home) : accountHome());
}

std::wstring temporaryDirectory() {
    const char* directory = std::getenv("TMPDIR");
    return widen(directory && *directory ? directory : "/tmp/");
}

std::wstring executableFile() {
    std::vector<char> buffer(PATH_MAX + 64);
    const auto length = readlink("/proc/self/exe", buffer.data(), buffer.size());
    if (length <= 0) return {};
    return widen(withoutDeletedMark(std::string(buffer.data(), static_cast<std::size_t>(length))));
}

std::wstring moduleContaining(const void* address) {
    Dl_info info{};
    link_map* map = nullptr;
    if (dladdr1(address, &info, reinterpret_cast<void**>(&map), RTLD_DL_LINKMAP) == 0 || !map) return {};
    const std::string_view name = map->l_name;
    if (name.empty()) return executableFile();
    // A library opened by a relative path keeps that text, wherever the process has gone since.
    return widen(name.front() == '/' ? resolved(std::string(name)) : mappedFileAt(address));
}

}  // namespace os
