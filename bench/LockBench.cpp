// The three kinds of mutex compared with the system's of the same kind, for one thread and for two that want
// the same one, and two threads that wake each other in turns. A call that only passes the system's result on
// costs 1.06 of it, one that also converts the results of both lock and unlock 1.22.

#include <QvPlatform/threads/Mutex.h>
#include <QvPlatform/threads/QvThread.h>
#include <QvPlatform/threads/Semaphore.h>

#include "BenchSupport.h"
#include "PlainMutex.h"

#include <semaphore.h>

#include <atomic>
#include <memory>
#include <mutex>
#include <string>
#include <thread>
#include <type_traits>

namespace {

using bench::PlainMutex;

constexpr int kTurns = 15;

template <typename Object, void (*kDestroy)(Object*)>
using Owner = std::unique_ptr<Object, std::integral_constant<void (*)(Object*), kDestroy>>;

struct SystemMutex {
    void lock() { Qv::QvMutexLock(mutex.get()); }
    void unlock() { Qv::QvMutexUnlock(mutex.get()); }
    Owner<Qv::QvMutex, Qv::QvMutexDestroy> mutex{Qv::QvMutexCreate()};
};

struct ThreadMutex {
    void lock() { Qv::QvThreadMutexLock(mutex.get()); }
    void unlock() { Qv::QvThreadMutexUnlock(mutex.get()); }
    Owner<Qv::QvThreadMutex, Qv::QvThreadMutexDestroy> mutex{Qv::QvThreadMutexCreate()};
};

struct Signal {
    void wait(SystemMutex& mutex) { Qv::QvConditionVariableWait(condition.get(), mutex.mutex.get()); }
    void give() { Qv::QvConditionVariableSignal(condition.get()); }
    Owner<Qv::QvConditionVariable, Qv::QvConditionVariableDestroy> condition{Qv::QvConditionVariableCreate()};
};

struct RobustMutex : PlainMutex {
    RobustMutex() : PlainMutex(PTHREAD_MUTEX_ROBUST) {}
};

struct PlainSignal {
    void wait(PlainMutex& mutex) { pthread_cond_wait(&condition, mutex.get()); }
    void give() { pthread_cond_signal(&condition); }
    pthread_cond_t condition = PTHREAD_COND_INITIALIZER;
};

// Each call is one thread's turn.
template <typename Lock, typename Condition>
struct PingPong {
    void operator()(std::size_t thread) {
        const std::lock_guard guard(lock);
        while (next != thread) conditions[thread].wait(lock);
        next = 1 - thread;
        conditions[next].give();
    }

    Lock lock;
    Condition conditions[2];
    std::size_t next = 0;
};

// Each thread has a processor of its own; on the same one they would hardly meet. Both are new, so that the
// calling thread keeps its processors.
template <typename Work>
double timeOfTwoThreads(std::size_t calls, Work& work) {
    std::atomic<int> missing{2};
    const auto run = [&](std::size_t thread) {
        cpu_set_t processor{};
        CPU_SET(thread, &processor);
        pthread_setaffinity_np(pthread_self(), sizeof processor, &processor);
        --missing;
        while (missing != 0) continue;
        for (std::size_t i = 0; i < calls; ++i) work(thread);
    };
    std::thread other(run, 1);
    double time = 0;
    std::thread([&] {
        time = bench::timePerCall(1, [&](std::size_t) {
            run(0);
            other.join();
        });
    }).join();
    return time / static_cast<double>(2 * calls);
}

// Each turn is long, because the least would else be that of a turn in which the threads hardly met.
template <typename Ours, typename Peer>
void compareTwoThreads(benchmark::State& state, const bench::Row& row, std::size_t calls, Ours& ours,
                       Peer& peer) {
    bench::Sides sides;
    for ([[maybe_unused]] auto turn : state) {
        sides.ours.add(timeOfTwoThreads(calls, ours));
        sides.peer.add(timeOfTwoThreads(calls, peer));
    }
    bench::report(state, row, sides);
}

template <typename Ours, typename Peer>
void benchMutex(benchmark::State& state, const char* name, Ours ours, const char* peerName, Peer peer) {
    const auto threads = static_cast<std::size_t>(state.range(0));
    const bench::Row row{std::string(name) + ", threads", peerName, threads, {.ratio = 1.15}};
    auto useOurs = [&](std::size_t) { bench::lockAndUnlock(ours); };
    auto usePeer = [&](std::size_t) { bench::lockAndUnlock(peer); };
    if (threads == 2) return compareTwoThreads(state, row, 1'000'000, useOurs, usePeer);
    std::thread([] {}).join();  // until a process has its second thread, the system's are faster
    bench::compare(state, row, 100'000, useOurs, usePeer);
}
const auto forOneAndTwo = [](auto* mutex) { mutex->DenseRange(1, 2)->Iterations(kTurns); };
BENCHMARK_CAPTURE(benchMutex, 1, "QvMutex", SystemMutex(), "limit, robust recursive pthread", RobustMutex())
    ->Apply(forOneAndTwo);
BENCHMARK_CAPTURE(benchMutex, 2, "QvThreadMutex", ThreadMutex(), "limit, recursive pthread", PlainMutex())
    ->Apply(forOneAndTwo);
BENCHMARK_CAPTURE(benchMutex, 3, "QvPlatform::Mutex", QvPlatform::Mutex(), "limit, recursive pthread",
                  PlainMutex())
    ->Apply(forOneAndTwo);

void benchPingPong(benchmark::State& state) {
    PingPong<SystemMutex, Signal> ours;
    PingPong<RobustMutex, PlainSignal> peer;
    const bench::Row row{"QvConditionVariable, threads", "limit, pthread condition", 2, {.ratio = 1.1}};
    compareTwoThreads(state, row, 5'000, ours, peer);
}
BENCHMARK(benchPingPong)->Iterations(kTurns);

struct PlainSemaphore {
    PlainSemaphore() { sem_init(&semaphore, 0, 0); }
    void acquire() { sem_wait(&semaphore); }
    void release() { sem_post(&semaphore); }
    sem_t semaphore;
};

// Each call is half the way to the other thread and back.
template <typename Semaphore>
struct RoundTrip {
    void operator()(std::size_t thread) {
        semaphores[thread].release();
        semaphores[1 - thread].acquire();
    }

    Semaphore semaphores[2];
};

void benchSemaphore(benchmark::State& state) {
    RoundTrip<QvPlatform::Semaphore> ours;
    RoundTrip<PlainSemaphore> peer;
    const bench::Row row{"Semaphore, threads", "limit, sem_t", 2, {.ratio = 1.1}};
    compareTwoThreads(state, row, 10'000, ours, peer);
}
BENCHMARK(benchSemaphore)->Iterations(2 * kTurns);

}  // namespace
