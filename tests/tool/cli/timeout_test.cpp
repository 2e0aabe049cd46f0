// --timeout ends whatever a command does, and leaves the pod to the next one.
#include "program.h"

#include <gmock/gmock.h>
#include <gtest/gtest.h>
#include <nlohmann/json.hpp>

#include <algorithm>
#include <csignal>
#include <fcntl.h>
#include <filesystem>
#include <sys/stat.h>

namespace talvor::cli {
namespace {

using testing::HasSubstr;

constexpr int kTimeIsOver = 124;

bool block_is_left() {
    return std::any_of(
        std::filesystem::directory_iterator("/dev/shm"), std::filesystem::directory_iterator(),
        [](const auto& entry) { return entry.path().filename().string().starts_with("JTI-"); });
}

TEST(TimeoutTest, EndsAWatchAndLeavesThePodUsable) {
    const PodsimProcess simulator(five());
    const Outcome watched = talvor({"--timeout", "0.2", "status", "--watch", "0.01"});
    EXPECT_EQ(watched.status, kTimeIsOver);
    EXPECT_EQ(watched.err, "talvor: timeout: the 0.2 seconds that --timeout gives are over\n");
    EXPECT_FALSE(block_is_left());
    EXPECT_EQ(talvor({"chain"}).status, 0);
}

TEST(TimeoutTest, EndsASvfFileAndSaysWhere) {
    std::string text = "STATE RESET;\n";
    for (int i = 0; i < 100; ++i) {
        text += "RUNTEST 1 SEC;\n";
    }
    const std::string svf = file_with("long.svf", text);
    const Outcome outcome = simulated({"--json", "--timeout", "0.3", "svf", svf});
    EXPECT_EQ(outcome.status, kTimeIsOver);
    const auto document = nlohmann::json::parse(outcome.out);
    EXPECT_EQ(document.at("stopped").at("line"), 2);
    EXPECT_EQ(document.at("stopped").at("tap_state"), "Test-Logic-Reset");
    EXPECT_EQ(document.at("error").at("reason"), "the 0.3 seconds that --timeout gives are over");
}

TEST(TimeoutTest, EndsTheWaitForAProxyThatDoesNotAnswer) {
    const PodsimProcess simulator(five());
    Running bench({"--timeout", "1", "bench", "--seconds", "60"});
    ASSERT_TRUE(await([] { return block_is_left(); }));
    kill(simulator.pid(), SIGSTOP);
    EXPECT_EQ(bench.wait(), kTimeIsOver);
    kill(simulator.pid(), SIGCONT);
    EXPECT_THAT(bench.err(), HasSubstr("timeout: the 1 second that --timeout gives is over"));
    EXPECT_FALSE(block_is_left());
}

// Whoever should write the script never does.
TEST(TimeoutTest, EndsAScriptThatWaitsForItsInput) {
    const std::string fifo = file_with("script", "") + ".fifo";
    ASSERT_EQ(mkfifo(fifo.c_str(), 0600), 0);
    const FileDescriptor writer(open(fifo.c_str(), O_RDWR | O_CLOEXEC));
    const Outcome outcome = talvor({"--timeout", "0.2", "run", fifo});
    EXPECT_EQ(outcome.status, kTimeIsOver) << outcome.err;
    std::filesystem::remove(fifo);
}

TEST(TimeoutTest, LeavesACommandAloneThatIsDoneBefore) {
    const Outcome outcome = simulated({"--timeout", "3600", "state"});
    EXPECT_EQ(outcome.status, 0);
    EXPECT_EQ(outcome.err, "");
    EXPECT_EQ(talvor({"--timeout", "0", "info"}).status, 2);
}

} // namespace
} // namespace talvor::cli
