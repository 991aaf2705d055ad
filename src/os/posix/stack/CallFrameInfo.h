#pragma once

#include "os/posix/stack/CodeReader.h"

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

/// Compact form of the usual rules: the frame address is a register plus an offset, and of the registers only
/// those that a function must preserve are saved, below the frame address.
struct PlainRules {
    enum Kind : std::uint8_t { kNone, kCall, kSignal, kOutermost };
    std::int32_t frameOffset = 0;
    Kind kind = kNone;
    std::uint8_t reach = 0;  ///< the largest number of words in `saved`
    /// In bytes from the highest one: the number of the frame address's register, then for each of
    /// `kPlainRegisters` how many words below the frame address it is, or 0 if it is in the register.
    std::uint64_t saved = 0;
};
constexpr std::array<std::uint8_t, 7> kPlainRegisters{kReturnAddress, 6, 3, 12, 13, 14, 15};

struct FrameRules {
    RegisterRule frameAddress;  ///< kInRegister, the register in `frameRegister`, plus `value`; or kComputed
    std::size_t frameRegister = 0;
    std::array<RegisterRule, kRegisters> registers;
    /// True if the kernel created this frame to deliver a signal.
    bool isSignalFrame = false;
};

/// Finds rules in the unwind information of the loaded files. Use an object only briefly, such as for one
/// walk: the files of the last two addresses must stay loaded between the calls.
class CallFrameInfo {
public:
    /// What determines the rules for the instruction at `address`: the identity of the file, or of the
    /// function's entry in it; 0 if there is no entry.
    std::uint64_t sourceOf(std::uintptr_t address);
    /// The same if it takes no search; else 0.
    std::uint64_t knownSourceOf(std::uintptr_t address) const {
        return file_.contains(address) ? file_.identity : 0;
    }
    /// Gets the rules and caches them if they are plain; false if the file does not provide them.
    bool find(std::uintptr_t address, FrameRules& rules);

private:
    struct File {
        bool contains(std::uintptr_t address) const { return address - begin < bytes; }
        CodeReader memory() const;

        std::uintptr_t begin = 0;
        std::uintptr_t bytes = 0;
        std::uint64_t identity = 0;           ///< 0 if it has none
        const std::uint8_t* table = nullptr;  ///< of its functions
    };

    static File fileAt(std::uintptr_t address);
    const std::uint8_t* findEntry(std::uintptr_t address) const;

    File file_;   ///< of the last address; empty if there is none
    File other_;  ///< the one before, because libraries call back
};

}  // namespace os::posix
