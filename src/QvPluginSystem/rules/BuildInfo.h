#pragma once

#include <cstdint>
#include <string>
#include <string_view>
#include <utility>
#include <vector>

namespace QvPluginSystem::rules {

/// The lines "key:value" of a build-information text, as views of it. The white space after the colon is
/// skipped, line ends included, so an empty value takes the next line for its own.
using BuildPairs = std::vector<std::pair<std::string_view, std::string_view>>;
BuildPairs readBuildPairs(std::string_view text);

/// The value of a key, of its last line if there are several; null if there is none.
const std::string_view* findBuildValue(const BuildPairs& pairs, std::string_view key);

/// How a plugin was built, according to its own text.
struct BuildInfo {
    std::int32_t platform = 0;
    std::string compilerName;
    std::int32_t compilerVersion = 0;
    std::int32_t release = 0;
    std::int32_t productMajor = 0;
    std::int32_t productMinor = 0;
    std::int32_t productServicePack = 0;
};

/// A missing key reads as "" or 0. Numbers are their leading decimal digits, signed, modulo 2^32.
BuildInfo parseBuildInfo(std::string_view text);

/// The compiler that built the plugin, without reading the rest: `parseBuildInfo(text).compilerName`.
std::string_view buildCompiler(std::string_view text);

/// The compiler whose builds are compared with the product's own.
inline constexpr const char* kComparedCompiler = "MSVC";

/// The reason to reject the build of a plugin with this display name; "" if it is accepted.
std::string buildMismatch(const std::string& plugin, const BuildInfo& build);

}  // namespace QvPluginSystem::rules
