#include "os/posix/stack/LocalMemory.h"

#include <sys/syscall.h>
#include <sys/uio.h>
#include <unistd.h>

#include <bit>
#include <cerrno>

namespace os::posix {
namespace {

// Sanitizers must not check reads of other functions' stack frames.
__attribute__((noinline, no_sanitize("address", "thread", "undefined"))) void copyWords(std::uintptr_t* to,
                                                                                        std::uintptr_t from,
                                                                                        std::size_t count) {
    const auto* const words = std::bit_cast<const volatile std::uintptr_t*>(from);
    for (std::size_t i = 0; i < count; ++i) to[i] = words[i];
}

// The kernel reads the word as a set of signals before it refuses the unknown operation. It treats a null
// pointer as no set.
bool isReadable(std::uintptr_t address) {
    constexpr int kUnknownOperation = -1;
    constexpr std::size_t kKernelSet = 8;
    return address != 0 &&
           (syscall(SYS_rt_sigprocmask, kUnknownOperation, address, nullptr, kKernelSet) == 0 ||
            errno != EFAULT);
}

// Uses the system call directly, because a sanitizer's wrapper checks the memory as if the program had read
// it.
bool copyFrom(std::uintptr_t address, std::uintptr_t* words, std::size_t count) {
    const std::size_t bytes = count * sizeof *words;
    const iovec to{words, bytes};
    const iovec from{std::bit_cast<void*>(address), bytes};
    const long copied = syscall(SYS_process_vm_readv, getpid(), &to, 1L, &from, 1L, 0L);
    if (copied >= 0) return static_cast<std::size_t>(copied) == bytes;
    const bool isForbidden = errno == EPERM || errno == ENOSYS;  // by a system call filter
    if (!isForbidden || !isReadable(address)) return false;
    copyWords(words, address, count);
    return true;
}

}  // namespace

// Words that are copied together are in one page.
bool LocalMemory::read(std::uintptr_t address, std::uintptr_t& value) {
    constexpr std::uintptr_t kBytes = sizeof words_;
    if (address % sizeof value != 0) return false;
    const std::uintptr_t begin = address / kBytes * kBytes;
    if (begin != begin_) {
        const int saved = errno;
        begin_ = copyFrom(begin, words_.data(), kWords) ? begin : kNowhere;
        errno = saved;
        if (begin_ == kNowhere) return false;
    }
    value = words_[(address - begin) / sizeof value];
    return true;
}

}  // namespace os::posix
