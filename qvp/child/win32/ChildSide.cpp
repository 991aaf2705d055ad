#include "child/Child.h"

#include "child/Report.h"
#include "child/win32/Report.h"

#include <csignal>
#include <cstdlib>
#include <cwchar>
#include <utility>

namespace qvp {

void (*crashReporter)(const CONTEXT* context) = nullptr;

namespace {

ReportArea* report = nullptr;
bool isEnding = false;

// What the reporter itself comes across is its own affair, unless nobody catches it.
[[noreturn]] void endWith(DWORD code, const CONTEXT* context) {
    if (!std::exchange(isEnding, true) && crashReporter) crashReporter(context);
    for (;;) TerminateProcess(GetCurrentProcess(), code);
}

void handleAbort(int /*number*/) { endWith(kAborted, nullptr); }

LONG WINAPI handleFirst(EXCEPTION_POINTERS* exception) {
    const DWORD code = exception->ExceptionRecord->ExceptionCode;
    if (isCrash(code) && !isEnding) endWith(code, exception->ContextRecord);
    return EXCEPTION_CONTINUE_SEARCH;
}

// Without a handler of its own the system shows a dialog, or under an emulator a debugger's text.
LONG WINAPI handleUncaught(EXCEPTION_POINTERS* exception) {
    endWith(exception->ExceptionRecord->ExceptionCode, exception->ContextRecord);
}

// Of the exit handlers it is the last one to run: those of plugins come before.
void noteExit() { report->calledExit = 1; }

ReportArea* mapReport() {
    const std::wstring number = os::win32::variable(kReportVariable).value_or(std::wstring());
    SetEnvironmentVariableW(kReportVariable, nullptr);
    const os::win32::Handle mapping(
        reinterpret_cast<HANDLE>(static_cast<std::uintptr_t>(std::wcstoull(number.c_str(), nullptr, 10))));
    if (!mapping) return nullptr;
    return static_cast<ReportArea*>(MapViewOfFile(mapping.get(), FILE_MAP_WRITE, 0, 0, sizeof(ReportArea)));
}

}  // namespace

bool prepareAsChild() {
    report = mapReport();
    if (!report) return false;
    std::atexit(noteExit);
    SetErrorMode(SEM_FAILCRITICALERRORS | SEM_NOGPFAULTERRORBOX | SEM_NOOPENFILEERRORBOX);
    AddVectoredExceptionHandler(1, handleFirst);
    SetUnhandledExceptionFilter(handleUncaught);
    std::signal(SIGABRT, handleAbort);
    return true;
}

void writeReportLine(const std::string& line) { report->append(line); }

void endChild(int exitCode) {
    for (;;) TerminateProcess(GetCurrentProcess(), static_cast<UINT>(exitCode));
}

}  // namespace qvp
