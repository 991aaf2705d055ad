#include "os/RandomText.h"

#include "os/ProcessInfo.h"

#include <boost/uuid/random_generator.hpp>
#include <boost/uuid/uuid.hpp>

#include <algorithm>
#include <array>
#include <atomic>
#include <chrono>
#include <cstdint>
#include <random>
#include <stdexcept>
#include <string_view>

namespace os {
namespace {

using Bytes = std::array<std::uint8_t, 16>;

constinit std::atomic<std::uint32_t> callsWithoutSource{0};

Bytes bytesOfTime() {
    const auto ticks =
        static_cast<std::uint64_t>(std::chrono::system_clock::now().time_since_epoch().count());
    std::seed_seq seed{static_cast<std::uint32_t>(ticks), static_cast<std::uint32_t>(ticks >> 32U),
                       static_cast<std::uint32_t>(processId()), ++callsWithoutSource};
    std::array<std::uint32_t, 16> words{};
    seed.generate(words.begin(), words.end());
    Bytes bytes{};
    std::transform(words.begin(), words.end(), bytes.begin(),
                   [](std::uint32_t word) { return static_cast<std::uint8_t>(word); });
    return bytes;
}

Bytes randomBytes() {
    Bytes bytes{};
    try {
        const boost::uuids::uuid value = boost::uuids::random_generator()();
        std::copy(value.begin(), value.end(), bytes.begin());
    } catch (const std::runtime_error&) {
        bytes = bytesOfTime();
    }
    return bytes;
}

}  // namespace

std::string randomText(std::size_t length) {
    constexpr std::string_view kDigits = "0123456789abcdefghijklmnopqrstuvwxyz";
    const Bytes bytes = randomBytes();
    std::string text(std::min(length, bytes.size()), '0');
    for (std::size_t i = 0; i < text.size(); ++i) text[i] = kDigits[bytes[i] % kDigits.size()];
    return text;
}

}  // namespace os
