#pragma once

#include "os/posix/stack/CallFrameInfo.h"
#include "os/posix/stack/CodeReader.h"

namespace os::posix {

/// The common part of the entries of functions that were compiled in the same way.
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

/// Runs the programs in the entries up to the function's instruction at `address`. Returns false if they
/// contain something unknown.
bool runRuleProgram(const FunctionEntry& function, std::uintptr_t address, FrameRules& rules);

}  // namespace os::posix
