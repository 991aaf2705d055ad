#pragma once

#include <QvPlatform/core/Export.h>

#include <string>

/// The log mirrored into a file.
///
///     Qv::setLogFile("logs/host");     // logs/host_<computer>_<process id>.log
///     Qv::LogInfo("goes to the standard error stream and into the file\n");
///     Qv::setLogFile("");
///
/// Several processes and computers may share a folder. Trap: opening a log file purges the folder first:
/// each file there whose name ends with ".log" and that was last written longer ago than
/// `LogGetExpiration` days is removed, whoever wrote it; what a process has open as its log stays, unless
/// this user may neither read nor write it.
namespace Qv {

/// Opens the file named `baseName`, "_", the host name, "_", the process identifier and ".log" for
/// appending, after purging its folder, and writes two header lines; from then on each line of the
/// default handler goes there too, flushed. The name is UTF-8, relative to the current directory; its
/// folder is not made. Naming the open file again only purges; naming another one closes it; "" closes
/// it. Each call says what it does on the standard error stream. When the file cannot be opened, nothing
/// is written to it; a name with a zero byte opens and purges nothing. For one thread at a time.
QV_API void setLogFile(const std::string& baseName);

/// The whole name that the last `setLogFile` made, also when the file could not be opened; "" before the
/// first call and after `setLogFile("")`. Any thread.
QV_API std::string getLogFile();

/// Writes the text unchanged to the log file and flushes it; nothing when none is open. Any thread.
QV_API void printToLogFile(const std::string& text);

}  // namespace Qv
