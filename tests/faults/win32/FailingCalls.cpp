// What the library imports, or asks GetProcAddress for, is replaced by stubs. A stub knows its line of the
// table below by its template argument; it returns the line's failure or calls the function. It passes on
// more arguments than most functions have, which does no harm: the caller's stack is there to read.
//
// Left out: what closes or gives back, because what it does not close stays open; waiting for, entering and
// leaving what is open, which cannot fail; CancelIoEx and ResumeThread, after which nothing would go on; and
// functions that only read or convert memory, such as GetEnvironmentVariableW and InitializeAcl.

#include "faults/win32/FailingCalls.h"

#include "faults/Failures.h"
#include "faults/win32/ImportTable.h"

#include <windows.h>

#include <mmsystem.h>

#include <array>
#include <cerrno>
#include <iterator>
#include <optional>
#include <span>
#include <string_view>
#include <utility>

namespace faults {
namespace {

enum class Gives { lastError, result, errorNumber };

struct Call {
    const char* name;
    std::span<const DWORD> errors;
    std::uintptr_t failure = 0;
    Gives gives = Gives::lastError;
    bool moves = false;  ///< succeeds once without moving a byte
};

constexpr std::uintptr_t kMinusOne = ~std::uintptr_t{0};
constexpr DWORD kOpens[] = {ERROR_ACCESS_DENIED, ERROR_SHARING_VIOLATION, ERROR_TOO_MANY_OPEN_FILES,
                            ERROR_NOT_ENOUGH_MEMORY, ERROR_IO_DEVICE};
constexpr DWORD kChanges[] = {ERROR_ACCESS_DENIED, ERROR_SHARING_VIOLATION, ERROR_DISK_FULL, ERROR_IO_DEVICE};
constexpr DWORD kMoves[] = {ERROR_LOCK_VIOLATION, ERROR_NO_SYSTEM_RESOURCES, ERROR_DISK_FULL,
                            ERROR_IO_DEVICE};
constexpr DWORD kAsks[] = {ERROR_ACCESS_DENIED, ERROR_NOT_ENOUGH_MEMORY, ERROR_IO_DEVICE};
constexpr DWORD kMakes[] = {ERROR_NOT_ENOUGH_MEMORY, ERROR_NO_SYSTEM_RESOURCES, ERROR_ACCESS_DENIED};
constexpr DWORD kMemory[] = {ERROR_NOT_ENOUGH_MEMORY};
constexpr DWORD kDenied[] = {ERROR_ACCESS_DENIED};
constexpr DWORD kLoads[] = {ERROR_MOD_NOT_FOUND, ERROR_NOT_ENOUGH_MEMORY, ERROR_ACCESS_DENIED,
                            ERROR_BAD_EXE_FORMAT, ERROR_DLL_INIT_FAILED};
constexpr DWORD kStarts[] = {ERROR_FILE_NOT_FOUND, ERROR_ACCESS_DENIED, ERROR_NOT_ENOUGH_MEMORY,
                             ERROR_COMMITMENT_LIMIT};
constexpr DWORD kKeys[] = {ERROR_ACCESS_DENIED, ERROR_OUTOFMEMORY, ERROR_KEY_DELETED,
                           ERROR_NO_SYSTEM_RESOURCES};
constexpr DWORD kServices[] = {ERROR_ACCESS_DENIED, RPC_S_SERVER_UNAVAILABLE};
constexpr DWORD kPartialCopy[] = {ERROR_PARTIAL_COPY};
constexpr DWORD kNoProcedure[] = {ERROR_PROC_NOT_FOUND};
constexpr DWORD kNoModule[] = {ERROR_MOD_NOT_FOUND};
constexpr DWORD kChangesLost[] = {ERROR_NOTIFY_ENUM_DIR, ERROR_ACCESS_DENIED};
constexpr DWORD kNoSymbol[] = {ERROR_INVALID_ADDRESS, ERROR_NOT_ENOUGH_MEMORY};
constexpr DWORD kNoTimer[] = {TIMERR_NOCANDO};
constexpr DWORD kRandomless[] = {0xC0000001, 0xC0000017};  // unsuccessful, no memory
constexpr DWORD kAgain[] = {EAGAIN};
constexpr DWORD kInvalid[] = {EINVAL};
constexpr DWORD kNoMemory[] = {ENOMEM};
constexpr DWORD kBadFile[] = {EBADF};

constexpr Call kCalls[] = {
    {"CreateFileW", kOpens, kMinusOne},
    {"CopyFileW", kChanges},
    {"CopyFileExW", kChanges},
    {"CreateDirectoryW", kChanges},
    {"CreateDirectoryExW", kChanges},
    {"DeleteFileW", kChanges},
    {"RemoveDirectoryW", kChanges},
    {"MoveFileW", kChanges},
    {"MoveFileExW", kChanges},
    {"SetFileAttributesW", kChanges},
    {"SetCurrentDirectoryW", kAsks},
    {"GetFileAttributesW", kAsks, INVALID_FILE_ATTRIBUTES},
    {"GetFileAttributesExW", kAsks},
    {"FindFirstFileW", kAsks, kMinusOne},
    {"FindNextFileW", kAsks},
    {"GetFileInformationByHandle", kAsks},
    {"GetFileInformationByHandleEx", kAsks},
    {"GetFileSizeEx", kAsks},
    {"SetFilePointerEx", kAsks},
    {"GetFinalPathNameByHandleW", kAsks},
    {"GetDiskFreeSpaceExW", kAsks},
    {"GetSecurityInfo", kAsks, 0, Gives::result},
    {"ReadFile", kMoves, 0, Gives::lastError, true},
    {"WriteFile", kMoves, 0, Gives::lastError, true},
    {"GetFullPathNameW", kMemory},
    {"GetModuleFileNameW", kMemory},
    {"GetTempPathW", kMemory},
    {"GetCurrentDirectoryW", kMemory},
    {"SetEnvironmentVariableW", kMemory},
    {"ExpandEnvironmentStringsW", kMemory},
    {"FormatMessageW", kMemory},
    {"GetComputerNameExW", kMemory},
    {"GetUserNameW", kMemory},
    {"GetVersionExW", kMemory},
    {"GetTimeZoneInformation", kDenied, TIME_ZONE_ID_INVALID},
    {"K32GetProcessMemoryInfo", kDenied},
    {"QueryProcessCycleTime", kDenied},
    {"timeGetDevCaps", kNoTimer, 0, Gives::result},
    {"ReadDirectoryChangesW", kMakes},
    {"GetOverlappedResult", kChangesLost},
    {"CreateEventW", kMakes},
    {"CreateMutexW", kMakes},
    {"CreateSemaphoreW", kMakes},
    {"CreateWaitableTimerW", kMakes},
    {"SetWaitableTimer", kMakes},
    {"CreateFileMappingW", kMakes},
    {"MapViewOfFile", kMakes},
    {"DuplicateHandle", kMakes},
    {"VirtualQuery", kDenied},
    {"VirtualQueryEx", kDenied},
    {"CreateProcessW", kStarts},
    {"ShellExecuteExW", kStarts},
    {"OpenProcess", kMakes},
    {"OpenThread", kMakes},
    {"GetExitCodeProcess", kDenied},
    {"TerminateProcess", kDenied},
    {"CreateToolhelp32Snapshot", kMakes, kMinusOne},
    {"Thread32First", kMemory},
    {"Thread32Next", kMemory},
    {"Module32First", kMemory},
    {"Module32Next", kMemory},
    {"SuspendThread", kDenied, kMinusOne},
    {"GetThreadContext", kDenied},
    {"ReadProcessMemory", kPartialCopy},
    {"NtCompareObjects", kRandomless, 0, Gives::result},
    {"LoadLibraryW", kLoads},
    {"LoadLibraryExW", kLoads},
    {"GetModuleHandleW", kNoModule},
    {"GetModuleHandleExW", kNoModule},
    {"GetProcAddress", kNoProcedure},
    {"EnumProcessModules", kMakes},
    {"GetModuleFileNameExA", kMemory},
    {"GetModuleBaseNameA", kMemory},
    {"GetModuleInformation", kMemory},
    {"SymInitialize", kMakes},
    {"SymGetLineFromAddr64", kNoSymbol},
    {"SymGetModuleInfo64", kNoSymbol},
    {"SymGetSymFromAddr64", kNoSymbol},
    {"SymLoadModuleEx", kLoads},
    {"SymGetSearchPath", kMemory},
    {"UnDecorateSymbolName", kMemory},
    {"StackWalk64", kPartialCopy},
    {"RegOpenKeyExW", kKeys, 0, Gives::result},
    {"RegCreateKeyExW", kKeys, 0, Gives::result},
    {"RegSetValueExW", kKeys, 0, Gives::result},
    {"RegQueryValueExW", kKeys, 0, Gives::result},
    {"RegEnumKeyExW", kKeys, 0, Gives::result},
    {"RegDeleteKeyW", kKeys, 0, Gives::result},
    {"OpenSCManagerW", kServices},
    {"OpenServiceW", kServices},
    {"QueryServiceStatusEx", kServices},
    {"OpenProcessToken", kMakes},
    {"OpenThreadToken", kMakes},
    {"DuplicateToken", kMakes},
    {"GetTokenInformation", kMemory},
    {"CreateWellKnownSid", kMemory},
    {"ConvertSidToStringSidW", kMemory},
    {"ConvertStringSidToSidW", kMemory},
    {"AccessCheck", kDenied},
    {"BCryptOpenAlgorithmProvider", kRandomless, 0, Gives::result},
    {"BCryptGenRandom", kRandomless, 0, Gives::result},
    {"_beginthreadex", kAgain, 0, Gives::errorNumber},
    {"_wputenv_s", kNoMemory, 0, Gives::result},
    {"_localtime64", kInvalid, 0, Gives::errorNumber},
    {"_mktime64", kInvalid, kMinusOne, Gives::errorNumber},
    {"_get_osfhandle", kBadFile, kMinusOne, Gives::errorNumber},
};
static_assert(std::size(kCalls) <= kMostFunctions);

void* originals[std::size(kCalls)];

using Word = std::uintptr_t;

std::optional<Word> failureOf(std::size_t line, Word fourthArgument) {
    const Call& call = kCalls[line];
    const std::size_t count = call.errors.size() + (call.moves ? 1 : 0);
    const int number = errorOfCall(call.name, line, static_cast<int>(count));
    if (number < 0) return std::nullopt;
    if (static_cast<std::size_t>(number) == call.errors.size()) {
        *reinterpret_cast<DWORD*>(fourthArgument) = 0;
        return 1;
    }
    const DWORD error = call.errors[static_cast<std::size_t>(number)];
    if (call.gives == Gives::result) return error;
    if (call.gives == Gives::lastError) SetLastError(error);
    if (call.gives == Gives::errorNumber) errno = static_cast<int>(error);
    return call.failure;
}

template <std::size_t line>
Word stub(Word a, Word b, Word c, Word d, Word e, Word f, Word g, Word h, Word i, Word j) {
    if (const auto failure = failureOf(line, d)) return *failure;
    using Function = Word (*)(Word, Word, Word, Word, Word, Word, Word, Word, Word, Word);
    return reinterpret_cast<Function>(originals[line])(a, b, c, d, e, f, g, h, i, j);
}

template <std::size_t... lines>
auto stubs(std::index_sequence<lines...> /*all*/) {
    return std::array{reinterpret_cast<void*>(stub<lines>)...};
}

void* stubFor(const char* name, void* function) {
    static const auto all = stubs(std::make_index_sequence<std::size(kCalls)>());
    for (std::size_t line = 0; line < std::size(kCalls); ++line) {
        if (std::string_view(name) != kCalls[line].name) continue;
        originals[line] = function;
        return all[line];
    }
    return nullptr;
}

FARPROC(WINAPI* findOrFail)(HMODULE library, LPCSTR name);

FARPROC WINAPI findStub(HMODULE library, LPCSTR name) {
    const FARPROC found = findOrFail(library, name);
    void* const replaced = found ? stubFor(name, reinterpret_cast<void*>(found)) : nullptr;
    return replaced ? reinterpret_cast<FARPROC>(replaced) : found;
}

}  // namespace

void replaceCalls() {
    replaceImports(L"QvPlatform.dll", [](const char* name, void* function) {
        void* const replaced = stubFor(name, function);
        if (std::string_view(name) != "GetProcAddress") return replaced;
        findOrFail = reinterpret_cast<decltype(findOrFail)>(replaced);
        return reinterpret_cast<void*>(findStub);
    });
}

}  // namespace faults
