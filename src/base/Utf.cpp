#include "base/Utf.h"

#include <algorithm>
#include <cstddef>
#include <type_traits>

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
    if (lead < 0x80) return {lead, 1};
    const std::size_t length = lead < 0xC0 ? 0 : lead < 0xE0 ? 2 : lead < 0xF0 ? 3 : lead < 0xF8 ? 4 : 0;
    if (length == 0 || length > bytes.size()) return kUndecodable;
    char32_t value = lead & (0x7FU >> length);
    for (std::size_t i = 1; i < 4; ++i) {
        if (i == length) break;
        const auto byte = static_cast<unsigned char>(bytes[i]);
        if ((byte & 0xC0U) != 0x80U) return kUndecodable;
        value = (value << 6U) | (byte & 0x3FU);
    }
    if (value < kSmallest[length] || value > kLastCharacter) return kUndecodable;
    return {value, length};
}

// The functions below write to `out`, which has room, and return the end of what they have written.

template <typename Char>
Char* putCharacter(Char* out, char32_t value) {
    if (sizeof(Char) == 2 && value > 0xFFFF) {
        *out++ = static_cast<Char>(0xD7C0 + (value >> 10U));
        value = 0xDC00 + (value & 0x3FFU);
    }
    *out++ = static_cast<Char>(value);
    return out;
}

constexpr char tailByte(char32_t value) { return static_cast<char>(0x80U | (value & 0x3FU)); }

char* putBytes(char* out, char32_t value) {
    if (value < 0x80) {
        *out++ = static_cast<char>(value);
        return out;
    }
    if (value < 0x800) {
        *out++ = static_cast<char>(0xC0U | (value >> 6U));
    } else {
        if (value < 0x10000) {
            *out++ = static_cast<char>(0xE0U | (value >> 12U));
        } else {
            *out++ = static_cast<char>(0xF0U | (value >> 18U));
            *out++ = tailByte(value >> 12U);
        }
        *out++ = tailByte(value >> 6U);
    }
    *out++ = tailByte(value);
    return out;
}

// Takes one sequence from `bytes`, or one undecodable byte, or one of a surrogate encoded in three bytes.
template <typename Char>
Char* putDecoded(Char* out, std::string_view& bytes) {
    const Sequence sequence = decodeSequence(bytes);
    const bool keepsSurrogates = sizeof(Char) == 2;
    if (sequence.length != 0 && (keepsSurrogates || !isSurrogate(sequence.value))) {
        bytes.remove_prefix(sequence.length);
        return putCharacter(out, sequence.value);
    }
    const auto byte = static_cast<unsigned char>(bytes[0]);
    bytes.remove_prefix(1);
    return putCharacter(out, keepsSurrogates ? kReplacement : kEscapeBase + byte);
}

template <typename Char>
char* putUtf16(char* out, std::basic_string_view<Char> text) {
    for (std::size_t i = 0; i < text.size(); ++i) {
        auto value = static_cast<char32_t>(static_cast<char16_t>(text[i]));
        if (value >= 0xD800 && value <= 0xDBFF && i + 1 < text.size()) {
            const auto low = static_cast<char32_t>(static_cast<char16_t>(text[i + 1]));
            if (low >= 0xDC00 && low <= 0xDFFF) {
                value = 0x10000 + ((value - 0xD800) << 10U) + (low - 0xDC00);
                ++i;
            }
        }
        out = putBytes(out, value);
    }
    return out;
}

template <typename Char>
char* putUtf32(char* out, std::basic_string_view<Char> text) {
    for (const Char unit : text) {
        const auto value = static_cast<char32_t>(unit);
        if (value < 0x800)
            out = putBytes(out, value);
        else if (value >= kFirstEscape && value <= kLastEscape)
            *out++ = static_cast<char>(value - kEscapeBase);
        else
            out = putBytes(out, isSurrogate(value) || value > kLastCharacter ? kReplacement : value);
    }
    return out;
}

bool isAscii(std::string_view bytes) {
    unsigned char bits = 0;
    for (const char byte : bytes) bits |= static_cast<unsigned char>(byte);
    return bits < 0x80;
}

// Checks and narrows in one pass; returns false at the first block that is not ASCII.
template <typename Char>
bool narrowAscii(char* out, std::basic_string_view<Char> text) {
    constexpr std::size_t kBlock = 256;
    for (; !text.empty(); text.remove_prefix(std::min(kBlock, text.size()))) {
        std::make_unsigned_t<Char> bits = 0;
        for (const Char unit : text.substr(0, kBlock)) {
            bits |= static_cast<std::make_unsigned_t<Char>>(unit);
            *out++ = static_cast<char>(unit);
        }
        if (bits >= 0x80) return false;
    }
    return true;
}

// No unit takes more bytes than counted here.
template <typename Char>
std::size_t roomForBytes(std::basic_string_view<Char> text) {
    std::size_t room = text.size();
    for (const Char unit : text) {
        const auto value = static_cast<char32_t>(unit);
        room += std::size_t{value >= 0x80} + std::size_t{value >= 0x800} + std::size_t{value > 0xFFFF};
    }
    return room;
}

}  // namespace

template <typename Char>
std::basic_string<Char> decodeUtf8(std::string_view bytes) {
    if (isAscii(bytes)) return std::basic_string<Char>(bytes.begin(), bytes.end());
    std::basic_string<Char> text(bytes.size(), Char());  // no byte takes more than one unit
    Char* end = text.data();
    while (!bytes.empty()) end = putDecoded(end, bytes);
    text.resize(static_cast<std::size_t>(end - text.data()));
    return text;
}

template <typename Char>
std::string encodeUtf8(std::basic_string_view<Char> text) {
    std::string bytes(text.size(), '\0');
    if (narrowAscii(bytes.data(), text)) return bytes;
    bytes.resize(roomForBytes(text));
    const char* end = nullptr;
    if constexpr (sizeof(Char) == 2)
        end = putUtf16(bytes.data(), text);
    else
        end = putUtf32(bytes.data(), text);
    bytes.resize(static_cast<std::size_t>(end - bytes.data()));
    return bytes;
}

template std::u16string decodeUtf8<char16_t>(std::string_view);
template std::u32string decodeUtf8<char32_t>(std::string_view);
template std::wstring decodeUtf8<wchar_t>(std::string_view);
template std::string encodeUtf8<char16_t>(std::u16string_view);
template std::string encodeUtf8<char32_t>(std::u32string_view);
template std::string encodeUtf8<wchar_t>(std::wstring_view);

}  // namespace base
