// memory [FAMILY]...             fails each allocation of each family once, and each with all that follow
// memory FAMILY MODE NUMBER      only this one, in this process, for a debugger
// once FAMILY                    runs the family between two calls of getppid, for a tracer that fails calls
// list                           the families' names
//
// Modes: "cold" is a process's first run of the sequence, "warm" a later one; "all" fails every allocation
// from the given one on. After each run the sequence must pass untouched in another thread, so nothing may be
// left locked. A process that crashes or stands still for 20 seconds is a finding, too.

#include "faults/Allocator.h"
#include "faults/Faults.h"

#include <QvPlatform/diagnostics/Log.h>

#include <fcntl.h>
#include <sys/mman.h>
#include <sys/syscall.h>
#include <sys/wait.h>
#include <unistd.h>

#include <atomic>
#include <cstdio>
#include <cstdlib>
#include <new>
#include <string>
#include <thread>
#include <vector>

namespace {

using faults::Failing;
using faults::Family;

constexpr unsigned kSeconds = 20;
constexpr int kCrashes = 20;

struct Mode {
    const char* name;
    Failing failing;
    bool isWarm;
};
constexpr Mode kModes[] = {{"cold", Failing::one, false},
                           {"coldAll", Failing::allFromThere, false},
                           {"warm", Failing::one, true},
                           {"warmAll", Failing::allFromThere, true}};

// What a child has reached; shared with its parent.
struct Progress {
    std::atomic<long> number;
    std::atomic<bool> isDone;
};
Progress* progress = nullptr;

bool runWithout(const Family& family, Failing failing, long number) {
    faults::restoreFolder();
    faults::mayFail = failing != Failing::none;
    faults::failAllocations(failing, number);
    faults::runChecked(family);
    const bool failed = faults::endFailures();
    faults::mayFail = false;
    if (family.verify) family.verify();
    return failed;
}

void runUntouched(const Family& family) {
    std::thread([&] { runWithout(family, Failing::none, 0); }).join();
}

// Repeated, because what a failure makes for the first time may stay.
bool leaks(const Family& family, const Mode& mode, long number, long blocks) {
    constexpr int kRepetitions = 3;
    for (int i = 0; i < kRepetitions; ++i) {
        if (faults::liveBlocks() <= blocks) return false;
        blocks = faults::liveBlocks();
        runWithout(family, mode.failing, number);
        runUntouched(family);
    }
    return faults::liveBlocks() > blocks;
}

// Returns whether an allocation failed.
bool tryNumber(const Family& family, const Mode& mode, long number) {
    const int before = faults::findings;
    const long blocks = faults::liveBlocks();
    const int descriptors = faults::openDescriptors();
    alarm(kSeconds);
    const bool failed = runWithout(family, mode.failing, number);
    runUntouched(family);
    faults::check(!mode.isWarm || faults::openDescriptors() == descriptors);
    faults::check(!mode.isWarm || !leaks(family, mode, number, blocks));
    if (faults::findings > before) dprintf(STDOUT_FILENO, "%s %s %ld\n", family.name, mode.name, number);
    return failed;
}

// In a child: all numbers from the first on, or, cold, only that one.
[[noreturn]] void tryFrom(const Family& family, const Mode& mode, long number) {
    for (int i = 0; mode.isWarm && i < 3; ++i) {
        runWithout(family, Failing::none, 0);
        runUntouched(family);
    }
    bool failed = true;
    do {
        progress->number = number;
        failed = tryNumber(family, mode, number++);
    } while (failed && mode.isWarm);
    progress->isDone = !failed;
    _exit(faults::findings == 0 ? 0 : 1);
}

// Returns the number of findings.
int tryFamily(const Family& family, const Mode& mode) {
    int found = 0;
    int crashes = 0;
    progress->number = 0;
    progress->isDone = false;
    while (!progress->isDone && crashes < kCrashes) {
        const pid_t child = fork();
        if (child == 0) tryFrom(family, mode, progress->number + 1);
        int status = 0;
        waitpid(child, &status, 0);
        if (status != 0) ++found;
        if (!WIFSIGNALED(status)) continue;
        ++crashes;
        std::printf("%s %s %ld: signal %d\n", family.name, mode.name, progress->number.load(),
                    WTERMSIG(status));
        std::fflush(stdout);
    }
    std::printf("%s %s: %ld allocations, %d findings\n", family.name, mode.name, progress->number - 1, found);
    std::fflush(stdout);
    return found;
}

int runMemory(const std::vector<const Family*>& families) {
    int found = 0;
    long total = 0;
    for (const Family* family : families) {
        for (const Mode& mode : kModes) {
            if (family->failsWarm && !mode.isWarm) continue;
            found += tryFamily(*family, mode);
            total += progress->number - 1;
        }
    }
    std::printf("%ld failures, %d findings\n", total, found);
    return found == 0 ? 0 : 1;
}

int runOne(const Family& family, const std::string& mode, long number) {
    for (const Mode& known : kModes) {
        if (mode == known.name) tryFrom(family, {known.name, known.failing, known.isWarm}, number);
    }
    return 2;
}

int runOnce(const Family& family) {
    if (family.failsWarm) family.run();
    faults::restoreFolder();
    const int descriptors = faults::openDescriptors();
    alarm(kSeconds);
    faults::mayFail = true;
    syscall(SYS_getppid);
    faults::runChecked(family);
    syscall(SYS_getppid);
    if (family.verify) family.verify();
    faults::check(faults::openDescriptors() == descriptors);
    return faults::findings == 0 ? 0 : 1;
}

int list() {
    faults::forEachFamily([](const Family& family) { std::puts(family.name); });
    return 0;
}

// Messages about failures are many, and expected.
void silence() {
    const int null = open("/dev/null", O_WRONLY | O_CLOEXEC);
    dup2(null, STDERR_FILENO);
    close(null);
}

int run(const std::vector<std::string>& arguments) {
    const std::string what = arguments.empty() ? "" : arguments[0];
    std::vector<const Family*> families;
    for (std::size_t i = 1; i < arguments.size(); ++i) {
        if (const Family* family = faults::familyNamed(arguments[i])) families.push_back(family);
    }
    if (what == "memory" && arguments.size() == 4 && families.size() == 1)
        return runOne(*families[0], arguments[2], std::atol(arguments[3].c_str()));
    silence();
    if (what == "memory" && arguments.size() == 1)
        faults::forEachFamily([&](const Family& family) { families.push_back(&family); });
    if (what == "memory") return runMemory(families);
    if (what == "once" && families.size() == 1) return runOnce(*families[0]);
    return what == "list" ? list() : 2;
}

}  // namespace

int main(int argc, char** argv) {
    void* const shared =
        mmap(nullptr, sizeof(Progress), PROT_READ | PROT_WRITE, MAP_SHARED | MAP_ANONYMOUS, -1, 0);
    progress = new (shared) Progress{};
    faults::makeFolder();
    setenv("TMPDIR", faults::folder().c_str(), 1);
    constexpr const char* kLibdw = "/usr/lib/x86_64-linux-gnu/libdw.so.1";  // a name that takes memory
    if (access(kLibdw, R_OK) == 0) setenv("QV_LIBDW", kLibdw, 1);
    const int status = run({argv + 1, argv + argc});
    faults::removeFolder();
    return status;
}
