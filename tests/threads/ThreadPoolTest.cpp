#include <QvPlatform/threads/Mutex.h>
#include <QvPlatform/threads/QvThread.h>
#include <QvPlatform/threads/ThreadPool.h>

#include "support/ChildProgram.h"

#include <gtest/gtest.h>

#include <atomic>
#include <deque>
#include <functional>
#include <mutex>

namespace {

using QvPlatform::ThreadPool;

struct Unit : ThreadPool::WorkUnit {
    void run() override { work(); }
    std::function<void()> work;
};
static_assert(sizeof(ThreadPool::WorkUnit) == 2 * sizeof(void*));

/// Runs the work in `count` units, preceded by null pointers.
void execute(std::size_t count, const std::function<void()>& work) {
    std::deque<Unit> units(count);
    std::vector<ThreadPool::WorkUnit*> pointers(count / 2);
    for (Unit& unit : units) unit.work = work, pointers.push_back(&unit);
    ThreadPool::instance(0)->execute(pointers);
}

TEST(ThreadPool, livesAsLongAsSomebodyHoldsIt) {
    for (const int count : {0, 2, 0, 7}) {
        const auto pool = ThreadPool::instance(static_cast<unsigned int>(count));
        EXPECT_EQ(pool->getThreadCount(), count ? count : Qv::QvThreadGetCPUCount());
        EXPECT_TRUE(ThreadPool::instance(1) == pool);
    }
}

TEST(ThreadPool, runsEachUnitOnceAlsoNestedAndFromSeveralThreads) {
    int counts[2] = {};
    Qv::QvThreadMutex* const threadMutex = Qv::QvThreadMutexCreate();
    QvPlatform::Mutex mutex;
    const auto run = [&] {
        execute(1'000, [&] {
            Qv::QvMutexScopedLock lock(threadMutex);
            ++counts[0];
            lock.release();
            execute(20, [&] {
                const std::lock_guard outer(mutex);
                const std::lock_guard inner(mutex);
                ++counts[1];
            });
        });
    };
    std::thread other(run);
    run();
    other.join();
    execute(0, run);
    EXPECT_TRUE(counts[0] == 2'000 && counts[1] == 40'000) << counts[0] << " " << counts[1];
    Qv::QvThreadMutexDestroy(threadMutex);
}

TEST(ThreadPool, throwsTheFirstExceptionAndRunsOnlyWhatHasBegun) {
    std::atomic<int> begun{0}, ended{0}, inner{0};
    const auto work = [&] {
        if (++begun == 2) throw std::out_of_range("unit");
        support::comesTrue([&] { return begun > 1; });
        std::this_thread::sleep_for(std::chrono::milliseconds(10));
        execute(100, [&] { ++inner; });  // is not cancelled with the batch around it
        ++ended;
    };
    EXPECT_THROW(execute(1'000, work), std::out_of_range);
    EXPECT_TRUE(ended >= 1 && ended == begun - 1 && begun < 1'000 && inner == 100 * ended) << begun;
}

}  // namespace
