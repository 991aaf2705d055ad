#include "os/posix/stack/LocalMemory.h"

#include <pthread.h>
#include <sys/syscall.h>
#include <sys/uio.h>
#include <unistd.h>

#include <cerrno>

namespace os::posix {
namespace {

constexpr std::uintptr_t kWord = sizeof(std::uintptr_t);

// Of the whole stack. A thread's stack never changes.
MemoryRange findStack() {
    pthread_attr_t attributes;
    if (pthread_getattr_np(pthread_self(), &attributes) != 0) return {};
    void* lowest = nullptr;
    std::size_t bytes = 0;
    const bool isKnown = pthread_attr_getstack(&attributes, &lowest, &bytes) == 0;
    pthread_attr_destroy(&attributes);
    return isKnown ? MemoryRange{std::bit_cast<std::uintptr_t>(lowest), bytes / kWord * kWord}
                   : MemoryRange();
}

thread_local MemoryRange wholeStack;
thread_local bool isStackKnown = false;

}  // namespace

MemoryRange usedStack(std::uintptr_t stackPointer) {
    if (!isStackKnown) {
        wholeStack = findStack();
        isStackKnown = true;
    }
    const std::uintptr_t unused = stackPointer / kWord * kWord - wholeStack.begin;
    if (unused >= wholeStack.bytes) return {};
    return {wholeStack.begin + unused, wholeStack.bytes - unused};
}

// The kernel reads the word as a set of signals before it refuses the unknown operation. It treats a null
// pointer as no set.
bool LocalMemory::isReadable(std::uintptr_t address) {
    constexpr int kUnknownOperation = -1;
    constexpr std::size_t kKernelSet = 8;
    const int saved = errno;
    const bool isReadable =
        address != 0 && (syscall(SYS_rt_sigprocmask, kUnknownOperation, address, nullptr, kKernelSet) == 0 ||
                         errno != EFAULT);
    errno = saved;
    return isReadable;
}

// Uses the system call directly, because a sanitizer's wrapper checks the memory as if the program had read
// it.
bool LocalMemory::copyFrom(std::uintptr_t address, std::uintptr_t* words, std::size_t count) {
    const std::size_t bytes = count * sizeof *words;
    const iovec to{words, bytes};
    const iovec from{std::bit_cast<void*>(address), bytes};
    const long copied = syscall(SYS_process_vm_readv, getpid(), &to, 1L, &from, 1L, 0L);
    if (copied >= 0) return static_cast<std::size_t>(copied) == bytes;
    const bool isForbidden = errno == EPERM || errno == ENOSYS;  // by a system call filter
    if (!isForbidden || !isReadable(address)) return false;
    for (std::size_t i = 0; i < count; ++i) words[i] = wordAt(address + i * kWord);
    return true;
}

// Words that are copied together are in one page.
bool LocalMemory::read(std::uintptr_t address, std::uintptr_t& value) {
    constexpr std::uintptr_t kBytes = sizeof words_;
    if (isDirect(address, sizeof value)) {
        value = wordAt(address);
        return true;
    }
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
