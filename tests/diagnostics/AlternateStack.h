#pragma once

#include <sys/mman.h>

#include <csignal>
#include <cstddef>

namespace support {

/// The alternate stack of a signal handler, as small as a walk may encounter, with no mapped memory around
/// it.
class AlternateStack {
public:
    AlternateStack() {
        const stack_t alternate{pages_ + kPage, 0, kBytes};
        mprotect(pages_ + kPage, kBytes, PROT_READ | PROT_WRITE);
        sigaltstack(&alternate, &before_);
    }
    ~AlternateStack() {
        sigaltstack(&before_, nullptr);
        munmap(pages_, kBytes + 2 * kPage);
    }
    AlternateStack(const AlternateStack&) = delete;
    AlternateStack& operator=(const AlternateStack&) = delete;

private:
    static constexpr std::size_t kPage = 4096;
#if defined(__SANITIZE_THREAD__) || defined(__SANITIZE_ADDRESS__)
    static constexpr std::size_t kBytes = std::size_t{256} * 1024;
#else
    static constexpr std::size_t kBytes = std::size_t{32} * 1024;
#endif

    char* pages_ =
        static_cast<char*>(mmap(nullptr, kBytes + 2 * kPage, PROT_NONE, MAP_PRIVATE | MAP_ANONYMOUS, -1, 0));
    stack_t before_{};
};

}  // namespace support
