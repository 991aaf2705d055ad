#pragma once

#include <cstdint>
#include <memory>
#include <string>
#include <vector>

struct _CONTEXT;  // NOLINT(bugprone-reserved-identifier): as in the public header

/// Walks call stacks and names their frames.
namespace os {

/// A system error code; 0 for success.
using ErrorCode = std::uint32_t;

struct StackFrame {
    std::uintptr_t programCounter = 0;  ///< 0 past the outermost frame
    std::uintptr_t returnAddress = 0;   ///< where the caller continues; 0 in the outermost frame
    /// True if the program counter is the next instruction, not a return address. A return address may be
    /// past the end of its function, if the call never returns.
    bool isInterrupted = false;
};

/// Information about an address. Each part contains either its text or an error code.
struct AddressDescription {
    ErrorCode symbolError = 0;
    std::string function;
    ErrorCode lineError = 0;
    std::string file;
    unsigned long line = 0;
    ErrorCode moduleError = 0;
    std::string module;
    std::uintptr_t moduleStart = 0;  ///< where the module is mapped
    std::string symbolKind;          ///< of the module
};

/// The thread whose stack is read: by handle if given, else by number if not 0, else the calling thread or
/// the first thread of another process.
struct StackThread {
    void* handle = nullptr;
    unsigned long id = 0;
};

/// Walks stacks of one process.
class StackWalker {
public:
    StackWalker() = default;
    StackWalker(const StackWalker&) = delete;
    StackWalker& operator=(const StackWalker&) = delete;
    virtual ~StackWalker() = default;

    /// Starts at the innermost frame, that of `context` if given. `notice` receives a message if parts of the
    /// symbol library are missing.
    virtual ErrorCode start(const StackThread& thread, const _CONTEXT* context, std::string& notice) = 0;
    /// Gets the next frame; on failure it contains the address reached.
    virtual ErrorCode next(StackFrame& frame) = 0;
    /// Information about the code of a frame, or about the call before the return address. The result is
    /// valid until the next call of any function.
    virtual const AddressDescription& describe(const StackFrame& frame) = 0;
};

/// Opens the symbol library, if the platform opens it once per process. Waits at most two seconds for the
/// loader.
void openStackSymbols();

/// `searchPath` is the list of folders with symbol files, separated by ";", in UTF-8. `inform` receives
/// messages about the setup of the symbol library.
std::unique_ptr<StackWalker> makeStackWalker(unsigned long processId, void* processHandle,
                                             const std::string& searchPath,
                                             void (*inform)(const std::string&));

/// The system's thread numbers of a process.
std::vector<unsigned long> threadIds(unsigned long processId);

}  // namespace os
