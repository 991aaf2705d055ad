#pragma once

#include "os/CallStack.h"
#include "os/win32/ModuleList.h"

#include <dbghelp.h>

#include <memory>
#include <string>
#include <vector>

namespace os::win32 {

/// The system's debugging-help library at work on one process. Calls of all objects exclude each other.
class DebugHelp {
public:
    /// Opens the library, the one of the debugging tools first; null if there is none.
    static std::unique_ptr<DebugHelp> open();
    ~DebugHelp();
    DebugHelp(const DebugHelp&) = delete;
    DebugHelp& operator=(const DebugHelp&) = delete;

    /// Registers what the process has loaded by now, on the first call after setting the symbols up with
    /// `searchPath`, which `inform` hears of. The process must be known by a handle of its own. False when
    /// the library refuses.
    bool refresh(DWORD processId, HANDLE process, const std::string& searchPath,
                 void (*inform)(const std::string&));

    /// Goes on to the next frame; an error of the system's on failure.
    ErrorCode step(HANDLE thread, STACKFRAME64& frame, CONTEXT& context,
                   PREAD_PROCESS_MEMORY_ROUTINE64 readMemory) const;
    AddressDescription describe(DWORD64 address) const;

private:
    explicit DebugHelp(RuntimeLibrary library) : library_(std::move(library)) {}
    bool resolve();
    bool begin(const std::string& searchPath, void (*inform)(const std::string&));
    void end();
    void nameSymbol(DWORD64 address, AddressDescription& known) const;
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
    decltype(::SymLoadModule64)* loadModule_ = nullptr;
    decltype(::SymGetSearchPath)* getSearchPath_ = nullptr;
};

}  // namespace os::win32
