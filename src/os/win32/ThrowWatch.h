#pragma once

#include "os/win32/Gate.h"

#include <string>

namespace os::win32 {

/// Learns what the static initializers of a library threw that the calling thread opens meanwhile. The
/// system's loader stops such an exception and keeps nothing of it but its code.
class ThrowWatch {
public:
    ThrowWatch();
    ThrowWatch(const ThrowWatch&) = delete;
    ThrowWatch& operator=(const ThrowWatch&) = delete;
    ~ThrowWatch();

    /// Whether the loader stopped an exception, given its error. The C++ runtime, which does not know that
    /// the exception is gone, then counts it no longer.
    bool sawUncaught(DWORD loaderError);
    /// The text of the last exception.
    const std::string& text() const { return text_; }

private:
    static LONG CALLBACK note(EXCEPTION_POINTERS* exception);

    ThrowWatch* const outer_;
    const unsigned uncaughtBefore_;
    std::string text_;
    void* const handler_;
};

}  // namespace os::win32
