#include <windows.h>

#include "CrashReport.h"

#include <csignal>
#include <cstdio>

namespace {

LONG CALLBACK onException(EXCEPTION_POINTERS* exception) {
    char reason[64];
    std::snprintf(reason, sizeof reason, "exception 0x%08lx", exception->ExceptionRecord->ExceptionCode);
    printStacks(reason, exception->ContextRecord);
    return EXCEPTION_CONTINUE_SEARCH;
}

// The runtime ends the process when this has returned.
void onAbort(int) { printStacks("aborted", nullptr); }

}  // namespace

void reportCrashes() {
    SetUnhandledExceptionFilter(onException);
    std::signal(SIGABRT, onAbort);
}
