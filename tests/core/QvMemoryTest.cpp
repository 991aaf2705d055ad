#include <QvPlatform/core/QvMemory.h>

#include "support/LogCapture.h"

#include <gtest/gtest.h>

#include <cstdint>
#include <cstring>
#include <limits>
#include <string>
#include <vector>

namespace {

namespace QvMemory = Qv::QvMemory;
constexpr std::size_t kHuge = std::numeric_limits<std::size_t>::max() - 2;

TEST(QvMemory, alignsAsAsked) {
    const support::LogCapture log;
    for (const unsigned int alignment : {1U, 2U, 3U, 4U, 6U, 7U, 8U, 16U, 64U, 4096U, 65536U}) {
        std::vector<void*> blocks;
        for (std::size_t size = 0; size < 40; ++size) {
            void* const block = QvMemory::createAligned(size, alignment);
            ASSERT_NE(block, nullptr);
            EXPECT_EQ(reinterpret_cast<std::uintptr_t>(block) % alignment, 0U) << alignment;
            std::memset(block, 0xFF, size);
            blocks.push_back(block);
        }
        for (void* block : blocks) QvMemory::destroyAligned(block);
        const auto messages = log.take();
        ASSERT_EQ(messages.size(), alignment % 4 == 0 ? 0U : blocks.size());
        if (messages.empty()) continue;
        EXPECT_EQ(messages[0].level, Qv::kLogLevelDebug);
        EXPECT_EQ(messages[0].text,
                  "MallocCreateAligned: Alignment must be a multiple of sizeof(unsigned int).\n");
    }
    EXPECT_EQ(QvMemory::createAligned(16, 0), nullptr);
    for (const std::size_t size : {kHuge, kHuge - 16}) EXPECT_EQ(QvMemory::createAligned(size, 16), nullptr);
    QvMemory::destroyAligned(nullptr);
}

TEST(QvMemory, keepsTheBlockWhenResizedToNothing) {
    auto* block = static_cast<char*>(QvMemory::resize(nullptr, 4));
    std::memcpy(block, "abc", 4);
    EXPECT_EQ(QvMemory::resize(block, 0), nullptr);
    block = static_cast<char*>(QvMemory::resize(block, 4000));
    EXPECT_STREQ(block, "abc");
    QvMemory::destroy(block);
    auto* const zeroed = static_cast<char*>(QvMemory::createZeroed(100));
    EXPECT_EQ(std::string(zeroed, 100), std::string(100, '\0'));
    QvMemory::destroy(zeroed);
    QvMemory::destroy(nullptr);
}

TEST(QvMemory, goesThroughTheTableAtEachCall) {
    static std::string calls;
    const QvnMemoryFunctions previous = QvnMemoryAPI;
    QvnMemoryAPI = {
        [](std::size_t size) -> void* { return calls += "create" + std::to_string(size), nullptr; },
        [](std::size_t) -> void* { return calls += " zeroed", nullptr; },
        [](std::size_t, std::size_t alignment) -> void* {
            return calls += " aligned" + std::to_string(alignment), nullptr;
        },
        [](void*) { calls += " destroy"; },
        [](void*) { calls += " destroyAligned"; },
        [](void*, std::size_t) -> void* { return calls += " resize", nullptr; }};
    QvMemory::create(7);
    QvMemory::createZeroed(1);
    QvMemory::createAligned(1, 4294967295U);
    QvMemory::destroy(nullptr);
    QvMemory::destroyAligned(nullptr);
    QvMemory::resize(nullptr, 1);
    QvnMemoryAPI_createAligned(1, 8);
    QvnMemoryAPI = previous;
    EXPECT_EQ(calls, "create7 zeroed aligned4294967295 destroy destroyAligned resize aligned8");
    void* const block = QvnMemoryAPI_create(1);
    EXPECT_NE(block, nullptr);
    QvnMemoryAPI_destroy(block);
}

}  // namespace
