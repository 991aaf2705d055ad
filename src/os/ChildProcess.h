#pragma once

#include <cstdint>
#include <memory>
#include <optional>
#include <string>

namespace os {

/// A process that this one started, or none. The process continues to run when the object is destroyed, and
/// never becomes a zombie. One thread at a time.
class ChildProcess {
public:
    ChildProcess() noexcept;
    ChildProcess(ChildProcess&& other) noexcept;
    ChildProcess& operator=(ChildProcess&& other) noexcept;
    ~ChildProcess();

    /// Runs a command line, UTF-8 with the quoting rules of Windows, without a shell. The child inherits no
    /// descriptors or handles except the standard streams. Returns an empty object if it cannot be run.
    static ChildProcess start(const std::string& commandLine, bool showWindow);

    /// The same as administrator; asks the user if necessary.
    static ChildProcess startElevated(const std::string& command, const std::string& arguments);

    explicit operator bool() const noexcept { return record_ != nullptr; }

    /// Blocks until the process has ended and returns its exit code. On failure returns nothing and stores
    /// the system's error number in `error`.
    std::optional<std::int64_t> wait(unsigned long& error);
    /// Kills the process and blocks until it has ended.
    void kill();

private:
    struct Record;
    /// Keeps the record of a running child for as long as the platform needs it.
    struct Abandon {
        void operator()(Record* record) const noexcept;
    };
    using OwnedRecord = std::unique_ptr<Record, Abandon>;
    explicit ChildProcess(OwnedRecord record) noexcept;

    OwnedRecord record_;
};

/// True if an elevated child's exit code means that the user refused elevation.
bool isElevationRefused(std::int64_t exitCode);

}  // namespace os
