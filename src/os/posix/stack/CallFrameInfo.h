#pragma once

#include <array>
#include <cstddef>
#include <cstdint>

/// The rules to get from a frame to its caller's frame, which the compiler writes into each file
/// (".eh_frame"). Safe in signal handlers: nothing here allocates or locks, directly or indirectly.
namespace os::posix {

/// Register numbers in these rules: sixteen general registers and the return address.
constexpr std::size_t kRegisters = 17;
constexpr std::size_t kStackPointer = 7;
constexpr std::size_t kReturnAddress = 16;

/// Where to find the caller's value of a register.
struct RegisterRule {
    enum Kind : std::uint8_t {
        kSame,             ///< still in the register
        kUndefined,        ///< lost
        kSavedAt,          ///< in memory, at the frame's address plus `value`
        kOffset,           ///< the frame's address plus `value`
        kInRegister,       ///< in register `value`
        kSavedAtComputed,  ///< in memory, at the address that `expression` yields
        kComputed          ///< the value that `expression` yields
    };
    Kind kind = kSame;
    std::int64_t value = 0;  ///< for an expression: its size in bytes
    const std::uint8_t* expression = nullptr;
};

/// Compact form of the usual rules: the frame address is a register plus an offset, and registers are saved
/// near it.
struct PlainRules {
    std::int32_t frameOffset = 0;
    std::uint8_t frameRegister = 0;
    bool isSignalFrame = false;
    bool isOutermost = false;
    std::array<std::int8_t, kRegisters> savedAt{};  ///< offset from the frame in words; 0 if in the register
};

struct FrameRules {
    bool isPlain = false;  ///< only `plain` is valid
    PlainRules plain;
    RegisterRule frameAddress;  ///< kInRegister, the register in `frameRegister`, plus `value`; or kComputed
    std::size_t frameRegister = 0;
    std::array<RegisterRule, kRegisters> registers;
    /// True if the kernel created this frame to deliver a signal.
    bool isSignalFrame = false;
};

/// Gets the rules for the instruction at `address`; false if its file does not provide them.
bool findFrameRules(std::uintptr_t address, FrameRules& rules);

}  // namespace os::posix
