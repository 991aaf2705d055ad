#pragma once

#include <QvPlatform/core/Export.h>

#include <string>

/// Copies the log to a file.
///
///     Qv::setLogFile("logs/host");     // logs/host_<computer>_<process id>.log
///     Qv::LogInfo("goes to the standard error stream and into the file\n");
///     Qv::setLogFile("");
///
/// Several processes and computers may share a folder. Trap: opening a log file first purges the folder: it
/// removes each file whose name ends with ".log" and that was last written more than `LogGetExpiration` days
/// ago, whoever wrote it. A file that a process has open as its log is kept, unless this user may neither
/// read nor write it.
namespace Qv {

/// Opens the file named `baseName`, "_", the host name, "_", the process identifier and ".log" for appending,
/// after purging its folder, and writes two header lines; from then on each line of the default handler is
/// also written there and flushed. The name is UTF-8, relative to the current directory; its folder is not
/// created. If the same file is already open, only purges. Any other name closes the open file; "" only
/// closes it. Each call reports its action on the standard error stream. If the file cannot be opened,
/// nothing is written to it. A name with a zero byte opens and purges nothing. One thread at a time.
///
/// On Linux only a regular file is opened, and a pipe with that name is not waited for. Links of this
/// process's user and of the superuser are followed. In a directory that the group or everyone may write, a
/// link or file of another user is not used: it may lead to this user's other files, or show the log to
/// others. Trap: if the process has a limit for the size of files, a log that reaches it ends the process,
/// unless the host ignores SIGXFSZ; then lines are lost, as on a full disk.
QV_API void setLogFile(const std::string& baseName);

/// The full name made by the last `setLogFile`, even if the file could not be opened; "" before the first
/// call and after `setLogFile("")`. Any thread.
QV_API std::string getLogFile();

/// Writes the text unchanged to the log file and flushes it; does nothing if none is open. Any thread.
QV_API void printToLogFile(const std::string& text);

}  // namespace Qv
