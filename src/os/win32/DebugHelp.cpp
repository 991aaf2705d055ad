// The library is not thread-safe, so each of its functions that works on symbols is called under
// `kLibraryLock`, which all objects share. `refresh` comes first; `step` and `describe` may be called only if
// the last one returned true.
//
// `process_` is set while a symbol session is open, and `modules_` is what was registered in it. The library
// is only told of additions: if a module is gone, the session is closed and begun anew. If beginning fails,
// `process_` is null and the next `refresh` tries again. The process handle must stay open until the
// destructor has closed the session.

#include "os/win32/DebugHelp.h"

#include "base/Demangle.h"
#include "os/ProcessLock.h"
#include "os/win32/ExportNames.h"
#include "os/win32/SymbolFile.h"

#include <array>
#include <cstdio>
#include <mutex>
#include <string_view>

namespace os::win32 {
namespace {

constexpr DWORD kLongestName = 1024;
constexpr DWORD kNoSymbols = 4;  // the tool chain's headers lack it

constexpr ProcessLock kLibraryLock{LockRank::debugInfo};

// The library's functions take text in the system's narrow encoding.
std::string toSystem(const std::string& text) {
    const std::wstring wide = base::widen(text);
    const int wideLength = static_cast<int>(wide.size());
    const int length = WideCharToMultiByte(CP_ACP, 0, wide.data(), wideLength, nullptr, 0, nullptr, nullptr);
    std::string narrowed(static_cast<std::size_t>(length), '\0');
    WideCharToMultiByte(CP_ACP, 0, wide.data(), wideLength, narrowed.data(), length, nullptr, nullptr);
    return narrowed;
}

std::string fromSystem(const char* text) {
    const int length = MultiByteToWideChar(CP_ACP, 0, text, -1, nullptr, 0);
    std::wstring wide(static_cast<std::size_t>(length), L'\0');
    MultiByteToWideChar(CP_ACP, 0, text, -1, wide.data(), length);
    return base::narrow(wide.c_str());
}

std::string userName() {
    wchar_t name[256] = L"";
    DWORD size = sizeof name / sizeof *name;
    return GetUserNameW(name, &size) ? base::narrow(name) : "";
}

std::string systemVersion() {
    OSVERSIONINFOEXW version{};
    version.dwOSVersionInfoSize = sizeof version;
    GetVersionExW(reinterpret_cast<OSVERSIONINFOW*>(&version));
    char line[1024];
    std::snprintf(line, sizeof line, "OS-Version: %d.%d.%d (%s) 0x%x-0x%x\n",
                  static_cast<int>(version.dwMajorVersion), static_cast<int>(version.dwMinorVersion),
                  static_cast<int>(version.dwBuildNumber), base::narrow(version.szCSDVersion).c_str(),
                  static_cast<unsigned>(version.wSuiteMask), static_cast<unsigned>(version.wProductType));
    return line;
}

const char* symbolKind(SYM_TYPE type) {
    constexpr std::array kKinds{"-nosymbols-", "COFF", "CV",  "PDB",    "-exported-",
                                "-deferred-",  "SYM",  "DIA", "Virtual"};
    const auto number = static_cast<std::size_t>(type);
    return number < kKinds.size() ? kKinds[number] : "";
}

ErrorCode failure() {
    const DWORD code = GetLastError();
    return code != 0 ? code : ERROR_GEN_FAILURE;
}

RuntimeLibrary openLibrary() {
    const std::wstring programFiles = variable(L"ProgramFiles").value_or(L"");
    for (const wchar_t* folder :
         {L"\\Debugging Tools for Windows", L"\\Debugging Tools for Windows 64-Bit"}) {
        RuntimeLibrary library(programFiles + folder + L"\\dbghelp.dll");
        if (library) return library;
    }
    return RuntimeLibrary(L"dbghelp.dll");
}

}  // namespace

std::unique_ptr<DebugHelp> DebugHelp::open() {
    RuntimeLibrary library = openLibrary();
    if (!library) return nullptr;
    return std::unique_ptr<DebugHelp>(new DebugHelp(std::move(library)));
}

DebugHelp::~DebugHelp() {
    const std::lock_guard guard(kLibraryLock);
    end();
}

bool DebugHelp::resolve() {
    return library_.resolve(initialize_, "SymInitialize") && library_.resolve(cleanup_, "SymCleanup") &&
           library_.resolve(walk_, "StackWalk64") && library_.resolve(getOptions_, "SymGetOptions") &&
           library_.resolve(setOptions_, "SymSetOptions") &&
           library_.resolve(functionTable_, "SymFunctionTableAccess64") &&
           library_.resolve(getLine_, "SymGetLineFromAddr64") &&
           library_.resolve(getModuleBase_, "SymGetModuleBase64") &&
           library_.resolve(getModuleInfo_, "SymGetModuleInfo64") &&
           library_.resolve(getSymbol_, "SymGetSymFromAddr64") &&
           library_.resolve(undecorate_, "UnDecorateSymbolName") &&
           library_.resolve(loadModule_, "SymLoadModuleEx") &&
           library_.resolve(getSearchPath_, "SymGetSearchPath");
}

bool DebugHelp::begin(const std::string& searchPath, void (*inform)(const std::string&)) {
    setOptions_(getOptions_() | SYMOPT_LOAD_LINES | SYMOPT_DEFERRED_LOADS | SYMOPT_FAIL_CRITICAL_ERRORS);
    if (!initialize_(process_, toSystem(searchPath).c_str(), FALSE)) return false;
    char path[1024] = "";
    getSearchPath_(process_, path, sizeof path);
    char line[1024];
    std::snprintf(line, sizeof line, "SymInit: Symbol-SearchPath: '%s', symOptions: %d, UserName: '%s'\n",
                  fromSystem(path).c_str(), static_cast<int>(getOptions_()), userName().c_str());
    inform(line);
    inform(systemVersion());
    return true;
}

void DebugHelp::end() {
    if (process_) cleanup_(process_);
    process_ = nullptr;
    modules_.clear();
}

bool DebugHelp::refresh(DWORD processId, HANDLE process, const std::string& searchPath,
                        void (*inform)(const std::string&)) {
    const std::vector<LoadedModule> now = loadedModules(processId, process);
    const std::lock_guard guard(kLibraryLock);
    const auto isThere = [](const std::vector<LoadedModule>& list, const LoadedModule& module) {
        return std::find(list.begin(), list.end(), module) != list.end();
    };
    if (!std::all_of(modules_.begin(), modules_.end(),
                     [&](const auto& known) { return isThere(now, known); }))
        end();
    if (!process_) {
        if (!resolve()) return false;
        process_ = process;
        if (!begin(searchPath, inform)) {
            process_ = nullptr;
            return false;
        }
    }
    const std::wstring folders = base::widen(searchPath);
    for (const LoadedModule& module : now)
        if (!isThere(modules_, module)) load(module, folders);
    modules_ = now;
    return true;
}

// The library may not return from reading a symbol file that was cut, so that one is not read.
void DebugHelp::load(const LoadedModule& module, const std::wstring& searchPath) const {
    const DWORD options = getOptions_();
    const bool isDamaged = hasDamagedSymbolFile(base::widen(fromSystem(module.file.c_str())), searchPath);
    if (isDamaged) setOptions_((options | SYMOPT_PUBLICS_ONLY) & ~DWORD{SYMOPT_DEFERRED_LOADS});
    loadModule_(process_, nullptr, module.file.c_str(), module.name.c_str(), module.base, module.size,
                nullptr, isDamaged ? kNoSymbols : 0);
    if (isDamaged) setOptions_(options);
}

ErrorCode DebugHelp::step(HANDLE thread, STACKFRAME64& frame, CONTEXT& context,
                          PREAD_PROCESS_MEMORY_ROUTINE64 readMemory) const {
    const std::lock_guard guard(kLibraryLock);
    SetLastError(0);
    const BOOL stepped = walk_(IMAGE_FILE_MACHINE_AMD64, process_, thread, &frame, &context, readMemory,
                               functionTable_, getModuleBase_, nullptr);
    if (stepped) return 0;
    // Past the outermost frame the call fails without an error code.
    frame.AddrPC.Offset = GetLastError() == 0 ? 0 : frame.AddrPC.Offset;
    return GetLastError();
}

AddressDescription DebugHelp::describe(DWORD64 address) const {
    const std::lock_guard guard(kLibraryLock);
    AddressDescription known;
    nameSymbol(address, known);
    IMAGEHLP_LINE64 line{};
    line.SizeOfStruct = sizeof line;
    DWORD offset = 0;
    if (!getLine_(process_, address, &offset, &line)) {
        known.lineError = failure();
    } else {
        known.file = fromSystem(line.FileName);
        known.line = line.LineNumber;
    }
    IMAGEHLP_MODULE64 module{};
    module.SizeOfStruct = sizeof module;
    if (!getModuleInfo_(process_, address, &module)) {
        known.moduleError = failure();
    } else {
        known.module = fromSystem(module.ModuleName);
        known.moduleStart = module.BaseOfImage;
        known.symbolKind = symbolKind(module.SymType);
    }
    return known;
}

void DebugHelp::nameSymbol(DWORD64 address, AddressDescription& known) const {
    alignas(IMAGEHLP_SYMBOL64) std::array<char, sizeof(IMAGEHLP_SYMBOL64) + kLongestName> buffer{};
    auto* const symbol = reinterpret_cast<IMAGEHLP_SYMBOL64*>(buffer.data());
    symbol->SizeOfStruct = sizeof(IMAGEHLP_SYMBOL64);
    symbol->MaxNameLength = kLongestName;
    DWORD64 offset = 0;
    const bool isKnown = getSymbol_(process_, address, &offset, symbol);
    const ErrorCode error = isKnown ? 0 : failure();
    const std::string name = isKnown ? symbol->Name : exportedFunction(address);
    if (name.empty())
        known.symbolError = error;
    else
        known.function = undecorated(name.c_str());
}

// The library's own search names the nearest export below an address, which may be another function.
std::string DebugHelp::exportedFunction(DWORD64 address) const {
    const void* const found = functionTable_(process_, address);
    if (!found) return {};
    const auto* const function = static_cast<const IMAGE_RUNTIME_FUNCTION_ENTRY*>(found);
    return exportedName(process_, getModuleBase_(process_, address), function->BeginAddress);
}

// Prefers the complete form to the name only. This compiler's names have neither and are demangled instead.
std::string DebugHelp::undecorated(const char* name) const {
    const bool isMangled = std::string_view(name).starts_with("_Z");  // "f" would be taken for float
    if (std::string plain = isMangled ? base::demangled(name) : ""; !plain.empty()) return plain;
    char nameOnly[kLongestName] = "";
    char complete[kLongestName] = "";
    undecorate_(name, nameOnly, kLongestName, UNDNAME_NAME_ONLY);
    undecorate_(name, complete, kLongestName, UNDNAME_COMPLETE);
    return fromSystem(*complete ? complete : *nameOnly ? nameOnly : name);
}

}  // namespace os::win32
