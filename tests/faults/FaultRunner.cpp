// memory [--every N] [FAMILY]...   each allocation of each family fails once, and each with all that follow
// calls [--every N] [FAMILY]...    calls of the system fail, on Windows (see win32/FailingCalls.cpp)
// try FAMILY MODE NUMBER N         only this, in this process; modes but cold ones go on from there
// once FAMILY                      the family between two calls of getppid, for a tracer that fails calls
// list                             the families' names
//
// With N, only each Nth allocation or call fails. Modes: "cold" is a process's first run of the sequence, and
// has a process for each failure; "warm" is a later one; "all" fails every allocation from the given one on.
// After each run the sequence must pass untouched in another thread, so nothing may be left locked. A process
// that crashes or stands still for 20 seconds is a finding, too, and another one goes on after it.

#include <QvPlatform/filesystem/Environment.h>
#include <QvPlatform/system/Process.h>

#include "faults/Failures.h"
#include "faults/Faults.h"
#include "support/Platform.h"
#include "support/TemporaryFolder.h"

#include <chrono>
#include <cstdint>
#include <cstdio>
#include <cstdlib>
#include <iostream>
#include <string>
#include <thread>
#include <vector>

namespace {

using faults::Failing;
using faults::Family;
using faults::Outcome;

constexpr unsigned kSeconds = 20;
constexpr int kCrashes = 20;

struct Mode {
    const char* name;
    const char* kind;
    Failing failing;
    bool isWarm;
};
constexpr Mode kModes[] = {{"cold", "memory", Failing::oneAllocation, false},
                           {"coldAll", "memory", Failing::allocationsFromThere, false},
                           {"warm", "memory", Failing::oneAllocation, true},
                           {"warmAll", "memory", Failing::allocationsFromThere, true},
                           {"coldCalls", "calls", Failing::oneCall, false},
                           {"warmCalls", "calls", Failing::oneCall, true}};

Outcome runWith(const Family& family, Failing failing, long number) {
    faults::allowSeconds(kSeconds);
    faults::restoreFolder();
    faults::mayFail = failing != Failing::none;
    faults::beginFailures(failing, number);
    faults::runChecked(family);
    const Outcome outcome = faults::endFailures();
    faults::mayFail = false;
    if (family.verify) family.verify();
    return outcome;
}

void runUntouched(const Family& family) {
    std::thread([&] { runWith(family, Failing::none, 0); }).join();
}

struct InUse {
    long blocks = faults::liveBlocks();
    int handles = faults::openHandles();
    bool isWithin(const InUse& other) const { return blocks <= other.blocks && handles <= other.handles; }
};

// A thread of the pool gives back later what it shares with one that has ended.
bool comesBackTo(const InUse& before) {
    for (int i = 0; i < 300 && !InUse().isWithin(before); ++i)
        std::this_thread::sleep_for(std::chrono::milliseconds(10));
    return InUse().isWithin(before);
}

// Repeated, because what a failure makes for the first time may stay.
bool leaks(const Family& family, const Mode& mode, long number, InUse before) {
    for (int repetitions = 3; repetitions > 0; --repetitions) {
        if (InUse().isWithin(before)) return false;
        before = {};
        runWith(family, mode.failing, number);
        runUntouched(family);
    }
    return !comesBackTo(before);
}

Outcome tryNumber(const Family& family, const Mode& mode, long number) {
    const int findings = faults::findings;
    const InUse before;
    const Outcome outcome = runWith(family, mode.failing, number);
    const std::string call = faults::failedCall();
    runUntouched(family);
    if (mode.isWarm) faults::check(!leaks(family, mode, number, before));
    if (faults::findings > findings)
        faults::report("finding: " + std::string(family.name) + " " + mode.name + " " +
                       std::to_string(number) + call);
    return outcome;
}

// All numbers from the first on, or, cold, only that one.
[[noreturn]] void tryFrom(const Family& family, const Mode& mode, long number, long step) {
    for (int i = 0; mode.isWarm && i < 3; ++i) {
        runWith(family, Failing::none, 0);
        runUntouched(family);
    }
    do {
        faults::report("try " + std::to_string(number));
        const Outcome outcome = tryNumber(family, mode, number);
        number = outcome == Outcome::untouched ? 0 : nextNumber(mode.failing, number, step, outcome);
        faults::report("next " + std::to_string(number));
    } while (number != 0 && mode.isWarm);
    faults::endProcess(0);
    std::abort();
}

/// What the children that try one family in one mode have reported.
class Course {
public:
    Course(const Family& family, const Mode& mode, long step)
        : family_(family), mode_(mode), step_(step), number_(firstNumber(mode.failing)) {}

