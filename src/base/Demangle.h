#pragma once

#include <cxxabi.h>

#include <cstdlib>
#include <memory>
#include <string>
#include <typeinfo>

namespace base {

/// The plain form of a mangled name; "" if it is not one. A single letter is a type: "f" is float.
inline std::string demangled(const char* name) {
    int status = 0;
    const std::unique_ptr<char, void (*)(void*)> text(abi::__cxa_demangle(name, nullptr, nullptr, &status),
                                                      std::free);
    return text ? text.get() : "";
}

/// The plain name of an object's own type.
template <typename Object>
std::string typeName(const Object& object) {
    const char* const name = typeid(object).name();
    std::string plain = demangled(name);
    return plain.empty() ? name : plain;
}

}  // namespace base
