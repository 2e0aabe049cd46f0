#include "common/child_process.h"
#include "common/file_descriptor.h"
#include "support/podsim_process.h"

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <array>
#include <csignal>
#include <fcntl.h>
#include <filesystem>
#include <optional>
#include <sys/prctl.h>
#include <sys/wait.h>
#include <unistd.h>

namespace talvor::podsim {
namespace {

using test_support::built_program;
using test_support::PodsimProcess;
using test_support::ProgramResult;
using test_support::run_program;
using testing::HasSubstr;
using testing::IsEmpty;

std::vector<std::string> shm_objects() {
    std::vector<std::string> names;
    for (const auto& entry : std::filesystem::directory_iterator("/dev/shm")) {
        names.push_back(entry.path().filename());
    }
    return names;
}

TEST(LifeTest, ComesUpAndGoesAwayWithoutATraceOnEveryEndingSignal) {
    for (const int signal : {SIGTERM, SIGINT, SIGHUP}) {
        PodsimProcess podsim;
        ASSERT_TRUE(podsim.running());
        EXPECT_FALSE(shm_objects().empty());
        EXPECT_EQ(podsim.stop(signal), 0);
        EXPECT_THAT(shm_objects(), IsEmpty());
        EXPECT_THAT(podsim.log(), IsEmpty());
    }
}

TEST(LifeTest, AHundredStartsAndStopsLeaveNothingBehind) {
    for (int cycle = 0; cycle < 100; ++cycle) {
        PodsimProcess podsim;
        ASSERT_TRUE(podsim.running()) << cycle;
        ASSERT_EQ(podsim.stop(), 0) << cycle;
        ASSERT_THAT(shm_objects(), IsEmpty()) << cycle;
    }
}

TEST(LifeTest, ASecondSimulatorIsRefusedByName) {
    PodsimProcess podsim;
    const auto before = shm_objects();
    const ProgramResult second = run_program({built_program("talvor-podsim")});
    EXPECT_EQ(second.status, 1);
    EXPECT_EQ(second.output, "");
    EXPECT_EQ(second.errors, "talvor-podsim: a pod proxy already serves this machine (process " +
                                 std::to_string(podsim.pid()) +
                                 "); stop it first, or use --private\n");
    EXPECT_EQ(shm_objects(), before);
}

TEST(LifeTest, AKilledSimulatorIsTakenOver) {
    PodsimProcess first;
    EXPECT_EQ(first.stop(SIGKILL), 128 + SIGKILL);
    EXPECT_FALSE(shm_objects().empty());
    PodsimProcess second;
    EXPECT_TRUE(second.running());
    EXPECT_EQ(second.stop(), 0);
    EXPECT_THAT(shm_objects(), IsEmpty());
}

// A shell that starts the simulator, which follows it, and waits.
class FollowedShell {
public:
    FollowedShell() {
        std::array<int, 2> ready{};
        EXPECT_EQ(pipe2(ready.data(), O_CLOEXEC), 0);
        const FileDescriptor told(ready[0]);
        {
            const FileDescriptor telling(ready[1]);
            fcntl(telling.get(), F_SETFD, 0);
            shell_.emplace(
                ChildProcess::spawn({.arguments = {"sh", "-c", command(telling.get())}}));
        }
        EXPECT_TRUE(*shell_);
        // The line comes when the pods are served.
        std::array<char, 256> line{};
        EXPECT_GT(read(told.get(), line.data(), line.size()), 0);
    }

    ChildProcess& shell() { return **shell_; }

private:
    static std::string command(int fd) {
        return test_support::built_program("talvor-podsim") + " --end-with $$ --ready-fd " +
               std::to_string(fd) + " >/dev/null & wait";
    }

    std::optional<Result<ChildProcess>> shell_;
};

TEST(LifeTest, EndsWithTheParentThatItFollows) {
    // The simulator, orphaned, becomes a child of this process, which sees how it ends.
    ASSERT_EQ(prctl(PR_SET_CHILD_SUBREAPER, 1), 0);
    FollowedShell followed;
    EXPECT_FALSE(shm_objects().empty());
    followed.shell().signal(SIGKILL);
    EXPECT_EQ(followed.shell().wait().shell_status(), 128 + SIGKILL);
    int status = 0;
    ASSERT_GT(waitpid(-1, &status, 0), 0);
    EXPECT_EQ(ChildEnd(status).shell_status(), 0);
    EXPECT_THAT(shm_objects(), IsEmpty());
    prctl(PR_SET_CHILD_SUBREAPER, 0);
}

TEST(LifeTest, EndsAtOnceAndQuietlyWhenTheParentHasGone) {
    const ProgramResult result = run_program({built_program("talvor-podsim"), "--end-with", "1"});
    EXPECT_EQ(result.status, 0);
    EXPECT_EQ(result.output, "");
    EXPECT_EQ(result.errors, "");
    EXPECT_THAT(shm_objects(), IsEmpty());
}

} // namespace
} // namespace talvor::podsim
