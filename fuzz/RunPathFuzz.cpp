#include "loader/posix/RunPath.h"

#include <QvPlatform/filesystem/File.h>

#include "Require.h"

#include <algorithm>
#include <cstddef>
#include <cstdint>
#include <string>

namespace {

// Removes the first of the texts that stands at the begin.
bool takeOneOf(std::string& text, const std::string& first, const std::string& second) {
    for (const std::string& each : {first, second}) {
        if (!text.starts_with(each)) continue;
        text.erase(0, each.size());
        return true;
    }
    return false;
}

// A token at a time. What this system puts for $LIB and $PLATFORM is taken from the function.
std::string referenceFolder(std::string rest, const std::string& library, const std::string& platform) {
    std::string folder;
    while (!rest.empty()) {
        if (takeOneOf(rest, "${ORIGIN}", "$ORIGIN")) {
            folder += "/opt/folder";
        } else if (takeOneOf(rest, "${LIB}", "$LIB")) {
            folder += library;
        } else if (takeOneOf(rest, "${PLATFORM}", "$PLATFORM")) {
            folder += platform;
        } else {
            folder += rest.front();
            rest.erase(0, 1);
        }
    }
    while (folder.size() > 1 && folder.back() == '/') folder.pop_back();
    return folder.empty() ? "." : folder;
}

}  // namespace

// Stand in for the library's.
QvPlatform::File::File(const std::string&) {}
QvPlatform::File::~File() = default;
std::string QvPlatform::File::getFolderPath() const { return "/opt/folder/"; }

extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t* data, std::size_t size) {
    static const std::string library = qvp::runPathFolders("$LIB", "").at(0);
    static const std::string platform = qvp::runPathFolders("$PLATFORM", "").at(0);
    std::string rest(data, data + size);
    for (const std::string& folder : qvp::runPathFolders(rest, "/opt/folder/lib.so")) {
        const auto end = std::min(rest.find(':'), rest.size());
        fuzz::require(folder == referenceFolder(rest.substr(0, end), library, platform));
        rest.erase(0, end + 1);
    }
    fuzz::require(rest.empty());
    return 0;
}
