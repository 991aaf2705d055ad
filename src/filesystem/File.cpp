#include <QvPlatform/filesystem/File.h>

#include "base/Utf.h"
#include "filesystem/PathText.h"
#include "os/Filesystem.h"
#include "os/SystemPaths.h"

#include <utility>

namespace QvPlatform {

File::File() = default;
File::File(const std::string& path) : path_(PathText::fromText(path, PathRules::PathKind::file)) {}
File::File(const File& other) = default;
File::File(File&& other) noexcept = default;
File& File::operator=(const File& other) = default;
File& File::operator=(File&& other) noexcept = default;
File::~File() = default;

File File::thatContains(void* address) { return fromWide(os::moduleContaining(address)); }

File File::fromWide(std::wstring path) {
    File file;
    file.path_ = std::move(path);
    return file;
}

bool File::operator<(const File& other) const { return PathRules::compareFolded(path_, other.path_) < 0; }

std::string File::getName() const { return base::narrow(PathText::lastComponent(path_)); }

std::string File::getBaseName() const {
    const std::wstring_view name = PathText::lastComponent(path_);
    return base::narrow(name.substr(0, name.rfind(L'.')));
}

std::string File::getExtension() const {
    const std::wstring_view name = PathText::lastComponent(path_);
    const auto dot = name.rfind(L'.');
    return dot == std::wstring_view::npos ? std::string() : base::narrow(name.substr(dot));
}

std::string File::getFolderPath() const {
    const std::wstring_view path = path_;
    return base::narrow(path.substr(0, path.size() - PathText::lastComponent(path).size()));
}

std::string File::toNativePath() const { return PathText::toText(path_, true, path_); }

std::string File::toUniversalPath() const { return base::narrow(path_); }

const std::wstring& File::widePath() const noexcept { return path_; }

bool File::exists() const {
    const os::EntryKind kind = os::entryStatus(path_).kind;
    return kind != os::EntryKind::missing && kind != os::EntryKind::directory;
}

}  // namespace QvPlatform
