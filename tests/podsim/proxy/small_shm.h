// A /dev/shm that is full before long, for the time of one call.
#pragma once

#include "common/private_shm.h"

#include <fmt/format.h>
#include <gtest/gtest.h>

#include <sys/mount.h>
#include <sys/wait.h>
#include <unistd.h>

namespace talvor::podsim::proxy {

// Calls `body` in a child process with an empty /dev/shm of that many pages. A failed check of the
// child fails the test; where mounts are not allowed the test is skipped.
template <class Body>
void with_small_shm(unsigned pages, Body body) {
    constexpr int kFailed = 1;
    constexpr int kNotAllowed = 2;
    const pid_t child = fork();
    if (child == 0) {
        const std::string size = fmt::format("mode=1777,nr_blocks={}", pages);
        if (!enter_private_shm() ||
            mount("tmpfs", "/dev/shm", "tmpfs", MS_NOSUID | MS_NODEV, size.c_str()) != 0) {
            _exit(kNotAllowed);
        }
        body();
        _exit(testing::Test::HasFailure() ? kFailed : 0);
    }
    int status = 0;
    ASSERT_EQ(waitpid(child, &status, 0), child);
    ASSERT_TRUE(WIFEXITED(status))
        << "ended by signal " << WTERMSIG(status) << ", " << pages << " pages";
    if (WEXITSTATUS(status) == kNotAllowed) {
        GTEST_SKIP() << "mounts are not allowed here";
    }
    EXPECT_EQ(WEXITSTATUS(status), 0) << pages << " pages";
}

} // namespace talvor::podsim::proxy