    void run() {
        int crashes = 0;
        while (number_ != 0 && crashes < kCrashes) {
            std::int64_t status = -1;
            const std::string arguments = std::string("try ") + family_.name + " " + mode_.name + " " +
                                          std::to_string(number_) + " " + std::to_string(step_);
            QvSim::Process::shellExecute("\"" + QvSim::Process::getProcessFileName() + "\"", arguments, false,
                                         true, &status);
            read();
            if (status == 0) continue;
            ++crashes;
            ++findings;
            std::cout << family_.name << " " << mode_.name << " " << number_ << ": status " << status << "\n";
            number_ = nextNumber(mode_.failing, number_, step_, Outcome::failedLast);
        }
        std::cout << family_.name << " " << mode_.name << ": " << failures << " failures, " << findings
                  << " findings" << std::endl;
    }

    long failures = 0;
    long findings = 0;

private:
    void read() {
        const std::string path = QvPlatform::getEnv("QV_FAULTS_REPORT");
        std::ifstream file(support::pathOf(path));
        for (std::string line; std::getline(file, line);) {
            if (line.starts_with("try ")) {
                number_ = std::stol(line.substr(4));
                ++failures;
            } else if (line.starts_with("next ")) {
                number_ = std::stol(line.substr(5));
                if (number_ == 0) --failures;
            } else {
                if (line.starts_with("finding")) ++findings;
                std::cout << line << "\n";
            }
        }
        file.close();
        std::filesystem::remove(support::pathOf(path));
    }

    const Family& family_;
    const Mode& mode_;
    long step_;
    long number_;
};

int runAll(const std::string& kind, const std::vector<const Family*>& families, long step) {
    QvPlatform::putEnv("QV_FAULTS_REPORT", faults::folder() + "report");
    long failures = 0;
    long findings = 0;
    for (const Family* family : families) {
        for (const Mode& mode : kModes) {
            if (kind != mode.kind || (family->failsWarm && !mode.isWarm)) continue;
            Course course(*family, mode, step);
            course.run();
            failures += course.failures;
            findings += course.findings;
        }
    }
    std::cout << failures << " failures, " << findings << " findings\n";
    return findings == 0 && failures > 0 ? 0 : 1;
}

int runOne(const Family& family, const std::string& mode, long number, long step) {
    for (const Mode& known : kModes) {
        if (mode == known.name) tryFrom(family, known, number, step);
    }
    return 2;
}

int runOnce(const Family& family) {
    if (family.failsWarm) family.run();
    faults::restoreFolder();
    const int handles = faults::openHandles();
    faults::allowSeconds(kSeconds);
    faults::mayFail = true;
    faults::markForTracer();
    faults::runChecked(family);
    faults::markForTracer();
    if (family.verify) family.verify();
    faults::check(faults::openHandles() == handles);
    return faults::findings == 0 ? 0 : 1;
}

int run(const std::vector<std::string>& arguments) {
    const std::string what = arguments.empty() ? "" : arguments[0];
    std::vector<const Family*> families;
    long step = 1;
    for (std::size_t i = 1; i < arguments.size(); ++i) {
        if (arguments[i] == "--every" && i + 1 < arguments.size()) step = std::stol(arguments[++i]);
        if (const Family* family = faults::familyNamed(arguments[i])) families.push_back(family);
    }
    if (what == "list") return faults::forEachFamily([](const Family& family) { std::puts(family.name); }), 0;
    // Messages about failures are many, and expected.
    if (!std::freopen(support::kWindows ? "NUL" : "/dev/null", "w", stderr)) return 2;
    if (what == "try" && arguments.size() == 5 && families.size() == 1)
        return runOne(*families[0], arguments[2], std::stol(arguments[3]), std::stol(arguments[4]));
    if (what == "once" && families.size() == 1) return runOnce(*families[0]);
    if (families.empty()) faults::forEachFamily([&](const Family& family) { families.push_back(&family); });
    return what == "memory" || what == "calls" ? runAll(what, families, step) : 2;
}

}  // namespace

int main(int argc, char** argv) {
    faults::makeFolder();
    faults::prepareFailures();
    constexpr const char* kLibdw = "/usr/lib/x86_64-linux-gnu/libdw.so.1";  // a name that takes memory
    if (std::filesystem::exists(kLibdw)) QvPlatform::putEnv("QV_LIBDW", kLibdw);
    const int status = run({argv + 1, argv + argc});
    faults::removeFolder();
    return status;
}
