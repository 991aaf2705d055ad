#include "os/posix/stack/DebugLibrary.h"

#include "os/Environment.h"
#include "os/posix/stack/OwnStack.h"

#include <dlfcn.h>
#include <unistd.h>

#include <atomic>
#include <chrono>
#include <cstring>
#include <new>
#include <string>

namespace os::posix {
namespace {

enum class State : std::uint8_t { closed, opening, open, missing };

std::atomic<State> state{State::closed};
std::atomic<pid_t> opener{0};  ///< the process in which the thread runs that opens the library
std::atomic<bool> hasWaited{false};

template <typename Function>
bool resolve(void* library, Function*& function, const char* name) {
    void* const address = dlsym(library, name);
    function = reinterpret_cast<Function*>(address);
    return address != nullptr;
}

// The first use of a library's thread-local variables waits for the loader; later threads do not.
bool touchErrors(void* library, int (*lastError)()) {
    int (*elfError)() = nullptr;
    lastError();
    if (resolve(library, elfError, "elf_errno")) elfError();
    return true;
}

void waitForOpener() {
    constexpr auto kPatience = std::chrono::seconds(2);
    constexpr timespec kPause{0, 200'000};
    if (hasWaited) return;
    const auto end = std::chrono::steady_clock::now() + kPatience;
    while (state == State::opening) {
        if (std::chrono::steady_clock::now() > end) {
            hasWaited = true;
            return;
        }
        nanosleep(&kPause, nullptr);
    }
}

}  // namespace

struct DebugLibrary::Opening {
    static constinit DebugLibrary functions;
    static constinit char name[4096];  ///< the opener's, which outlives who started it

    static void* run(void*) {
        const bool isOpen = functions.open(name);
        state = isOpen ? State::open : State::missing;
        return nullptr;
    }
    // False if there is no memory or no thread for it.
    static bool start() {
        try {
            const std::string chosen = readVariable("QV_LIBDW").value_or("");
            std::snprintf(name, sizeof name, "%s", chosen.empty() ? "libdw.so.1" : chosen.c_str());
        } catch (const std::bad_alloc&) {
            return false;
        }
        opener = getpid();
        return startThread(run, nullptr);
    }
};

constinit DebugLibrary DebugLibrary::Opening::functions;
constinit char DebugLibrary::Opening::name[4096] = "";

const DebugLibrary* DebugLibrary::get() {
    // A forked child has not inherited the thread.
    if (state == State::opening && opener != 0 && opener != getpid()) state = State::closed;
    State expected = State::closed;
    if (state.compare_exchange_strong(expected, State::opening) && !Opening::start()) state = State::closed;
    waitForOpener();
    return state == State::open ? &Opening::functions : nullptr;
}

bool DebugLibrary::open(const char* name) {
    void* const library = dlopen(name, RTLD_NOW | RTLD_LOCAL);
    return library && resolveSession(library) && resolveLookUps(library) && resolveWalking(library) &&
           touchErrors(library, dwfl_errno);
}

#define QV_RESOLVE(function) resolve(library, function, #function)

bool DebugLibrary::resolveSession(void* library) {
    return QV_RESOLVE(dwfl_begin) && QV_RESOLVE(dwfl_end) && QV_RESOLVE(dwfl_errno) &&
           QV_RESOLVE(dwfl_report_begin) && QV_RESOLVE(dwfl_report_end) &&
           QV_RESOLVE(dwfl_linux_proc_report) && QV_RESOLVE(dwfl_linux_proc_find_elf) &&
           QV_RESOLVE(dwfl_build_id_find_debuginfo) && QV_RESOLVE(dwfl_module_build_id);
}

bool DebugLibrary::resolveLookUps(void* library) {
    return QV_RESOLVE(dwfl_addrmodule) && QV_RESOLVE(dwfl_module_info) && QV_RESOLVE(dwfl_module_addrname) &&
           QV_RESOLVE(dwfl_module_addrdie) && QV_RESOLVE(dwfl_module_nextcu) &&
           QV_RESOLVE(dwfl_module_getdwarf) && QV_RESOLVE(dwarf_haspc) && QV_RESOLVE(dwarf_getsrc_die) &&
           QV_RESOLVE(dwarf_linesrc) && QV_RESOLVE(dwarf_lineno);
}

bool DebugLibrary::resolveWalking(void* library) {
    return QV_RESOLVE(dwfl_linux_proc_attach) && QV_RESOLVE(dwfl_getthread_frames) &&
           QV_RESOLVE(dwfl_frame_pc);
}

#undef QV_RESOLVE

}  // namespace os::posix
