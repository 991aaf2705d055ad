#include <QvPlatform/core/QvVersion.h>

#include <charconv>

namespace Qv {
namespace {

constexpr int kComponentCount = 4;
constexpr const char* kProductLabel = "2020a";

int threeWay(std::int32_t a, std::int32_t b) { return a < b ? -1 : a > b ? 1 : 0; }

}  // namespace

const QvVersion QvVersion::QuorexVersion;

// Not a copy of QuorexVersion, which may be initialized later than this object.
QvVersion::QvVersion()
    : QvVersion(QV_VERSION_MAJOR, QV_VERSION_MINOR, QV_VERSION_SERVICE_PACK, QV_VERSION_BUILD,
                kProductLabel) {}

QvVersion::QvVersion(const std::string& text) : QvVersion(0, 0, 0, 0, std::string()) { parse(text, this); }

QvVersion::QvVersion(int majorPart, int minorPart, int servicePackPart, int buildPart,
                     const std::string& labelText)
    // Braces, because a C library header may define functions of these names as macros.
    : major{majorPart}, minor{minorPart}, servicePack{servicePackPart}, build{buildPart}, label(labelText) {}

QvVersion::QvVersion(const QvVersion& other)
    : QvVersion(other.major, other.minor, other.servicePack, other.build, other.label) {}

QvVersion& QvVersion::operator=(const QvVersion& other) {
    if (this == &other) return *this;
    major = other.major;
    minor = other.minor;
    servicePack = other.servicePack;
    build = other.build;
    cachedString.clear();
    label = other.label;
    return *this;
}

QvVersion::~QvVersion() = default;

const std::string& QvVersion::toString() const {
    if (!cachedString.empty()) return cachedString;
    char text[kComponentCount * 12];
    char* end = text;
    for (const std::int32_t component : {major, minor, servicePack, build}) {
        if (end != text) *end++ = '.';
        end = std::to_chars(end, text + sizeof text, component).ptr;
    }
    cachedString.assign(text, end);
    return cachedString;
}

int QvVersion::compare(const QvVersion& a, const QvVersion& b) {
    if (const int order = threeWay(a.major, b.major)) return order;
    if (const int order = threeWay(a.minor, b.minor)) return order;
    return threeWay(a.servicePack, b.servicePack);
}

bool QvVersion::parse(const std::string& text, QvVersion* out) {
    std::uint32_t components[kComponentCount] = {};
    int count = 0;
    bool hasDigits = false;
    for (const char c : text) {
        if (count == kComponentCount) break;
        if (c >= '0' && c <= '9') {
            components[count] = components[count] * 10U + static_cast<std::uint32_t>(c - '0');
            hasDigits = true;
        } else if (c == '.' && hasDigits) {
            ++count;
            hasDigits = false;
        } else {
            return false;
        }
    }
    if (!out) return true;
    out->major = static_cast<std::int32_t>(components[0]);
    out->minor = static_cast<std::int32_t>(components[1]);
    out->servicePack = static_cast<std::int32_t>(components[2]);
    out->build = static_cast<std::int32_t>(components[3]);
    return true;
}

const char* QvGetVersion() {
    return QV_TEXT_OF(QV_VERSION_MAJOR) "." QV_TEXT_OF(QV_VERSION_MINOR) "." QV_TEXT_OF(
        QV_VERSION_SERVICE_PACK) "." QV_TEXT_OF(QV_VERSION_BUILD);
}

}  // namespace Qv
