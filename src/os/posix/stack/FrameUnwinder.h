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

    int upOverCall();
    int upByPlain(const PlainRules& rules);
    int upOverSignal();
    bool frameAddress(const FrameRules& rules, std::uintptr_t& address);
    bool callersValue(const RegisterRule& rule, std::size_t number, std::uintptr_t frame,
                      std::uintptr_t& value);
    bool evaluate(const RegisterRule& rule, const std::uintptr_t* initial, std::uintptr_t& result);

    Registers registers_{};
    LocalMemory memory_;
    bool isInterrupted_ = true;
};

}  // namespace os::posix
