// Repeats what the library does for long, and measures what the process holds before and after:
//   soakRunner [PART]... [--scale X | --time MINUTES]
// "--scale" multiplies the counts of the long form, which is 1; "--time" repeats hundredths of the parts
// until the time is over. Each part first runs for a hundredth of its count, so that what the first use makes
// and keeps is there. The status is 1 if a part holds more than `kAllowed` more afterwards, or a result was
// wrong.

#include "soak/Soak.h"

#include <QvPlatform/diagnostics/Log.h>

#include <fcntl.h>
#include <malloc.h>
#include <sys/resource.h>
#include <unistd.h>

#include <algorithm>
#include <array>
#include <chrono>
#include <cstdio>
#include <cstdlib>
#include <filesystem>
#include <fstream>
#include <iterator>
#include <vector>

namespace {

using soak::Part;

constexpr const Part* kParts[] = {&soak::kPlugins, &soak::kProcesses, &soak::kLog, &soak::kThreadPool,
                                  &soak::kChildren};

constexpr std::size_t kKinds = 6;
constexpr const char* kKindNames[kKinds] = {"KiB in use", "descriptors", "mappings",
                                            "threads",    "files",       "children"};
using Usage = std::array<long, kKinds>;
/// The allocator's caches and the arenas of threads come and go.
constexpr Usage kAllowed = {64, 0, 4, 0, 0, 0};

long entriesIn(const std::string& folder) {
    return std::distance(std::filesystem::directory_iterator(folder), std::filesystem::directory_iterator());
}

long linesOf(const std::string& path) {
    std::ifstream file(path);
    return std::count(std::istreambuf_iterator<char>(file), std::istreambuf_iterator<char>(), '\n');
}

// Of other programs there may be segments, too.
long ownSegments() {
    const std::string name = "-soak-" + std::to_string(getpid());
    const std::filesystem::directory_iterator files("/dev/shm");
    return std::count_if(begin(files), end(files), [&](const auto& entry) {
        return entry.path().filename().string().find(name) != std::string::npos;
    });
}

long childrenOf(const std::filesystem::path& thread) {
    std::ifstream file(thread / "children");
    return std::distance(std::istream_iterator<std::string>(file), std::istream_iterator<std::string>());
}

Usage measure() {
    malloc_trim(0);
    const struct mallinfo2 memory = mallinfo2();
    long children = 0;
    for (const auto& thread : std::filesystem::directory_iterator("/proc/self/task"))
        children += childrenOf(thread.path());
    return {static_cast<long>((memory.uordblks + memory.hblkhd) / 1024),
            entriesIn("/proc/self/fd"),
            linesOf("/proc/self/maps"),
            entriesIn("/proc/self/task"),
            entriesIn(soak::workFolder()) + ownSegments(),
            children};
}

// Prints what changed, and returns whether all of it is allowed.
bool compare(const Usage& before, const Usage& after) {
    bool isSame = true;
    for (std::size_t kind = 0; kind < kKinds; ++kind) {
        const bool isMore = after[kind] - before[kind] > kAllowed[kind];
        std::printf("  %s: %ld before, %ld after%s\n", kKindNames[kind], before[kind], after[kind],
                    isMore ? " FAILED" : "");
        isSame = isSame && !isMore;
    }
    return isSame;
}

struct Options {
    double scale = 1;
    double minutes = 0;
    std::vector<const Part*> parts;
};

long countOf(const Part& part, double scale) {
    return std::max(1L, static_cast<long>(static_cast<double>(part.count) * scale));
}

// Returns how often the part ran.
long runFor(const Part& part, std::chrono::duration<double> time) {
    const auto end = std::chrono::steady_clock::now() + time;
    long count = 0;
    do {
        part.run(countOf(part, 0.01));
        count += countOf(part, 0.01);
    } while (std::chrono::steady_clock::now() < end);
    return count;
}

bool soakPart(const Part& part, const Options& options) {
    soak::showLife();
    part.run(countOf(part, options.scale / 100));
    part.run(1);
    const Usage before = measure();
    long count = countOf(part, options.scale);
    if (options.minutes > 0)
        count = runFor(part,
                       std::chrono::minutes(1) * options.minutes / static_cast<double>(options.parts.size()));
    else
        part.run(count);
    std::printf("%s: %ld %s\n", part.name, count, part.unit);
    const bool isSame = compare(before, measure());
    std::fflush(stdout);
    return isSame;
}

// Returns false if the options are wrong.
bool parse(const std::vector<std::string>& words, Options& options) {
    for (std::size_t i = 0; i < words.size(); ++i) {
        const bool isScale = words[i] == "--scale";
        if (isScale || words[i] == "--time") {
            if (++i == words.size()) return false;
            (isScale ? options.scale : options.minutes) = std::atof(words[i].c_str());
            continue;
        }
        const auto* const found = std::find_if(std::begin(kParts), std::end(kParts),
                                               [&](const Part* part) { return words[i] == part->name; });
        if (found == std::end(kParts)) return false;
        options.parts.push_back(*found);
    }
    if (options.parts.empty()) options.parts.assign(std::begin(kParts), std::end(kParts));
    return options.scale > 0;
}

// The log's lines and what is said about refused plugins are many.
void silence() {
    const int null = open("/dev/null", O_WRONLY | O_CLOEXEC);
    dup2(null, STDERR_FILENO);
    close(null);
}

void allowManyDescriptors() {
    rlimit limit{};
    getrlimit(RLIMIT_NOFILE, &limit);
    limit.rlim_cur = limit.rlim_max;
    setrlimit(RLIMIT_NOFILE, &limit);
}

}  // namespace

void soak::require(bool holds, const char* what) {
    if (holds) return;
    std::printf("FAILED: %s\n", what);
    std::fflush(stdout);
    std::abort();
}

void soak::showLife() { alarm(600); }

const std::string& soak::workFolder() {
    static const std::string folder = std::filesystem::current_path().string() + "/";
    return folder;
}

int main(int argc, char** argv) {
    const std::vector<std::string> words(argv + 1, argv + argc);
    if (words.size() == 2 && words[0] == "--member") return soak::runMember(words[1]);
    Options options;
    if (!parse(words, options)) return 2;
    silence();
    allowManyDescriptors();
    std::string folder = std::filesystem::temp_directory_path() / "qv-soak-XXXXXX";
    soak::require(mkdtemp(folder.data()), "a folder to work in");
    std::filesystem::current_path(folder);
    bool isGood = true;
    for (const Part* part : options.parts) isGood = soakPart(*part, options) && isGood;
    std::filesystem::current_path("/");
    std::filesystem::remove_all(folder);
    std::puts(isGood ? "all parts hold what they held before" : "FAILED");
    return isGood ? 0 : 1;
}
