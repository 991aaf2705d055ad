#pragma once

#include <QvPlatform/core/Export.h>
#include <QvPlatform/core/QvArray.h>

#include <cstddef>
#include <string>

/// Small functions on narrow text. They work byte by byte, know nothing of multi-byte characters, and
/// fold only ASCII letters, whatever the locale. None keeps state or reports an error; any thread may
/// call them.
///
///     Qv::QvArray<std::string> fields;
///     QvSim::StringUtils::split(fields, "a,,b,", ",", false, false);   // "a", "b"
///     QvSim::StringUtils::match("*.qvp", "Solver.QVP", false);         // true
///
/// Traps: `format` cuts at 255 bytes, `split` appends, and `tryFormatToXMLString` loses characters.
namespace QvSim::StringUtils {

/// Formats a short text as printf does. A result of more than 255 bytes is cut to its first 255, and one
/// with a zero byte ends there. "" when `format` is null or the text cannot be encoded in the locale.
QV_API std::string format(const char* format, ...) QV_PRINTF_FORMAT(1, 2);

/// Appends to `out` the non-empty pieces of `input` between delimiters; each byte of `delimiters` is one.
/// Without any they are carriage return and line feed. `alsoBlank` adds the blank; `ignored` has no
/// effect. Returns the size of `out`, with what it held before. `input` may be an element of `out`.
QV_API std::size_t split(Qv::QvArray<std::string>& out, const std::string& input,
                         const std::string& delimiters, bool ignored, bool alsoBlank);

/// Whether the whole text matches the pattern: "*" stands for any bytes or none, "?" for exactly one;
/// there is no escape. Null counts as "". Takes at most the product of the lengths, on real patterns
/// little more than their sum.
QV_API bool match(const char* pattern, const char* text, bool caseSensitive);

QV_API std::string toLowerCase(const std::string& text);
QV_API bool startsWith(const std::string& text, const std::string& prefix, bool caseSensitive);
QV_API bool endsWith(const std::string& text, const std::string& suffix, bool caseSensitive);

/// Without the blanks and tabs at both ends; line ends stay.
QV_API std::string trim(const std::string& text);

/// Turns blanks, "<", ">" and double quotes between other text into XML entities. Lossy: a run of one of
/// them gives one entity, and those at the ends disappear. "&" stays.
QV_API std::string tryFormatToXMLString(const std::string& text);

/// Replaces each occurrence of `from`, left to right, without looking at the replacements again. The text
/// itself when `from` is empty.
QV_API std::string replace(const std::string& text, const std::string& from, const std::string& to);

/// Base64 with padding and without line breaks (RFC 4648, section 4).
QV_API std::string base64Encode(const std::string& bytes);

/// The bytes up to the first character that is not of the alphabet, padding and white space included;
/// bits that make no whole byte are dropped.
QV_API std::string base64Decode(const std::string& text);

/// "HH:MM:SS" with hours, else "MM:SS". The first field has at least two digits and is not bounded; with
/// `limitTwoDigits` it is taken modulo 100.
QV_API std::string timeToString(unsigned int seconds, bool showHours, bool limitTwoDigits);

}  // namespace QvSim::StringUtils
