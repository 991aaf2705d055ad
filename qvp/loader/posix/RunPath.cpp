#include "loader/posix/RunPath.h"

#include <QvPlatform/filesystem/File.h>

#include <link.h>
#include <sys/auxv.h>

#include <array>
#include <climits>
#include <cstring>
#include <string_view>
#include <utility>

namespace qvp {
namespace {

// What the loader puts for $LIB is built into it; the C library's own folder shows it.
std::string libraryFolderName() {
    std::string folder = "lib";
    const auto take = [](dl_phdr_info* info, std::size_t, void* result) {
        const std::string_view path = info->dlpi_name;
        const auto slash = path.rfind('/');
        if (slash == std::string_view::npos || path.substr(slash) != "/libc.so.6") return 0;
        *static_cast<std::string*>(result) = path.substr(1, slash - 1);
        return 1;
    };
    dl_iterate_phdr(take, &folder);
    return folder.starts_with("usr/") ? folder.substr(4) : folder;
}

std::string platformName() {
    // The system keeps it as a number.
    const unsigned long address = getauxval(AT_PLATFORM);
    const char* name = nullptr;
    std::memcpy(&name, &address, sizeof name);
    return name ? name : "";
}

std::string expanded(std::string text, const std::string& origin) {
    static const std::string library = libraryFolderName();
    static const std::string platform = platformName();
    const std::array<std::pair<const char*, const std::string*>, 6> values{{{"${ORIGIN}", &origin},
                                                                            {"$ORIGIN", &origin},
                                                                            {"${LIB}", &library},
                                                                            {"$LIB", &library},
                                                                            {"${PLATFORM}", &platform},
                                                                            {"$PLATFORM", &platform}}};
    for (const auto& [name, value] : values) {
        for (auto at = text.find(name); at != std::string::npos; at = text.find(name, at + value->size()))
            text.replace(at, std::strlen(name), *value);
    }
    return text;
}

}  // namespace

std::vector<std::string> runPathFolders(std::string_view runPath, const std::string& file) {
    std::string origin = QvPlatform::File(file).getFolderPath();
    if (origin.size() > 1) origin.pop_back();
    std::vector<std::string> folders;
    for (bool isLast = false; !isLast;) {
        const auto end = runPath.find(':');
        isLast = end == std::string_view::npos;
        const std::string_view written = runPath.substr(0, end);
        runPath.remove_prefix(isLast ? runPath.size() : end + 1);
        if (written.size() >= PATH_MAX) continue;
        std::string folder = expanded(std::string(written), origin);
        while (folder.size() > 1 && folder.back() == '/') folder.pop_back();
        folders.push_back(folder.empty() ? "." : folder);
    }
    return folders;
}

}  // namespace qvp
