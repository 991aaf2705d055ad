#include "base/Utf.h"

#include <cstddef>

namespace base {
namespace {

constexpr char32_t kReplacement = 0xFFFD;
constexpr char32_t kEscapeBase = 0xDC00;
constexpr char32_t kFirstEscape = 0xDC80;
constexpr char32_t kLastEscape = 0xDCFF;
constexpr char32_t kLastCharacter = 0x10FFFF;

constexpr bool isSurrogate(char32_t value) { return value >= 0xD800 && value <= 0xDFFF; }

struct Sequence {
    char32_t value;
    std::size_t length;  // 0 if the bytes do not decode
};

constexpr Sequence kUndecodable{0, 0};

Sequence decodeSequence(std::string_view bytes) {
    constexpr char32_t kSmallest[] = {0, 0, 0x80, 0x800, 0x10000};
    const auto lead = static_cast<unsigned char>(bytes[0]);
    const std::size_t length = lead < 0x80   ? 1
                               : lead < 0xC0 ? 0
                               : lead < 0xE0 ? 2
                               : lead < 0xF0 ? 3
                               : lead < 0xF8 ? 4
                                             : 0;
    if (length == 0 || length > bytes.size()) return kUndecodable;
    if (length == 1) return {lead, 1};
    char32_t value = lead & (0x7FU >> length);
    for (std::size_t i = 1; i < length; ++i) {
        const auto byte = static_cast<unsigned char>(bytes[i]);
        if ((byte & 0xC0U) != 0x80U) return kUndecodable;
        value = (value << 6U) | (byte & 0x3FU);
    }
    if (value < kSmallest[length] || value > kLastCharacter) return kUndecodable;
    return {value, length};
}

template <typename Char>
void appendCharacter(std::basic_string<Char>& out, char32_t value) {
    if constexpr (sizeof(Char) == 2) {
        if (value > 0xFFFF) {
            out += static_cast<Char>(0xD7C0 + (value >> 10U));
            out += static_cast<Char>(0xDC00 + (value & 0x3FFU));
            return;
        }
    }
    out += static_cast<Char>(value);
}

void appendBytes(std::string& out, char32_t value) {
    const auto tail = [&](unsigned shift) { out += static_cast<char>(0x80U | ((value >> shift) & 0x3FU)); };
    if (value < 0x80) {
        out += static_cast<char>(value);
    } else if (value < 0x800) {
        out += static_cast<char>(0xC0U | (value >> 6U));
        tail(0);
    } else if (value < 0x10000) {
        out += static_cast<char>(0xE0U | (value >> 12U));
        tail(6);
        tail(0);
    } else {
        out += static_cast<char>(0xF0U | (value >> 18U));
        tail(12);
        tail(6);
        tail(0);
    }
}

// The code unit for an undecodable byte or a surrogate encoded in three bytes.
template <typename Char>
std::size_t appendDecoded(std::basic_string<Char>& out, std::string_view bytes) {
    const Sequence sequence = decodeSequence(bytes);
    const bool keepsSurrogates = sizeof(Char) == 2;
    if (sequence.length != 0 && (keepsSurrogates || !isSurrogate(sequence.value))) {
        appendCharacter(out, sequence.value);
        return sequence.length;
    }
    const auto byte = static_cast<unsigned char>(bytes[0]);
    appendCharacter(out, keepsSurrogates ? kReplacement : kEscapeBase + byte);
    return 1;
}

template <typename Char>
void appendUtf16(std::string& out, std::basic_string_view<Char> text) {
    for (std::size_t i = 0; i < text.size(); ++i) {
        auto value = static_cast<char32_t>(static_cast<char16_t>(text[i]));
        if (value >= 0xD800 && value <= 0xDBFF && i + 1 < text.size()) {
            const auto low = static_cast<char32_t>(static_cast<char16_t>(text[i + 1]));
            if (low >= 0xDC00 && low <= 0xDFFF) {
                value = 0x10000 + ((value - 0xD800) << 10U) + (low - 0xDC00);
                ++i;
            }
        }
        appendBytes(out, value);
    }
}

template <typename Char>
void appendUtf32(std::string& out, std::basic_string_view<Char> text) {
    for (const Char unit : text) {
        const auto value = static_cast<char32_t>(unit);
        if (value >= kFirstEscape && value <= kLastEscape)
            out += static_cast<char>(value - kEscapeBase);
        else
            appendBytes(out, isSurrogate(value) || value > kLastCharacter ? kReplacement : value);
    }
}

template <typename Text>
bool isAscii(const Text& text) {
    char32_t bits = 0;
    for (const auto unit : text) bits |= static_cast<char32_t>(unit);
    return bits < 0x80;
}

}  // namespace

template <typename Char>
std::basic_string<Char> decodeUtf8(std::string_view bytes) {
    if (isAscii(bytes)) return std::basic_string<Char>(bytes.begin(), bytes.end());
    std::basic_string<Char> out;
    out.reserve(bytes.size());
    while (!bytes.empty()) bytes.remove_prefix(appendDecoded(out, bytes));
    return out;
}

template <typename Char>
std::string encodeUtf8(std::basic_string_view<Char> text) {
    std::string out;
    if (isAscii(text)) {
        out.resize(text.size());
        for (std::size_t i = 0; i < text.size(); ++i) out[i] = static_cast<char>(text[i]);
        return out;
    }
    out.reserve(text.size() * 3);
    if constexpr (sizeof(Char) == 2)
        appendUtf16(out, text);
    else
        appendUtf32(out, text);
    return out;
}

template std::u16string decodeUtf8<char16_t>(std::string_view);
template std::u32string decodeUtf8<char32_t>(std::string_view);
template std::wstring decodeUtf8<wchar_t>(std::string_view);
template std::string encodeUtf8<char16_t>(std::u16string_view);
template std::string encodeUtf8<char32_t>(std::u32string_view);
template std::string encodeUtf8<wchar_t>(std::wstring_view);

}  // namespace base
