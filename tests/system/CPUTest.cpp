#include <QvPlatform/system/CPU.h>
#include <QvPlatform/threads/QvThread.h>

#include "support/LogCapture.h"
#include "support/StandardError.h"
#include "system/CPUDetection.h"

#include <cpuid.h>
#include <gtest/gtest.h>

namespace {

using namespace QvPlatform::detail;
using base::CpuIdRegisters;

constexpr std::uint32_t kExtended = 0x80000000;
constexpr std::uint32_t kSecond = kExtended + 1;
constexpr auto kEbx = &CpuIdRegisters::ebx;
constexpr auto kEcx = &CpuIdRegisters::ecx;
constexpr auto kEdx = &CpuIdRegisters::edx;

struct Place {
    CpuFeature feature;
    std::uint32_t leaf;
    std::uint32_t CpuIdRegisters::*reg;
    std::uint32_t mask;
};

// Uses the masks of the compilers' header.
// clang-format off
constexpr Place kPlaces[] = {
    {sse, 1, kEdx, bit_SSE},             {sse2, 1, kEdx, bit_SSE2},              {mmx, 1, kEdx, bit_MMX},
    {sse3, 1, kEcx, bit_SSE3},           {ssse3, 1, kEcx, bit_SSSE3},            {fma3, 1, kEcx, bit_FMA},
    {sse41, 1, kEcx, bit_SSE4_1},        {sse42, 1, kEcx, bit_SSE4_2},           {aes, 1, kEcx, bit_AES},
    {avx, 1, kEcx, bit_AVX},             {rdrand, 1, kEcx, bit_RDRND},           {bmi1, 7, kEbx, bit_BMI},
    {avx2, 7, kEbx, bit_AVX2},           {bmi2, 7, kEbx, bit_BMI2},              {avx512f, 7, kEbx, bit_AVX512F},
    {avx512dq, 7, kEbx, bit_AVX512DQ},   {adx, 7, kEbx, bit_ADX},                {avx512ifma, 7, kEbx, bit_AVX512IFMA},
    {avx512pf, 7, kEbx, bit_AVX512PF},   {avx512er, 7, kEbx, bit_AVX512ER},      {avx512cd, 7, kEbx, bit_AVX512CD},
    {sha, 7, kEbx, bit_SHA},             {avx512bw, 7, kEbx, bit_AVX512BW},      {avx512vl, 7, kEbx, bit_AVX512VL},
    {prefetchwt1, 7, kEcx, 1},           {avx512vbmi, 7, kEcx, bit_AVX512VBMI},  {abm, kSecond, kEcx, bit_ABM},
    {sse4a, kSecond, kEcx, bit_SSE4a},   {xop, kSecond, kEcx, bit_XOP},          {fma4, kSecond, kEcx, bit_FMA4},
    {lm, kSecond, kEdx, bit_LM},
};
// clang-format on
static_assert(std::size(kPlaces) == kCpuFeatureCount);

TEST(CPU, findsEachFeatureAtItsPlaceUpToTheLastLeaf) {
    for (const auto last : {0U, 1U, 6U, 7U, 0x20U})
        for (const auto lastExtended : {0U, 0x20U, kExtended, kSecond, kExtended + 8})
            for (const Place& place : kPlaces) {
                const CpuFlags flags = detectCpu([&](std::uint32_t leaf) {  // a made-up processor
                    CpuIdRegisters answer;
                    if (leaf == 0) answer.eax = last;
                    if (leaf == kExtended) answer.eax = lastExtended;
                    if (leaf == place.leaf) answer.*place.reg = place.mask;
                    return answer;
                });
                CpuFlags expected{};
                expected[place.feature] = place.leaf <= (place.leaf < kExtended ? last : lastExtended);
                EXPECT_EQ(flags, expected) << place.feature << " " << last << " " << lastExtended;
            }
}

TEST(CPU, reportsAMissingAvxWithoutThrowing) {
    const std::string error = "Compiled with the flag for AVX but not supported by the CPU.\n";
    const auto written = support::standardErrorOf([] { reportCpu({}); });  // by the handler that throws
    EXPECT_EQ(support::withoutStamp(written), "ERROR: " + error);

    const char* const debug =
        "This was only used to avoid a warning as error on gcc about unused variable.\n";
    const support::LogCapture capture;
    for (const CpuFeature missing : {avx, abm, kCpuFeatureCount}) {
        CpuFlags flags;
        for (std::size_t feature = 0; feature < flags.size(); ++feature) flags[feature] = feature != missing;
        reportCpu(flags);
    }
    const auto messages = support::LogCapture::take();
    ASSERT_EQ(messages.size(), 2U);
    EXPECT_TRUE(messages[0].level == Qv::kLogLevelError && messages[0].text == error);
    EXPECT_TRUE(messages[1].level == Qv::kLogLevelDebug && messages[1].text == debug);
}

TEST(CPU, knowsThisProcessor) {
    const CpuFlags flags = detectCpu(base::cpuId);
    EXPECT_TRUE(flags[sse2] && flags[lm]);  // every processor of this architecture has them
#define QV_EXPECT_SAME(name, leaf, reg, bit) \
    EXPECT_EQ(QvPlatform::CPU::is_##name##_supported(), flags[name]) << #name;
    QV_PUBLIC_CPU_FEATURES(QV_EXPECT_SAME)

    EXPECT_GE(QvPlatform::CPU::getCoreCount(), 1);
    EXPECT_EQ(QvPlatform::CPU::getCoreCount(), Qv::QvThreadGetCPUCount());
}

}  // namespace
