// A segment of shared memory compared with the system's own, which outlives its users and has no mutex.

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

constexpr std::size_t kSize = 4096;
const std::string plainName = "/qv-bench-" + std::to_string(getpid());

struct Segment : QvPlatform::SharedMemoryBase {
    void open() {
        if (!SharedMemoryBase::open("qv-bench", kSize)) std::abort();
    }
    using SharedMemoryBase::close;
};

void* openPlain() {
    const int file = shm_open(plainName.c_str(), O_CREAT | O_RDWR, 0600);
    if (file < 0 || ftruncate(file, kSize) != 0) std::abort();
    void* const data = mmap(nullptr, kSize, PROT_READ | PROT_WRITE, MAP_SHARED, file, 0);
    if (data == MAP_FAILED || close(file) != 0) std::abort();
    return data;
}

void closePlain(void* data) {
    if (munmap(data, kSize) != 0 || shm_unlink(plainName.c_str()) != 0) std::abort();
}

void benchOpen(benchmark::State& state) {
    bench::silenceLog();
    Segment ours;
    const auto openAndClose = [&](std::size_t) {
        ours.open();
        ours.close();
    };
    bench::compare(state, {"open and close, bytes", "shm_open, mmap", kSize, {.ratio = 3}}, 200, openAndClose,
                   [](std::size_t) { closePlain(openPlain()); });
}
BENCHMARK(benchOpen)->Iterations(60);

void benchLock(benchmark::State& state) {
    Segment ours;
    ours.open();
    auto* const mutex = new (openPlain()) bench::PlainMutex(PTHREAD_MUTEX_ROBUST, PTHREAD_PROCESS_SHARED);
    bench::compare(
        state, {"lock and unlock of a segment", "shared pthread", 1, {.ratio = 1.1}}, 100'000,
        [&](std::size_t) { bench::lockAndUnlock(ours); }, [&](std::size_t) { bench::lockAndUnlock(*mutex); });
    closePlain(mutex);
}
BENCHMARK(benchLock)->Iterations(60);

}  // namespace
