#pragma once

#include "os/posix/stack/CallFrameInfo.h"
#include "os/posix/stack/LocalMemory.h"

#include <ucontext.h>

#include <array>
#include <cstdint>

namespace os::posix {

/// Walks a stack of this process from a set of registers outwards. It reads only memory that may be read,
/// allocates nothing and takes no lock, so that a signal handler can use it on a broken stack.
class FrameUnwinder {
public:
    explicit FrameUnwinder(const ucontext_t& context);
    /// From the caller's own frame.
    [[gnu::always_inline]] inline FrameUnwinder();

    std::uintptr_t programCounter() const { return registers_[kReturnAddress]; }
    /// If false, the program counter is a return address.
    bool isInterrupted() const { return isInterrupted_; }

    /// Moves to the caller's frame; past the outermost frame the program counter is 0. Returns 0 or a system
    /// error number: ENODATA if there is no unwind information, EFAULT if the stack is corrupt.
    int up();
    /// The same with the given rules. Any rules are safe: wrong ones fail with EFAULT.
    int upBy(const FrameRules& rules);

private:
    using Registers = std::array<std::uintptr_t, kRegisters>;

    inline std::uintptr_t address() const;
    inline std::uintptr_t frameAddress(const PlainRules& rules) const;
    inline bool upDirectly();
    int upIndirectly();
    int upOverCall();
    int upByProgram(std::uintptr_t address);
    int upByPlain(const PlainRules& rules);
    int upOverSignal();
    bool frameAddress(const FrameRules& rules, std::uintptr_t& address);
    bool callersValue(const RegisterRule& rule, std::size_t number, std::uintptr_t frame,
                      std::uintptr_t& value);
    bool evaluate(const RegisterRule& rule, const std::uintptr_t* initial, std::uintptr_t& result);

    Registers registers_;
    LocalMemory memory_;
    CallFrameInfo frameInfo_;
    bool isInterrupted_ = true;
};

// Unlike the system's function for this, does not ask the kernel. Registers that a call need not preserve are
// 0.
inline FrameUnwinder::FrameUnwinder() {
    for (const std::size_t number : {0U, 1U, 2U, 4U, 5U, 8U, 9U, 10U, 11U}) registers_[number] = 0;
    asm volatile(
        "movq %%rbx, 24(%0)\n\t"
        "movq %%rbp, 48(%0)\n\t"
        "movq %%rsp, 56(%0)\n\t"
        "movq %%r12, 96(%0)\n\t"
        "movq %%r13, 104(%0)\n\t"
        "movq %%r14, 112(%0)\n\t"
        "movq %%r15, 120(%0)\n\t"
        "leaq 0(%%rip), %%rax\n\t"
        "movq %%rax, 128(%0)"
        :
        : "r"(registers_.data())
        : "rax", "memory");
    memory_.readDirectly(usedStack(registers_[kStackPointer]));
}

}  // namespace os::posix
