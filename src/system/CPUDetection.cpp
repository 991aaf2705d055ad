#include "system/CPUDetection.h"

#include <QvPlatform/diagnostics/Log.h>

#include "diagnostics/log/LogQuietly.h"

#include <algorithm>

namespace QvPlatform::detail {
namespace {

constexpr std::uint32_t kExtendedLeaves = 0x80000000;

struct Row {
    std::uint32_t base::CpuIdRegisters::*reg;
    std::uint32_t leaf;
    unsigned int bit;
};

#define QV_ROW_OF(name, leaf, reg, bit) {&base::CpuIdRegisters::reg, leaf, bit},
constexpr Row kRows[] = {QV_PUBLIC_CPU_FEATURES(QV_ROW_OF) QV_HIDDEN_CPU_FEATURES(QV_ROW_OF)};
#undef QV_ROW_OF

void readLeaf(std::uint32_t leaf, const CpuIdSource& cpuId, CpuFlags& flags) {
    const base::CpuIdRegisters registers = cpuId(leaf);
    for (std::size_t feature = 0; feature < flags.size(); ++feature) {
        const Row& row = kRows[feature];
        if (row.leaf == leaf) flags[feature] = (registers.*row.reg >> row.bit & 1U) != 0;
    }
}

}  // namespace

CpuFlags detectCpu(const CpuIdSource& cpuId) {
    const std::uint32_t lastLeaf = cpuId(0).eax;
    const std::uint32_t lastExtendedLeaf = cpuId(kExtendedLeaves).eax;
    CpuFlags flags{};
    for (const std::uint32_t leaf : {1U, 7U, kExtendedLeaves + 1})
        if (leaf <= (leaf < kExtendedLeaves ? lastLeaf : lastExtendedLeaf)) readLeaf(leaf, cpuId, flags);
    return flags;
}

void reportCpu(const CpuFlags& flags) noexcept {
    Qv::detail::logQuietly([&] {
        if (!flags[avx]) Qv::LogError("Compiled with the flag for AVX but not supported by the CPU.\n");
        if (std::all_of(flags.begin(), flags.end(), [](bool flag) { return flag; }))
            Qv::LogDebug("This was only used to avoid a warning as error on gcc about unused variable.\n");
    });
}

}  // namespace QvPlatform::detail
