#include "os/ProcessInfo.h"

#include <sys/stat.h>
#include <sys/statvfs.h>
#include <unistd.h>

#include <algorithm>
#include <ctime>
#include <fstream>

namespace os {
namespace {

// Seconds east of UTC on the first of a month, counted from 0, of a year counted from 1900.
long offsetAt(int year, int month) {
    std::tm date{};
    date.tm_year = year;
    date.tm_mon = month;
    date.tm_mday = 1;
    date.tm_hour = 12;
    const std::time_t time = timegm(&date);
    std::tm local{};
    return localtime_r(&time, &local) ? local.tm_gmtoff : 0;
}

}  // namespace

std::string hostName() {
    char name[255] = "";
    if (gethostname(name, sizeof name - 1) != 0) return {};
    return name;
}

unsigned int processId() { return static_cast<unsigned int>(getpid()); }

std::uint64_t residentBytes() {
    std::ifstream statistics("/proc/self/statm");
    std::uint64_t total = 0;
    std::uint64_t resident = 0;
    if (!(statistics >> total >> resident)) return 0;
    return resident * static_cast<std::uint64_t>(sysconf(_SC_PAGESIZE));
}

std::optional<std::uint64_t> freeDiskBytes(const std::string& directory) {
    struct stat status {};
    struct statvfs volume {};
    if (stat(directory.c_str(), &status) != 0 || !S_ISDIR(status.st_mode)) return std::nullopt;
    if (statvfs(directory.c_str(), &volume) != 0) return std::nullopt;
    return std::uint64_t{volume.f_bavail} * volume.f_frsize;
}

// Standard time is the one nearer to the west; the C library's own answer follows the last time converted.
long standardTimeBias() {
    tzset();
    const std::time_t now = std::time(nullptr);
    std::tm today{};
    if (!localtime_r(&now, &today)) return 0;
    const long january = offsetAt(today.tm_year, 0);
    const long july = offsetAt(today.tm_year, 6);
    return -std::min(january, july) / 60;
}

bool isAdministrator() { return geteuid() == 0; }

}  // namespace os
