// The least that a pod proxy does, against the library: what the example's readers start from.
#include "common/child_process.h"
#include "common/file_descriptor.h"
#include "support/podsim_process.h"

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <array>
#include <csignal>
#include <fcntl.h>
#include <filesystem>
#include <iterator>
#include <optional>
#include <poll.h>
#include <unistd.h>

namespace endtoend {
namespace {

using test_support::built_program;
using test_support::run_program;
using testing::HasSubstr;

size_t shm_objects() {
    const std::filesystem::directory_iterator objects("/dev/shm");
    return static_cast<size_t>(std::distance(begin(objects), end(objects)));
}

class MinimalProxyTest : public testing::Test {
protected:
    void SetUp() override {
        before_ = shm_objects();
        std::array<int, 2> ends{};
        ASSERT_EQ(pipe2(ends.data(), O_CLOEXEC), 0);
        const talvor::FileDescriptor ready(ends[0]);
        const talvor::FileDescriptor output(ends[1]);
        auto started = talvor::ChildProcess::spawn(
            {.arguments = {built_program("minimal_proxy")}, .output = output.get()});
        ASSERT_TRUE(started) << headline(started.error());
        process_ = *std::move(started);
        pollfd wait{ready.get(), POLLIN, 0};
        ASSERT_EQ(poll(&wait, 1, 20'000), 1);
    }
    void TearDown() override {
        ASSERT_TRUE(process_);
        process_->signal(SIGTERM);
        EXPECT_EQ(process_->wait().shell_status(), 0);
        EXPECT_EQ(shm_objects(), before_);
    }

    static test_support::ProgramResult talvor(std::vector<std::string> words) {
        words.insert(words.begin(), built_program("talvor"));
        return run_program(words);
    }

    std::optional<talvor::ChildProcess> process_;
    size_t before_ = 0;
};

TEST_F(MinimalProxyTest, TheExampleHostReadsItsIdcode) {
    for (int run = 0; run < 2; ++run) {
        const auto result = run_program({built_program("read_idcode"), TALVOR_LIBRARY});
        EXPECT_EQ(result.status, 0) << result.errors;
        EXPECT_EQ(result.output, "15afe7e3\n");
    }
}

TEST_F(MinimalProxyTest, TheHostToolFindsAndScansTheChain) {
    const auto chain = talvor({"chain"});
    EXPECT_EQ(chain.status, 0) << chain.errors;
    EXPECT_THAT(chain.output, HasSubstr("1 device, 4 instruction bits\n"));
    EXPECT_THAT(chain.output, HasSubstr("  1  0x15AFE7E3  "));
    // The instruction register captures 1; BYPASS holds data back by one bit, which begins as 0.
    EXPECT_EQ(talvor({"ir", "0xF"}).output, "0x1\n");
    EXPECT_EQ(talvor({"dr", "--bits", "40", "0x123456789A"}).output, "0x2468ACF134\n");
    EXPECT_EQ(talvor({"ir", "0x1"}).output, "0x1\n");
    EXPECT_EQ(talvor({"dr", "--bits", "32", "0x0"}).output, "0x15AFE7E3\n");
}

TEST_F(MinimalProxyTest, LongScansComeBackWhole) {
    const auto bench = talvor({"bench", "--seconds", "0.05", "--bits", "100000"});
    EXPECT_EQ(bench.status, 0) << bench.errors;
    const auto state = talvor({"state", "move", "pausedr"});
    EXPECT_EQ(state.status, 0) << state.errors;
    EXPECT_EQ(talvor({"state", "get"}).output, "Pause-DR\n");
}

TEST_F(MinimalProxyTest, IsTheOnlyProxyOfTheMachine) {
    const auto second = run_program({built_program("minimal_proxy")});
    EXPECT_EQ(second.status, 1);
    EXPECT_THAT(second.errors, HasSubstr("talvor_proxy_gbl_owner.lock"));
    const auto podsim = run_program({built_program("talvor-podsim")});
    EXPECT_EQ(podsim.status, 1);
    EXPECT_THAT(podsim.errors, HasSubstr("already serves this machine"));
}

} // namespace
} // namespace endtoend
