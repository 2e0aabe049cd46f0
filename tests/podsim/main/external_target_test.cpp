// The running simulator with a target that another program simulates.
#include "bitbang_server.h"
#include "host.h"
#include "support/podsim_process.h"
#include "vector_server.h"

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <chrono>
#include <csignal>

namespace talvor::podsim {
namespace {

using external::BitbangServer;
using proxy::Host;
using test_support::built_program;
using test_support::PodsimProcess;
using test_support::ProgramResult;
using test_support::run_program;
using testing::HasSubstr;

std::string pod_with(const BitbangServer& server) {
    return "[[pod]]\nserial = 1\ncable_delay = 0\nreturn_pipeline = 0\ntarget = \"" +
           server.address() + "\"\n";
}

// Four bits through the instruction register; what they captured comes first.
constexpr const char* kScanInstruction =
    "write 4 0500; write 12 0003; write 13 0; write 11 300a; write 10 4080; wait recv; read 22; "
    "wait done";

TEST(PodWithExternalTargetTest, IsScannedLikeABuiltInOne) {
    BitbangServer server;
    {
        PodsimProcess process(pod_with(server));
        Host host(1);
        host.queue(kScanInstruction);
        EXPECT_EQ(host.exchange(SHM_CMD_EXECUTE), 2);
        EXPECT_EQ(host.block().tbcIMblock[0], 0x0001);
        // The scratch register: 32 bits of data out, twice, so that the first come back.
        host.queue("write 4 0300; write 12 0003; write 11 300a; write 10 4080; wait send; "
                   "write 23 0008; wait done");
        EXPECT_EQ(host.exchange(SHM_CMD_EXECUTE), 0);
        constexpr const char* kScanData =
            "write 4 0700; write 12 001f; write 11 3002; write 10 4080; wait send; "
            "write 23 cafe; wait send; write 23 1234; wait recv; read 22; wait recv; read 22; "
            "wait done";
        host.queue(kScanData);
        EXPECT_EQ(host.exchange(SHM_CMD_EXECUTE), 4);
        host.queue(kScanData);
        EXPECT_EQ(host.exchange(SHM_CMD_EXECUTE), 4);
        EXPECT_EQ(host.block().tbcIMblock[0], 0xCAFE);
        EXPECT_EQ(host.block().tbcIMblock[1], 0x1234);
        EXPECT_EQ(process.stop(), 0);
        EXPECT_EQ(process.log(), "");
    }
    server.finish();
    EXPECT_EQ(server.quits, 0U);
    EXPECT_EQ(server.idle_bytes, 0U);
}

TEST(PodWithExternalTargetTest, IsEndedWithTheSimulatorWhenThatIsWanted) {
    BitbangServer server;
    {
        PodsimProcess process(pod_with(server) + "target_quit = true\n");
        EXPECT_EQ(process.stop(), 0);
    }
    server.finish();
    EXPECT_EQ(server.quits, 1U);
}

TEST(PodWithExternalTargetTest, IsScannedThroughVectorsToo) {
    external::XvcServer xvc;
    external::JtagVpiServer vpi;
    for (const auto& [address, protocol] :
         {std::pair(xvc.address(), "xvc"), std::pair(vpi.address(), "jtag_vpi")}) {
        PodsimProcess process("[[pod]]\nserial = 1\ncable_delay = 0\nreturn_pipeline = 0\n"
                              "target = \"" +
                              address + "\"\ntarget_protocol = \"" + protocol + "\"\n");
        Host host(1);
        host.queue(kScanInstruction);
        EXPECT_EQ(host.exchange(SHM_CMD_EXECUTE), 2) << protocol;
        EXPECT_EQ(host.block().tbcIMblock[0], 0x0001) << protocol;
        EXPECT_EQ(process.stop(), 0);
        EXPECT_EQ(process.log(), "");
    }
}

TEST(PodWithExternalTargetTest, ATargetThatGoesFailsTheBatchWithAReason) {
    BitbangServer server("", {.close_at_read = true, .trouble_at = 2});
    PodsimProcess process(pod_with(server));
    Host host(1);
    host.queue(kScanInstruction);
    EXPECT_LT(host.exchange(SHM_CMD_EXECUTE), 0);
    EXPECT_THAT(process.log(),
                HasSubstr("the target at " + server.address() + " has closed the connection\n"));
    EXPECT_EQ(process.stop(), 0);
}

TEST(PodWithExternalTargetTest, ASilentTargetDoesNotKeepTheSimulatorFromEnding) {
    BitbangServer server("", {.silent_at_read = true, .trouble_at = 1});
    PodsimProcess process(pod_with(server) + "target_patience_ms = 60000\n");
    Host host(1);
    host.queue(kScanInstruction);
    host.block().cmd = SHM_CMD_EXECUTE;
    host.post_start();
    const auto start = std::chrono::steady_clock::now();
    EXPECT_EQ(process.stop(), 0);
    EXPECT_LT(std::chrono::steady_clock::now() - start, std::chrono::seconds(1));
    EXPECT_TRUE(host.take_complete());
    EXPECT_LT(host.block().status, 0);
}

TEST(PodWithExternalTargetTest, ATargetThatIsNotThereIsNamedAtTheStart) {
    std::string description;
    std::string address;
    {
        const BitbangServer server;
        description = pod_with(server);
        address = server.address();
    }
    const std::string file = "/dev/shm/pods.toml";
    FILE* out = std::fopen(file.c_str(), "w");
    ASSERT_NE(out, nullptr);
    std::fputs(description.c_str(), out);
    std::fclose(out);
    const ProgramResult result = run_program({built_program("talvor-podsim"), file});
    EXPECT_EQ(result.status, 1);
    EXPECT_EQ(result.errors, "talvor-podsim: pod 1: connecting to the target at " + address +
                                 ": Connection refused\n");
    std::remove(file.c_str());
}

} // namespace
} // namespace talvor::podsim
