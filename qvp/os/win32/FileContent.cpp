#include "binary/FileContent.h"

#include "child/win32/Gate.h"

#include <utility>

namespace qvp {

struct FileContent::Record {
    explicit Record(Handle opened) : file(std::move(opened)) {}

    Handle file;
};

namespace {

constexpr DWORD kShareAll = FILE_SHARE_READ | FILE_SHARE_WRITE | FILE_SHARE_DELETE;

bool isMissing(DWORD error) {
    return error == ERROR_FILE_NOT_FOUND || error == ERROR_PATH_NOT_FOUND || error == ERROR_INVALID_NAME ||
           error == ERROR_BAD_PATHNAME;
}

// The system counts units of 100 nanoseconds since 1601.
std::int64_t secondsSince1970(const FILETIME& time) {
    constexpr std::int64_t kUnitsPerSecond = 10'000'000;
    constexpr std::int64_t kSecondsFrom1601To1970 = 11'644'473'600;
    const auto units =
        static_cast<std::int64_t>(std::uint64_t{time.dwHighDateTime} << 32U | time.dwLowDateTime);
    return units / kUnitsPerSecond - kSecondsFrom1601To1970;
}

}  // namespace

FileContent::FileContent(const std::string& path)
    : record_(std::make_unique<Record>(
          Handle(CreateFileW(nativePath(path).c_str(), GENERIC_READ, kShareAll, nullptr, OPEN_EXISTING,
                             FILE_FLAG_BACKUP_SEMANTICS, nullptr)))) {
    BY_HANDLE_FILE_INFORMATION information{};
    if (!record_->file || !GetFileInformationByHandle(record_->file.get(), &information)) {
        const DWORD error = GetLastError();
        errorNumber_ = static_cast<int>(error);
        errorText_ = systemErrorText(error);
        problem_ = isMissing(error) ? Problem::missing : Problem::unreadable;
        return;
    }
    if ((information.dwFileAttributes & FILE_ATTRIBUTE_DIRECTORY) != 0) problem_ = Problem::notAFile;
    size_ = std::uint64_t{information.nFileSizeHigh} << 32U | information.nFileSizeLow;
    modified_ = secondsSince1970(information.ftLastWriteTime);
}

FileContent::~FileContent() = default;

std::string FileContent::read(std::uint64_t offset, std::size_t count) const {
    constexpr std::uint64_t kMostAtOnce = 0x7FFFFFFF;
    if (offset >= size_) return {};
    std::string bytes(std::min({std::uint64_t{count}, size_ - offset, kMostAtOnce}), '\0');
    OVERLAPPED place{};
    place.Offset = static_cast<DWORD>(offset);
    place.OffsetHigh = static_cast<DWORD>(offset >> 32U);
    DWORD got = 0;
    if (!ReadFile(record_->file.get(), bytes.data(), static_cast<DWORD>(bytes.size()), &got, &place)) got = 0;
    bytes.resize(got);
    return bytes;
}

std::intptr_t FileContent::handle() const noexcept {
    return reinterpret_cast<std::intptr_t>(record_->file.get());
}

}  // namespace qvp
