#include "QvPluginSystem/rules/BuildInfo.h"

#include "Require.h"

#include <cstddef>
#include <cstdint>
#include <istream>
#include <map>
#include <sstream>
#include <string>

namespace {

using fuzz::require;
using QvPluginSystem::rules::BuildInfo;
using Pairs = std::map<std::string, std::string>;

// The format's own definition: pairs read from a text stream until a read fails.
Pairs referencePairs(const std::string& text) {
    Pairs pairs;
    std::istringstream stream(text);
    std::string key;
    std::string value;
    while (std::getline(std::getline(stream, key, ':') >> std::ws, value)) pairs[key] = value;
    return pairs;
}

std::int32_t referenceNumber(const std::string& value) {
    const std::size_t start = !value.empty() && (value[0] == '-' || value[0] == '+') ? 1 : 0;
    std::int64_t number = 0;
    for (std::size_t i = start; i < value.size() && value[i] >= '0' && value[i] <= '9'; ++i)
        number = (number * 10 + (value[i] - '0')) % 0x100000000;
    return static_cast<std::int32_t>(
        static_cast<std::uint32_t>(start == 1 && value[0] == '-' ? -number : number));
}

}  // namespace

extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t* data, std::size_t size) {
    const std::string text(data, data + size);
    const BuildInfo info = QvPluginSystem::rules::parseBuildInfo(text);
    Pairs pairs = referencePairs(text);
    require(info.platform == referenceNumber(pairs["Plateform"]));
    require(info.compilerName == pairs["CompilerName"]);
    require(info.compilerVersion == referenceNumber(pairs["CompilerVersion"]));
    require(info.release == referenceNumber(pairs["Release"]));
    require(info.productMajor == referenceNumber(pairs["QvVersionMajor"]));
    require(info.productMinor == referenceNumber(pairs["QvVersionMinor"]));
    require(info.productServicePack == referenceNumber(pairs["QvVersionServicePack"]));
    return 0;
}
