#include "common/child_process.h"
#include "common/file_descriptor.h"
#include "host.h"
#include "small_shm.h"
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

TEST(LifeTest, AFullShmIsToldWithWhatIsNeededAndWhatToDo) {
    proxy::with_small_shm(100, [] {
        const ProgramResult result = run_program({built_program("talvor-podsim")});
        EXPECT_EQ(result.status, 1);
        EXPECT_EQ(result.output, "");
        EXPECT_EQ(result.errors,
                  "talvor-podsim: making shared memory /talvor_lcl_shm_000001: /dev/shm is full: "
                  "524328 bytes are needed, 405504 are free\n"
                  "  next: remove what nobody uses from /dev/shm, or make it larger "
                  "(mount -o remount,size=64M /dev/shm)\n");
        EXPECT_THAT(shm_objects(), IsEmpty());
    });
}

TEST(LifeTest, AFullDiskEndsTheTraceAndNotThePodAndIsAFailureAtTheEnd) {
    PodsimProcess podsim("", {"--vcd", "/dev/full"});
    ASSERT_TRUE(podsim.running());
    EXPECT_EQ(podsim.log(), "warning: the trace ends, the pod goes on: writing the trace "
                            "/dev/full: No space left on device\n");
    proxy::Host host(1);
    EXPECT_EQ(host.exchange(SHM_CMD_ATTACH), 0);
    host.queue("write 11 0002; write 10 4080; wait done; read 18");
    EXPECT_EQ(host.exchange(SHM_CMD_EXECUTE), 2);
    EXPECT_EQ(podsim.stop(), 1);
    EXPECT_THAT(podsim.log(),
                testing::EndsWith("\ntalvor-podsim: writing the trace /dev/full: No space left on "
                                  "device\n  next: make room on that file system\n"));
}

TEST(LifeTest, ATraceThatIsNotWholeLeavesACommandsOwnFailure) {
    const std::string podsim = built_program("talvor-podsim");
    for (const auto& [command, status] : {std::pair("true", 1), std::pair("exit 42", 42)}) {
        const ProgramResult result =
            run_program({podsim, "--vcd", "/dev/full", "--private", "--", "sh", "-c", command});
        EXPECT_EQ(result.status, status) << result.errors;
        EXPECT_THAT(result.errors, HasSubstr("talvor-podsim: writing the trace /dev/full: "));
    }
}

TEST(LifeTest, AnAnswerThatNobodyCanReadIsAFailure) {
    const PodsimProcess podsim;
    const std::string ctl = built_program("talvor-podsim") + " ctl --control " +
                            podsim.directory() + "/ctl status > /dev/full";
    const ProgramResult result = run_program({"sh", "-c", ctl});
    EXPECT_EQ(result.status, 1);
    EXPECT_EQ(result.errors, "talvor-podsim: printing the answer: No space left on device\n"
                             "  next: make room on that file system\n");
    // Nor does a complaint that cannot be said change how the program ends.
    const std::string wrong = built_program("talvor-podsim") + " /nonexistent 2> /dev/full";
    EXPECT_EQ(run_program({"sh", "-c", wrong}).status, 1);
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
