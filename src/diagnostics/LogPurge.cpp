#include "diagnostics/LogPurge.h"

#include <QvPlatform/diagnostics/Log.h>

#include "base/Utf.h"
#include "diagnostics/log/LogQuietly.h"
#include "os/CalendarTime.h"
#include "os/Filesystem.h"
#include "os/OutputStream.h"
#include "os/SystemPaths.h"

#include <algorithm>
#include <cmath>
#include <cstdint>
#include <map>

namespace Qv::detail {
namespace {

using FilesByTime = std::multimap<std::int64_t, std::string>;

// A century; larger numbers would overflow the calendar fields.
constexpr double kMaxDays = 36500;

// Converts `value` to a smaller unit, `unitsInLast` of which make one of the last, and returns the whole
// number. The fraction remains in `value` for the next smaller unit.
int takeWhole(double& value, int unitsInLast) {
    value *= unitsInLast;
    const double whole = std::trunc(value);
    value -= whole;
    return static_cast<int>(whole);
}

// The directory's path with a separator at its end.
std::string directoryPart(const std::string& path) {
    const bool hasTwoSeparators = os::nativePathStyle() == os::PathStyle::windows;
    const auto end = path.find_last_of(hasTwoSeparators ? "/\\" : "/");
    return end == std::string::npos ? "./" : path.substr(0, end + 1);
}

void tell(const char* format, const std::string& path, const std::string& error) {
    logQuietly([&] { LogTrace(format, path.c_str(), error.c_str()); });
}

FilesByTime logFilesIn(const std::string& directory) {
    FilesByTime files;
    std::string error;
    const bool listed = os::visitDirectory(
        base::widen(directory),
        [&](const os::DirectoryEntry& entry) {
            if (!entry.name.ends_with(".log")) return;
            const std::string path = directory + std::string(entry.name);
            const std::wstring widePath = base::widen(path);
            if (os::entryStatus(widePath).kind != os::EntryKind::regularFile) return;
            if (const auto time = os::modificationTime(widePath)) files.emplace(*time, path);
        },
        &error);
    if (listed) return files;
    tell("QvErrorHandler::PurgeLogs: Could not purge log files in directory: %s, exception: %s\n", directory,
         error);
    return {};
}

}  // namespace

std::optional<std::time_t> purgeCutoff(std::time_t now, double days) {
    if (std::isnan(days)) return std::nullopt;
    double rest = std::clamp(days, -kMaxDays, kMaxDays);
    std::tm date = os::localTime(now);
    date.tm_mday -= takeWhole(rest, 1);
    date.tm_hour -= takeWhole(rest, 24);
    date.tm_min -= takeWhole(rest, 60);
    date.tm_sec -= takeWhole(rest, 60);
    const std::time_t cutoff = os::timeOf(date);
    if (cutoff == -1) return std::nullopt;
    return cutoff;
}

void purgeLogsBeside(const std::string& path, std::optional<std::time_t> cutoff) {
    if (path.find('\0') != std::string::npos) return;
    const std::string directory = directoryPart(path);
    if (!cutoff || os::entryStatus(base::widen(directory)).kind != os::EntryKind::directory) return;
    for (const auto& [time, file] : logFilesIn(directory)) {
        if (time > *cutoff) return;
        std::string error;
        if (!os::removeUnlessOpen(file, error))
            tell("QvErrorHandler::PurgeLogs: Could not delete log file: %s, exception: %s\n", file, error);
    }
}

}  // namespace Qv::detail
