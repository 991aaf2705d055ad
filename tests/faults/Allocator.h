#pragma once

/// The program's allocator, which also serves all libraries: the C library's, with a count, and with failures
/// on demand in the calling thread.
namespace faults {

enum class Failing { none, one, allFromThere };

/// From now on the calling thread's allocation number `number`, counted from 1, fails, or it and all later
/// ones.
void failAllocations(Failing failing, long number);
/// Ends that. Returns whether an allocation failed.
bool endFailures();

/// The number of blocks that are allocated, by any thread.
long liveBlocks();

/// During its lifetime allocations of the calling thread do not fail, and have no number.
class AllocationPause {
public:
    AllocationPause();
    AllocationPause(const AllocationPause&) = delete;
    AllocationPause& operator=(const AllocationPause&) = delete;
    ~AllocationPause();
};

/// Called at each failure, for a debugger.
void allocationFails();

}  // namespace faults
