// A thread's start compared with the system's own, an empty step
// compared with two pairs of lock and unlock, and batches of the thread pool compared with a task group of
// oneTBB that runs the same units.

#include <QvPlatform/threads/QvThread.h>
#include <QvPlatform/threads/StepperThread.h>
#include <QvPlatform/threads/ThreadPool.h>

#include "BenchSupport.h"
#include "PlainMutex.h"

#include <oneapi/tbb/task_group.h>

#include <pthread.h>
#include <semaphore.h>

#include <chrono>
#include <cstdlib>
#include <vector>

namespace {

constexpr std::size_t kStarts = 20;

// The calls alone: what has been started is waited for later.
template <typename Start>
double timeOfStarts(sem_t& hasRun, Start start) {
    const double time = bench::timePerCall(kStarts, start);
    for (std::size_t i = 0; i < kStarts; ++i) sem_wait(&hasRun);
    return time;
}

void benchStart(benchmark::State& state) {
    static sem_t hasRun;
    sem_init(&hasRun, 0, 0);
    const auto start = [](std::size_t) {
        Qv::QvThreadCreate([](void*) { return static_cast<unsigned>(sem_post(&hasRun)); }, nullptr);
    };
    const auto startByPeer = [](std::size_t) {
        pthread_attr_t attributes;
        pthread_attr_init(&attributes);
        pthread_attr_setdetachstate(&attributes, PTHREAD_CREATE_DETACHED);
        pthread_t thread{};
        const auto run = [](void*) -> void* { return sem_post(&hasRun) == 0 ? nullptr : &hasRun; };
        if (pthread_create(&thread, &attributes, run, nullptr) != 0) std::abort();
        pthread_attr_destroy(&attributes);
    };
    bench::Sides sides;
    for ([[maybe_unused]] auto turn : state) {
        sides.ours.add(timeOfStarts(hasRun, start));
        sides.peer.add(timeOfStarts(hasRun, startByPeer));
    }
    bench::report(state, {"thread start", "limit, pthread_create", 1, {.ratio = 1.2}}, sides);
}
BENCHMARK(benchStart)->Iterations(300);

using Unit = QvPlatform::ThreadPool::WorkUnit;

constexpr std::size_t kSteps = 200'000;

struct EmptyStepper : QvPlatform::StepperThread {
    ~EmptyStepper() override { stop(); }
    bool step() override { return ++taken < kSteps; }
    std::size_t taken = 0;
};

void benchSteps(benchmark::State& state) {
    EmptyStepper stepper;
    const auto takeSteps = [&](std::size_t) {
        stepper.taken = 0;
        stepper.start();
        stepper.join();
    };
    bench::PlainMutex locks[2];
    const auto useLocks = [&](std::size_t) {
        for (std::size_t i = 0; i < 2 * kSteps; ++i) bench::lockAndUnlock(locks[i % 2]);
    };
    bench::compare(state, {"empty steps", "limit, 2 locks each", kSteps, {.ratio = 1.5}}, 1, takeSteps,
                   useLocks);
}
BENCHMARK(benchSteps)->Iterations(60);

struct EmptyUnit : Unit {
    void run() override {}
};
struct ShortUnit : Unit {
    void run() override {
        const auto end = std::chrono::steady_clock::now() + std::chrono::microseconds(10);
        while (std::chrono::steady_clock::now() < end) continue;
    }
};

template <typename SomeUnit>
void benchExecute(benchmark::State& state, const char* operation, std::vector<SomeUnit> units) {
    std::vector<Unit*> pointers;
    for (Unit& unit : units) pointers.push_back(&unit);
    const auto pool = QvPlatform::ThreadPool::instance(0);
    const auto runByPeer = [&](std::size_t) {
        tbb::task_group group;
        for (Unit* unit : pointers) group.run([unit] { unit->run(); });
        group.wait();
    };
    const auto runByPool = [&](std::size_t) { pool->execute(pointers); };
    const bench::Row row{operation, "tbb::task_group", units.size(), {.ratio = 1.1}};
    bench::compare(state, row, 1, runByPool, runByPeer);
}
BENCHMARK_CAPTURE(benchExecute, empty, "execute, empty units", std::vector<EmptyUnit>(100'000))
    ->Iterations(60);
BENCHMARK_CAPTURE(benchExecute, short, "execute, units of 10 us", std::vector<ShortUnit>(1'000))
    ->Iterations(60);

}  // namespace
