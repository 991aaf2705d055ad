#include "os/ProcessInfo.h"

#include "os/posix/StandardTime.h"

#include <sys/stat.h>
#include <sys/statvfs.h>
#include <unistd.h>

#include <cerrno>
#include <csignal>
#include <ctime>
#include <fstream>
#include <string>

namespace os {
std::string hostName() {
    char name[255] = "";
    if (gethostname(name, sizeof name - 1) != 0) return {};
    return name;
}

unsigned int processId() { return static_cast<unsigned int>(getpid()); }

bool isProcessRunning(unsigned int id) {
    // The state is behind the program's name, which may contain parentheses.
    std::ifstream file("/proc/" + std::to_string(id) + "/stat");
    std::string line;
    if (!std::getline(file, line)) return kill(static_cast<pid_t>(id), 0) == 0 || errno == EPERM;
    const auto name = line.rfind(')');
    return name == std::string::npos || line.compare(name + 1, 2, " Z") != 0;
}

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

long standardTimeBias() { return -posix::standardOffset(std::time(nullptr)) / 60; }

bool isAdministrator() { return geteuid() == 0; }

}  // namespace os
