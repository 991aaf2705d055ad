#pragma once

#include "base/CpuId.h"

#include <array>
#include <cstddef>
#include <cstdint>
#include <functional>

// All detected features: name, leaf, register, bit. Those in the first list have a public query.
// clang-format off
#define QV_PUBLIC_CPU_FEATURES(row)         \
    row(sse, 1, edx, 25)                    \
    row(sse2, 1, edx, 26)                   \
    row(sse3, 1, ecx, 0)                    \
    row(sse41, 1, ecx, 19)                  \
    row(sse42, 1, ecx, 20)                  \
    row(sse4a, 0x80000001, ecx, 6)          \
    row(aes, 1, ecx, 25)                    \
    row(sha, 7, ebx, 29)                    \
    row(avx, 1, ecx, 28)                    \
    row(xop, 0x80000001, ecx, 11)           \
    row(fma3, 1, ecx, 12)                   \
    row(fma4, 0x80000001, ecx, 16)          \
    row(avx2, 7, ebx, 5)                    \
    row(avx512f, 7, ebx, 16)                \
    row(avx512cd, 7, ebx, 28)               \
    row(avx512pf, 7, ebx, 26)               \
    row(avx512er, 7, ebx, 27)               \
    row(avx512vl, 7, ebx, 31)               \
    row(avx512bw, 7, ebx, 30)               \
    row(avx512dq, 7, ebx, 17)               \
    row(avx512ifma, 7, ebx, 21)             \
    row(avx512vbmi, 7, ecx, 1)

#define QV_HIDDEN_CPU_FEATURES(row)         \
    row(mmx, 1, edx, 23)                    \
    row(ssse3, 1, ecx, 9)                   \
    row(rdrand, 1, ecx, 30)                 \
    row(bmi1, 7, ebx, 3)                    \
    row(bmi2, 7, ebx, 8)                    \
    row(adx, 7, ebx, 19)                    \
    row(prefetchwt1, 7, ecx, 0)             \
    row(lm, 0x80000001, edx, 29)            \
    row(abm, 0x80000001, ecx, 5)
// clang-format on

namespace QvPlatform::detail {

#define QV_NAME_OF(name, leaf, reg, bit) name,
enum CpuFeature : std::size_t {
    QV_PUBLIC_CPU_FEATURES(QV_NAME_OF) QV_HIDDEN_CPU_FEATURES(QV_NAME_OF) kCpuFeatureCount
};
#undef QV_NAME_OF

/// Indexed by `CpuFeature`.
using CpuFlags = std::array<bool, kCpuFeatureCount>;

/// CPUID results of a processor, as `base::cpuId` returns for this one.
using CpuIdSource = std::function<base::CpuIdRegisters(std::uint32_t leaf)>;

/// The features that a processor reports, even if the operating system does not enable them.
CpuFlags detectCpu(const CpuIdSource& cpuId);

/// Logs an error if AVX is missing. Never throws, even if logging throws.
void reportCpu(const CpuFlags& flags) noexcept;

}  // namespace QvPlatform::detail
