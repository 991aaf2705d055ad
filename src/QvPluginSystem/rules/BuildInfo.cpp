#include "QvPluginSystem/rules/BuildInfo.h"

#include <algorithm>

namespace QvPluginSystem::rules {
namespace {

constexpr std::string_view kCompilerKey = "CompilerName";

template <typename Visit>
void visitPairs(std::string_view text, Visit visit) {
    for (;;) {
        const auto colon = text.find(':');
        if (colon == std::string_view::npos) return;
        const std::string_view key = text.substr(0, colon);
        const auto valueStart = text.find_first_not_of(" \t\n\v\f\r", colon + 1);
        if (valueStart == std::string_view::npos) return;
        const auto lineEnd = text.find('\n', valueStart);
        visit(key, text.substr(valueStart, lineEnd - valueStart));
        if (lineEnd == std::string_view::npos) return;
        text.remove_prefix(lineEnd + 1);
    }
}

std::string_view valueOf(const BuildPairs& pairs, std::string_view key) {
    const std::string_view* const value = findBuildValue(pairs, key);
    return value ? *value : std::string_view();
}

std::int32_t numberOf(const BuildPairs& pairs, std::string_view key) {
    std::string_view digits = valueOf(pairs, key);
    const bool isNegative = digits.starts_with('-');
    if (isNegative || digits.starts_with('+')) digits.remove_prefix(1);
    std::uint32_t number = 0;
    for (const char c : digits) {
        if (c < '0' || c > '9') break;
        number = number * 10U + static_cast<std::uint32_t>(c - '0');
    }
    return static_cast<std::int32_t>(isNegative ? 0U - number : number);
}

}  // namespace

BuildPairs readBuildPairs(std::string_view text) {
    BuildPairs pairs;
    visitPairs(text, [&](std::string_view key, std::string_view value) { pairs.emplace_back(key, value); });
    return pairs;
}

std::string_view buildCompiler(std::string_view text) {
    std::string_view compiler;
    visitPairs(text, [&](std::string_view key, std::string_view value) {
        if (key == kCompilerKey) compiler = value;
    });
    return compiler;
}

const std::string_view* findBuildValue(const BuildPairs& pairs, std::string_view key) {
    const auto found =
        std::find_if(pairs.rbegin(), pairs.rend(), [&](const auto& pair) { return pair.first == key; });
    return found == pairs.rend() ? nullptr : &found->second;
}

BuildInfo parseBuildInfo(std::string_view text) {
    const BuildPairs pairs = readBuildPairs(text);
    BuildInfo info;
    info.platform = numberOf(pairs, "Plateform");
    info.compilerName = valueOf(pairs, kCompilerKey);
    info.compilerVersion = numberOf(pairs, "CompilerVersion");
    info.release = numberOf(pairs, "Release");
    info.productMajor = numberOf(pairs, "QvVersionMajor");
    info.productMinor = numberOf(pairs, "QvVersionMinor");
    info.productServicePack = numberOf(pairs, "QvVersionServicePack");
    return info;
}

std::string buildMismatch(const std::string& plugin, const BuildInfo& build) {
    if (build.compilerName != kComparedCompiler || build.release == 1) return {};
    return "The plugin " + plugin + " was built in debug mode while Quorex was built in debug mode";
}

}  // namespace QvPluginSystem::rules
