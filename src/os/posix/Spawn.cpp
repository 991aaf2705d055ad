#include "os/posix/Spawn.h"

#include "base/CommandLineSplit.h"
#include "os/Environment.h"
#include "os/posix/PosixSupport.h"

#include <fcntl.h>
#include <sys/stat.h>
#include <unistd.h>

#include <algorithm>
#include <climits>
#include <mutex>
#include <string_view>
#include <vector>

namespace os::posix {
namespace {

// A snapshot of the table, because other threads may change it.
std::vector<std::string> copyOfEnvironment() {
    const std::lock_guard guard(kEnvironmentLock);
    std::vector<std::string> variables;
    for (char** variable = environ; variable && *variable; ++variable) variables.emplace_back(*variable);
    return variables;
}

std::string searchPathIn(const std::vector<std::string>& environment) {
    constexpr std::string_view kName = "PATH=";
    for (const std::string& variable : environment)
        if (variable.starts_with(kName)) return variable.substr(kName.size());
    return "/bin:/usr/bin";
}

bool isProgram(const std::string& path) {
    struct stat status {};
    return stat(path.c_str(), &status) == 0 && S_ISREG(status.st_mode) &&
           faccessat(AT_FDCWD, path.c_str(), X_OK, AT_EACCESS) == 0;
}

// The same search as posix_spawnp, which would read the environment itself. An empty folder is the current
// one.
std::string programNamed(const std::string& name, const std::string& searchPath) {
    if (name.empty() || name.find('/') != std::string::npos) return name;
    for (std::size_t start = 0; start <= searchPath.size();) {
        const std::size_t end = std::min(searchPath.find(':', start), searchPath.size());
        std::string file = end == start ? "." : searchPath.substr(start, end - start);
        file.append("/").append(name);
        if (isProgram(file)) return file;
        start = end + 1;
    }
    return {};
}

// The child gets the standard streams and no other descriptor.
pid_t spawnArguments(std::vector<std::string> arguments) {
    std::vector<std::string> environment = copyOfEnvironment();
    const std::string file = programNamed(arguments.front(), searchPathIn(environment));
    SpawnSettings settings;
    pid_t pid = 0;
    const bool isStarted =
        posix_spawn_file_actions_addclosefrom_np(settings.actions(), STDERR_FILENO + 1) == 0 &&
        settings.spawn(file.c_str(), std::move(arguments), pointersTo(environment).data(), pid) == 0;
    return isStarted ? pid : 0;
}

// For an unquoted path with blanks, tries each prefix that ends at a blank, the shortest first.
pid_t spawnPathWithBlanks(const std::string& commandLine) {
    if (commandLine.find('/') == std::string::npos) return 0;
    for (std::size_t end = 0; end < std::min<std::size_t>(commandLine.size(), PATH_MAX);) {
        end = std::min(commandLine.find(' ', end + 1), commandLine.size());
        const std::string program = commandLine.substr(0, end);
        if (program.find('"') != std::string::npos) return 0;
        if (!isProgram(program)) continue;
        std::vector<std::string> arguments = base::splitCommandLine("program" + commandLine.substr(end));
        arguments.front() = program;
        return spawnArguments(std::move(arguments));
    }
    return 0;
}

}  // namespace

pid_t spawn(const std::string& commandLine) {
    const pid_t pid = spawnArguments(base::splitCommandLine(commandLine));
    return pid != 0 ? pid : spawnPathWithBlanks(commandLine);
}

}  // namespace os::posix
