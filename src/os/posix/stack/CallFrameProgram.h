#pragma once

#include "os/posix/stack/CallFrameInfo.h"
#include "os/posix/stack/CodeReader.h"

namespace os::posix {

/// What the entries of functions that were compiled alike have in common.
struct CommonEntry {
    CodeReader program;
    std::uint64_t codeUnit = 1;
    std::int64_t dataUnit = 1;
    std::uint8_t pointerEncoding = 0;
    bool hasAugmentation = false;
    bool isSignalFrame = false;
};

struct FunctionEntry {
    CommonEntry common;
    CodeReader program;
    std::uintptr_t begin = 0;
};

/// Runs the small programs that the entries consist of, up to the function's instruction at `address`; false
/// when they hold what is not known.
bool runRuleProgram(const FunctionEntry& function, std::uintptr_t address, FrameRules& rules);

}  // namespace os::posix
