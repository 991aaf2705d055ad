#include <QvPlatform/QvPluginSystem/LoadSharedLibrary.h>
#include <QvPlatform/diagnostics/Log.h>
#include <QvPlatform/filesystem/Environment.h>
#include <QvPlatform/system/Process.h>

#include "support/ChildProgram.h"

#include <gtest/gtest.h>

#include <atomic>
#include <cerrno>
#include <clocale>
#include <vector>

#ifndef _WIN32
#include <sys/wait.h>
#include <unistd.h>
#endif

namespace {

namespace Process = QvSim::Process;
using QvPlatform::putEnv;

bool startsAProgram() {
    std::int64_t exitCode = 0;
    return Process::shellExecute(support::childProgram(), "exit 7", false, true, &exitCode) && exitCode == 7;
}

bool asks() {
    Process::getLocalTimeUTCBias();
    const QvPlatform::Directory directory(QvPlatform::Directory::kTemporaryDirectory);
    return !directory.toUniversalPath().empty() && !Process::getHostNameProcessID().empty() &&
           QvPlatform::getEnv("QV_THREADS") == "stays";
}

// The C library would translate it into the language set by an environment variable.
bool readsAnErrorText() {
    errno = ENOENT;
    return QvPluginSystem::getLastError() != nullptr;
}

bool worksInAFork() {
    if (support::kForkMayLockAllocator) return true;
#ifndef _WIN32
    const pid_t copy = fork();
    if (copy == 0) {
        alarm(30);
        _exit(asks() && startsAProgram() && putEnv("QV_THREADS", "x") ? 0 : 1);
    }
    int status = -1;
    waitpid(copy, &status, 0);
    return status == 0;
#else
    return true;
#endif
}

// Adding a variable moves the table.
bool changeTheEnvironment() {
    bool isChanged = true;
    for (int i = 0; i < (support::kWindows ? 500 : 5'000); ++i)
        isChanged = putEnv("QV_THREADS" + std::to_string(i), "value") &&
                    putEnv("TZ", i % 2 ? "UTC" : "EST5") && isChanged;
    return isChanged;
}

// Separate from the other tests, because nothing removes the variables again.
[[noreturn]] void useTheEnvironmentInThreads() {
    Qv::LogSetLevel(Qv::kLogLevelNone);
    std::setlocale(LC_ALL, "C.UTF-8");
    std::atomic<bool> isRight{putEnv("QV_THREADS", "stays")};
    std::atomic<bool> isOver{false};
    std::vector<std::thread> threads;
    for (const auto work : {asks, readsAnErrorText, startsAProgram, worksInAFork})
        threads.emplace_back([&, work] {
            do
                if (!work()) isRight = false;
            while (!isOver);
        });
    if (!changeTheEnvironment()) isRight = false;
    isOver = true;
    for (std::thread& thread : threads) thread.join();
    std::exit(isRight ? 0 : 1);
}

TEST(EnvironmentThreadsDeathTest, doNotMeetEachOther) {
    GTEST_FLAG_SET(death_test_style, "threadsafe");
    EXPECT_EXIT(useTheEnvironmentInThreads(), testing::ExitedWithCode(0), "");
}

}  // namespace
