#pragma once

#include <cstdint>

namespace base {

struct CpuIdRegisters {
    std::uint32_t eax = 0;
    std::uint32_t ebx = 0;
    std::uint32_t ecx = 0;
    std::uint32_t edx = 0;
};

/// What the processor says of itself under a number, in sub-leaf 0; zeros when it has no such instruction.
CpuIdRegisters cpuId(std::uint32_t leaf);

}  // namespace base
