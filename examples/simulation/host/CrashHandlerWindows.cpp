#include <windows.h>

#include "CrashReport.h"

#include <QvPlatform/core/StringConversions.h>

#include <csignal>
#include <cstdio>

namespace {

// The tool chain's headers may lack these declarations.
#pragma pack(push, 4)
struct MinidumpException {
    DWORD threadId;
    EXCEPTION_POINTERS* pointers;
    BOOL areClientPointers;
};
#pragma pack(pop)
constexpr int kNormalMinidump = 0;
using WriteMinidump = BOOL(WINAPI*)(HANDLE process, DWORD processId, HANDLE file, int type,
                                    const MinidumpException* exception, const void*, const void*);

// Not in the handler: a crash may have left the loader locked.
WriteMinidump writeDump = nullptr;
std::wstring dumpPath;

void writeMinidump(EXCEPTION_POINTERS* exception) {
    if (!writeDump) return;
    const HANDLE file = CreateFileW(dumpPath.c_str(), GENERIC_WRITE, 0, nullptr, CREATE_ALWAYS, 0, nullptr);
    if (file == INVALID_HANDLE_VALUE) return;
    const MinidumpException crash{GetCurrentThreadId(), exception, FALSE};
    const BOOL isWritten = writeDump(GetCurrentProcess(), GetCurrentProcessId(), file, kNormalMinidump,
                                     &crash, nullptr, nullptr);
    CloseHandle(file);
    if (isWritten) std::fprintf(stderr, "\nMinidump written to %ls\n", dumpPath.c_str());
}

void report(const char* reason, EXCEPTION_POINTERS* exception) {
    writeMinidump(exception);
    printStacks(reason, exception->ContextRecord);
}

LONG CALLBACK onException(EXCEPTION_POINTERS* exception) {
    char reason[64];
    std::snprintf(reason, sizeof reason, "exception 0x%08lx", exception->ExceptionRecord->ExceptionCode);
    report(reason, exception);
    return EXCEPTION_CONTINUE_SEARCH;
}

// The runtime ends the process when this has returned.
void onAbort(int) {
    EXCEPTION_RECORD record{};
    record.ExceptionCode = STATUS_FATAL_APP_EXIT;
    CONTEXT context{};
    RtlCaptureContext(&context);
    EXCEPTION_POINTERS exception{&record, &context};
    report("aborted", &exception);
}

}  // namespace

void reportCrashes(const std::string& dumpFile) {
    dumpPath = QvPlatform::StringConversions::toWide(dumpFile);
    if (const HMODULE library = LoadLibraryW(L"dbghelp.dll"))
        writeDump = reinterpret_cast<WriteMinidump>(
            reinterpret_cast<void*>(GetProcAddress(library, "MiniDumpWriteDump")));
    SetUnhandledExceptionFilter(onException);
    std::signal(SIGABRT, onAbort);
}
