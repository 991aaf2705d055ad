#include <QvPlatform/core/StringUtils.h>

#include "Require.h"

#include <cstddef>
#include <cstdint>
#include <string>

namespace {

// One entity for each run between other text, character by character.
std::string referencePass(const std::string& text, char special, const std::string& entity) {
    std::string result;
    bool isPending = false;
    for (const char c : text) {
        if (c == special) {
            isPending = !result.empty();
            continue;
        }
        if (isPending) result += entity;
        isPending = false;
        result += c;
    }
    return result;
}

}  // namespace

extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t* data, std::size_t size) {
    std::string text(data, data + size);
    const std::string escaped = QvSim::StringUtils::tryFormatToXMLString(text);
    text = referencePass(text, ' ', "&nbsp;");
    text = referencePass(text, '<', "&lt;");
    text = referencePass(text, '>', "&gt;");
    fuzz::require(escaped == referencePass(text, '"', "&quot;"));
    return 0;
}
