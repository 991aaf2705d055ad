// A segment of shared memory compared with the system's own, which outlives its users and has no mutex. Both
// reserve their memory when they are created, so that a full disk is no fatal signal later.

#include <QvPlatform/threads/SharedMemory.h>

#include "BenchSupport.h"
#include "PlainMutex.h"

#include <fcntl.h>
#include <sys/mman.h>
#include <unistd.h>

#include <cstdlib>
#include <new>
#include <string>

namespace {

constexpr std::size_t kSmall = 4096;
constexpr std::size_t kLarge = std::size_t{16} << 20U;
const std::string plainName = "/qv-bench-" + std::to_string(getpid());

struct Segment : QvPlatform::SharedMemoryBase {
    void open(std::size_t size = kSmall) {
        if (!SharedMemoryBase::open("qv-bench", size)) std::abort();
    }
    using SharedMemoryBase::close;
};

void* mapPlain(int flags, std::size_t size) {
    const int file = shm_open(plainName.c_str(), flags | O_RDWR, 0600);
    if (file < 0) std::abort();
    if (flags != 0 && posix_fallocate(file, 0, static_cast<off_t>(size)) != 0) std::abort();
    void* const data = mmap(nullptr, size, PROT_READ | PROT_WRITE, MAP_SHARED, file, 0);
    if (data == MAP_FAILED || close(file) != 0) std::abort();
    return data;
}

void unmapPlain(void* data, std::size_t size) {
    if (munmap(data, size) != 0) std::abort();
}

void removePlain() {
    if (shm_unlink(plainName.c_str()) != 0) std::abort();
}

void benchCreate(benchmark::State& state) {
    bench::silenceLog();
    const auto size = static_cast<std::size_t>(state.range(0));
    Segment ours;
    const auto createOurs = [&](std::size_t) {
        ours.open(size);
        ours.close();
    };
    const auto createPlain = [&](std::size_t) {
        unmapPlain(mapPlain(O_CREAT, size), size);
        removePlain();
    };
    bench::compare(state, {"create and close, bytes", "limit, shm_open, fallocate", size, {.ratio = 3}}, 200,
                   createOurs, createPlain);
}
BENCHMARK(benchCreate)->Arg(kSmall)->Arg(kLarge)->Iterations(60);

void benchOpenExisting(benchmark::State& state) {
    bench::silenceLog();
    const auto size = static_cast<std::size_t>(state.range(0));
    Segment creator;
    Segment ours;
    creator.open(size);
    void* const plain = mapPlain(O_CREAT, size);
    const auto openOurs = [&](std::size_t) {
        ours.open(size);
        ours.close();
    };
    const auto openPlain = [&](std::size_t) { unmapPlain(mapPlain(0, size), size); };
    bench::compare(state, {"open and close an existing one", "limit, shm_open, mmap", size, {.ratio = 3}},
                   200, openOurs, openPlain);
    unmapPlain(plain, size);
    removePlain();
}
BENCHMARK(benchOpenExisting)->Arg(kSmall)->Arg(kLarge)->Iterations(60);

void benchLock(benchmark::State& state) {
    Segment ours;
    ours.open();
    auto* const mutex =
        new (mapPlain(O_CREAT, kSmall)) bench::PlainMutex(PTHREAD_MUTEX_ROBUST, PTHREAD_PROCESS_SHARED);
    bench::compare(
        state, {"lock and unlock of a segment", "limit, shared pthread", 1, {.ratio = 1.1}}, 100'000,
        [&](std::size_t) { bench::lockAndUnlock(ours); }, [&](std::size_t) { bench::lockAndUnlock(*mutex); });
    unmapPlain(mutex, kSmall);
    removePlain();
}
BENCHMARK(benchLock)->Iterations(60);

}  // namespace
