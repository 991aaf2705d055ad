#pragma once

#include <QvPlatform/core/Export.h>

#include <cstdint>
#include <string>

/// The running process, its computer, and other programs that it runs.
///
///     std::int64_t exitCode = 0;
///     if (QvSim::Process::shellExecute("mesher", "-o \"out file\" in.obj", false, true, &exitCode)) ...
///
/// Text is UTF-8. No shell is involved: nothing is expanded or redirected. On Linux the command line is split
/// by the rules of the Windows C runtime (double quotes group, a backslash before one escapes it), the
/// program is searched for in PATH, and an unquoted path may contain spaces. Children inherit the
/// environment, the current directory and the standard streams; on Linux they inherit no other descriptors
/// and no blocked or ignored signals. Any thread may call these functions.
namespace QvSim::Process {

/// The memory use of a process.
struct ProcessMemoryInfo {
    std::uint64_t workingSetSize = 0;  ///< bytes in physical memory
};

/// A child process, with the system's means to identify it.
struct ProcessHandle;

/// The computer's name in lower case; "" if unavailable. The reference stays valid.
QV_API const std::string& getHostName();
/// Whether `name` equals this computer's name, ignoring case.
QV_API bool isMyHostName(const std::string& name);
QV_API unsigned int getProcessID();
/// The running program's file in native form, truncated to 259 characters on Windows; "" if unavailable. The
/// reference stays valid.
QV_API const std::string& getProcessFileName();
/// All zero if unavailable.
QV_API ProcessMemoryInfo getProcessMemoryInfo();
/// Host name and process identifier, such as "buildhost:4242". If the host name is unavailable, logs an error
/// and returns "". The reference stays valid and its text does not change; a forked process gets another
/// string.
QV_API const std::string& getHostNameProcessID();

/// The space available to the user on the volume of a directory, in MiB; null means the current directory.
/// The largest `double` if unavailable, as for a missing directory or a file.
QV_API double getFreeDiskSpaceMB(const char* directory);

/// Minutes to add to local standard time to get UTC, the same in summer: -60 in Berlin. If the zone's
/// standard time has changed over the years, the current one is used. On Windows, 0 for a time zone without
/// daylight saving time.
QV_API long getLocalTimeUTCBias();

/// Runs the command line made of `command`, a space and `arguments`. If it cannot be started, logs a warning
/// and returns false. With `wait`, blocks until the child has ended and stores its exit code; on Linux this
/// is 128 plus the signal number if a signal ended it. If the code cannot be read, logs a warning. Without
/// `wait`, stores -1 and the child keeps running. `exitCode` may be null. On Windows `showWindow` gives a
/// console program its window.
QV_API bool shellExecute(const std::string& command, const std::string& arguments, bool showWindow, bool wait,
                         std::int64_t* exitCode);

/// Runs the text before the line's first space as the command and the rest as its arguments, without a window
/// and without waiting. Quotes do not protect the space. False if the line is blank.
QV_API bool shellExecute(const std::string& commandLine);

/// Runs the command with administrator rights. The user is asked for consent: by the system on Windows, by
/// `pkexec` on Linux; an administrator process is not asked. False if it cannot be started and, on Linux with
/// `wait`, if the user refuses. Logs nothing.
QV_API bool shellExecuteElevated(const std::string& command, const std::string& arguments, bool wait);

/// Whether this process, or the user that the calling thread impersonates, has administrator rights; on
/// Linux, whether the effective user is root.
QV_API bool isElevated();

/// An empty record without a process. The caller destroys it.
QV_API ProcessHandle* createProcessHandle();
/// Frees the record and sets the pointer to null; the child keeps running. Does nothing for a null pointer.
QV_API void destroyProcessHandle(ProcessHandle*& handle);

/// Starts a child without waiting. Null if it cannot be started; otherwise the caller destroys the record.
QV_API ProcessHandle* execute(const std::string& command, const std::string& arguments);
/// Ends the child at once, but not its own children, and waits until it has ended. The caller still owns the
/// record. Does nothing for a null pointer, a child that has ended or one that the system does not let this
/// process end.
QV_API void kill(ProcessHandle* handle);

}  // namespace QvSim::Process
