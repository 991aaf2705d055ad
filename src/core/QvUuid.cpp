#include <QvPlatform/core/QvUuid.h>

#include <QvPlatform/diagnostics/Log.h>

#include "base/Hexadecimal.h"
#include "diagnostics/log/LogQuietly.h"

#include <boost/uuid/name_generator_sha1.hpp>
#include <boost/uuid/random_generator.hpp>
#include <boost/uuid/string_generator.hpp>
#include <boost/uuid/uuid.hpp>

#include <algorithm>
#include <array>
#include <cstring>
#include <exception>
#include <string_view>

namespace QvSim {
namespace {

using boost::uuids::uuid;

// The length alone rules out most names, which avoids an exception from the parser.
bool parse(const std::string& text, char (&bytes)[16]) {
    constexpr std::size_t kDigits = 32;
    constexpr std::size_t kDashes = 4;
    constexpr std::size_t kBraces = 2;
    const std::size_t length = text.size() - kDigits;
    if (length != 0 && length != kDashes && length != kBraces && length != kDashes + kBraces) return false;
    try {
        const uuid value = boost::uuids::string_generator()(text.data(), text.data() + text.size());
        std::memcpy(bytes, value.data, sizeof bytes);
        return true;
    } catch (const std::exception&) {  // only for bad text, even if memory for the message runs out
        return false;
    }
}

// Created when the library is loaded, so that no forked process finds it half initialized.
constexpr char kZeros[16] = {};
const QvUuid nullUuid(kZeros);

uuid namedBy(const std::string& name) {
    const uuid names = {{0xE2, 0x7A, 0x65, 0x42, 0xB1, 0x7C, 0x4A, 0x04,  //
                         0x83, 0xA6, 0x88, 0x2E, 0xEA, 0xCA, 0x5A, 0x9B}};
    return boost::uuids::name_generator_sha1(names)(name.data(), name.size());
}

constexpr auto kDigitPairs = [] {
    constexpr std::string_view kDigits = base::kHexadecimalDigits;
    std::array<std::array<char, 2>, 256> pairs{};
    for (std::size_t i = 0; i < pairs.size(); ++i) pairs[i] = {kDigits[i / 16], kDigits[i % 16]};
    return pairs;
}();

static_assert(sizeof(uuid) == 16);

}  // namespace

QvUuid::QvUuid() = default;

QvUuid::QvUuid(const QvUuid& other) : hasValue_(true) { std::memcpy(bytes_, other.getUUid(), sizeof bytes_); }

QvUuid& QvUuid::operator=(const QvUuid& other) {
    if (this == &other) return *this;
    std::memcpy(bytes_, other.getUUid(), sizeof bytes_);
    hasValue_ = true;
    return *this;
}

QvUuid::QvUuid(const std::string& text) : hasValue_(true) {
    if (parse(text, bytes_)) return;
    Qv::detail::logQuietly([&] {
        Qv::LogDebug("QvUuid: '%s' is not a valid UUID. Use QvUuid::createFromName()\n", text.c_str());
    });
}

QvUuid::QvUuid(const char (&bytes)[16]) : hasValue_(true) { std::memcpy(bytes_, bytes, sizeof bytes_); }

QvUuid QvUuid::createFromName(const std::string& name) {
    QvUuid result;
    if (!parse(name, result.bytes_)) std::memcpy(result.bytes_, namedBy(name).data, sizeof result.bytes_);
    result.hasValue_ = true;
    return result;
}

const QvUuid& QvUuid::NullUuid() { return nullUuid; }

bool QvUuid::operator==(const QvUuid& other) const {
    return std::memcmp(getUUid(), other.getUUid(), sizeof bytes_) == 0;
}
bool QvUuid::operator!=(const QvUuid& other) const { return !(*this == other); }
bool QvUuid::operator<(const QvUuid& other) const {
    return std::memcmp(getUUid(), other.getUUid(), sizeof bytes_) < 0;
}
bool QvUuid::operator>(const QvUuid& other) const { return other < *this; }

std::string QvUuid::toString() const {
    constexpr unsigned char kPlaces[16] = {0, 2, 4, 6, 9, 11, 14, 16, 19, 21, 24, 26, 28, 30, 32, 34};
    std::string text(36, '-');
    const char* const bytes = getUUid();
    for (std::size_t i = 0; i < sizeof bytes_; ++i)
        std::memcpy(&text[kPlaces[i]], kDigitPairs[static_cast<unsigned char>(bytes[i])].data(), 2);
    return text;
}

const char* QvUuid::getBytes() const { return getUUid(); }

bool QvUuid::isNull() const {
    const char* const bytes = getUUid();
    return std::all_of(bytes, bytes + sizeof bytes_, [](char byte) { return byte == 0; });
}

// One generator per value: a shared one would produce the same values in a forked process.
char* QvUuid::getUUid() const {
    if (!hasValue_) {
        const uuid value = boost::uuids::random_generator()();
        std::memcpy(bytes_, value.data, sizeof bytes_);
        hasValue_ = true;
    }
    return bytes_;
}

}  // namespace QvSim
