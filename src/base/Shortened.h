#pragma once

#include <cstddef>
#include <string>

namespace base {

/// The text, or its beginning and "..." if it has more bytes than that. Cuts no UTF-8 character.
inline std::string shortened(const std::string& text, std::size_t most) {
    if (text.size() <= most) return text;
    std::size_t end = most;
    while (end > 0 && (static_cast<unsigned char>(text[end]) & 0xC0U) == 0x80U) --end;
    return text.substr(0, end) + "...";
}

}  // namespace base
