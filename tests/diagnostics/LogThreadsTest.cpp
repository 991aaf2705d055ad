// Threads that end, and processes that fork, in the middle of a line. A lock that stays locked causes a hang.

#include "diagnostics/log/LogQuietly.h"
#include "diagnostics/log/LogSink.h"

#include <QvPlatform/diagnostics/Log.h>

#include "support/StandardError.h"
#include "support/TemporaryFolder.h"

#include <gtest/gtest.h>
#include <pthread.h>
#include <sys/wait.h>
#include <unistd.h>

#include <stdexcept>

namespace {

using Qv::detail::logQuietly;
using Routine = void* (*)(void*);

void* logForever(void*) {
    for (;;) Qv::LogWarn("a line of a thread");
}

pthread_t start(Routine routine) {
    pthread_t thread{};
    EXPECT_EQ(pthread_create(&thread, nullptr, routine, nullptr), 0);
    return thread;
}

void* resultOf(pthread_t thread) {
    void* result = nullptr;
    EXPECT_EQ(pthread_join(thread, &result), 0);
    return result;
}

void* resultOfCancelled(pthread_t thread) {
    EXPECT_EQ(pthread_cancel(thread), 0);
    return resultOf(thread);
}

class LogThreads : public testing::Test {
protected:
    LogThreads() { EXPECT_TRUE(Qv::detail::openLogSink(folder_.path() + "app.log")); }
    ~LogThreads() override { Qv::detail::closeLogSink(); }

    support::TemporaryFolder folder_;
};

TEST_F(LogThreads, leaveTheLogFreeWhenTheyAreCancelled) {
    const std::string written = support::standardErrorOf([] {
        for (int round = 0; round < 50; ++round) {
            const pthread_t thread = start(logForever);
            usleep(200);
            EXPECT_EQ(resultOfCancelled(thread), PTHREAD_CANCELED);
            Qv::LogWarn("free again");
        }
    });
    EXPECT_NE(written.find("free again"), std::string::npos);
}

TEST_F(LogThreads, leaveTheLogFreeInAForkedChild) {
    support::standardErrorOf([] {
        const pthread_t thread = start(logForever);
        for (int round = 0; round < 100; ++round) {
            const pid_t child = fork();
            if (child == 0) {
                alarm(60);
                Qv::LogWarn("a line of the child");
                _exit(0);
            }
            int status = -1;
            EXPECT_EQ(waitpid(child, &status, 0), child);
            EXPECT_EQ(status, 0) << "round " << round;
        }
        resultOfCancelled(thread);
    });
}

TEST(LogQuietly, throwsNothingAndLetsAThreadEnd) {
    EXPECT_NO_THROW(logQuietly([] { throw std::runtime_error("a handler's"); }));
    const pthread_t thread = start([](void*) -> void* {
        static int result = 0;
        logQuietly([] { pthread_exit(&result); });
        return nullptr;
    });
    EXPECT_NE(resultOf(thread), nullptr);
}

// As in a destructor, which must not be unwound.
TEST(LogQuietly, putsACancellationOff) {
    static bool returned = false;
    const pthread_t thread = start([](void*) -> void* {
        pthread_cancel(pthread_self());
        []() noexcept { logQuietly([] { pthread_testcancel(); }); }();
        returned = true;
        pthread_testcancel();
        return nullptr;
    });
    EXPECT_EQ(resultOf(thread), PTHREAD_CANCELED);
    EXPECT_TRUE(returned);
}

}  // namespace
