#pragma once

#include <QvPlatform/diagnostics/CallStackViewer.h>
#include <QvPlatform/system/Process.h>

#include <cstddef>
#include <string>

// For functions that must be found on a stack: never inlined, no tail calls, and with a symbol name.
#define ON_STACK [[gnu::noinline]]

/// Helpers that the call stack tests share.
namespace support {

struct Walk {
    bool reachedEnd;
    std::string text;
};

ON_STACK inline Walk walkOwn() {
    QvPlatform::CallStackViewer viewer(QvSim::Process::getProcessID(), nullptr);
    const bool reachedEnd = viewer.getCallstack(nullptr, nullptr);
    return {reachedEnd, viewer.getOutput()};
}

inline std::ptrdiff_t countOf(const std::string& text, const std::string& part) {
    std::ptrdiff_t count = 0;
    for (auto at = text.find(part); at != std::string::npos; at = text.find(part, at + 1)) ++count;
    return count;
}

}  // namespace support
