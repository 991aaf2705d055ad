#include "CrashReport.h"

#include <QvPlatform/system/Process.h>

#include <signal.h>  // NOLINT(modernize-deprecated-headers): more than the C++ header has
#include <string.h>  // NOLINT(modernize-deprecated-headers): likewise
#include <unistd.h>

#include <atomic>
#include <vector>

namespace {

constexpr int kCrashes[] = {SIGSEGV, SIGABRT, SIGBUS, SIGFPE, SIGILL};

void onCrash(int signal, siginfo_t*, void* context) {
    static std::atomic<bool> isReporting = false;
    // The report is about the first crash.
    while (isReporting.exchange(true)) pause();
    // A report needs memory, and the crash may have left the allocator locked.
    alarm(30);
    printStacks(sigdescr_np(signal), static_cast<const CONTEXT*>(context));
    ::signal(signal, SIG_DFL);
    raise(signal);  // comes when this function has returned
}

}  // namespace

void reportCrashes(const std::string&) {
    // The first viewer opens the library for names, which a crash within the loader would leave no chance to.
    const QvPlatform::CallStackViewer viewer(QvSim::Process::getProcessID(), nullptr);

    // For the main thread, so that it can report that its stack is used up. A walk takes less than 32 KiB.
    static std::vector<char> stack(std::size_t{256} * 1024);
    stack_t alternate{};
    alternate.ss_sp = stack.data();
    alternate.ss_size = stack.size();
    sigaltstack(&alternate, nullptr);

    struct sigaction action {};
    action.sa_sigaction = onCrash;
    action.sa_flags = SA_SIGINFO | SA_ONSTACK;
    for (const int signal : kCrashes) sigaction(signal, &action, nullptr);
}
