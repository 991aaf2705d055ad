#include "child/CrashHandler.h"

#include <QvPlatform/diagnostics/CallStackViewer.h>
#include <QvPlatform/system/Process.h>

#include "os/posix/PosixSupport.h"

#include <sys/mman.h>

#include <csignal>
#include <cstddef>

namespace qvp {
namespace {

void (*handleStack)(const std::string& callStack) = nullptr;

// The process is lost anyway, so more is done here than a handler may; a deadlock ends with the time limit.
// This handler is gone by now: a second crash, and the first one when it is raised again, take the system's
// way.
void handleCrash(int number, siginfo_t* /*info*/, void* context) {
    QvPlatform::CallStackViewer viewer(QvSim::Process::getProcessID(), nullptr);
    viewer.getCallstack(nullptr, static_cast<const CONTEXT*>(context));
    handleStack(viewer.getOutput());
    std::raise(number);
}

}  // namespace

// A stack of its own, for the case that the other one has run out. The library for names is opened by the
// crash only: before it, the process holds what a plain host holds.
void reportCrashes(void (*onCrash)(const std::string& callStack)) {
    constexpr std::size_t kStackSize = std::size_t{8} << 20U;
    handleStack = onCrash;
    stack_t stack{};
    stack.ss_sp = mmap(nullptr, kStackSize, PROT_READ | PROT_WRITE, MAP_PRIVATE | MAP_ANONYMOUS, -1, 0);
    stack.ss_size = kStackSize;
    if (stack.ss_sp != MAP_FAILED) sigaltstack(&stack, nullptr);
    struct sigaction action {};
    action.sa_sigaction = handleCrash;
    action.sa_flags = static_cast<int>(SA_SIGINFO | SA_ONSTACK | SA_RESETHAND);
    for (const int number : {SIGSEGV, SIGBUS, SIGFPE, SIGILL, SIGABRT}) sigaction(number, &action, nullptr);
}

bool isMapped(const std::string& file) { return os::posix::isLoaded(file.c_str()); }

}  // namespace qvp
