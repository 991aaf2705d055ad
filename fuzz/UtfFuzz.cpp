#include "base/Utf.h"

#include "Require.h"

#include <algorithm>
#include <cstddef>
#include <cstdint>
#include <cstring>
#include <string>
#include <string_view>

namespace {

using fuzz::require;

struct ByteRange {
    unsigned first;
    unsigned last;
};

// The well-formed sequences of UTF-8, written out; surrogates stand apart in the fifth row.
struct WellFormed {
    ByteRange lead;
    ByteRange second;
    std::size_t length;
};
constexpr WellFormed kWellFormed[] = {
    {{0x00, 0x7F}, {0, 0}, 1},       {{0xC2, 0xDF}, {0x80, 0xBF}, 2}, {{0xE0, 0xE0}, {0xA0, 0xBF}, 3},
    {{0xE1, 0xEC}, {0x80, 0xBF}, 3}, {{0xED, 0xED}, {0xA0, 0xBF}, 3}, {{0xED, 0xED}, {0x80, 0x9F}, 3},
    {{0xEE, 0xEF}, {0x80, 0xBF}, 3}, {{0xF0, 0xF0}, {0x90, 0xBF}, 4}, {{0xF1, 0xF3}, {0x80, 0xBF}, 4},
    {{0xF4, 0xF4}, {0x80, 0x8F}, 4},
};
constexpr const WellFormed* kSurrogates = &kWellFormed[4];

unsigned byteAt(std::string_view bytes, std::size_t index) {
    return static_cast<unsigned char>(bytes[index]);
}

bool isIn(ByteRange range, unsigned value) { return value >= range.first && value <= range.last; }

bool matches(const WellFormed& form, std::string_view bytes) {
    if (form.length > bytes.size() || !isIn(form.lead, byteAt(bytes, 0))) return false;
    if (form.length > 1 && !isIn(form.second, byteAt(bytes, 1))) return false;
    for (std::size_t i = 2; i < form.length; ++i)
        if (!isIn({0x80, 0xBF}, byteAt(bytes, i))) return false;
    return true;
}

// Null when the text does not begin with a well-formed sequence.
const WellFormed* findForm(std::string_view bytes, bool acceptsSurrogates) {
    const auto* form =
        std::find_if(std::begin(kWellFormed), std::end(kWellFormed), [&](const WellFormed& candidate) {
            return (acceptsSurrogates || &candidate != kSurrogates) && matches(candidate, bytes);
        });
    return form == std::end(kWellFormed) ? nullptr : form;
}

char32_t valueOf(std::string_view sequence) {
    constexpr unsigned kLeadBits[] = {0, 0x7F, 0x1F, 0x0F, 0x07};
    char32_t value = byteAt(sequence, 0) & kLeadBits[sequence.size()];
    for (std::size_t i = 1; i < sequence.size(); ++i) value = value * 64 + (byteAt(sequence, i) & 0x3FU);
    return value;
}

std::u32string referenceDecode(std::string_view bytes, bool is16Bit) {
    std::u32string out;
    while (!bytes.empty()) {
        const WellFormed* form = findForm(bytes, is16Bit);
        const std::size_t length = form ? form->length : 1;
        out += form ? valueOf(bytes.substr(0, length)) : is16Bit ? 0xFFFD : 0xDC00 + byteAt(bytes, 0);
        bytes.remove_prefix(length);
    }
    return out;
}

std::u16string splitIntoUnits(const std::u32string& text) {
    std::u16string out;
    for (const char32_t value : text) {
        if (value > 0xFFFF) {
            out += static_cast<char16_t>(0xD800 + (value - 0x10000) / 0x400);
            out += static_cast<char16_t>(0xDC00 + (value - 0x10000) % 0x400);
        } else {
            out += static_cast<char16_t>(value);
        }
    }
    return out;
}

bool isIn(char32_t value, char32_t first, char32_t last) { return value >= first && value <= last; }

std::u32string joinUnits(const std::u16string& text) {
    std::u32string out;
    for (const char16_t unit : text) {
        if (isIn(unit, 0xDC00, 0xDFFF) && !out.empty() && isIn(out.back(), 0xD800, 0xDBFF))
            out.back() = 0x10000 + (out.back() - 0xD800) * 0x400 + (unit - 0xDC00U);
        else
            out += unit;
    }
    return out;
}

bool isEscape(char32_t value) { return isIn(value, 0xDC80, 0xDCFF); }

bool isCharacter(char32_t value) { return value <= 0x10FFFF && !isIn(value, 0xD800, 0xDFFF); }

void checkBytes(const std::string& bytes) {
    const std::u32string wide = base::decodeUtf8<char32_t>(bytes);
    require(wide == referenceDecode(bytes, false));
    require(base::encodeUtf8<char32_t>(wide) == bytes);
    const std::u16string units = base::decodeUtf8<char16_t>(bytes);
    require(units == splitIntoUnits(referenceDecode(bytes, true)));
    require(base::narrow(base::widen(bytes)) == bytes);
}

// 16-bit text of any kind survives the way through bytes; a pair is one character there.
void check16BitText(const std::u16string& text) {
    const std::string bytes = base::encodeUtf8<char16_t>(text);
    require(base::decodeUtf8<char16_t>(bytes) == text);
    require(referenceDecode(bytes, true) == joinUnits(text));
}

// 32-bit text does when it has no escapes, which may meet and form a character; what is none is replaced.
void check32BitText(std::u32string text) {
    const std::string bytes = base::encodeUtf8<char32_t>(text);
    require(base::encodeUtf8<char32_t>(base::decodeUtf8<char32_t>(bytes)) == bytes);
    if (std::any_of(text.begin(), text.end(), isEscape)) return;
    std::replace_if(
        text.begin(), text.end(), [](char32_t value) { return !isCharacter(value); }, U'\uFFFD');
    require(base::decodeUtf8<char32_t>(bytes) == text);
}

template <typename Char>
std::basic_string<Char> reinterpreted(const std::string& bytes) {
    std::basic_string<Char> text(bytes.size() / sizeof(Char), Char{});
    if (!text.empty()) std::memcpy(text.data(), bytes.data(), text.size() * sizeof(Char));
    return text;
}

}  // namespace

extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t* data, std::size_t size) {
    const std::string bytes(data, data + size);
    checkBytes(bytes);
    check16BitText(reinterpreted<char16_t>(bytes));
    check32BitText(reinterpreted<char32_t>(bytes));
    return 0;
}
