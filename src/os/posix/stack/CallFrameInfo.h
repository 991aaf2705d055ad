#pragma once

#include <array>
#include <cstddef>
#include <cstdint>

/// How to get from a frame to its caller's, as the compiler left it in each loaded file (".eh_frame").
/// Nothing here allocates, locks or calls what may, so that a signal handler can use it.
namespace os::posix {

/// Numbers of registers in that information: sixteen general ones and the return address.
constexpr std::size_t kRegisters = 17;
constexpr std::size_t kStackPointer = 7;
constexpr std::size_t kReturnAddress = 16;

/// Where the caller's value of a register is.
struct RegisterRule {
    enum Kind : std::uint8_t {
        kSame,             ///< still in the register
        kUndefined,        ///< nowhere
        kSavedAt,          ///< in memory, at the frame's address plus `value`
        kOffset,           ///< the frame's address plus `value`
        kInRegister,       ///< in register `value`
        kSavedAtComputed,  ///< in memory, at what `expression` gives
        kComputed          ///< what `expression` gives
    };
    Kind kind = kSame;
    std::int64_t value = 0;  ///< of an expression: how many bytes it has
    const std::uint8_t* expression = nullptr;
};

/// The usual rules, in short: the frame lies at a register plus a number, and registers are saved near it.
struct PlainRules {
    std::int32_t frameOffset = 0;
    std::uint8_t frameRegister = 0;
    bool isSignalFrame = false;
    bool isOutermost = false;
    std::array<std::int8_t, kRegisters> savedAt{};  ///< in words from the frame; 0 if still in the register
};

struct FrameRules {
    bool isPlain = false;  ///< only `plain` counts
    PlainRules plain;
    RegisterRule frameAddress;  ///< kInRegister, the register in `frameRegister`, plus `value`; or kComputed
    std::size_t frameRegister = 0;
    std::array<RegisterRule, kRegisters> registers;
    /// The kernel made this frame when it delivered a signal.
    bool isSignalFrame = false;
};

/// Gets the rules for the instruction at `address`; false if its file does not provide them.
bool findFrameRules(std::uintptr_t address, FrameRules& rules);

}  // namespace os::posix
