#pragma once

#include <cstdint>
#include <functional>
#include <string_view>

namespace base {

/// The 64-bit FNV-1a hash of Fowler, Noll and Vo, over the projection of each byte.
template <typename Project = std::identity>
std::uint64_t fnv1a(std::string_view bytes, Project project = {}) {
    std::uint64_t hash = 0xCBF29CE484222325;
    for (const char byte : bytes) hash = (hash ^ static_cast<unsigned char>(project(byte))) * 0x100000001B3;
    return hash;
}

}  // namespace base
