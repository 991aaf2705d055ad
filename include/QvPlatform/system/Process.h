#pragma once

#include <QvPlatform/core/Export.h>

#include <cstdint>
#include <string>

/// The running process, its computer, and other programs that it runs.
///
///     std::int64_t exitCode = 0;
///     if (QvSim::Process::shellExecute("mesher", "-o \"out file\" in.obj", false, true, &exitCode)) ...
///
/// Text is UTF-8. No shell takes part: nothing is expanded or redirected. On Linux the command line is
/// split by the rules of the Windows C runtime (double quotes group, a backslash before one escapes it),
/// the program is looked for in PATH, and an unquoted path may contain blanks. Children inherit the
/// environment, the current directory and the standard streams, and on Linux no other descriptor, no
/// blocked and no ignored signal. Any thread may call these functions.
namespace QvSim::Process {

/// The memory that a process takes.
struct ProcessMemoryInfo {
    std::uint64_t workingSetSize = 0;  ///< bytes in physical memory
};

/// A child process and what the system needs to know it by.
struct ProcessHandle;

/// The computer's name in lower case, "" when it cannot be found out. The reference stays valid.
QV_API const std::string& getHostName();
/// Letter case aside.
QV_API bool isMyHostName(const std::string& name);
QV_API unsigned int getProcessID();
/// The running program's file in the platform's own form, on Windows cut after 259 characters; "" when
/// unknown. The reference stays valid.
QV_API const std::string& getProcessFileName();
/// Zero when the system does not answer.
QV_API ProcessMemoryInfo getProcessMemoryInfo();
/// Such as "buildhost:4242". An unknown host name is an error message and gives "". The reference stays
/// valid and its text the same; a forked process gets another string.
QV_API const std::string& getHostNameProcessID();

/// What the user may still write to the volume of a directory, in MiB; null is the current directory.
/// The largest `double` when that cannot be found out, as for a missing directory or a file.
QV_API double getFreeDiskSpaceMB(const char* directory);

/// Minutes to add to local standard time to get UTC, the same in summer: -60 in Berlin. If standard time
/// has changed, the one in force now counts. On Windows 0 for a time zone without daylight saving time.
QV_API long getLocalTimeUTCBias();

/// Runs the command line made of `command`, a blank and `arguments`. False, after a warning, when it
/// cannot be started. With `wait` it blocks until the child has ended and stores its exit code, 128 plus
/// the signal's number when one ended it on Linux; a code that cannot be read is a warning. Otherwise
/// -1 is stored and the child runs on. `exitCode` may be null. `showWindow` lets a console program have
/// its window on Windows.
QV_API bool shellExecute(const std::string& command, const std::string& arguments, bool showWindow, bool wait,
                         std::int64_t* exitCode);

/// Runs the command up to the first blank of the line, which quotes do not protect, with the rest as its
/// arguments, without a window and without waiting. False when the line is blank.
QV_API bool shellExecute(const std::string& commandLine);

/// The same with administrator rights. The user is asked: by the system on Windows, by `pkexec` on
/// Linux; the administrator is not. False when it cannot be started, and on Linux, with `wait`, when the
/// user refused. Nothing is logged.
QV_API bool shellExecuteElevated(const std::string& command, const std::string& arguments, bool wait);

/// Whether this process, or the user whom the calling thread impersonates, acts as an administrator: on
/// Linux whether the effective user is root.
QV_API bool isElevated();

/// A record of no process, to be destroyed by the caller.
QV_API ProcessHandle* createProcessHandle();
/// Frees the record and nulls the pointer; the child runs on. A null pointer does nothing.
QV_API void destroyProcessHandle(ProcessHandle*& handle);

/// Starts a child without waiting. Null when it cannot be started; else the caller destroys the record.
QV_API ProcessHandle* execute(const std::string& command, const std::string& arguments);
/// Ends the child at once, but not its own children, and waits until it is gone. The record stays the
/// caller's. Does nothing for a null pointer or a child that has ended.
QV_API void kill(ProcessHandle* handle);

}  // namespace QvSim::Process
