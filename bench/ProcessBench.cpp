// Running a program and waiting for its end, compared with the system's own calls, from a small process and
// from one that has touched much memory.

#include <QvPlatform/diagnostics/Log.h>
#include <QvPlatform/system/Process.h>

#include "BenchSupport.h"

#include <spawn.h>
#include <sys/wait.h>
#include <unistd.h>

#include <cstdint>
#include <vector>

namespace {

using bench::check;

void executeAndWait() {
    std::int64_t exitCode = -1;
    check(QvSim::Process::shellExecute("/bin/true", "", false, true, &exitCode) && exitCode == 0);
}

void spawnAndWait() {
    char program[] = "/bin/true";
    char* arguments[] = {program, nullptr};
    pid_t child = 0;
    int status = 0;
    check(posix_spawn(&child, program, nullptr, nullptr, arguments, environ) == 0);
    check(waitpid(child, &status, 0) == child && status == 0);
}

void benchExecute(benchmark::State& state) {
    const auto mebibytes = static_cast<std::size_t>(state.range(0));
    const std::vector<char> touched(mebibytes * 1024 * 1024, 1);
    Qv::LogSetLevel(Qv::kLogLevelWarn);
    bench::compare(
        state, {"run and wait, MiB of the parent", "limit, posix_spawn", mebibytes, {.ratio = 1.1}}, 20,
        [](std::size_t) { executeAndWait(); }, [](std::size_t) { spawnAndWait(); });
}
BENCHMARK(benchExecute)->Arg(0)->Arg(512)->Iterations(60);

}  // namespace
