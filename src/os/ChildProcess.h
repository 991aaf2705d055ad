#pragma once

#include <cstdint>
#include <memory>
#include <optional>
#include <string>

namespace os {

/// A process that this one started, or none. When the object goes the process runs on; it never stays
/// behind as an entry of the process table. One thread at a time.
class ChildProcess {
public:
    ChildProcess() noexcept;
    ChildProcess(ChildProcess&& other) noexcept;
    ChildProcess& operator=(ChildProcess&& other) noexcept;
    ~ChildProcess();

    /// Runs a command line, UTF-8 with the quoting rules of Windows, without a shell. No descriptor or
    /// handle is inherited but the standard streams. Holds none when the system cannot run it.
    static ChildProcess start(const std::string& commandLine, bool showWindow);

    /// The same as administrator, by asking the user where that is needed.
    static ChildProcess startElevated(const std::string& command, const std::string& arguments);

    explicit operator bool() const noexcept { return record_ != nullptr; }

    /// Blocks until it has ended; its exit code, or nothing and the system's error number.
    std::optional<std::int64_t> wait(unsigned long& error);
    /// Ends it at once and blocks until it is gone.
    void kill();

private:
    struct Record;
    /// Keeps the record of a child that runs on for as long as the platform needs it.
    struct LetGo {
        void operator()(Record* record) const noexcept;
    };
    using OwnedRecord = std::unique_ptr<Record, LetGo>;
    explicit ChildProcess(OwnedRecord record) noexcept;

    OwnedRecord record_;
};

/// Whether an elevated child's exit code says that the user refused it.
bool isElevationRefused(std::int64_t exitCode);

}  // namespace os
