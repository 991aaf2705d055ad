// Memory through the library's table compared with the C runtime's, and with the same by way of a
// pointer in another library, which is the limit: the table costs one indirect call. And a copy of a
// counting pointer compared with the two changes of a counter that it consists of.

#include <QvPlatform/core/QvMemory.h>
#include <QvPlatform/core/QvSmartPtr.h>

#include "BenchSupport.h"
#include "MemoryPeer.h"

#include <atomic>
#include <boost/smart_ptr/intrusive_ptr.hpp>
#include <boost/smart_ptr/intrusive_ref_counter.hpp>
#include <cstdlib>

namespace {

void useOurs(std::size_t size) {
    void* const block = Qv::QvMemory::create(size);
    benchmark::DoNotOptimize(block);
    Qv::QvMemory::destroy(block);
}

void useRuntime(std::size_t size) {
    void* const block = std::malloc(size);
    benchmark::DoNotOptimize(block);
    std::free(block);
}

void usePointers(std::size_t size) {
    void* const block = makeByPointer(size);
    benchmark::DoNotOptimize(block);
    freeByPointer(block);
}

void benchAligned(benchmark::State& state) {
    constexpr unsigned int kAlignment = 64;
    const auto size = static_cast<std::size_t>(state.range(0));
    bench::compare(
        state, {"createAligned to 64, by bytes", "limit, aligned_alloc", size, {.ratio = 1.1}}, 20'000,
        [=](std::size_t) {
            void* const block = Qv::QvMemory::createAligned(size, kAlignment);
            benchmark::DoNotOptimize(block);
            Qv::QvMemory::destroyAligned(block);
        },
        [=](std::size_t) {
            void* const block = std::aligned_alloc(kAlignment, size);
            benchmark::DoNotOptimize(block);
            std::free(block);
        });
}
BENCHMARK(benchAligned)->Arg(64)->Arg(4096)->Iterations(400);

void benchMemory(benchmark::State& state, const char* peerName, double targetRatio,
                 void (*usePeer)(std::size_t)) {
    const auto size = static_cast<std::size_t>(state.range(0));
    bench::compare(
        state, {"create and destroy, by bytes", peerName, size, {.ratio = targetRatio}}, 20'000,
        [=](std::size_t) { useOurs(size); }, [=](std::size_t) { usePeer(size); });
}
BENCHMARK_CAPTURE(benchMemory, limit, "limit, by a pointer", 1.1, usePointers)
    ->Arg(64)
    ->Arg(4096)
    ->Iterations(400);
BENCHMARK_CAPTURE(benchMemory, runtime, "malloc and free", 0, useRuntime)
    ->Arg(64)
    ->Arg(4096)
    ->Iterations(400);

struct Counted : Qv::QvRefCount {};
struct CountedByBoost : boost::intrusive_ref_counter<CountedByBoost, boost::thread_safe_counter> {};

constexpr std::size_t kCopies = 100'000;

template <typename Pointer>
void copyAndDrop(const Pointer& pointer) {
    const Pointer copy(pointer);  // NOLINT(performance-unnecessary-copy-initialization)
    benchmark::DoNotOptimize(copy.get());
}

template <typename Peer>
void comparePointer(benchmark::State& state, const char* peerName, double targetRatio, Peer usePeer) {
    const Qv::QvSmartPtr<Counted> ours(new Counted);
    bench::compare(
        state, {"QvSmartPtr, copy and drop", peerName, 1, {.ratio = targetRatio}}, kCopies,
        [&](std::size_t) { copyAndDrop(ours); }, usePeer);
}

void benchPointer(benchmark::State& state) {
    std::atomic<int> counter{1};
    comparePointer(state, "limit, atomic counter", 1.1, [&](std::size_t) {
        counter.fetch_add(1, std::memory_order_relaxed);
        benchmark::DoNotOptimize(counter.fetch_sub(1, std::memory_order_acq_rel));
    });
}
BENCHMARK(benchPointer)->Iterations(60);

void benchPointerOfBoost(benchmark::State& state) {
    const boost::intrusive_ptr<CountedByBoost> peer(new CountedByBoost);
    comparePointer(state, "boost::intrusive_ptr", 1.1, [&](std::size_t) { copyAndDrop(peer); });
}
BENCHMARK(benchPointerOfBoost)->Iterations(60);

}  // namespace
