#pragma once

#include <cstddef>
#include <cstdint>
#include <string>

/// Makes allocations, or calls of the system, of one thread fail.
namespace faults {

enum class Failing { none, oneAllocation, allocationsFromThere, oneCall };
enum class Outcome { untouched, failed, failedLast };

/// Something fails in the calling thread from now on. The allocations have the numbers 1, 2...; a call has
/// one for each of its errors, and of the calls of one function the first three count, the fourth, the
/// eighth...
void beginFailures(Failing failing, long number);
/// Ends that. Returns whether something failed, and whether the same call has no further error.
Outcome endFailures();
/// " ", the name of the function that failed, " " and which of its errors it was; else "".
std::string failedCall();

long firstNumber(Failing failing);
/// The number to try after the given one. If `step` is not 1, only each `step`th allocation or call is tried,
/// and a call with one of its errors.
long nextNumber(Failing failing, long number, long step, Outcome outcome);

/// The number of blocks that are allocated, by any thread.
long liveBlocks();

/// During its lifetime nothing fails in the calling thread, nor has a number.
class Pause {
public:
    Pause();
    Pause(const Pause&) = delete;
    Pause& operator=(const Pause&) = delete;
    ~Pause();
};

// For what is put in the place of the allocator and of the system's functions.

/// Whether an allocation of the calling thread fails.
bool allocationFails();
/// Count and return a block that was allocated, or count one that is freed, unless it is null.
void* counted(void* block);
void released(void* block);
/// The error of this call, less than `errors`, or -1.
int errorOfCall(const char* name, std::size_t function, int errors);

constexpr std::size_t kMostFunctions = 128;

// What each system has of its own.

/// Puts them in their place.
void prepareFailures();
std::uintptr_t currentThread();
int openHandles();
/// Whether a child of this process is running or was not waited for.
bool hasChildren();
void endProcess(int status);
/// Ends the process after that time, unless it is called again.
void allowSeconds(unsigned seconds);
/// Shows a tracer where the sequence begins and ends.
void markForTracer();

}  // namespace faults
