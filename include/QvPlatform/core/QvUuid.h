#pragma once

#include <QvPlatform/core/Export.h>

#include <string>

namespace QvSim {

/// A universally unique identifier (RFC 4122).
///
///     QvSim::QvUuid body;                                       // random
///     QvSim::QvUuid scene("e27a6542-b17c-4a04-83a6-882eeaca5a9b");
///     QvSim::QvUuid wheel = QvSim::QvUuid::createFromName("wheel");   // the same in every process
///
/// A default-constructed value is made by the system's random source when it is first looked at, and throws
/// Boost's `entropy_error` then when there is none. Traps: even looking at it through a const reference makes
/// it, so two threads must not be the first to look; a string literal of 15 characters selects the
/// constructor from bytes.
class QV_API QvUuid {
public:
    QvUuid();
    /// Makes the other one's value first, so that both are equal.
    QvUuid(const QvUuid& other);
    QvUuid& operator=(const QvUuid& other);
    /// Reads 32 hexadecimal digits of either case, with all four dashes or none, in braces or not. Any other
    /// text gives the null UUID and a DEBUG message, whose exceptions are dropped.
    explicit QvUuid(const std::string& text);
    explicit QvUuid(const char (&bytes)[16]);

    /// What the text means when it is a UUID, else the UUID that belongs to this name: SHA-1 (version 5) in a
    /// namespace of this library.
    static QvUuid createFromName(const std::string& name);
    /// All zeros.
    static const QvUuid& NullUuid();

    bool operator==(const QvUuid& other) const;
    bool operator!=(const QvUuid& other) const;
    /// Orders by the bytes, unsigned.
    bool operator<(const QvUuid& other) const;
    bool operator>(const QvUuid& other) const;

    /// 36 characters: lower-case digits in groups of 8, 4, 4, 4 and 12.
    std::string toString() const;
    /// 16 bytes in the order of the text, valid as long as the object; no zero byte follows.
    const char* getBytes() const;
    bool isNull() const;

protected:
    char* getUUid() const;

private:
    mutable char bytes_[16] = {};
    mutable bool hasValue_ = false;
};

}  // namespace QvSim
