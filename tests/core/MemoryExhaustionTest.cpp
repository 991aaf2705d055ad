// The behaviour of the small types if an allocation fails. Only on systems where the library uses the
// program's `operator new`.

#ifndef _WIN32

#include <QvPlatform/core/QvRefCount.h>
#include <QvPlatform/core/UniqueNamesCollection.h>

#include "support/MemoryLimit.h"

#include <gtest/gtest.h>

#include <new>

namespace {

constexpr int kUnlimited = -1;

// Calls `use` repeatedly, each time allowing one more allocation, until it succeeds.
template <typename Use>
void withEachAllocationFailing(Use use) {
    for (int allowed = 0;; ++allowed) {
        ASSERT_LT(allowed, 100);
        try {
            allocationsLeft = allowed;
            use();
            allocationsLeft = kUnlimited;
            return;
        } catch (const std::bad_alloc&) {
            allocationsLeft = kUnlimited;
        }
    }
}

TEST(UniqueNamesCollection, staysAsItWasWhenMemoryRunsOut) {
    QvSim::StringUtils::UniqueNamesCollection names;
    for (const char* const name : {"a", "a1", "a11", "a12", "a13"}) names.acquire(name);
    withEachAllocationFailing([&] { EXPECT_EQ(names.acquire("a15"), "a15"); });
    withEachAllocationFailing([&] { EXPECT_TRUE(names.release("a12")); });
    EXPECT_EQ(names.acquire("a"), "a2");
    EXPECT_EQ(names.acquire("a1"), "a12");
    EXPECT_EQ(names.acquire("a1"), "a14");
    for (const char* const name : {"a", "a1", "a2", "a11", "a12", "a13", "a14", "a15"})
        EXPECT_TRUE(names.release(name)) << name;
    EXPECT_EQ(names.size(), 0U);
}

TEST(QvRefCount, tellsItsSubscribersWithoutMemory) {
    struct Counter : Qv::QvRefCount::Subscriber {
        void onDestroyed(const Qv::QvRefCount&) override { ++told; }
        int told = 0;
    } counters[3];
    {
        Qv::QvRefCount object;
        for (Counter& counter : counters) object.subscribe(&counter);
        allocationsLeft = 0;
    }
    allocationsLeft = kUnlimited;
    for (const Counter& counter : counters) EXPECT_EQ(counter.told, 1);
}

}  // namespace

#endif
