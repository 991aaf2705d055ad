#pragma once

#include <sys/types.h>

#include <cstdint>
#include <functional>
#include <memory>
#include <string>

namespace os::posix {

class DebugLibrary;

/// The debugging information of one process's files, read by a library that is opened at run time. Calls of
/// all objects exclude each other. They need some hundred KiB of stack.
class DebugInfo {
public:
    struct Source {
        std::string symbol;  ///< as in the file's symbol table; "" when it is in none
        std::string file;
        int line = 0;
    };

    /// Null if the library is missing or is not open yet.
    static std::unique_ptr<DebugInfo> open(pid_t process);
    ~DebugInfo();
    DebugInfo(const DebugInfo&) = delete;
    DebugInfo& operator=(const DebugInfo&) = delete;

    /// Looks at which files the process has loaded, and keeps what it has read of those that are still there,
    /// or nothing with `forget`. Returns an error of the system's.
    int refresh(bool forget);

    Source find(std::uintptr_t address);
    /// The file that lies at an address, and where it begins; "" when none does.
    std::string moduleAt(std::uintptr_t address, std::uintptr_t& base);
    /// Whether the file has lines, or only names.
    bool hasLines(std::uintptr_t address);

    /// Stops the thread of another process, hands each frame's program counter to `take`, which returns false
    /// if it has no room for it, and lets the thread go on. Returns an error of the system's: E2BIG without
    /// room, ENODATA if the walk ended before the outermost frame.
    int walkThread(pid_t thread, const std::function<bool(std::uintptr_t, bool isInterrupted)>& take);

private:
    struct Session;
    DebugInfo(const DebugLibrary& library, pid_t process);

    const DebugLibrary& library_;
    std::unique_ptr<Session> session_;
    pid_t process_;
};

}  // namespace os::posix
