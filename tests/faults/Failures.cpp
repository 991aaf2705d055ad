#include "faults/Failures.h"

#include <array>
#include <atomic>
#include <bit>
#include <string>

namespace faults {
namespace {

constexpr long kErrors = 16;  // a call's number is the multiple of it, plus its error's

// Other threads read only which thread it is.
struct Plan {
    Failing failing = Failing::none;
    long number = 0;
    long seen = 0;  ///< allocations, or calls that have a number
    Outcome outcome = Outcome::untouched;
    int pauses = 0;
    const char* function = nullptr;
    int error = 0;
    std::array<unsigned long, kMostFunctions> calls{};
};

constinit Plan plan;
constinit std::atomic<std::uintptr_t> failingThread{0};
constinit std::atomic<long> live{0};

bool isCounted() { return failingThread == currentThread() && plan.pauses == 0; }

}  // namespace

void beginFailures(Failing failing, long number) {
    plan = {failing, number};
    failingThread = failing == Failing::none ? 0 : currentThread();
}

Outcome endFailures() {
    failingThread = 0;
    return plan.outcome;
}

std::string failedCall() {
    return plan.function ? std::string(" ") + plan.function + " " + std::to_string(plan.error) : "";
}

long firstNumber(Failing failing) { return failing == Failing::oneCall ? kErrors : 1; }

long nextNumber(Failing failing, long number, long step, Outcome outcome) {
    if (failing != Failing::oneCall) return number + step;
    if (step == 1 && outcome == Outcome::failed) return number + 1;
    const long error = step == 1 ? 0 : (number + 1) % kErrors;
    return (number / kErrors + step) * kErrors + error;
}

long liveBlocks() { return live; }

Pause::Pause() { ++plan.pauses; }
Pause::~Pause() { --plan.pauses; }

bool allocationFails() {
    if (!isCounted() || plan.failing == Failing::oneCall) return false;
    ++plan.seen;
    const bool fails =
        plan.failing == Failing::oneAllocation ? plan.seen == plan.number : plan.seen >= plan.number;
    if (fails) plan.outcome = Outcome::failed;
    return fails;
}

void* counted(void* block) {
    if (block) ++live;
    return block;
}

void released(void* block) {
    if (block) --live;
}

int errorOfCall(const char* name, std::size_t function, int errors) {
    if (!isCounted() || plan.failing != Failing::oneCall) return -1;
    const unsigned long count = ++plan.calls[function];
    if (count > 3 && !std::has_single_bit(count)) return -1;
    if (++plan.seen != plan.number / kErrors) return -1;
    const int error = static_cast<int>(plan.number % kErrors);
    plan.outcome = error + 1 < errors ? Outcome::failed : Outcome::failedLast;
    plan.function = name;
    plan.error = error % errors;
    return plan.error;
}

}  // namespace faults
