#pragma once

#include "os/CallStack.h"
#include "os/win32/ModuleList.h"

#include <dbghelp.h>

#include <memory>
#include <string>
#include <vector>

namespace os::win32 {

/// The system's debugging-help library for one process. Calls on all objects run one at a time.
class DebugHelp {
public:
    /// Opens the library, preferably that of the debugging tools; null if there is none.
    static std::unique_ptr<DebugHelp> open();
    ~DebugHelp();
    DebugHelp(const DebugHelp&) = delete;
    DebugHelp& operator=(const DebugHelp&) = delete;

    /// Registers the modules that the process has loaded. The first call first sets up symbols with
    /// `searchPath` and reports that to `inform`. The process handle must not be shared with other objects.
    /// Returns false if the library fails.
    bool refresh(DWORD processId, HANDLE process, const std::string& searchPath,
                 void (*inform)(const std::string&));

    /// Moves to the next frame. Returns 0 or a system error code.
    ErrorCode step(HANDLE thread, STACKFRAME64& frame, CONTEXT& context,
                   PREAD_PROCESS_MEMORY_ROUTINE64 readMemory) const;
    AddressDescription describe(DWORD64 address) const;

private:
    explicit DebugHelp(RuntimeLibrary library) : library_(std::move(library)) {}
    bool resolve();
    bool begin(const std::string& searchPath, void (*inform)(const std::string&));
    void end();
    void load(const LoadedModule& module, const std::wstring& searchPath) const;
    void nameSymbol(DWORD64 address, AddressDescription& known) const;
    std::string exportedFunction(DWORD64 address) const;
    std::string undecorated(const char* name) const;

    RuntimeLibrary library_;
    HANDLE process_ = nullptr;
    std::vector<LoadedModule> modules_;

    decltype(::SymInitialize)* initialize_ = nullptr;
    decltype(::SymCleanup)* cleanup_ = nullptr;
    decltype(::StackWalk64)* walk_ = nullptr;
    decltype(::SymGetOptions)* getOptions_ = nullptr;
    decltype(::SymSetOptions)* setOptions_ = nullptr;
    decltype(::SymFunctionTableAccess64)* functionTable_ = nullptr;
    decltype(::SymGetLineFromAddr64)* getLine_ = nullptr;
    decltype(::SymGetModuleBase64)* getModuleBase_ = nullptr;
    decltype(::SymGetModuleInfo64)* getModuleInfo_ = nullptr;
    decltype(::SymGetSymFromAddr64)* getSymbol_ = nullptr;
    decltype(::UnDecorateSymbolName)* undecorate_ = nullptr;
    decltype(::SymLoadModuleEx)* loadModule_ = nullptr;
    decltype(::SymGetSearchPath)* getSearchPath_ = nullptr;
};

}  // namespace os::win32
