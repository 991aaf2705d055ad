#pragma once

#include <gtest/gtest.h>
#include <sys/wait.h>
#include <unistd.h>

namespace support {

inline constexpr uid_t kNobody = 65534;

/// Runs `work` in a forked process; its failures are failures of the test. Linux only.
template <typename Work>
void inFork(Work work) {
    const pid_t copy = fork();
    if (copy == 0) {
        work();
        std::fflush(stdout);
        _exit(testing::Test::HasFailure() ? 1 : 0);
    }
    int status = -1;
    waitpid(copy, &status, 0);
    EXPECT_EQ(status, 0);
}

/// The same, as a user without any rights.
template <typename Work>
void inForkAsNobody(Work work) {
    inFork([&] {
        if (geteuid() == 0 && setuid(kNobody) != 0) _exit(2);
        work();
    });
}

}  // namespace support
