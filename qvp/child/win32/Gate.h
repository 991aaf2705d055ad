#pragma once

#include <QvPlatform/core/StringConversions.h>

// The one place of the tool that includes the system's header.
#ifndef WIN32_LEAN_AND_MEAN
#define WIN32_LEAN_AND_MEAN
#endif
#ifndef NOMINMAX
#define NOMINMAX
#endif
#include <windows.h>

#include <algorithm>
#include <string>
#include <utility>

/// What the files of this folder share: texts of the system, owners of what it hands out.
namespace qvp {

/// The system's own text on one line; "" for a code that it does not know.
inline std::string systemErrorText(DWORD code) {
    wchar_t buffer[512] = L"";
    const DWORD length = FormatMessageW(FORMAT_MESSAGE_FROM_SYSTEM | FORMAT_MESSAGE_IGNORE_INSERTS, nullptr,
                                        code, 0, buffer, sizeof buffer / sizeof *buffer, nullptr);
    std::wstring text(buffer, length);
    while (!text.empty() && (text.back() == L'\n' || text.back() == L'\r' || text.back() == L' '))
        text.pop_back();
    return QvPlatform::StringConversions::toNarrow(text);
}

/// The system's form of a path, which may be longer than 259 characters.
inline std::wstring nativePath(const std::string& path) {
    std::wstring wide = QvPlatform::StringConversions::toWide(path);
    std::replace(wide.begin(), wide.end(), L'/', L'\\');
    return wide;
}

inline std::string universalPath(std::wstring path) {
    std::replace(path.begin(), path.end(), L'\\', L'/');
    return QvPlatform::StringConversions::toNarrow(path);
}

/// Runs a call that fills a buffer and returns the length, or the size that it needs when the buffer is too
/// small, or 0 on failure.
template <typename Call>
std::wstring filledText(Call call) {
    std::wstring text(MAX_PATH, L'\0');
    for (;;) {
        const DWORD length = call(text.data(), static_cast<DWORD>(text.size()));
        const bool fits = length < text.size();
        text.resize(fits ? length : std::max<std::size_t>(length, 2 * text.size()));
        if (fits) return text;
    }
}

/// An open handle, closed at the end.
class Handle {
public:
    /// Both of the values that the system uses for none.
    explicit Handle(HANDLE handle = nullptr) noexcept
        : handle_(handle == INVALID_HANDLE_VALUE ? nullptr : handle) {}
    Handle(Handle&& other) noexcept : handle_(std::exchange(other.handle_, nullptr)) {}
    Handle& operator=(Handle&& other) noexcept {
        std::swap(handle_, other.handle_);
        return *this;
    }
    Handle(const Handle&) = delete;
    Handle& operator=(const Handle&) = delete;
    ~Handle() { close(); }

    explicit operator bool() const noexcept { return handle_ != nullptr; }
    HANDLE get() const noexcept { return handle_; }
    void close() noexcept {
        if (handle_) CloseHandle(std::exchange(handle_, nullptr));
    }

private:
    HANDLE handle_;
};

}  // namespace qvp
