#pragma once

#include <sys/types.h>

#include <cstdint>
#include <functional>
#include <memory>
#include <string>

namespace os::posix {

class DebugLibrary;

/// Debug information of the files that one process has loaded, read by a library that is opened at run time.
/// Calls from any thread; calls on all objects run one at a time. They need a few hundred KiB of stack.
class DebugInfo {
public:
    struct Source {
        std::string symbol;  ///< as in the symbol table; "" if unknown
        std::string file;
        int line = 0;
    };

    /// Null if the library is missing or is not open yet.
    static std::unique_ptr<DebugInfo> open(pid_t process);
    ~DebugInfo();
    DebugInfo(const DebugInfo&) = delete;
    DebugInfo& operator=(const DebugInfo&) = delete;

    /// Updates the list of files that the process has loaded. Keeps what was read from files that are still
    /// loaded, unless `forget` is true. Returns 0 or a system error number.
    int refresh(bool forget);

    Source find(std::uintptr_t address);
    /// The path of the file loaded at `address`, and the file's base address in `base`; "" if there is none.
    std::string moduleAt(std::uintptr_t address, std::uintptr_t& base);
    /// True if the file has line numbers, false if it has only symbol names.
    bool hasLines(std::uintptr_t address);

    /// Stops a thread of another process, calls `take` with each frame's program counter, and resumes the
    /// thread. `take` returns false if it has no room for the frame. Returns 0 or a system error number:
    /// E2BIG if there was no room, ENODATA if the walk ended before the outermost frame.
    int walkThread(pid_t thread, const std::function<bool(std::uintptr_t, bool isInterrupted)>& take);

private:
    struct Session;
    DebugInfo(const DebugLibrary& library, pid_t process);

    const DebugLibrary& library_;
    std::unique_ptr<Session> session_;
    pid_t process_;
};

}  // namespace os::posix
