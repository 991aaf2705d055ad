#include <QvPlatform/core/StringUtils.h>

#include "core/Base64Paths.h"

#include "Require.h"
#include "support/Base64Reference.h"

#include <cstddef>
#include <cstdint>
#include <string>

namespace {

template <typename Function>
std::string madeBy(Function function, const std::string& input, std::size_t inGroup, std::size_t outGroup) {
    return support::resultOfPath(function, input, inGroup, outGroup, fuzz::require);
}

void checkDecoding(const std::string& text) {
    const std::string expected = support::decodedByBits(text);
    fuzz::require(QvSim::StringUtils::base64Decode(text) == expected);
    for (const auto* path : Qv::detail::base64Paths())
        if (path) fuzz::require(expected.starts_with(madeBy(path->decode, text, 4, 3)));
}

}  // namespace

// The first byte chooses a character of the encoded text, the second one replaces it.
extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t* data, std::size_t size) {
    using namespace QvSim::StringUtils;
    const std::string text(data, data + size);
    checkDecoding(text);
    std::string encoded = base64Encode(text);
    fuzz::require(encoded.size() == (size + 2) / 3 * 4);
    fuzz::require(base64Decode(encoded) == text);
    for (const auto* path : Qv::detail::base64Paths())
        if (path) fuzz::require(encoded.starts_with(madeBy(path->encode, text, 3, 4)));
    if (size < 2) return 0;
    encoded[data[0] % encoded.size()] = static_cast<char>(data[1]);
    checkDecoding(encoded);
    return 0;
}
