#pragma once

#include <cstdint>
#include <memory>
#include <string>
#include <vector>

struct _CONTEXT;  // NOLINT(bugprone-reserved-identifier): as in the public header

/// Walks call stacks and names their frames.
namespace os {

/// A code of the system's, 0 for success.
using ErrorCode = std::uint32_t;

struct StackFrame {
    std::uintptr_t programCounter = 0;  ///< 0 past the outermost frame
    std::uintptr_t returnAddress = 0;   ///< where the caller continues; 0 in the outermost frame
    /// The program counter is that of the next instruction, and not where a call returns to: a call that
    /// never returns may be the last instruction of its function.
    bool isInterrupted = false;
};

/// What is known of an address. Each part holds either its text or the code of its failure.
struct AddressDescription {
    ErrorCode symbolError = 0;
    std::string function;
    ErrorCode lineError = 0;
    std::string file;
    unsigned long line = 0;
    ErrorCode moduleError = 0;
    std::string module;
    std::string symbolKind;  ///< of the module
};

/// The thread whose stack is read: by handle if there is one, else by number if that is not 0, else the
/// calling one, or another process's first.
struct StackThread {
    void* handle = nullptr;
    unsigned long id = 0;
};

/// One process's stacks.
class StackWalker {
public:
    StackWalker() = default;
    StackWalker(const StackWalker&) = delete;
    StackWalker& operator=(const StackWalker&) = delete;
    virtual ~StackWalker() = default;

    /// Begins with the innermost frame, of `context` if there is one. Says in `notice` what of the symbols'
    /// library is missing.
    virtual ErrorCode start(const StackThread& thread, const _CONTEXT* context, std::string& notice) = 0;
    /// The next frame; on failure the address reached is in it.
    virtual ErrorCode next(StackFrame& frame) = 0;
    /// What is known of where a frame is, or of the call before that. The answer stays valid until the next
    /// call of any function.
    virtual const AddressDescription& describe(const StackFrame& frame) = 0;
};

/// Opens the library for names if it is opened once per process; waits for the loader two seconds at most.
void openStackSymbols();

/// `searchPath` is where symbol files are looked for, folders separated by ";", in UTF-8. Messages about the
/// symbols' library being set up are given to `inform`.
std::unique_ptr<StackWalker> makeStackWalker(unsigned long processId, void* processHandle,
                                             const std::string& searchPath,
                                             void (*inform)(const std::string&));

/// The system's numbers of a process's threads.
std::vector<unsigned long> threadIds(unsigned long processId);

}  // namespace os
