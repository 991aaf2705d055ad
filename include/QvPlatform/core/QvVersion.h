#pragma once

#include <QvPlatform/core/Export.h>

#include <cstdint>
#include <string>

/// The product version as numbers, for the preprocessor.
#define QV_VERSION_MAJOR 2020
#define QV_VERSION_MINOR 3
#define QV_VERSION_SERVICE_PACK 0
#define QV_VERSION_BUILD 68

/// The value of a macro as a string literal.
#define QV_TEXT_OF(value) QV_TEXT_OF_(value)
#define QV_TEXT_OF_(value) #value

namespace Qv {

/// A version: four components and a free-form label.
///
///     info.version = Qv::QvVersion(1, 4, 0, 0, "beta");
///     if (Qv::QvVersion::compare(info.version, Qv::QvVersion("1.2")) < 0) ...
///
/// Traps: the default value is the product's version, not zero; comparison looks at the first three
/// components only; writing a component directly does not update a text that was already built. Two threads
/// must not change a value at once; the first `toString` counts as a change.
class QV_API QvVersion {
public:
    /// The product's own version.
    static const QvVersion QuorexVersion;

    /// The product's own version, 2020.3.0.68 "2020a".
    QvVersion();
    /// Parses `text`; invalid text gives 0.0.0.0. The label is empty.
    explicit QvVersion(const std::string& text);
    QvVersion(int major, int minor, int servicePack, int build, const std::string& label);
    QvVersion(const QvVersion& other);
    QvVersion& operator=(const QvVersion& other);
    ~QvVersion();

    /// The four components in decimal, separated by dots; built once and cached. The reference is valid until
    /// the value is assigned to or destroyed.
    const std::string& toString() const;

    /// Returns -1, 0 or 1 if `a` is less than, equal to or greater than `b` in `major`, `minor` and
    /// `servicePack`.
    static int compare(const QvVersion& a, const QvVersion& b);

    /// Parses up to four components of decimal digits, separated by dots. Missing components are 0; text
    /// after the fourth is ignored. If there is any other character or an empty component, returns false and
    /// leaves `out` unchanged. `out` may be null; its label and cached text are not changed. A component that
    /// does not fit in 32 bits wraps around.
    static bool parse(const std::string& text, QvVersion* out);

    std::int32_t major;
    std::int32_t minor;
    std::int32_t servicePack;
    std::int32_t build;
    mutable std::string cachedString;
    std::string label;
};

/// The product's version as static text.
QV_API const char* QvGetVersion();

}  // namespace Qv
