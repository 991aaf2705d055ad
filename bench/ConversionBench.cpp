// Text made wide and narrow again, compared with other libraries and, for ASCII, with vectors at the speed of
// copying memory, which are the limit. For other text the limit is one pass into a prepared buffer, which
// gives up where ours escapes.

#include <QvPlatform/core/StringConversions.h>

#include "BenchSupport.h"
#include "TextByVectors.h"

#include <glib.h>

#include <boost/locale/encoding_utf.hpp>
#include <memory>
#include <random>
#include <string>
#include <string_view>
#include <vector>

namespace {

namespace StringConversions = QvPlatform::StringConversions;

constexpr std::size_t kLong = 65'536;

// A side gets the bytes of either text.
std::wstring_view wideOf(const std::string& bytes) {
    return {reinterpret_cast<const wchar_t*>(bytes.data()), bytes.size() / sizeof(wchar_t)};
}

std::string bytesOf(const std::wstring& wide) {
    return {reinterpret_cast<const char*>(wide.data()), wide.size() * sizeof(wchar_t)};
}

std::size_t widen(const std::string& text) { return StringConversions::toWide(text).size(); }
std::size_t narrow(const std::string& wide) { return StringConversions::toNarrow(wideOf(wide)).size(); }

std::size_t widenByBoost(const std::string& text) {
    return boost::locale::conv::utf_to_utf<wchar_t>(text).size();
}
std::size_t narrowByBoost(const std::string& bytes) {
    const std::wstring_view wide = wideOf(bytes);
    return boost::locale::conv::utf_to_utf<char>(wide.data(), wide.data() + wide.size()).size();
}

std::size_t widenByGlib(const std::string& text) {
    glong count = 0;
    gunichar* wide = g_utf8_to_ucs4(text.data(), static_cast<glong>(text.size()), nullptr, &count, nullptr);
    g_free(wide);
    return static_cast<std::size_t>(count);
}
std::size_t narrowByGlib(const std::string& bytes) {
    glong count = 0;
    const auto* wide = reinterpret_cast<const gunichar*>(bytes.data());
    const auto length = static_cast<glong>(bytes.size() / sizeof(gunichar));
    gchar* text = g_ucs4_to_utf8(wide, length, nullptr, &count, nullptr);
    g_free(text);
    return static_cast<std::size_t>(count);
}

bool isTail(unsigned char byte) { return (byte & 0xC0U) == 0x80U; }

// 0 if the text is not UTF-8.
std::size_t widenByHand(const std::string& text) {
    const auto wide = std::make_unique_for_overwrite<char32_t[]>(text.size());
    char32_t* out = wide.get();
    const auto* next = reinterpret_cast<const unsigned char*>(text.c_str());
    const auto* const end = next + text.size();
    while (next != end) {
        const char32_t lead = *next;
        if (lead < 0x80) {
            *out++ = lead;
            next += 1;
        } else if (lead >= 0xC2 && lead < 0xE0 && isTail(next[1])) {
            *out++ = (lead & 0x1FU) << 6U | (next[1] & 0x3FU);
            next += 2;
        } else if (lead >= 0xE0 && lead < 0xF0 && isTail(next[1]) && isTail(next[2])) {
            *out = (lead & 0x0FU) << 12U | (next[1] & 0x3FU) << 6U | (next[2] & 0x3FU);
            if (*out < 0x800 || *out >> 11U == 0x1B) return 0;
            ++out;
            next += 3;
        } else if (lead >= 0xF0 && isTail(next[1]) && isTail(next[2]) && isTail(next[3])) {
            *out = (lead & 0x07U) << 18U | (next[1] & 0x3FU) << 12U | (next[2] & 0x3FU) << 6U |
                   (next[3] & 0x3FU);
            if (lead > 0xF4 || *out < 0x10000 || *out > 0x10FFFF) return 0;
            ++out;
            next += 4;
        } else {
            return 0;
        }
    }
    benchmark::DoNotOptimize(wide.get());
    benchmark::ClobberMemory();
    return static_cast<std::size_t>(out - wide.get());
}

std::size_t narrowByHand(const std::string& bytes) {
    const auto text = std::make_unique_for_overwrite<char[]>(bytes.size());
    char* out = text.get();
    const auto tail = [](char32_t bits) { return static_cast<char>(0x80U | (bits & 0x3FU)); };
    for (const auto unit : wideOf(bytes)) {
        const auto value = static_cast<char32_t>(unit);
        if (value < 0x80) {
            *out++ = static_cast<char>(value);
        } else if (value < 0x800) {
            *out++ = static_cast<char>(0xC0U | value >> 6U);
            *out++ = tail(value);
        } else if (value < 0x10000) {
            if (value >> 11U == 0x1B) return 0;
            *out++ = static_cast<char>(0xE0U | value >> 12U);
            *out++ = tail(value >> 6U);
            *out++ = tail(value);
        } else {
            if (value > 0x10FFFF) return 0;
            *out++ = static_cast<char>(0xF0U | value >> 18U);
            *out++ = tail(value >> 12U);
            *out++ = tail(value >> 6U);
            *out++ = tail(value);
        }
    }
    benchmark::DoNotOptimize(text.get());
    benchmark::ClobberMemory();
    return static_cast<std::size_t>(out - text.get());
}

// Words of three to ten letters of one script each: three of five are ASCII.
std::string mixedText() {
    constexpr struct {
        unsigned percent;
        wchar_t first;
    } kScripts[] = {{60, L'a'}, {80, L'\u0430'}, {95, L'\u4e00'}, {100, L'\U0001F600'}};
    std::mt19937 random(3);
    std::wstring text;
    std::string narrowText;
    while (narrowText.size() < kLong) {
        const auto percent = static_cast<unsigned>(random() % 100);
        const auto* script = kScripts;
        while (script->percent <= percent) ++script;
        text.assign(3 + random() % 8, L' ');
        for (wchar_t& letter : text) letter = static_cast<wchar_t>(script->first + random() % 26);
        narrowText += StringConversions::toNarrow(text) + ' ';
    }
    return narrowText;
}

std::string textOf(const benchmark::State& state) {
    const auto size = static_cast<std::size_t>(state.range(0));
    return size == 0 ? mixedText() : std::string(size, 'a');
}

// The argument is the size of an ASCII text, or 0 for the mixed one.
void benchConversion(benchmark::State& state, const char* operation, bench::Reader ours,
                     const std::vector<bench::Peer>& libraries, const bench::Peer& byHand,
                     const bench::Peer& byVectors, bool startsWide) {
    const std::string text = textOf(state);
    const bool isMixed = state.range(0) == 0;
    std::vector<bench::Peer> peers = libraries;
    if (isMixed) peers.push_back(byHand);
    if (!isMixed && bench::hasVectors()) peers.push_back(byVectors);
    bench::compareReaders(
        state, operation + std::string(isMixed ? ", mixed" : ", ASCII"), 3'000'000 / text.size(),
        startsWide ? bytesOf(StringConversions::toWide(text)) : text, text.size(), ours, peers);
}
const auto forEachText = [](auto* conversion) { conversion->Arg(64)->Arg(kLong)->Arg(0)->Iterations(60); };
BENCHMARK_CAPTURE(benchConversion, toWide, "toWide", widen,
                  {{"Boost utf_to_utf", 1, widenByBoost}, {"g_utf8_to_ucs4", 1, widenByGlib}},
                  {"limit, one pass", 2, widenByHand}, {"limit, vectors", 2, bench::widenByVectors}, false)
    ->Apply(forEachText);
BENCHMARK_CAPTURE(benchConversion, toNarrow, "toNarrow", narrow,
                  {{"Boost utf_to_utf", 1, narrowByBoost}, {"g_ucs4_to_utf8", 1, narrowByGlib}},
                  {"limit, one pass", 2, narrowByHand}, {"limit, vectors", 2, bench::narrowByVectors}, true)
    ->Apply(forEachText);

}  // namespace
