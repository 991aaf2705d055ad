#pragma once

#include <random>
#include <string>

namespace support {

/// The same bytes in each run.
inline std::string randomBytes(std::size_t count, unsigned int seed) {
    std::mt19937 random(seed);
    std::string bytes(count, '\0');
    for (char& byte : bytes) byte = static_cast<char>(random());
    return bytes;
}

}  // namespace support
