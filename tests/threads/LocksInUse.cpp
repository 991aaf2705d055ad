// Correct use of each kind of lock and of the condition: the thread sanitizer, helgrind and DRD, which run
// it, must report nothing. It uses no atomic objects, because these tools do not see the ordering that they
// create.

#include <QvPlatform/threads/Mutex.h>
#include <QvPlatform/threads/QvThread.h>
#include <QvPlatform/threads/Semaphore.h>

#include <cstdlib>
#include <mutex>
#include <thread>

namespace {

constexpr int kRounds = 200;

struct SystemMutex {
    void lock() { Qv::QvMutexLock(mutex); }
    void unlock() { Qv::QvMutexUnlock(mutex); }
    bool try_lock() { return Qv::QvMutexTryLock(mutex) == 0; }
    ~SystemMutex() { Qv::QvMutexDestroy(mutex); }
    Qv::QvMutex* const mutex = Qv::QvMutexCreate();
};

struct ThreadMutex {
    void lock() { Qv::QvThreadMutexLock(mutex); }
    void unlock() { Qv::QvThreadMutexUnlock(mutex); }
    bool try_lock() { return Qv::QvThreadMutexTryLock(mutex) == 0; }
    ~ThreadMutex() { Qv::QvThreadMutexDestroy(mutex); }
    Qv::QvThreadMutex* const mutex = Qv::QvThreadMutexCreate();
};

struct PlainMutex : QvPlatform::Mutex {
    bool try_lock() { return lock(), true; }
};

template <typename Work>
void onTwoThreads(Work work) {
    std::thread other(work, 1);
    work(0);
    other.join();
}

template <typename Lock>
bool countsUnder() {
    Lock mutex;
    int count = 0;
    onTwoThreads([&](int) {
        for (int round = 0; round < kRounds; ++round) {
            const std::lock_guard outer(mutex);
            const std::unique_lock inner(mutex, std::try_to_lock);
            if (inner) ++count;
        }
    });
    return count == 2 * kRounds;
}

/// Two threads take turns; each wakes the other.
bool takesTurns() {
    SystemMutex mutex;
    Qv::QvConditionVariable* const turns[] = {Qv::QvConditionVariableCreate(),
                                              Qv::QvConditionVariableCreate()};
    int count = 0;
    onTwoThreads([&](int thread) {
        for (int round = 0; round < kRounds; ++round) {
            const std::lock_guard guard(mutex);
            while (count % 2 != thread) Qv::QvConditionVariableWait(turns[thread], mutex.mutex);
            ++count;
            Qv::QvConditionVariableSignal(turns[1 - thread]);
        }
    });
    for (auto* const turn : turns) Qv::QvConditionVariableDestroy(turn);
    return count == 2 * kRounds;
}

/// A condition is destroyed as soon as its only waiter is signalled, while the waiter still waits for the
/// mutex.
bool destroysSignalled() {
    for (int round = 0; round < kRounds; ++round) {
        SystemMutex mutex;
        Qv::QvConditionVariable* const condition = Qv::QvConditionVariableCreate();
        bool isWaiting = false;
        std::thread waiter([&] {
            const std::lock_guard guard(mutex);
            isWaiting = true;
            Qv::QvConditionVariableWait(condition, mutex.mutex);
        });
        std::unique_lock guard(mutex);
        while (!isWaiting) guard.unlock(), Qv::QvThreadSleep(0), guard.lock();
        Qv::QvConditionVariableSignal(condition);
        Qv::QvConditionVariableDestroy(condition);
        guard.unlock();
        waiter.join();
    }
    return true;
}

bool startsThreads() {
    struct Shared {
        QvPlatform::Semaphore hasEnded;
        std::uint64_t identifier = 0;
    } shared;
    const auto work = [](void* argument) {
        auto& [hasEnded, identifier] = *static_cast<Shared*>(argument);
        identifier = Qv::QvThreadGetID();
        hasEnded.release();
        return 0U;
    };
    const std::uint64_t created = Qv::QvThreadCreate(work, &shared);
    shared.hasEnded.acquire();
    return shared.identifier == created;
}

}  // namespace

int main() {
    const bool isRight = countsUnder<SystemMutex>() && countsUnder<ThreadMutex>() &&
                         countsUnder<PlainMutex>() && takesTurns() && destroysSignalled() && startsThreads();
    return isRight ? EXIT_SUCCESS : EXIT_FAILURE;
}
