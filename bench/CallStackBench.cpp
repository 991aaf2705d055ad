// A stack of thirty frames as text, compared with what other libraries make of the same stack: libunwind with
// libdw, used directly, libbacktrace, and the C library, which knows no lines and only exported names. Its
// addresses alone are compared with those of libunwind.

#define UNW_LOCAL_ONLY

#include <QvPlatform/diagnostics/CallStackViewer.h>

#include "BenchSupport.h"
#include "os/posix/stack/ThreadInterrupt.h"

#include <backtrace.h>
#include <cxxabi.h>
#include <elfutils/libdwfl.h>
#include <execinfo.h>
#include <libunwind.h>
#include <sys/wait.h>
#include <unistd.h>

#include <cstdlib>
#include <functional>
#include <memory>

namespace {

constexpr int kFrames = 30;

// Calls `work` on a stack with that many frames above it.
[[gnu::noinline]] void descend(int levels, const std::function<void()>& work) {
    if (levels == 0)
        work();
    else
        descend(levels - 1, work);
    benchmark::ClobberMemory();
}

/// The viewer, kept as an application would that reports more than one stack.
class Ours {
public:
    void walk() {
        if (!viewer_.getCallstack(nullptr, nullptr)) std::abort();
        const std::string text = viewer_.getOutput();
        benchmark::DoNotOptimize(text.data());
    }

private:
    QvPlatform::CallStackViewer viewer_{static_cast<unsigned long>(getpid()), nullptr};
};

class ByHand {
public:
    ByHand() {
        callbacks_.find_elf = dwfl_linux_proc_find_elf;
        callbacks_.find_debuginfo = dwfl_standard_find_debuginfo;
        session_.reset(dwfl_begin(&callbacks_));
        dwfl_linux_proc_report(session_.get(), getpid());
        dwfl_report_end(session_.get(), nullptr, nullptr);
    }

    void walk() {
        void* addresses[200];
        const int count = unw_backtrace(addresses, 200);
        std::string text;
        for (int i = 0; i < count; ++i) appendFrame(text, reinterpret_cast<Dwarf_Addr>(addresses[i]) - 1);
        benchmark::DoNotOptimize(text.data());
    }

private:
    struct End {
        void operator()(Dwfl* session) const { dwfl_end(session); }
    };

    void appendFrame(std::string& text, Dwarf_Addr address) {
        Dwfl_Module* const module = dwfl_addrmodule(session_.get(), address);
        const char* const symbol = module ? dwfl_module_addrname(module, address) : nullptr;
        Dwfl_Line* const line = module ? dwfl_module_getsrc(module, address) : nullptr;
        int number = 0;
        if (line) text += dwfl_lineinfo(line, nullptr, &number, nullptr, nullptr, nullptr);
        text += " (" + std::to_string(number) + "): ";
        int status = 0;
        char* const name = symbol ? abi::__cxa_demangle(symbol, nullptr, nullptr, &status) : nullptr;
        text += name ? name : symbol ? symbol : "";
        text += '\n';
        std::free(name);
    }

    Dwfl_Callbacks callbacks_{};
    std::unique_ptr<Dwfl, End> session_;
};

/// Keeps sorted tables of the names and lines of all files. Its names stay mangled.
class Tables {
public:
    void walk() {
        std::string text;
        void* addresses[200];
        const int count = unw_backtrace(addresses, 200);
        for (int i = 0; i < count; ++i)
            backtrace_pcinfo(state_, reinterpret_cast<std::uintptr_t>(addresses[i]) - 1, appendFrame,
                             ignoreError, &text);
        benchmark::DoNotOptimize(text.data());
    }

private:
    static void ignoreError(void*, const char*, int) {}
    static int appendFrame(void* text, std::uintptr_t, const char* file, int line, const char* function) {
        std::string& lines = *static_cast<std::string*>(text);
        if (file) lines += file;
        lines += " (" + std::to_string(line) + "): ";
        if (function) lines += function;
        lines += '\n';
        return 0;
    }

    backtrace_state* state_ = backtrace_create_state(nullptr, 0, ignoreError, nullptr);
};

class CLibrary {
public:
    void walk() {
        void* addresses[200];
        char** const lines = backtrace_symbols(addresses, backtrace(addresses, 200));
        benchmark::DoNotOptimize(lines);
        std::free(lines);
    }
};

// The addresses alone, which is what a profiler or a counter of allocations needs.
void benchCapture(benchmark::State& state) {
    constexpr std::size_t kRoom = 200;
    void* addresses[kRoom];
    const auto capture = [&](std::size_t) {
        std::size_t count = 0;
        const int error = os::posix::walkFromHere([&](const os::posix::FrameAddress& frame) {
            if (count == kRoom) return false;
            addresses[count++] = reinterpret_cast<void*>(frame.programCounter);
            return true;
        });
        if (error != 0 || count < kFrames) std::abort();
        benchmark::DoNotOptimize(addresses);
    };
    const auto captureByPeer = [&](std::size_t) {
        if (unw_backtrace(addresses, kRoom) < kFrames) std::abort();
        benchmark::DoNotOptimize(addresses);
    };
    descend(kFrames, [&] {
        bench::compare(state, {"call stack, addresses", "unw_backtrace (limit)", kFrames, {.ratio = 2}}, 500,
                       capture, captureByPeer);
    });
}
BENCHMARK(benchCapture)->Iterations(600);

template <typename Peer>
void benchLater(benchmark::State& state, const char* peerName, double ratio) {
    Ours ours;
    Peer peer;
    descend(kFrames, [&] {
        ours.walk();
        peer.walk();
        bench::compare(
            state, {"call stack, later", peerName, kFrames, {.ratio = ratio}}, 100,
            [&](std::size_t) { ours.walk(); }, [&](std::size_t) { peer.walk(); });
    });
}

void benchLaterBesideLibdw(benchmark::State& state) { benchLater<ByHand>(state, "libunwind, libdw", 1.5); }
BENCHMARK(benchLaterBesideLibdw)->Iterations(30);

void benchLaterBesideTables(benchmark::State& state) { benchLater<Tables>(state, "libbacktrace (limit)", 2); }
BENCHMARK(benchLaterBesideTables)->Iterations(60);

void benchLaterBesideGlibc(benchmark::State& state) { benchLater<CLibrary>(state, "backtrace_symbols", 1.5); }
BENCHMARK(benchLaterBesideGlibc)->Iterations(30);

// In a copy of this process, in which nobody has read any debugging information.
template <typename Side>
double firstWalk() {
    int channel[2];
    if (pipe(channel) != 0) std::abort();
    const pid_t copy = fork();
    if (copy == 0) {
        double time = 0;
        descend(kFrames, [&] { time = bench::timePerCall(1, [](std::size_t) { Side().walk(); }); });
        _exit(write(channel[1], &time, sizeof time) == sizeof time ? 0 : 1);
    }
    double time = 0;
    if (read(channel[0], &time, sizeof time) != sizeof time) std::abort();
    waitpid(copy, nullptr, 0);
    close(channel[0]);
    close(channel[1]);
    return time;
}

void benchFirst(benchmark::State& state) {
    bench::Sides sides;
    for ([[maybe_unused]] auto turn : state) {
        sides.ours.add(firstWalk<Ours>());
        sides.peer.add(firstWalk<ByHand>());
    }
    bench::report(state, {"call stack, first", "libunwind, libdw", kFrames, {.ratio = 1.5}}, sides);
}
BENCHMARK(benchFirst)->Iterations(10);

}  // namespace
