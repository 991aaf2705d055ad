#pragma once

#include <gtest/gtest.h>
#include <sys/wait.h>
#include <unistd.h>

namespace support {

/// Lets a copy of this process do `work` as a user who has no rights; its failures are the test's. Linux
/// only.
template <typename Work>
void inForkAsNobody(Work work) {
    const pid_t copy = fork();
    if (copy == 0) {
        if (geteuid() == 0 && setuid(65534) != 0) _exit(2);
        work();
        std::fflush(stdout);
        _exit(testing::Test::HasFailure() ? 1 : 0);
    }
    int status = -1;
    waitpid(copy, &status, 0);
    EXPECT_EQ(status, 0);
}

}  // namespace support
