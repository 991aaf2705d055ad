#pragma once

#include "base/ObjectIn.h"
#include "base/Utf.h"

// The only file that includes the system's header.
#ifndef WIN32_LEAN_AND_MEAN
#define WIN32_LEAN_AND_MEAN
#endif
#ifndef NOMINMAX
#define NOMINMAX
#endif
#include <windows.h>

#include <algorithm>
#include <cstddef>
#include <cstdint>
#include <optional>
#include <string>
#include <utility>

/// What several files need from the system: error texts, path forms, growing buffers, owners of system
/// resources. All of it is inline; only `errorText` needs base/Utf.cpp.
namespace os::win32 {

/// "error 126: " and the system's text, which is in the user's language and ends its line. Without a number
/// for success, and without a text for an unknown code.
inline std::wstring wideErrorText(DWORD code) {
    wchar_t buffer[512] = L"";
    const DWORD length = FormatMessageW(FORMAT_MESSAGE_FROM_SYSTEM | FORMAT_MESSAGE_IGNORE_INSERTS, nullptr,
                                        code, 0, buffer, sizeof buffer / sizeof *buffer, nullptr);
    const std::wstring text(buffer, length);
    if (code == ERROR_SUCCESS) return text;
    const std::wstring number = L"error " + std::to_wstring(code);
    return text.empty() ? number : number + L": " + text;
}

inline std::string errorText(DWORD code) { return base::narrow(wideErrorText(code)); }

inline std::wstring universal(std::wstring path) {
    std::replace(path.begin(), path.end(), L'\\', L'/');
    return path;
}

/// An open handle, closed by the destructor.
class Handle {
public:
    /// Accepts both values that the system uses for an invalid handle.
    explicit Handle(HANDLE handle = nullptr) noexcept
        : handle_(handle == INVALID_HANDLE_VALUE ? nullptr : handle) {}
    Handle(Handle&& other) noexcept : handle_(std::exchange(other.handle_, nullptr)) {}
    Handle(const Handle&) = delete;
    Handle& operator=(const Handle&) = delete;
    Handle& operator=(Handle&& other) noexcept {
        std::swap(handle_, other.handle_);
        return *this;
    }
    ~Handle() {
        if (handle_) CloseHandle(handle_);
    }

    explicit operator bool() const noexcept { return handle_ != nullptr; }
    HANDLE get() const noexcept { return handle_; }

private:
    HANDLE handle_;
};

/// Of the `Handle` that lives in this storage.
inline HANDLE handleIn(void* storage) { return base::objectIn<Handle>(storage)->get(); }

/// A path for a system call. Returns "", which names no file, if the path contains a zero: the system would
/// ignore the rest and use another file.
inline std::wstring systemPath(const std::wstring& path) {
    return path.find(L'\0') == std::wstring::npos ? path : std::wstring();
}

/// The same, but names a link itself instead of its target. A drive's root keeps its slash, because without
/// it the text means the drive's current directory.
inline std::wstring withoutFinalSlash(const std::wstring& path) {
    std::wstring text = systemPath(path);
    const bool isRoot = text.ends_with(L":/");
    if (text.ends_with(L'/') && !isRoot) text.pop_back();
    return text;
}

/// Runs a call that fills a buffer and returns the length, or 0 on failure. If the buffer is too small, the
/// call returns the size that it needs, or the size of the buffer, and is repeated.
template <typename Call>
std::wstring filled(Call call) {
    std::wstring text(MAX_PATH, L'\0');
    for (;;) {
        const DWORD length = call(text.data(), static_cast<DWORD>(text.size()));
        const bool fits = length < text.size();
        text.resize(fits ? length : std::max<std::size_t>(length, 2 * text.size()));
        if (fits) return text;
    }
}

/// The full path of a module's file in the system's form; null means the program.
inline std::wstring fileOfModule(HMODULE module) {
    return filled([=](wchar_t* buffer, DWORD size) { return GetModuleFileNameW(module, buffer, size); });
}

/// An environment variable; nothing if it is absent.
inline std::optional<std::wstring> variable(const wchar_t* name) {
    SetLastError(ERROR_SUCCESS);
    std::wstring value =
        filled([=](wchar_t* buffer, DWORD size) { return GetEnvironmentVariableW(name, buffer, size); });
    if (value.empty() && GetLastError() == ERROR_ENVVAR_NOT_FOUND) return std::nullopt;
    return value;
}

/// A number from the two halves that the system returns.
constexpr std::uint64_t joined(DWORD high, DWORD low) { return std::uint64_t{high} << 32U | low; }

/// The system counts units of 100 ns since 1601, in UTC.
constexpr std::int64_t secondsSince1970(const FILETIME& time) {
    constexpr std::uint64_t kTicksPerSecond = 10'000'000;
    constexpr std::int64_t kSecondsFrom1601To1970 = 11'644'473'600;
    const std::uint64_t ticks = joined(time.dwHighDateTime, time.dwLowDateTime);
    return static_cast<std::int64_t>(ticks / kTicksPerSecond) - kSecondsFrom1601To1970;
}

}  // namespace os::win32
