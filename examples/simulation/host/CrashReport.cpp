#include "CrashReport.h"

#include <QvPlatform/system/Process.h>

#include <cstdio>

using QvPlatform::CallStackViewer;

namespace {

void printStack(CallStackViewer& viewer, unsigned long thread, const char* remark, const CONTEXT* context) {
    viewer.getCallstackOfThread(thread, context);
    std::fprintf(stderr, "Thread %lu%s:\n%s\n", thread, remark, viewer.getOutput().c_str());
}

}  // namespace

void printStacks(const char* reason, const CONTEXT* context) {
    std::fprintf(stderr, "\nThe simulation crashed: %s\n\n", reason);
    const unsigned long process = QvSim::Process::getProcessID();
    const unsigned long current = CallStackViewer::getCurrentThreadId();
    CallStackViewer viewer(process, nullptr);
    printStack(viewer, current, ", which crashed", context);
    for (const unsigned long thread : CallStackViewer::getThreadIds(process))
        if (thread != current) printStack(viewer, thread, "", nullptr);
    std::fflush(stderr);
}

__attribute__((noinline, no_sanitize("null"))) void crashOnPurpose() {
    volatile int* volatile nowhere = nullptr;  // volatile: nothing is to be optimised away
    *nowhere = 1;                              // NOLINT(clang-analyzer-core.NullDereference)
}
