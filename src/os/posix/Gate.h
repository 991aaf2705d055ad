#pragma once

#include "base/Utf.h"
#include "os/Cancellation.h"

#include <unistd.h>

#include <cstdlib>
#include <cstring>
#include <string>
#include <utility>

/// What the files of this folder share: error texts, path forms, owners of system resources.
namespace os::posix {

/// English in every locale: translating it would read the environment.
inline std::string errorText(int code) {
    const char* const text = strerrordesc_np(code);
    return text ? text : "Unknown error " + std::to_string(code);
}

/// A path's bytes for a system call. Returns "", which names no file, if the path contains a zero byte: the
/// system would ignore the rest and use another file.
inline std::string systemPath(const std::wstring& path) {
    std::string bytes = base::narrow(path);
    if (bytes.find('\0') != std::string::npos) bytes.clear();
    return bytes;
}

/// The same, but names a link itself instead of its target.
inline std::string withoutFinalSlash(const std::wstring& path) {
    std::string bytes = systemPath(path);
    while (bytes.size() > 1 && bytes.back() == '/') bytes.pop_back();
    return bytes;
}

struct Free {
    void operator()(char* text) const { std::free(text); }
};

/// An open file, closed by the destructor.
class Descriptor {
public:
    explicit Descriptor(int number) noexcept : number_(number) {}
    Descriptor(Descriptor&& other) noexcept : number_(std::exchange(other.number_, -1)) {}
    Descriptor(const Descriptor&) = delete;
    Descriptor& operator=(const Descriptor&) = delete;
    Descriptor& operator=(Descriptor&& other) noexcept {
        std::swap(number_, other.number_);
        return *this;
    }
    ~Descriptor() {
        const CancellationShield shield;  // a cancellation in a destructor would end the process
        if (number_ >= 0) ::close(number_);
    }

    explicit operator bool() const noexcept { return number_ >= 0; }
    int get() const noexcept { return number_; }
    int release() noexcept { return std::exchange(number_, -1); }
    bool close() noexcept { return ::close(release()) == 0; }

private:
    int number_;
};

}  // namespace os::posix
