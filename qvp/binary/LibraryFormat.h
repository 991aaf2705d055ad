#pragma once

#include "binary/FileContent.h"

#include <cstdint>
#include <string>
#include <string_view>

namespace qvp {

/// The kind of a file, from its first bytes.
struct LibraryFormat {
    enum class Kind { elf, pe, other };

    Kind kind = Kind::other;
    bool isLibrary = false;   ///< can be opened by a loader; false for a program or an object file
    bool isX8664 = false;     ///< for 64-bit x86, little-endian
    std::string description;  ///< "ELF shared library, x86-64", "PE library, AArch64", "text file", ...
};

/// "Linux" or "Windows", whose libraries are of this kind; "" for another kind.
const char* systemOf(LibraryFormat::Kind kind);

LibraryFormat recognizeFormat(const FileContent& content);

/// A little-endian number, as in both formats for x86-64; 0 past the end.
template <typename Number>
Number numberAt(std::string_view bytes, std::size_t offset) {
    Number value = 0;
    if (offset > bytes.size() || bytes.size() - offset < sizeof value) return 0;
    for (std::size_t i = sizeof value; i-- > 0;)
        value = static_cast<Number>(value << 8U | static_cast<unsigned char>(bytes[offset + i]));
    return value;
}
inline std::uint32_t number32(std::string_view bytes, std::size_t offset) {
    return numberAt<std::uint32_t>(bytes, offset);
}

}  // namespace qvp
