#pragma once

#include <cstdint>
#include <string>

namespace QvPluginSystem {

/// How a plugin was built, as it says itself.
struct BuildInfo {
    std::int32_t platform = 0;
    std::string compilerName;
    std::int32_t compilerVersion = 0;
    std::int32_t release = 0;
    std::int32_t productMajor = 0;
    std::int32_t productMinor = 0;
    std::int32_t productServicePack = 0;
};

/// Reads lines "key:value"; the white space after the colon is skipped, line ends included, so an empty
/// value swallows the next line. A missing key reads as "" or 0, a later line overrides an earlier one.
/// Numbers are their leading decimal digits, signed, modulo 2^32.
BuildInfo parseBuildInfo(const std::string& text);

}  // namespace QvPluginSystem
