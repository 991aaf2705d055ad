#include <QvPlatform/threads/QvThread.h>
#include <QvPlatform/threads/Semaphore.h>

#include "ThreadAtLoad.h"
#include "support/ChildProgram.h"
#include "support/MemoryLimit.h"

#include <gtest/gtest.h>

#include <atomic>
#include <future>

#ifdef _WIN32
#include <windows.h>
#else
#include "support/ForkAsNobody.h"
#endif

namespace {

using support::comesTrue;

constexpr std::chrono::milliseconds kMoment{30};

template <typename Work>
auto onThread(Work work) {
    return std::async(std::launch::async, work).get();
}

std::uint64_t expectedIdentifier() {
#ifdef _WIN32
    auto number = static_cast<std::uint32_t>(GetCurrentThreadId());
#else
    auto number = static_cast<std::uint32_t>(gettid());
#endif
    std::uint64_t hash = 14695981039346656037U;
    for (int byte = 0; byte < 4; ++byte, number >>= 8) hash = (hash ^ (number & 0xFF)) * 1099511628211;
    return hash;
}

unsigned int tellIdentifier(void* result) {
    EXPECT_EQ(Qv::QvThreadGetID(), expectedIdentifier());
    *static_cast<std::atomic<std::uint64_t>*>(result) = Qv::QvThreadGetID();
    return 7;
}

TEST(QvThread, isIdentifiedByTheHashOfItsNumber) {
    static std::atomic<std::uint64_t> identifier;
    tellIdentifier(&identifier);
    for (int round = 0; round < 50; ++round) {
        const std::uint64_t created = Qv::QvThreadCreate(tellIdentifier, &identifier);
        ASSERT_TRUE(comesTrue([&] { return identifier == created; }));
    }
#ifndef _WIN32
    support::inForkAsNobody([] { tellIdentifier(&identifier); });
#endif
}

TEST(QvThread, isStartedByAStaticInitializer) {
    EXPECT_TRUE(comesTrue([] { return seenByThreadAtLoad() == returnedAtLoad(); }));
}

TEST(QvThread, sleepsAtLeastAsLongAsItIsTold) {
    for (const unsigned int time : {0U, 1U, 999U, 1'001U, 20'000U}) {
        const auto start = std::chrono::steady_clock::now();
        Qv::QvThreadMicroSleep(time);
        EXPECT_TRUE(std::chrono::steady_clock::now() - start >= std::chrono::microseconds(time)) << time;
        Qv::QvThreadSleep(time / 1'000 * 2);
        EXPECT_TRUE(std::chrono::steady_clock::now() - start >= std::chrono::milliseconds(time / 1'000 * 3));
    }
}

TEST(Semaphore, letsAsManyPassAsItCounts) {
    for (const unsigned int count : {0U, 1U, 2U, 0x7FFFFFFFU, 0x80000000U, 0xFFFFFFFFU}) {
        QvPlatform::Semaphore semaphore(count);
        if (count > 2) semaphore.release();
        for (unsigned int i = 0; i < count && i < 3; ++i) semaphore.acquire();
        if (count > 2) continue;
        const auto next = std::async(std::launch::async, [&] { semaphore.acquire(); });
        EXPECT_EQ(next.wait_for(kMoment), std::future_status::timeout);
        semaphore.release();
    }
}

TEST(QvThreadMutex, isLeftOnceByAScopedLock) {
    static Qv::QvThreadMutex* const mutex = Qv::QvThreadMutexCreate();
    const auto tryAndUnlock = [] {
        const int result = Qv::QvThreadMutexTryLock(mutex);
        return result == 0 ? Qv::QvThreadMutexUnlock(mutex) : result;
    };
    EXPECT_EQ(Qv::QvThreadMutexLock(mutex), 0);
    for (const int releases : {0, 1, 2}) {
        Qv::QvMutexScopedLock lock(mutex);
        for (int i = 0; i < releases; ++i) lock.release();
    }
    Qv::QvMutexScopedLock(nullptr).release();
    EXPECT_EQ(Qv::QvThreadMutexLock(nullptr) + Qv::QvThreadMutexTryLock(nullptr), 0);
    EXPECT_EQ(tryAndUnlock(), 0);
    EXPECT_EQ(onThread(tryAndUnlock), 1);
    EXPECT_EQ(Qv::QvThreadMutexUnlock(mutex), 0);
    EXPECT_EQ(onThread(tryAndUnlock), 0);
    onThread([] { Qv::QvThreadMutexLock(mutex); });  // forever
    EXPECT_EQ(tryAndUnlock(), 1);
}

/// A mutex, a condition, and threads that wait for it.
class QvMutexAndCondition : public testing::Test {
protected:
    ~QvMutexAndCondition() override {
        for (Qv::QvConditionVariable* const condition : conditions_)
            Qv::QvConditionVariableDestroy(condition);
        Qv::QvMutexDestroy(mutex_);
    }

    int lock() { return Qv::QvMutexLock(mutex_); }
    bool unlock() { return Qv::QvMutexUnlock(mutex_) != 0; }
    void wait(int number = 0) { Qv::QvConditionVariableWait(conditions_[number], mutex_); }
    void signal(int number = 0) { Qv::QvConditionVariableSignal(conditions_[number]); }
    int triedElsewhere() {
        return onThread([this] {
            const int result = Qv::QvMutexTryLock(mutex_);
            if (result == 0) unlock();
            return result;
        });
    }

    /// Starts a thread that waits, and returns when it has begun to wait (if it locks only once). The result
    /// is how often it can unlock afterwards.
    std::future<int> waiter(int locks = 1) {
        const int before = waiting_;
        auto unlocks = std::async(std::launch::async, [=, this] {
            for (int i = 0; i < locks; ++i) lock();
            ++waiting_;
            wait();
            int count = 0;
            for (++released_; unlock(); ++count) continue;
            return count;
        });
        EXPECT_TRUE(comesTrue([&] { return waiting_ > before; }) && (locks > 1 || (lock() == 0 && unlock())));
        return unlocks;
    }

    Qv::QvMutex* const mutex_ = Qv::QvMutexCreate();
    Qv::QvConditionVariable* const conditions_[2] = {Qv::QvConditionVariableCreate(),
                                                     Qv::QvConditionVariableCreate()};
    std::atomic<int> waiting_{0};
    std::atomic<int> released_{0};
};

TEST_F(QvMutexAndCondition, tellWhoOwnsTheMutex) {
    for (const auto take : {Qv::QvMutexLock, Qv::QvMutexTryLock}) {
        EXPECT_TRUE(take(nullptr) == -1 && take(mutex_) == 0 && take(mutex_) == 0);
        EXPECT_TRUE(!onThread([&] { return unlock(); }) && unlock() && triedElsewhere() == 258);
        EXPECT_TRUE(unlock() && triedElsewhere() == 0 && !unlock());
        onThread([&] { return lock() + lock(); });
        EXPECT_EQ(take(mutex_), 128);
        EXPECT_TRUE(triedElsewhere() == 258 && unlock() && triedElsewhere() == 0 && !unlock());
    }
    EXPECT_EQ(Qv::QvMutexUnlock(nullptr), 0);
}

TEST_F(QvMutexAndCondition, areGivenUpByTheThreadThatEndsAmongOthersItReleasedOrLost) {
    Qv::QvMutex* mutexes[6] = {};
    for (auto*& mutex : mutexes) mutex = Qv::QvMutexCreate();
    std::promise<void> locked, destroyed;
    auto owner = std::async(std::launch::async, [&] {
        for (auto* const mutex : mutexes) Qv::QvMutexLock(mutex);
        Qv::QvMutexUnlock(mutexes[1]);
        Qv::QvMutexUnlock(mutexes[5]);
        Qv::QvMutexDestroy(mutexes[3]);
        locked.set_value();
        destroyed.get_future().wait();
    });
    locked.get_future().wait();
    Qv::QvMutexDestroy(mutexes[4]);
    destroyed.set_value();
    owner.get();
    const int expected[] = {128, 0, 128, -1, -1, 0};
    for (int i = 0; i < 6; ++i) {
        if (expected[i] < 0) continue;
        EXPECT_EQ(Qv::QvMutexLock(mutexes[i]), expected[i]) << i;
        Qv::QvMutexDestroy(mutexes[i]);
    }
}

#ifndef _WIN32
TEST(QvMutex, isGivenUpAlsoByTheLastWordOfAThread) {
    if (support::kThreadSanitizer) GTEST_SKIP() << "it forgets the thread before";
    static Qv::QvMutex* mutex;
    static int rounds;
    static pthread_key_t key;
    mutex = Qv::QvMutexCreate();
    rounds = 0;
    EXPECT_TRUE(Qv::QvMutexLock(mutex) == 0 && Qv::QvMutexUnlock(mutex) != 0);
    pthread_key_create(&key, [](void* value) {
        ++rounds < PTHREAD_DESTRUCTOR_ITERATIONS ? pthread_setspecific(key, value) : Qv::QvMutexLock(mutex);
    });
    onThread([] { pthread_setspecific(key, &key); });
    EXPECT_TRUE(comesTrue([] { return rounds == PTHREAD_DESTRUCTOR_ITERATIONS; }));
    EXPECT_EQ(Qv::QvMutexLock(mutex), 128);
    Qv::QvMutexDestroy(mutex);
    pthread_key_delete(key);
}

TEST_F(QvMutexAndCondition, areNotMadeWithoutMemory) {
    const auto expectNull = [](auto create, auto destroy) {
        for (const int limit : {3, 2, 1, 0}) {
            allocationsLeft = limit;
            auto* const made = create();
            allocationsLeft = -1;
            destroy(made);
            EXPECT_TRUE(limit > 0 || !made);
        }
    };
    expectNull(Qv::QvMutexCreate, Qv::QvMutexDestroy);
    expectNull(Qv::QvThreadMutexCreate, Qv::QvThreadMutexDestroy);
    expectNull(Qv::QvConditionVariableCreate, Qv::QvConditionVariableDestroy);
}

// The cancelled thread's stack is unwound with the mutex locked, and a signal that it received goes to the
// next waiter.
TEST_F(QvMutexAndCondition, surviveTheCancellationOfAWaiter) {
    struct Unlock {
        ~Unlock() { isOwner = Qv::QvMutexUnlock(mutex); }
        Qv::QvMutex* mutex;
        std::atomic<int>& isOwner;
    };
    for (const bool isSignalled : {false, true}) {
        std::atomic<int> isOwner{-1};
        std::atomic<bool> tookSignal{false};
        std::thread cancelled([&] {
            lock();
            const Unlock unlock{mutex_, isOwner};
            ++waiting_;
            wait();
            tookSignal = true;  // before it was cancelled
        });
        EXPECT_TRUE(comesTrue([&] { return waiting_ != 0; }));
        lock();
        waiting_ = 0;
        if (isSignalled) signal();
        pthread_cancel(cancelled.native_handle());
        unlock();
        cancelled.join();
        EXPECT_EQ(isOwner, 1);
        if (!isSignalled || tookSignal) signal();
        lock();
        wait();
        EXPECT_EQ(triedElsewhere(), 258);
        unlock();
    }
}
#endif

TEST_F(QvMutexAndCondition, rememberOneSignalForAnOwner) {
    for (int i = 0; i < 3; ++i) signal();
    wait();  // does not own the mutex, so this only locks it
    EXPECT_EQ(triedElsewhere(), 258);
    EXPECT_TRUE((wait(), unlock()) && !unlock());
    for (const int locks : {1, 2}) {
        std::future<int> unlocks = waiter(locks);
        EXPECT_EQ(unlocks.wait_for(kMoment), std::future_status::timeout);
        EXPECT_EQ(triedElsewhere(), locks == 1 ? 0 : 258);
        signal();
        EXPECT_EQ(unlocks.get(), locks);
    }
}

TEST_F(QvMutexAndCondition, releaseOneWaiterForEachSignalInTurn) {
    for (int count = 0; count < 300; count += 3) {
        const std::future<int> waiters[] = {waiter(), waiter(), waiter()};
        onThread([&] { return signal(), lock(); });  // ends as the mutex's owner
        EXPECT_TRUE(comesTrue([&] { return released_ > count; }));
        std::this_thread::sleep_for(kMoment / 10);
        EXPECT_EQ(released_, count + 1);
        const auto last = std::async(std::launch::async, [&] {
            for (const auto& each : waiters) each.wait();
            signal();
        });
        lock();
        signal();
        signal();
        wait();
        EXPECT_EQ(released_, count + 3);
        unlock();
    }
}

TEST_F(QvMutexAndCondition, loseNoSignalBetweenProducerAndConsumer) {
    int slot = 0;
    const auto pass = [&](int consumes) {
        for (int round = 1; round <= 100'000; ++round) {
            lock();
            while ((slot != 0) != (consumes != 0)) wait(consumes);
            EXPECT_EQ(slot, consumes * round);
            slot = round - slot;
            unlock();
            signal(1 - consumes);
        }
    };
    const auto producing = std::async(std::launch::async, pass, 0);
    pass(1);
}

}  // namespace
