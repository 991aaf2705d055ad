#pragma once

#include <cstdint>

namespace base {

struct CpuIdRegisters {
    std::uint32_t eax = 0;
    std::uint32_t ebx = 0;
    std::uint32_t ecx = 0;
    std::uint32_t edx = 0;
};

/// The result of the CPUID instruction for a leaf, sub-leaf 0; zeros if the processor does not have it.
CpuIdRegisters cpuId(std::uint32_t leaf);

}  // namespace base
