// Memory through the library's table compared with the C runtime's, and with the same by way of a
// pointer in another library, which is the limit: the table costs one indirect call.

#include <QvPlatform/core/QvMemory.h>

#include "BenchSupport.h"
#include "MemoryPeer.h"

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
        state, {"createAligned to 64, by bytes", "aligned_alloc", size, {.ratio = 1.1}}, 20'000,
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
BENCHMARK_CAPTURE(benchMemory, limit, "by a pointer", 1.1, usePointers)->Arg(64)->Arg(4096)->Iterations(400);
BENCHMARK_CAPTURE(benchMemory, runtime, "malloc and free", 0, useRuntime)
    ->Arg(64)
    ->Arg(4096)
    ->Iterations(400);

}  // namespace
