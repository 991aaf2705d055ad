#include "QvPluginSystem/BuildInfo.h"

#include <QvPlatform/diagnostics/Log.h>

#include <algorithm>
#include <exception>
#include <string_view>
#include <utility>
#include <vector>

namespace QvPluginSystem {
namespace {

using Pairs = std::vector<std::pair<std::string_view, std::string_view>>;

Pairs readPairs(std::string_view text) {
    Pairs pairs;
    pairs.reserve(8);
    for (;;) {
        const auto colon = text.find(':');
        if (colon == std::string_view::npos) return pairs;
        const std::string_view key = text.substr(0, colon);
        const auto valueStart = text.find_first_not_of(" \t\n\v\f\r", colon + 1);
        if (valueStart == std::string_view::npos) return pairs;
        const auto lineEnd = text.find('\n', valueStart);
        pairs.emplace_back(key, text.substr(valueStart, lineEnd - valueStart));
        if (lineEnd == std::string_view::npos) return pairs;
        text.remove_prefix(lineEnd + 1);
    }
}

// The last one of a key counts.
std::string_view valueOf(const Pairs& pairs, std::string_view key) {
    const auto found =
        std::find_if(pairs.rbegin(), pairs.rend(), [&](const auto& pair) { return pair.first == key; });
    return found == pairs.rend() ? std::string_view() : found->second;
}

std::int32_t numberOf(const Pairs& pairs, std::string_view key) {
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

BuildInfo parse(const std::string& text) {
    const Pairs pairs = readPairs(text);
    BuildInfo info;
    info.platform = numberOf(pairs, "Plateform");
    info.compilerName = valueOf(pairs, "CompilerName");
    info.compilerVersion = numberOf(pairs, "CompilerVersion");
    info.release = numberOf(pairs, "Release");
    info.productMajor = numberOf(pairs, "QvVersionMajor");
    info.productMinor = numberOf(pairs, "QvVersionMinor");
    info.productServicePack = numberOf(pairs, "QvVersionServicePack");
    return info;
}

}  // namespace

BuildInfo parseBuildInfo(const std::string& text) {
    try {
        return parse(text);
    } catch (const std::exception& exception) {
        Qv::LogWarn("QvPluginManager - The following error occurred when parsing the build info : %s.",
                    exception.what());
    } catch (...) {
        Qv::LogWarn("QvPluginManager - An error occurred when parsing the build info");
    }
    return {};
}

}  // namespace QvPluginSystem
