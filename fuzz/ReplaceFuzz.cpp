#include <QvPlatform/core/StringUtils.h>

#include "Require.h"

#include <cstddef>
#include <cstdint>
#include <string>

namespace {

// At each place either a whole occurrence or one character is passed on.
std::string referenceReplace(const std::string& text, const std::string& from, const std::string& to) {
    std::string result;
    for (std::size_t i = 0; i < text.size();) {
        const bool isHit = !from.empty() && text.compare(i, from.size(), from) == 0;
        result += isHit ? to : text.substr(i, 1);
        i += isHit ? from.size() : 1;
    }
    return result;
}

}  // namespace

extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t* data, std::size_t size) {
    if (size < 2) return 0;
    const std::string rest(data + 2, data + size);
    const std::string from = rest.substr(0, data[0] % 4U);
    const std::string to = rest.substr(0, data[1] % 6U);
    fuzz::require(QvSim::StringUtils::replace(rest, from, to) == referenceReplace(rest, from, to));
    return 0;
}
