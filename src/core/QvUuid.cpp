#include <QvPlatform/core/QvUuid.h>

#include <QvPlatform/diagnostics/Log.h>

#include "base/Hexadecimal.h"
#include "diagnostics/log/LogQuietly.h"

#include <boost/uuid/name_generator_sha1.hpp>
#include <boost/uuid/random_generator.hpp>
#include <boost/uuid/uuid.hpp>

#include <algorithm>
#include <array>
#include <cstring>
#include <string_view>

namespace QvSim {
namespace {

using boost::uuids::uuid;

constexpr std::size_t kBareLength = 32;
constexpr std::size_t kPrintedLength = 36;

// The indexes of the first digits of each byte, without and with the dashes.
using DigitIndexes = std::array<unsigned char, 16>;
constexpr DigitIndexes kBareIndexes = {0, 2, 4, 6, 8, 10, 12, 14, 16, 18, 20, 22, 24, 26, 28, 30};
constexpr DigitIndexes kPrintedIndexes = {0, 2, 4, 6, 9, 11, 14, 16, 19, 21, 24, 26, 28, 30, 32, 34};

constexpr unsigned char kForeign = 0xFF;
constexpr auto kDigitValues = [] {
    std::array<unsigned char, 256> values{};
    values.fill(kForeign);
    for (unsigned char i = 0; i < 10; ++i) values['0' + i] = i;
    for (unsigned char i = 10; i < 16; ++i) values['a' + i - 10] = values['A' + i - 10] = i;
    return values;
}();

unsigned int digitAt(std::string_view text, std::size_t index) {
    return kDigitValues[static_cast<unsigned char>(text[index])];
}

// Ends at the first character that is no digit, because most names have one early.
bool parseDigits(std::string_view text, const DigitIndexes& indexes, char (&bytes)[16]) {
    char found[sizeof bytes];
    for (std::size_t i = 0; i < sizeof bytes; ++i) {
        const unsigned int first = digitAt(text, indexes[i]);
        const unsigned int second = digitAt(text, indexes[i] + 1U);
        if ((first | second) == kForeign) return false;
        found[i] = static_cast<char>(first << 4U | second);
    }
    std::memcpy(bytes, found, sizeof bytes);
    return true;
}

// Changes `bytes` only if the text is a UUID.
bool parse(std::string_view text, char (&bytes)[16]) {
    if (text.size() == kBareLength + 2 || text.size() == kPrintedLength + 2) {
        if (text.front() != '{' || text.back() != '}') return false;
        text = text.substr(1, text.size() - 2);
    }
    if (text.size() == kBareLength) return parseDigits(text, kBareIndexes, bytes);
    if (text.size() != kPrintedLength) return false;
    const bool hasDashes = text[8] == '-' && text[13] == '-' && text[18] == '-' && text[23] == '-';
    return hasDashes && parseDigits(text, kPrintedIndexes, bytes);
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
    std::string text(kPrintedLength, '-');
    const char* const bytes = getUUid();
    for (std::size_t i = 0; i < sizeof bytes_; ++i)
        std::memcpy(&text[kPrintedIndexes[i]], kDigitPairs[static_cast<unsigned char>(bytes[i])].data(), 2);
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
