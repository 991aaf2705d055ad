#pragma once

#include <string>
#include <string_view>

/// UTF-8 to wide text and back. `Char` is char16_t, char32_t or wchar_t; its size chooses the encoding
/// and how invalid text is represented:
/// - 16 bits: a lone surrogate takes three bytes and survives a round trip; an invalid byte becomes U+FFFD.
/// - 32 bits: an invalid byte becomes U+DC80 plus its low seven bits and survives a round trip;
///   any other value that is not a character becomes U+FFFD.
namespace base {

template <typename Char>
std::basic_string<Char> decodeUtf8(std::string_view bytes);

template <typename Char>
std::string encodeUtf8(std::basic_string_view<Char> text);

inline std::wstring widen(std::string_view narrow) { return decodeUtf8<wchar_t>(narrow); }
inline std::string narrow(std::wstring_view wide) { return encodeUtf8<wchar_t>(wide); }

}  // namespace base
