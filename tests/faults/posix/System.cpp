// The program's allocator, which also serves all libraries: the C library's, with a count, and with failures.

#include "faults/Failures.h"

#include <poll.h>
#include <pthread.h>
#include <sys/syscall.h>
#include <sys/wait.h>
#include <unistd.h>

#include <algorithm>
#include <cerrno>
#include <cstddef>
#include <cstdint>
#include <iterator>

extern "C" {
void* __libc_malloc(std::size_t size);
void* __libc_calloc(std::size_t count, std::size_t size);
void* __libc_realloc(void* block, std::size_t size);
void* __libc_memalign(std::size_t alignment, std::size_t size);
void __libc_free(void* block);
}

namespace faults {
namespace {

bool refuses() {
    if (!allocationFails()) return false;
    errno = ENOMEM;
    return true;
}

}  // namespace

void prepareFailures() {}

std::uintptr_t currentThread() { return pthread_self(); }

int openHandles() {
    pollfd candidates[256] = {};
    for (int i = 0; i < 256; ++i) candidates[i].fd = i;
    poll(candidates, 256, 0);
    return static_cast<int>(std::count_if(std::begin(candidates), std::end(candidates),
                                          [](const pollfd& one) { return (one.revents & POLLNVAL) == 0; }));
}

bool hasChildren() {
    pid_t ended = 0;
    do ended = waitpid(-1, nullptr, WNOHANG);
    while (ended > 0);
    return ended == 0;
}

void endProcess(int status) { _exit(status); }

// A thread that waits would be asked whether it is in a library, and be late on a busy machine.
void allowSeconds(unsigned seconds) { alarm(seconds); }

void markForTracer() { syscall(SYS_getppid); }

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
    if (!moved && size == 0) faults::released(block);
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
    faults::released(block);
    __libc_free(block);
}
}
