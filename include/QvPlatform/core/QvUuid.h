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
/// A default-constructed value is generated from the system's random source at its first use, which throws
/// Boost's `entropy_error` if the source fails. Traps: const member functions generate the value too, so two
/// threads must not make the first use at once; a string literal of 15 characters selects the constructor
/// from bytes.
class QV_API QvUuid {
public:
    QvUuid();
    /// Generates the value of `other` first if necessary, so that both are equal.
    QvUuid(const QvUuid& other);
    QvUuid& operator=(const QvUuid& other);
    /// Parses 32 hexadecimal digits of either case, with all four dashes or none, with or without braces. Any
    /// other text gives the null UUID and logs at DEBUG level; exceptions from logging are dropped.
    explicit QvUuid(const std::string& text);
    explicit QvUuid(const char (&bytes)[16]);

    /// If `name` is the text of a UUID, returns that UUID. Otherwise returns the name's version 5 (SHA-1)
    /// UUID in a namespace of this library.
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
    /// 16 bytes in the order of the text, not zero-terminated; valid as long as the object.
    const char* getBytes() const;
    bool isNull() const;

protected:
    char* getUUid() const;

private:
    mutable char bytes_[16] = {};
    mutable bool hasValue_ = false;
};

}  // namespace QvSim
