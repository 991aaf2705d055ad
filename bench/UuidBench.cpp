// UUIDs made, read, printed and derived from names, compared with Boost used directly and with
// libuuid.

#include <QvPlatform/core/QvUuid.h>

#include "BenchSupport.h"

#include <uuid/uuid.h>

#include <boost/uuid/name_generator_sha1.hpp>
#include <boost/uuid/random_generator.hpp>
#include <boost/uuid/string_generator.hpp>
#include <boost/uuid/uuid.hpp>
#include <boost/uuid/uuid_io.hpp>

#include <algorithm>
#include <array>
#include <cstring>
#include <string>
#include <vector>

namespace {

namespace uuids = boost::uuids;
using QvSim::QvUuid;

constexpr int kTurns = 60;
const std::string kText = "e27a6542-b17c-4a04-83a6-882eeaca5a9b";

// The first bytes, so that the sides can be compared.
std::size_t beginningOf(const void* bytes) {
    std::size_t result = 0;
    std::memcpy(&result, bytes, sizeof result);
    return result;
}

void benchMake(benchmark::State& state) {
    bench::compareReaders(state, "UUID made", 500, "", 1,
                          [](const std::string&) -> std::size_t {
                              benchmark::DoNotOptimize(QvUuid().getBytes());
                              return 0;
                          },
                          {{"Boost", 1.1,
                            [](const std::string&) -> std::size_t {
                                benchmark::DoNotOptimize(uuids::random_generator()());
                                return 0;
                            }},
                           {"libuuid", 1, [](const std::string&) -> std::size_t {
                                uuid_t uuid;
                                uuid_generate_random(uuid);
                                benchmark::DoNotOptimize(uuid);
                                return 0;
                            }}});
}
BENCHMARK(benchMake)->Iterations(kTurns);

// The fastest way known for the form with dashes: two look-ups a byte, and one question at the end.
std::size_t readByDigitTable(const std::string& text) {
    static const auto values = [] {
        std::array<unsigned char, 256> digits{};
        digits.fill(0xFF);
        for (unsigned char i = 0; i < 16; ++i)
            digits["0123456789abcdef"[i]] = digits["0123456789ABCDEF"[i]] = i;
        return digits;
    }();
    constexpr unsigned char kPlaces[] = {0, 2, 4, 6, 9, 11, 14, 16, 19, 21, 24, 26, 28, 30, 32, 34};
    if (text.size() != 36 || text[8] != '-' || text[13] != '-' || text[18] != '-' || text[23] != '-')
        return 0;
    std::array<unsigned char, sizeof kPlaces> bytes{};
    unsigned int all = 0;
    for (std::size_t i = 0; i < bytes.size(); ++i) {
        const unsigned int first = values[static_cast<unsigned char>(text[kPlaces[i]])];
        const unsigned int second = values[static_cast<unsigned char>(text[kPlaces[i] + 1])];
        bytes[i] = static_cast<unsigned char>(first << 4U | second);
        all |= first | second;
    }
    return all < 16 ? beginningOf(bytes.data()) : 0;
}

void benchParse(benchmark::State& state) {
    bench::compareReaders(
        state, "UUID read", 5'000, kText, 1,
        [](const std::string& text) { return beginningOf(QvUuid(text).getBytes()); },
        {{"limit, digit table", 2, readByDigitTable},
         {"Boost", 1,
          [](const std::string& text) { return beginningOf(uuids::string_generator()(text).data); }},
         {"libuuid", 0, [](const std::string& text) {
              uuid_t uuid;
              return uuid_parse(text.c_str(), uuid) == 0 ? beginningOf(uuid) : 0;
          }}});
}
BENCHMARK(benchParse)->Iterations(kTurns);

void benchPrint(benchmark::State& state) {
    static const QvUuid ours(kText);
    static const uuids::uuid theirs = uuids::string_generator()(kText);
    bench::compareReaders(
        state, "UUID printed", 10'000, "", 1,
        [](const std::string&) { return beginningOf(ours.toString().data()); },
        {{"Boost", 1, [](const std::string&) { return beginningOf(uuids::to_string(theirs).data()); }},
         {"libuuid", 0, [](const std::string&) {
              std::string text(UUID_STR_LEN - 1, '\0');
              uuid_unparse_lower(theirs.data, text.data());
              return beginningOf(text.data());
          }}});
}
BENCHMARK(benchPrint)->Iterations(kTurns);

const uuids::uuid names = uuids::string_generator()("{E27A6542-B17C-4A04-83A6-882EEACA5A9B}");

std::size_t nameByBoost(const std::string& name) {
    return beginningOf(uuids::name_generator_sha1(names)(name.data(), name.size()).data);
}

std::size_t nameByLibuuid(const std::string& name) {
    uuid_t uuid;
    uuid_generate_sha1(uuid, names.data, name.data(), name.size());
    return beginningOf(uuid);
}

std::size_t nameByUs(const std::string& name) { return beginningOf(QvUuid::createFromName(name).getBytes()); }

void benchName(benchmark::State& state) {
    bench::compareReaders(state, "UUID of a name", 2'000, "vehicle/axle/wheel", 1, nameByUs,
                          {{"Boost", 1.05, nameByBoost}, {"libuuid", 0, nameByLibuuid}});
}
BENCHMARK(benchName)->Iterations(kTurns);

// Names of 1 to 100 characters, some of them as long as a UUID's text; the row is that of the worst length.
void benchNameOfEachLength(benchmark::State& state) {
    const std::string longest(100, 'e');
    std::vector<bench::Sides> sides(longest.size());
    for ([[maybe_unused]] auto turn : state) {
        for (std::size_t i = 0; i < sides.size(); ++i) {
            const std::string name = longest.substr(0, i) + '/';
            constexpr std::size_t kCalls = 50;
            sides[i].ours.add(
                bench::timePerCall(kCalls, [&](std::size_t) { benchmark::DoNotOptimize(nameByUs(name)); }));
            sides[i].peer.add(bench::timePerCall(
                kCalls, [&](std::size_t) { benchmark::DoNotOptimize(nameByBoost(name)); }));
        }
    }
    const auto ratio = [](const bench::Sides& s) { return s.ours.value() / s.peer.value(); };
    const auto worst = std::ranges::max_element(sides, {}, ratio);
    const auto length = static_cast<std::size_t>(worst - sides.begin()) + 1;
    bench::report(state, {"UUID of a name, worst length", "Boost", length, {.ratio = 1.05}}, *worst);
}
BENCHMARK(benchNameOfEachLength)->Iterations(4 * kTurns);

}  // namespace
