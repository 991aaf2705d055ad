#include <QvPlatform/core/QvUuid.h>

#include <QvPlatform/diagnostics/Log.h>

#include <boost/uuid/name_generator_sha1.hpp>
#include <boost/uuid/random_generator.hpp>
#include <boost/uuid/string_generator.hpp>
#include <boost/uuid/uuid.hpp>

#include <algorithm>
#include <cstring>
#include <optional>
#include <stdexcept>

namespace QvSim {
namespace {

using boost::uuids::uuid;

std::optional<uuid> parsed(const std::string& text) {
    try {
        return boost::uuids::string_generator()(text);
    } catch (const std::runtime_error&) {
        return std::nullopt;
    }
}

uuid namedBy(const std::string& name) {
    static const uuid names = boost::uuids::string_generator()("{E27A6542-B17C-4A04-83A6-882EEACA5A9B}");
    return boost::uuids::name_generator_sha1(names)(name.data(), name.size());
}

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
    if (const auto value = parsed(text))
        std::memcpy(bytes_, value->data, sizeof bytes_);
    else
        Qv::LogDebug("QvUuid: '%s' is not a valid UUID. Use QvUuid::createFromName()\n", text.c_str());
}

QvUuid::QvUuid(const char (&bytes)[16]) : hasValue_(true) { std::memcpy(bytes_, bytes, sizeof bytes_); }

QvUuid QvUuid::createFromName(const std::string& name) {
    const auto value = parsed(name);
    QvUuid result;
    std::memcpy(result.bytes_, (value ? *value : namedBy(name)).data, sizeof result.bytes_);
    result.hasValue_ = true;
    return result;
}

const QvUuid& QvUuid::NullUuid() {
    static const char zeros[16] = {};
    static const QvUuid null(zeros);
    return null;
}

bool QvUuid::operator==(const QvUuid& other) const {
    return std::memcmp(getUUid(), other.getUUid(), sizeof bytes_) == 0;
}
bool QvUuid::operator!=(const QvUuid& other) const { return !(*this == other); }
bool QvUuid::operator<(const QvUuid& other) const {
    return std::memcmp(getUUid(), other.getUUid(), sizeof bytes_) < 0;
}
bool QvUuid::operator>(const QvUuid& other) const { return other < *this; }

std::string QvUuid::toString() const {
    constexpr const char* kDigits = "0123456789abcdef";
    std::string text(36, '-');
    std::size_t place = 0;
    for (const char* byte = getUUid(); place < text.size(); ++byte) {
        if (place == 8 || place == 13 || place == 18 || place == 23) ++place;
        const auto value = static_cast<unsigned char>(*byte);
        text[place++] = kDigits[value >> 4U];
        text[place++] = kDigits[value & 0xFU];
    }
    return text;
}

const char* QvUuid::getBytes() const { return getUUid(); }

bool QvUuid::isNull() const {
    const char* const bytes = getUUid();
    return std::all_of(bytes, bytes + sizeof bytes_, [](char byte) { return byte == 0; });
}

// One generator for each value: kept, it would give a forked process the same ones.
char* QvUuid::getUUid() const {
    if (!hasValue_) {
        const uuid value = boost::uuids::random_generator()();
        std::memcpy(bytes_, value.data, sizeof bytes_);
        hasValue_ = true;
    }
    return bytes_;
}

}  // namespace QvSim
