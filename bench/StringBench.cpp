// Functions on text compared with those of other libraries and with loops written by hand, which are
// the limit.

#include <QvPlatform/core/StringUtils.h>

#include "BenchSupport.h"
#include "TextByVectors.h"

#include <absl/strings/str_replace.h>
#include <absl/strings/str_split.h>
#include <fnmatch.h>
#include <glib.h>

#include <algorithm>
#include <boost/algorithm/string/classification.hpp>
#include <boost/algorithm/string/replace.hpp>
#include <boost/algorithm/string/split.hpp>
#include <cstring>
#include <random>
#include <string>
#include <vector>

namespace {

namespace StringUtils = QvSim::StringUtils;
using bench::kDelimiters;
using bench::kFrom;
using bench::kTo;

constexpr std::size_t kMebibyte = 1024 * 1024;
constexpr std::size_t kBytesPerHit = 104;
const char* volatile pattern = "*a*a*a*a*a*b*";  // volatile: no side may be compiled for this one alone

bool matchByTwoPointers(const char* wanted, const char* text) {
    const char* afterStar = nullptr;
    const char* retry = nullptr;
    while (*text) {
        if (*wanted == '*') {
            afterStar = ++wanted;
            retry = text;
        } else if (*wanted == '?' || *wanted == *text) {
            ++wanted;
            ++text;
        } else if (afterStar) {
            wanted = afterStar;
            text = ++retry;
        } else {
            return false;
        }
    }
    while (*wanted == '*') ++wanted;
    return !*wanted;
}

std::size_t splitByGlib(const std::string& text) {
    gchar** pieces = g_strsplit_set(text.c_str(), kDelimiters.c_str(), 0);
    const std::size_t count = g_strv_length(pieces);
    g_strfreev(pieces);
    return count;
}

std::size_t replaceByGlib(const std::string& text) {
    GString* result = g_string_new_len(text.data(), static_cast<gssize>(text.size()));
    g_string_replace(result, kFrom.c_str(), kTo.c_str(), 0);
    const std::size_t length = result->len;
    g_string_free(result, TRUE);
    return length;
}

// Pieces of one to twelve letters, seven bytes on the average with the delimiter; none is empty.
std::string textOfPieces(std::size_t size) {
    std::mt19937 random(1);
    std::string text;
    text.reserve(size + 100);
    while (text.size() < size) {
        text.append(1 + random() % 45 / 4, static_cast<char>('a' + random() % 26));
        text += kDelimiters[random() % 3];
    }
    text.resize(size);
    text.back() = 'z';
    return text;
}

std::string textWithHits(std::size_t size) {
    std::mt19937 random(2);
    std::string text(size, ' ');
    for (char& c : text) c = static_cast<char>('a' + random() % 26);
    for (std::size_t i = 0; i + kBytesPerHit <= size; i += kBytesPerHit)
        text.replace(i + random() % 90, kFrom.size(), kFrom);
    return text;
}

// None of the texts matches.
void benchMatch(benchmark::State& state) {
    const auto length = static_cast<std::size_t>(state.range(0));
    bench::compareReaders(state, "match of *a*a*a*a*a*b*", 300'000 / length, std::string(length, 'a'), length,
                          [](const std::string& text) -> std::size_t {
                              return StringUtils::match(pattern, text.c_str(), true) ? 1 : 2;
                          },
                          {{"limit, two pointers", 1.5,
                            [](const std::string& text) -> std::size_t {
                                return matchByTwoPointers(pattern, text.c_str()) ? 1 : 2;
                            }},
                           {"fnmatch", 0, [](const std::string& text) -> std::size_t {
                                return fnmatch(pattern, text.c_str(), 0) ? 2 : 1;
                            }}});
}
BENCHMARK(benchMatch)->Arg(60)->Arg(5000)->Iterations(60);

std::size_t split(const std::string& text) {
    Qv::QvArray<std::string> pieces;
    return StringUtils::split(pieces, text, kDelimiters, false, false);
}

std::size_t replace(const std::string& text) { return StringUtils::replace(text, kFrom, kTo).size(); }

void benchSplit(benchmark::State& state) {
    const auto byBoost = [](const std::string& text) {
        std::vector<std::string> pieces;
        return boost::split(pieces, text, boost::is_any_of(kDelimiters), boost::token_compress_on).size();
    };
    const auto byAbseil = [](const std::string& text) {
        const auto skip = absl::SkipEmpty();
        return std::vector<std::string>(absl::StrSplit(text, absl::ByAnyChar(kDelimiters), skip)).size();
    };
    const std::string text = textOfPieces(kMebibyte);
    std::vector<bench::Peer> peers = {
        {"Boost", 1, byBoost}, {"Abseil", 1, byAbseil}, {"GLib", 1, splitByGlib}};
    if (bench::hasVectors()) peers.push_back({"limit, vectors", 1.5, bench::splitByVectors});
    bench::compareReaders(state, "split of 1 MiB, by pieces", 1, text, split(text), split, peers);
}
BENCHMARK(benchSplit)->Iterations(40);

void benchReplace(benchmark::State& state) {
    const auto size = static_cast<std::size_t>(state.range(0));
    const auto byBoost = [](const std::string& text) {
        return boost::replace_all_copy(text, kFrom, kTo).size();
    };
    const auto byAbseil = [](const std::string& text) {
        return absl::StrReplaceAll(text, {{kFrom, kTo}}).size();
    };
    std::vector<bench::Peer> peers = {
        {"Boost", 1, byBoost}, {"Abseil", 1, byAbseil}, {"GLib", 1, replaceByGlib}};
    if (bench::hasVectors()) peers.push_back({"limit, vectors", 1.5, bench::replaceByVectors});
    bench::compareReaders(state, "replace, by bytes", kMebibyte / size, textWithHits(size), size, replace,
                          peers);
}
BENCHMARK(benchReplace)->Arg(65'536)->Arg(kMebibyte)->Iterations(30);

void benchGrowth(benchmark::State& state, const char* operation, std::string (*makeText)(std::size_t),
                 bench::Reader ours, bench::Reader limit) {
    if (!bench::hasVectors()) return state.SkipWithError("the processor has no AVX2");
    const auto size = static_cast<std::size_t>(state.range(0));
    bench::compareReaders(state, operation, 1, makeText(size), size, ours, {{"limit, vectors", 0, limit}},
                          bench::Growth::shown);
}
const auto forGrowth = [](auto* growing) {
    for (const std::int64_t mebibytes : {1, 16, 256, 1024}) growing->Arg(mebibytes << 20);
    growing->Iterations(2);
};
BENCHMARK_CAPTURE(benchGrowth, split, "split, by bytes", textOfPieces, split, bench::splitByVectors)
    ->Name("growth/split")
    ->Apply(forGrowth);
BENCHMARK_CAPTURE(benchGrowth, replace, "replace, by bytes", textWithHits, replace, bench::replaceByVectors)
    ->Name("growth/replace")
    ->Apply(forGrowth);

}  // namespace
