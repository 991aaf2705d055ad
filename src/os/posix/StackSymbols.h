#pragma once

#include "os/CallStack.h"
#include "os/posix/DebugInfo.h"

#include <memory>
#include <string>
#include <unordered_map>

namespace os::posix {

/// Names what lies at the addresses of one process, and remembers it as long as the process has the same
/// files loaded.
class StackSymbols {
public:
    /// `inform` gets a line on each file that is met for the first time.
    StackSymbols(pid_t process, void (*inform)(const std::string&));

    /// To be called before each walk. Returns an error of the system's.
    int refresh();
    const AddressDescription& describe(const StackFrame& frame);
    /// Null when the library for it is missing.
    DebugInfo* debugInfo() const { return debugInfo_.get(); }

private:
    AddressDescription lookUp(const StackFrame& frame);
    void nameModule(const std::string& path, std::uintptr_t offset, std::uintptr_t address,
                    AddressDescription& known);

    bool isOwnProcess_;
    void (*inform_)(const std::string&);
    std::unique_ptr<DebugInfo> debugInfo_;
    unsigned long long added_ = 0;    ///< files that this process ever loaded, and
    unsigned long long removed_ = 0;  ///< unloaded, at the last refresh
    std::unordered_map<std::uintptr_t, AddressDescription> known_;  ///< by address and kind of frame
    std::unordered_map<std::string, std::string> symbolKinds_;      ///< by the file's path
};

}  // namespace os::posix
