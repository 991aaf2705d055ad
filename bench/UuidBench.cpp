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
#include <cstring>
#include <string>

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

void benchParse(benchmark::State& state) {
    bench::compareReaders(
        state, "UUID read", 5'000, kText, 1,
        [](const std::string& text) { return beginningOf(QvUuid(text).getBytes()); },
        {{"Boost", 1.1,
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

void benchName(benchmark::State& state) {
    static const uuids::uuid names = uuids::string_generator()("{E27A6542-B17C-4A04-83A6-882EEACA5A9B}");
    bench::compareReaders(
        state, "UUID of a name", 2'000, "vehicle/axle/wheel", 1,
        [](const std::string& name) { return beginningOf(QvUuid::createFromName(name).getBytes()); },
        {{"Boost", 1.1,
          [](const std::string& name) {
              return beginningOf(uuids::name_generator_sha1(names)(name.data(), name.size()).data);
          }},
         {"libuuid", 0, [](const std::string& name) {
              uuid_t uuid;
              uuid_generate_sha1(uuid, names.data, name.data(), name.size());
              return beginningOf(uuid);
          }}});
}
BENCHMARK(benchName)->Iterations(kTurns);

}  // namespace
