#pragma once

#include <QvPlatform/core/Export.h>
#include <QvPlatform/core/QvArray.h>

#include <cstddef>
#include <string>

/// Small functions on narrow text. They work byte by byte, are unaware of multi-byte characters, and fold
/// only ASCII letters, whatever the locale. They keep no state and report no errors. Any thread.
///
///     Qv::QvArray<std::string> fields;
///     QvSim::StringUtils::split(fields, "a,,b,", ",", false, false);   // "a", "b"
///     QvSim::StringUtils::match("*.qvp", "Solver.QVP", false);         // true
///
/// Traps: `format` truncates at 255 bytes, `split` appends, and `tryFormatToXMLString` loses characters.
namespace QvSim::StringUtils {

/// Formats a short text as printf does. The result ends at its first zero byte and is truncated to 255 bytes.
/// "" if `format` is null or the text cannot be encoded in the locale.
QV_API std::string format(const char* format, ...) QV_PRINTF_FORMAT(1, 2);

/// Appends to `out` the non-empty pieces of `input` between delimiters. Each byte of `delimiters` is a
/// delimiter; if it is empty, carriage return and line feed are used. `alsoBlank` adds the space; `ignored`
/// has no effect. Returns the size of `out`, previous elements included. `input` may be an element of `out`.
QV_API std::size_t split(Qv::QvArray<std::string>& out, const std::string& input,
                         const std::string& delimiters, bool ignored, bool alsoBlank);

/// Whether the whole text matches the pattern: "*" stands for any bytes or none, "?" for exactly one; there
/// is no escape. Null counts as "". The time is at most proportional to the product of the lengths; for
/// typical patterns it is close to their sum.
QV_API bool match(const char* pattern, const char* text, bool caseSensitive);

QV_API std::string toLowerCase(const std::string& text);
QV_API bool startsWith(const std::string& text, const std::string& prefix, bool caseSensitive);
QV_API bool endsWith(const std::string& text, const std::string& suffix, bool caseSensitive);

/// Removes spaces and tabs at both ends; line ends stay.
QV_API std::string trim(const std::string& text);

/// Replaces spaces, "<", ">" and double quotes between other text by XML entities. Lossy: a run of the same
/// character gives one entity, and those at the ends are removed. "&" is not replaced.
QV_API std::string tryFormatToXMLString(const std::string& text);

/// Replaces each occurrence of `from`, left to right, without scanning the replacements. If `from` is empty,
/// returns `text`.
QV_API std::string replace(const std::string& text, const std::string& from, const std::string& to);

/// Base64 with padding and without line breaks (RFC 4648, section 4).
QV_API std::string base64Encode(const std::string& bytes);

/// Decodes up to the first character outside the alphabet; padding and white space are outside it. Trailing
/// bits that do not form a whole byte are dropped.
QV_API std::string base64Decode(const std::string& text);

/// Returns "HH:MM:SS" if `showHours`, else "MM:SS". The first field has at least two digits and no upper
/// limit; with `limitTwoDigits` it is taken modulo 100.
QV_API std::string timeToString(unsigned int seconds, bool showHours, bool limitTwoDigits);

}  // namespace QvSim::StringUtils
