// The path types with a text of 100 characters, compared with the standard library's.

#include <QvPlatform/filesystem/Directory.h>
#include <QvPlatform/filesystem/File.h>

#include "BenchSupport.h"

#include <filesystem>
#include <string>

namespace {

namespace fs = std::filesystem;
using QvPlatform::Directory;
using QvPlatform::File;

constexpr std::size_t kLength = 100;
constexpr std::size_t kCalls = 20'000;
constexpr std::int64_t kTurns = 30;
constexpr bench::Target kTarget{};

const std::string kPlain =
    "/opt/simulation/projects/bridge-under-wind/scenarios/2020/autumn/results/run-0042/frames/frame-001.d";
const std::string kDotted =
    "/opt/simulation/./projects/bridge-under-wind/../scenarios/2020/./autumn/../results/run-0042/frame-01";

template <typename Ours, typename Peer>
void addComparison(const char* operation, const char* peerName, Ours ours, Peer peer) {
    benchmark::RegisterBenchmark(operation, [=](benchmark::State& state) {
        bench::compare(
            state, {operation, peerName, kLength, kTarget}, kCalls,
            [=](std::size_t) { benchmark::DoNotOptimize(ours()); },
            [=](std::size_t) { benchmark::DoNotOptimize(peer()); });
    })->Iterations(kTurns);
}

[[maybe_unused]] const bool registered = [] {
    static const File file(kPlain);
    static const File otherFile(kPlain);
    static const Directory directory(kPlain);
    static const Directory otherDirectory(kPlain);
    static const fs::path path(kPlain);
    static const fs::path otherPath(kPlain);
    constexpr const char* kPath = "std path";
    addComparison(
        "File from text", kPath, [] { return File(kPlain); }, [] { return fs::path(kPlain); });
    addComparison(
        "Directory from text", kPath, [] { return Directory(kPlain); }, [] { return fs::path(kPlain); });
    addComparison(
        "File from text with dots", "std path, normal", [] { return File(kDotted); },
        [] { return fs::path(kDotted).lexically_normal(); });
    addComparison(
        "compare two equal Files", kPath, [] { return file < otherFile; }, [] { return path < otherPath; });
    addComparison(
        "compare two equal Directories", kPath, [] { return directory == otherDirectory; },
        [] { return path == otherPath; });
    addComparison(
        "File to text", kPath, [] { return file.toUniversalPath(); }, [] { return path.string(); });
    addComparison(
        "Directory to native text", kPath, [] { return directory.toNativePath(); },
        [] { return path.string(); });
    return true;
}();

}  // namespace
