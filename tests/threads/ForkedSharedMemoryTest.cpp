// Segments in cancelled threads and forked processes, which do not exist on Windows.

#include "support/ChildProgram.h"
#include "support/LogCapture.h"
#include "support/SharedSegment.h"
#include "support/TemporaryFolder.h"

#include <cxxabi.h>
#include <gtest/gtest.h>
#include <pthread.h>
#include <sys/resource.h>
#include <sys/wait.h>
#include <unistd.h>

#include <fstream>

namespace {

using Word = support::SharedSegment<support::SharedWord>;

#ifdef NDEBUG
constexpr int kRounds = 40;
#else
constexpr int kRounds = 5;
#endif

class ForkedSharedMemory : public testing::Test {
protected:
    void TearDown() override {
        EXPECT_TRUE(isGone());
        EXPECT_EQ(support::readFile("/proc/self/maps").find(key_), std::string::npos);
    }

    bool isGone() const {
        const std::filesystem::directory_iterator files("/dev/shm");
        return std::none_of(begin(files), end(files), [this](const auto& file) {
            return file.path().string().find(key_) != std::string::npos;
        });
    }

    const std::string key_ = "qvTest" + std::to_string(getpid()) + "x";
    const support::LogCapture capture_;
};

// Runs `work` in a forked process; it must return true.
template <typename Work>
pid_t startFork(Work work) {
    const pid_t copy = fork();
    if (copy != 0) return copy;
    alarm(60);
    _exit(work() ? 0 : 1);
}

int statusOf(pid_t process) {
    int status = -1;
    waitpid(process, &status, 0);
    return status;
}

TEST_F(ForkedSharedMemory, isWholeBesideOpeningsThatFail) {
    const pid_t failing = startFork([this] {
        rlim_t pages = 0;
        std::ifstream("/proc/self/statm") >> pages;
        const rlimit littleMore{pages * 4096 + 2'000'000, RLIM_INFINITY};
        setrlimit(RLIMIT_AS, &littleMore);
        Word segment;
        for (int i = 0; i < kRounds * 100; ++i)
            if (segment.open(key_, i % 2 == 0 ? 3'000'000 : std::size_t{1} << 44U)) return false;
        return true;
    });
    const pid_t good = startFork([this] {
        for (int i = 0; i < kRounds * 100; ++i) {
            Word segment;
            if (!segment.open(key_)) return false;
            for (int depth = 0; depth < 2; ++depth) segment.lock();
            for (int depth = 0; depth < 2; ++depth) segment.unlock();
        }
        return true;
    });
    EXPECT_EQ(statusOf(good), 0);
    EXPECT_EQ(statusOf(failing), 0);
}

TEST_F(ForkedSharedMemory, isMadeAnewWhileAForkedProcessHasTheOldOne) {
    Word signals, first, next;
    ASSERT_TRUE(signals.open(key_ + "signals") && first.open(key_, 8192));
    *first = 5;
    const pid_t copy = startFork([&] {
        return support::comesTrue([&] { return *signals == 2; }) && *first == 5 && first->exchange(6) == 5;
    });
    const pid_t holder = startFork([&] {
        Word own;
        if (!own.open(key_)) return false;
        *signals = 1;
        return pause() == 0;
    });
    EXPECT_TRUE(support::comesTrue([&] { return *signals == 1; }));
    first.close();
    kill(holder, SIGKILL);
    statusOf(holder);
    ASSERT_TRUE(next.open(key_));
    EXPECT_EQ(next->exchange(7), 0U);
    *signals = 2;
    EXPECT_EQ(statusOf(copy), 0);
    EXPECT_EQ(*next, 7U);
}

TEST_F(ForkedSharedMemory, doesNotKeepItsGateClosedInForkedProcesses) {
    for (int round = 0; round < kRounds; ++round) {
        const pid_t group = startFork([this] {
            setpgid(0, 0);
            const auto churn = [this] {
                for (Word segment; segment.open(key_); segment.close()) {
                }
            };
            for (int i = 0; i < 2; ++i) std::thread(churn).detach();
            for (int i = 0; i < 8; ++i)
                if (fork() == 0) return pause() == 0;
            return raise(SIGKILL) == 0;
        });
        statusOf(group);
        EXPECT_EQ(statusOf(startFork([this] { return Word().open(key_); })), 0);
        kill(-group, SIGKILL);
    }
    EXPECT_TRUE(support::comesTrue([&] {
        Word().open(key_);
        return isGone();
    }));
}

TEST_F(ForkedSharedMemory, isWholeInAThreadThatIsCancelled) {
    for (const bool isInLog : {false, true}) {
        Word segment;
        bool isWhole = false;
        if (isInLog) Qv::LogSetHandler([](Qv::eLogLevel, const char*, Qv::LogArgs) { pthread_testcancel(); });
        std::thread([&] {
            pthread_cancel(pthread_self());
            try {
                segment.open(key_);
                isWhole = !isInLog;
                pthread_testcancel();
            } catch (abi::__forced_unwind&) {
                isWhole = isWhole || isInLog;
                throw;
            }
        }).join();
        EXPECT_TRUE(isWhole && segment.isOpen() && segment.key() == key_ && segment->exchange(1) == 0);
        std::thread([&] {
            pthread_cancel(pthread_self());
            segment.close();
            pthread_testcancel();
        }).join();
        EXPECT_TRUE(!segment.isOpen() && segment.key().empty() && segment.size() == 0);
    }
}

TEST_F(ForkedSharedMemory, isNotTakenAwayByAForkedProcess) {
    Word first, second;
    ASSERT_TRUE(first.open(key_) && first->exchange(5) == 0);
    const pid_t copy = startFork([&] {
        first.lock();
        *first = 6;
        first.close();
        return first.open(key_);
    });
    EXPECT_EQ(statusOf(copy), 0);
    EXPECT_TRUE(second.open(key_) && *second == 6);
    second.lock();
}

}  // namespace
