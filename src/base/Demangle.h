#pragma once

#include <cxxabi.h>

#include <cstdlib>
#include <memory>
#include <string>

namespace base {

/// Frees what the C library allocated.
struct Free {
    void operator()(char* text) const { std::free(text); }
};
using MallocText = std::unique_ptr<char, Free>;

/// The plain form of a mangled name; "" if it is not one. A single letter is a type: "f" is float.
inline std::string demangled(const char* name) {
    int status = 0;
    const MallocText text(abi::__cxa_demangle(name, nullptr, nullptr, &status));
    return text ? text.get() : "";
}

}  // namespace base
