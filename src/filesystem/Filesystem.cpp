#include <QvPlatform/filesystem/Filesystem.h>

#include "base/Utf.h"
#include "os/Cancellation.h"
#include "os/FileOperations.h"
#include "os/Filesystem.h"
#include "os/ProcessInfo.h"
#include "os/RandomText.h"
#include "os/SystemPaths.h"

#include <atomic>
#include <limits>

namespace QvPlatform::Filesystem {
namespace {

constinit std::atomic<std::uint32_t> lastNumber{0};

// Returns 0 if all numbers have been used.
std::uint32_t nextNumber() {
    std::uint32_t number = lastNumber;
    do {
        if (number == std::numeric_limits<std::uint32_t>::max()) return 0;
    } while (!lastNumber.compare_exchange_weak(number, number + 1));
    return number + 1;
}

File temporaryFile(const std::string& prefix) {
    const std::string program = File::fromWide(os::executableFile()).getBaseName();
    const std::string middle = prefix.empty() ? std::string() : "_" + prefix;
    return Directory(Directory::kTemporaryDirectory)
        .file(program + middle + "_" + os::randomText(16) + ".tmp");
}

bool isName(const std::string& text) { return text.find_first_of("/\\") == std::string::npos; }

}  // namespace

bool changeCurrentDirectory(const Directory& dir) { return os::setCurrentDirectory(dir.widePath() + L"/"); }

bool copy(const File& src, const File& dst, bool overwrite) {
    const os::CancellationShield shield;
    return os::copyFile(src.widePath(), dst.widePath(), overwrite);
}

bool copy(const File& src, const Directory& dst, bool overwrite) {
    return dst.exists() && copy(src, dst.file(src.getName()), overwrite);
}

bool create(const Directory& dir) {
    if (os::createDirectory(dir.widePath())) return true;
    std::vector<Directory> missing;
    for (Directory current = dir; !current.exists(); current = missing.back().parent()) {
        // There is nothing to create above a root: its parent is empty or the root itself.
        if (current.widePath().empty()) return false;
        if (!missing.empty() && current.widePath() == missing.back().widePath()) return false;
        missing.push_back(current);
    }
    for (; !missing.empty(); missing.pop_back()) {
        if (!os::createDirectory(missing.back().widePath()) && !missing.back().exists()) return false;
    }
    return true;
}

bool create(const File& file) {
    if (!create(Directory(file)) || file.exists()) return false;
    os::createFile(file.widePath(), os::Audience::everyone);
    return true;
}

bool remove(const File& file) { return os::removeFile(file.widePath()); }

bool rename(const Directory& dir, const std::string& newName) {
    return isName(newName) &&
           os::moveWithoutReplacing(dir.widePath(), dir.parent().directory(newName).widePath());
}

bool rename(const File& file, const std::string& newName) {
    return isName(newName) &&
           os::moveWithoutReplacing(file.widePath(), Directory(file).file(newName).widePath());
}

bool getLastModifiedTime(const File& file, std::int64_t* time) {
    if (!time) return false;
    const auto found = os::modificationTime(file.widePath());
    if (found) *time = *found;
    return found.has_value();
}

std::string createUniqueName(const std::string& prefix) {
    const std::uint32_t number = nextNumber();
    if (number == 0) return {};
    return prefix + "_" + std::to_string(os::processId()) + "_" + std::to_string(number);
}

File createTempFile(const std::string& prefix) {
    File file = temporaryFile(prefix);
    os::createFile(file.widePath(), os::Audience::owner);
    return file;
}

File createTempFileName(const std::string& prefix) {
    File file = createTempFile(prefix);
    remove(file);
    return file;
}

}  // namespace QvPlatform::Filesystem
