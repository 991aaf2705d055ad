#include "child/Child.h"

#include "child/win32/Report.h"

#include <csignal>
#include <cwchar>
#include <utility>

namespace qvp {

void (*crashReporter)(const CONTEXT* context) = nullptr;

namespace {

HANDLE report = nullptr;
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

}  // namespace

void prepareAsChild() {
    const std::wstring number = os::win32::variable(kReportVariable).value_or(std::wstring());
    report =
        reinterpret_cast<HANDLE>(static_cast<std::uintptr_t>(std::wcstoull(number.c_str(), nullptr, 10)));
    SetHandleInformation(report, HANDLE_FLAG_INHERIT, 0);
    SetEnvironmentVariableW(kReportVariable, nullptr);
    SetErrorMode(SEM_FAILCRITICALERRORS | SEM_NOGPFAULTERRORBOX | SEM_NOOPENFILEERRORBOX);
    AddVectoredExceptionHandler(1, handleFirst);
    SetUnhandledExceptionFilter(handleUncaught);
    std::signal(SIGABRT, handleAbort);
}

// The system cannot fork: each child is a new process of this program.
void serveAsChild(const std::vector<std::string>& /*arguments*/,
                  void (* /*run*/)(const std::vector<std::string>&)) {}

void writeReportLine(const std::string& line) {
    const std::string whole = line + "\n";
    DWORD written = 0;
    for (std::size_t done = 0; done < whole.size(); done += written) {
        const auto left = static_cast<DWORD>(whole.size() - done);
        if (!WriteFile(report, whole.data() + done, left, &written, nullptr)) return;
    }
}

void endChild(int exitCode) {
    for (;;) TerminateProcess(GetCurrentProcess(), static_cast<UINT>(exitCode));
}

}  // namespace qvp
