#include "base/CpuId.h"

#if defined(__x86_64__) || defined(__i386__)
#include <cpuid.h>
#endif

namespace base {

CpuIdRegisters cpuId([[maybe_unused]] std::uint32_t leaf) {
    CpuIdRegisters answer;
#if defined(__x86_64__) || defined(__i386__)
    __cpuid_count(leaf, 0, answer.eax, answer.ebx, answer.ecx, answer.edx);
#endif
    return answer;
}

}  // namespace base
