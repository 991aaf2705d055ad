#pragma once

#include "os/CallStack.h"
#include "os/posix/stack/DebugInfo.h"
#include "os/posix/stack/LoadedFile.h"
#include "os/posix/stack/ThreadInterrupt.h"

#include <map>
#include <memory>
#include <string>
#include <unordered_map>
#include <unordered_set>
#include <vector>

namespace os::posix {

/// Finds the names for addresses of one process, and remembers them as long as the process has the same files
/// loaded. Waits for the loader's locks no longer than `DebugLibrary` does.
class StackSymbols {
public:
    /// `inform` receives a line for each file found for the first time.
    StackSymbols(pid_t process, void (*inform)(const std::string&));

    /// Null if the debugging library is missing or is not open yet.
    DebugInfo* debugInfo();
    /// Finds the names of all frames, on a separate large stack.
    void prepare(const std::vector<FrameAddress>& frames);
    /// Returns what `prepare` found, else what is known without debugging information.
    const AddressDescription& describe(const StackFrame& frame);

private:
    struct Known {
        AddressDescription description;
        std::string path;
    };
    struct File {
        std::uintptr_t end = 0;
        std::uint64_t identity = 0;
    };

    bool noteFiles(const std::vector<FrameAddress>& frames);
    bool noteFile(const LoadedFile& file);
    void lookUpAll(const std::vector<FrameAddress>& frames);
    Known lookUp(const FrameAddress& frame, DebugInfo* debugInfo);
    std::string symbolKind(const std::string& path, const std::string& function, std::uintptr_t address,
                           DebugInfo* debugInfo);

    pid_t process_;
    bool isOwnProcess_;
    void (*inform_)(const std::string&);
    std::unique_ptr<DebugInfo> debugInfo_;
    bool mustReport_ = true;                           ///< `debugInfo_` does not know all files
    bool mustForget_ = false;                          ///< it may have read a file that is no longer loaded
    std::map<std::uintptr_t, File> files_;             ///< of this process, by start address
    std::unordered_map<std::uintptr_t, Known> known_;  ///< by address and kind of frame
    std::unordered_map<std::string, std::string> symbolKinds_;  ///< by the file's path
    std::unordered_set<std::string> informed_;                  ///< paths
};

}  // namespace os::posix
