#include "faults/Allocator.h"

#include <atomic>
#include <cerrno>
#include <cstddef>
#include <cstdint>
#include <cstdlib>

extern "C" {
void* __libc_malloc(std::size_t size);
void* __libc_calloc(std::size_t count, std::size_t size);
void* __libc_realloc(void* block, std::size_t size);
void* __libc_memalign(std::size_t alignment, std::size_t size);
void __libc_free(void* block);
}

namespace faults {
namespace {

struct Plan {
    Failing failing = Failing::none;
    long left = 0;  ///< allocations before the first that fails
    bool failed = false;
    int pauses = 0;
};

constinit thread_local Plan plan;
constinit std::atomic<long> live{0};

bool refuses() {
    if (plan.failing == Failing::none || plan.pauses > 0) return false;
    if (plan.left > 0) --plan.left;
    if (plan.left > 0) return false;
    if (plan.failed && plan.failing == Failing::one) return false;
    plan.failed = true;
    allocationFails();
    errno = ENOMEM;
    return true;
}

void* counted(void* block) {
    if (block) ++live;
    return block;
}

}  // namespace

void failAllocations(Failing failing, long number) { plan = {failing, number, false, 0}; }

bool endFailures() {
    plan.failing = Failing::none;
    return plan.failed;
}

long liveBlocks() { return live; }

AllocationPause::AllocationPause() { ++plan.pauses; }
AllocationPause::~AllocationPause() { --plan.pauses; }

__attribute__((noinline)) void allocationFails() { asm volatile(""); }

}  // namespace faults

using faults::counted;
using faults::refuses;

extern "C" {

void* malloc(std::size_t size) noexcept { return refuses() ? nullptr : counted(__libc_malloc(size)); }

void* calloc(std::size_t count, std::size_t size) noexcept {
    return refuses() ? nullptr : counted(__libc_calloc(count, size));
}

void* realloc(void* block, std::size_t size) noexcept {
    if (refuses()) return nullptr;
    void* const moved = __libc_realloc(block, size);
    if (block && !moved && size == 0) --faults::live;
    return block ? moved : counted(moved);
}

void* aligned_alloc(std::size_t alignment, std::size_t size) noexcept {
    return refuses() ? nullptr : counted(__libc_memalign(alignment, size));
}

void* memalign(std::size_t alignment, std::size_t size) noexcept { return aligned_alloc(alignment, size); }

int posix_memalign(void** block, std::size_t alignment, std::size_t size) noexcept {
    void* const made = aligned_alloc(alignment, size);
    if (!made) return ENOMEM;
    *block = made;
    return 0;
}

void free(void* block) noexcept {
    if (block) --faults::live;
    __libc_free(block);
}
}
