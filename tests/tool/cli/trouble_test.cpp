// What a user is told when something between the proxy and the target is wrong.
#include "program.h"

#include <gmock/gmock.h>
#include <gtest/gtest.h>
#include <nlohmann/json.hpp>

#include <csignal>
#include <filesystem>
#include <fstream>
#include <string>
#include <vector>

namespace talvor::cli {
namespace {

void expect_refusal(const Outcome& outcome, const std::string& err) {
    EXPECT_EQ(outcome.status, 1) << outcome.err;
    EXPECT_EQ(outcome.out, "");
    EXPECT_EQ(outcome.err, err);
}

// How many batches the simulator's pod has been handed; counted before it does them.
uint64_t batches(const PodsimProcess& simulator) {
    return nlohmann::json::parse(simulator.ctl("status")).at("pods").at(0).at("batches");
}

// Waits until it has been handed `more` batches.
[[nodiscard]] bool await_batches(const PodsimProcess& simulator, uint64_t more) {
    const uint64_t enough = batches(simulator) + more;
    return await([&] { return batches(simulator) >= enough; });
}

// The controller blocks that stand in /dev/shm.
std::vector<std::filesystem::path> controller_blocks() {
    std::vector<std::filesystem::path> blocks;
    for (const auto& entry : std::filesystem::directory_iterator("/dev/shm")) {
        if (entry.path().filename().string().starts_with("JTI-")) {
            blocks.push_back(entry.path());
        }
    }
    return blocks;
}

// More batches than connecting takes: then a host is at work.
constexpr uint64_t kConnectedBatches = 300;

TEST(NoProxyTest, IsSaidWithTheNextStep) {
    expect_refusal(talvor({"chain"}),
                   "talvor: pod proxy: no pod proxy is running on this machine\n"
                   "  next: start a pod proxy, or use --simulate for a simulated pod; 'talvor "
                   "doctor' checks step by step\n");
}

TEST(NoProxyTest, IsAnAnswerForInfo) {
    const Outcome outcome = talvor({"info"});
    EXPECT_EQ(outcome.status, 0) << outcome.err;
    EXPECT_TRUE(outcome.out.ends_with("Pod proxy\n  not running; start one, or use --simulate\n"))
        << outcome.out;
    const auto document = nlohmann::json::parse(talvor({"info", "--json"}).out);
    EXPECT_EQ(document.at("proxy").at("state"), "absent");
    EXPECT_EQ(document.at("library").at("name"), "libjsctalvor.so");
    EXPECT_TRUE(document.at("pods").empty());
}

TEST(NoProxyTest, IsWhatTheDoctorFindsFirst) {
    const Outcome outcome = talvor({"doctor"});
    EXPECT_EQ(outcome.status, 1);
    EXPECT_NE(outcome.out.find("ok     board file   none given; the pod's own defaults are used\n"),
              std::string::npos);
    EXPECT_NE(
        outcome.out.find("WRONG  pod proxy    pod proxy: no pod proxy is running on this machine\n"
                         "-      pod          not checked\n"
                         "-      connection   not checked\n"),
        std::string::npos)
        << outcome.out;
    EXPECT_NE(outcome.err.find("  next: start a pod proxy"), std::string::npos) << outcome.err;
}

TEST(PodsTest, AreListed) {
    const PodsimProcess simulator(five());
    const Outcome outcome = talvor({"info"});
    EXPECT_EQ(outcome.status, 0) << outcome.err;
    EXPECT_TRUE(outcome.out.ends_with(
        "Pod proxy\n  running, process " + std::to_string(simulator.pid()) +
        "\nPods\n  serial  revision  generation  USB             block\n"
        "  5       3.2       3           bus 1 device 1  /talvor_lcl_shm_000005\n"))
        << outcome.out;
}

TEST(PodsTest, AreChosenBySerialNumber) {
    const PodsimProcess simulator(read_file(source_file("examples/two-pods.toml")));
    const auto document = nlohmann::json::parse(talvor({"info", "--json"}).out);
    ASSERT_EQ(document.at("pods").size(), 2U);
    for (const auto& pod : document.at("pods")) {
        const std::string serial = pod.at("serial").dump();
        const Outcome status = talvor({"--pod", serial, "status"});
        EXPECT_EQ(status.status, 0) << status.err;
        EXPECT_TRUE(status.out.starts_with("  pod           serial " + serial + ", "))
            << status.out;
    }
    const Outcome other = talvor({"--pod", "999", "status"});
    EXPECT_EQ(other.status, 1);
    EXPECT_TRUE(other.err.starts_with(
        "talvor: pod 999: the proxy has no pod with this serial number\n  next: choose one of "))
        << other.err;
}

TEST(GenerationTest, AtOddsWithTheRevisionIsSaid) {
    const PodsimProcess simulator(five());
    const std::string board = file_with("generation.toml", "[KELM]\nPOD_EMUVERSION = 2\n");
    expect_refusal(talvor({"--board", board, "chain"}),
                   "talvor: pod 5: " + board +
                       ":2 says generation 2, but the pod's revision is 3.2\n"
                       "  next: set KELM.POD_EMUVERSION = 3, or choose another pod with --pod\n");
}

// How often `text` holds `part`.
size_t count_of(const std::string& text, std::string_view part) {
    size_t count = 0;
    for (size_t at = 0; (at = text.find(part, at)) != std::string::npos; at += part.size()) {
        ++count;
    }
    return count;
}

TEST(WatchTest, GoesOnPastABatchThatFailsAndAPodThatIsGone) {
    const PodsimProcess simulator(five());
    Running watch({"status", "--watch", "0.02"});
    const auto looks = [&watch](size_t more) {
        const size_t enough = count_of(watch.out(), ", alive\n") + more;
        return await([&] { return count_of(watch.out(), ", alive\n") >= enough; });
    };
    const auto says = [&watch](std::string_view part) {
        return await([&] { return count_of(watch.out(), part) != 0; });
    };
    ASSERT_TRUE(looks(1)) << watch.err();
    EXPECT_EQ(simulator.ctl("fail 1"), "ok");
    EXPECT_TRUE(says("\nreading the status: the proxy could not execute a batch")) << watch.out();
    EXPECT_TRUE(says("\n  next: look at the proxy's log for the reason\n"));
    EXPECT_TRUE(looks(2)) << watch.out();
    EXPECT_EQ(simulator.ctl("unplug"), "ok");
    EXPECT_TRUE(says("\npod proxy: it runs, but no pod is attached\n")) << watch.out();
    EXPECT_EQ(simulator.ctl("plug"), "ok");
    EXPECT_TRUE(looks(2)) << watch.out();
    watch.signal(SIGTERM);
    EXPECT_EQ(watch.wait(), 128 + SIGTERM);
}

TEST(WatchTest, EndsWithWhatItSawLast) {
    const std::string script = file_with("later.txt", "batch 100: fail 100000\n");
    const PodsimProcess simulator(five(), {"--script", script});
    const Outcome outcome = talvor({"status", "--watch", "0.001", "--count", "200", "--json"});
    EXPECT_EQ(outcome.status, 1) << outcome.err;
    EXPECT_EQ(count_of(outcome.out, "\"time\":\"20"), 200U);
    const size_t good = count_of(outcome.out, "\"alive\":true");
    EXPECT_GT(good, 2U);
    EXPECT_EQ(count_of(outcome.out, "\"error\":{"), 200U - good);
}

struct Fault {
    const char* command;
    const char* remedy;
    const char* code;
};

TEST(FaultsTest, AreNamedWithCodeAndSentence) {
    const PodsimProcess simulator(five());
    const Fault faults[] = {
        {"power off", "power on",
         "the target has no power (-180 eJTI_ERROR_NO_POWER)\n  next: switch the target on"},
        {"clock off", "clock on",
         "the target returns no test clock (-181 eJTI_ERROR_NO_CLOCK)\n  next: check the return"},
        {"loopback high-ff", "loopback ok",
         "in the controller's loop-back test the high byte is stuck at ones (-173 "
         "eJTI_ERROR_LOOP_HIGH_ONES)\n"},
        {"loopback low-ff", "loopback ok", "-174 eJTI_ERROR_LOOP_LOW_ONES"},
        {"loopback high-00", "loopback ok", "-175 eJTI_ERROR_LOOP_HIGH_ZEROS"},
        {"loopback low-00", "loopback ok", "-176 eJTI_ERROR_LOOP_LOW_ZEROS"},
        {"fail 1", "fail 0",
         "the pod's set-up could not be sent (-157 eJTI_ERROR_POD_SETUP)\n  next: look at the "
         "proxy's log for the reason\n"},
        {"unplug", "plug", "talvor: pod proxy: it runs, but no pod is attached\n"},
    };
    for (const Fault& fault : faults) {
        simulator.ctl(fault.command);
        const Outcome outcome = talvor({"chain"});
        EXPECT_EQ(outcome.status, 1) << fault.code;
        EXPECT_EQ(outcome.out, "");
        EXPECT_NE(outcome.err.find(fault.code), std::string::npos) << outcome.err;
        simulator.ctl(fault.remedy);
        EXPECT_EQ(talvor({"chain"}).status, 0) << "after " << fault.code;
    }
}

// The driver prints the words of a failed loop-back test; they must not spoil a document.
TEST(FaultsTest, LeaveJsonADocument) {
    const PodsimProcess simulator(five());
    simulator.ctl("loopback corrupt");
    const Outcome outcome = talvor({"--json", "chain"});
    EXPECT_EQ(outcome.status, 1);
    const auto document = nlohmann::json::parse(outcome.out);
    EXPECT_EQ(document.at("error").at("code"), -171);
    EXPECT_EQ(document.at("error").at("name"), "eJTI_ERROR_LOOP_CORRUPT");
    EXPECT_EQ(document.at("error").at("kind"), "pod");
}

TEST(FaultsTest, InTheMiddleOfTheWorkAreDiagnosed) {
    const PodsimProcess simulator(five());
    // The bench would run for an hour, but for the power that goes.
    Running bench({"bench", "--seconds", "1000"});
    ASSERT_TRUE(await_batches(simulator, kConnectedBatches));
    simulator.ctl("power off");
    // Batches that still succeed tell the driver.
    ASSERT_TRUE(await_batches(simulator, 10));
    simulator.ctl("fail 1");
    EXPECT_EQ(bench.wait(), 1) << bench.out();
    EXPECT_NE(bench.err().find("-180 eJTI_ERROR_NO_POWER"), std::string::npos) << bench.err();
}

TEST(ChainTest, WithoutDevicesIsAWire) {
    const std::string description = file_with("empty.toml", "[[pod]]\nserial = 1\n");
    const Outcome wire = talvor({"--simulate", description, "chain"});
    EXPECT_EQ(wire.status, 1);
    EXPECT_EQ(wire.err, "talvor: chain: there is no device: TDI is connected straight to TDO\n"
                        "  next: check the target's connector, and jumpers that bypass its "
                        "devices\n");
}

TEST(DeadProxyTest, IsToldFromALivingOne) {
    PodsimProcess simulator(five());
    simulator.stop(SIGKILL);
    expect_refusal(talvor({"chain"}),
                   "talvor: pod proxy: it has ended and left its objects behind; nobody serves the "
                   "pods\n  next: start the proxy again: it takes the objects over\n");
    const Outcome info = talvor({"info"});
    EXPECT_NE(info.out.find("  has ended and left its objects behind; start it again\n"),
              std::string::npos)
        << info.out;
    // One that is started again takes over.
    const PodsimProcess again(five());
    EXPECT_EQ(talvor({"chain"}).status, 0);
}

TEST(DeadProxyTest, IsNoticedWhileTheDriverWaitsForIt) {
    PodsimProcess simulator(five());
    simulator.ctl("latency 3600000000");
    Running chain({"--patience", "0", "chain"});
    ASSERT_TRUE(await_batches(simulator, 1));
    simulator.stop(SIGKILL);
    // The driver itself would wait for ever.
    EXPECT_EQ(chain.wait(), 1);
    EXPECT_THAT(controller_blocks(), testing::IsEmpty());
    EXPECT_EQ(chain.err(), "talvor: pod proxy: it has ended while a batch was under way\n"
                           "  next: start the proxy again, then run 'talvor doctor'\n");
    // The next proxy clears the ground for other tests.
    const PodsimProcess again(five());
}

// The wait has an end, and the way out is that of every error: the handle is closed.
TEST(DeadProxyTest, LeavesNoControllerBlockInTheMiddleOfTheWork) {
    for (const char* patience : {"0", "60"}) {
        PodsimProcess simulator(five());
        Running bench({"--patience", patience, "bench", "--seconds", "1000"});
        ASSERT_TRUE(await_batches(simulator, kConnectedBatches));
        EXPECT_EQ(controller_blocks().size(), 1U);
        simulator.stop(SIGKILL);
        EXPECT_EQ(bench.wait(), 1);
        EXPECT_EQ(bench.err(), "talvor: pod proxy: it has ended while a batch was under way\n"
                               "  next: start the proxy again, then run 'talvor doctor'\n");
        EXPECT_THAT(controller_blocks(), testing::IsEmpty());
    }
    const PodsimProcess again(five());
    EXPECT_EQ(talvor({"chain"}).status, 0);
}

TEST(DeadProxyTest, LeavesNoControllerBlockWhenItIsStartedAnewAtOnce) {
    PodsimProcess simulator(five());
    simulator.ctl("latency 3600000000");
    Running status({"--json", "status"});
    ASSERT_TRUE(await_batches(simulator, 1));
    simulator.stop(SIGKILL);
    const PodsimProcess again(five());
    EXPECT_EQ(status.wait(), 1);
    const auto document = nlohmann::json::parse(status.out());
    EXPECT_EQ(document.at("error").at("thing"), "pod proxy");
    EXPECT_EQ(document.at("error").at("kind"), "pod");
    EXPECT_THAT(controller_blocks(), testing::IsEmpty());
    const Outcome chain = talvor({"chain"});
    EXPECT_EQ(chain.status, 0) << chain.err;
    EXPECT_EQ(chain.err, "");
}

TEST(SilentProxyTest, IsGivenUpWhenPatienceEnds) {
    const PodsimProcess simulator(five());
    simulator.ctl("latency 3000000");
    const Outcome outcome = talvor({"--patience", "0.5", "--json", "chain"});
    ASSERT_EQ(outcome.status, 1) << outcome.err;
    ASSERT_NE(outcome.out, "") << outcome.err;
    const auto document = nlohmann::json::parse(outcome.out);
    EXPECT_EQ(document.at("error").at("reason"), "it has not answered for 0.5 seconds");
    EXPECT_THAT(controller_blocks(), testing::IsEmpty());
    simulator.ctl("latency 0");
}

TEST(SilentProxyTest, IsGivenUpInTheMiddleOfTheWork) {
    const PodsimProcess simulator(five());
    Running bench({"--patience", "0.5", "bench", "--seconds", "1000"});
    ASSERT_TRUE(await_batches(simulator, kConnectedBatches));
    EXPECT_EQ(controller_blocks().size(), 1U);
    simulator.ctl("latency 3000000");
    EXPECT_EQ(bench.wait(), 1);
    EXPECT_EQ(bench.err(), "talvor: pod proxy: it has not answered for 0.5 seconds\n"
                           "  next: start the proxy again, then run 'talvor doctor'\n");
    EXPECT_THAT(controller_blocks(), testing::IsEmpty());
    simulator.ctl("latency 0");
    // The next host takes the answer that the last one did not wait for.
    const Outcome chain = talvor({"chain"});
    EXPECT_EQ(chain.status, 0) << chain.err;
    EXPECT_EQ(chain.err, "");
}

// A host is killed while it is connected: its controller block stays, with its counts.
std::filesystem::path block_of_a_lost_host() {
    Running host({"status", "--watch", "3600"});
    EXPECT_TRUE(await([&host] { return host.out().find("TAP ") != std::string::npos; }));
    host.signal(SIGKILL);
    EXPECT_EQ(host.wait(), 128 + SIGKILL);
    const std::vector<std::filesystem::path> blocks = controller_blocks();
    EXPECT_EQ(blocks.size(), 1U);
    return blocks.empty() ? "" : blocks.front();
}

TEST(OtherHostsTest, ThatEndedWithoutDisconnectingLeaveNothingWrong) {
    const PodsimProcess simulator(five());
    block_of_a_lost_host();
    const Outcome chain = talvor({"chain"});
    EXPECT_EQ(chain.status, 0) << chain.err;
    EXPECT_EQ(chain.err, "") << "the next host is the first again";
    EXPECT_THAT(controller_blocks(), testing::IsEmpty());
    EXPECT_EQ(talvor({"doctor"}).status, 0);
}

TEST(OtherHostsTest, BlocksOfDriversThatLeaveNoMarkAreNoticed) {
    const PodsimProcess simulator(five());
    const std::filesystem::path block = block_of_a_lost_host();
    // The mark stands in the last bytes; without it the block is as another driver leaves it.
    std::fstream file(block, std::ios::in | std::ios::out | std::ios::binary);
    file.seekp(-64, std::ios::end).write(std::string(64, '\0').data(), 64);
    ASSERT_TRUE(file.flush());
    const Outcome doctor = talvor({"doctor"});
    EXPECT_EQ(doctor.status, 1);
    EXPECT_THAT(doctor.out,
                testing::HasSubstr("WRONG  other hosts  controller block: " + block.string()))
        << doctor.err;
    EXPECT_THAT(doctor.err, testing::HasSubstr("next: remove " + block.string() + "\n"));
    EXPECT_TRUE(std::filesystem::remove(block));
    EXPECT_EQ(talvor({"doctor"}).status, 0) << "what the doctor says helps";
}

TEST(OtherHostsTest, ABlockOfAWrongSizeIsNamed) {
    const PodsimProcess simulator(five());
    const std::filesystem::path block = block_of_a_lost_host();
    std::filesystem::resize_file(block, 100);
    expect_refusal(
        talvor({"chain"}),
        "talvor: opening the pod: a controller block has a wrong size: " + block.string() +
            " has 100 bytes instead of 1048896 (-164 eJTI_ERROR_SHARED_BLOCK)\n"
            "  next: remove " +
            block.string() + "\n");
    EXPECT_TRUE(std::filesystem::remove(block));
    EXPECT_EQ(talvor({"chain"}).status, 0) << "what is said helps";
}

TEST(OtherHostsTest, ThatAreConnectedAreNamed) {
    const PodsimProcess simulator(five());
    Running other({"status", "--watch", "0.2"});
    ASSERT_TRUE(await([&other] { return !other.out().empty(); })) << other.err();
    const Outcome doctor = talvor({"doctor", "--share"});
    other.signal(SIGINT);
    EXPECT_EQ(other.wait(), 128 + SIGINT);
    EXPECT_EQ(doctor.status, 0) << doctor.err;
    EXPECT_NE(doctor.out.find("note   other hosts  connected, too: process "), std::string::npos)
        << doctor.out;
}

TEST(DoctorTest, IsContentWithAGoodPod) {
    const Outcome outcome = simulated({"--board", source_file("examples/board.toml"), "doctor"});
    EXPECT_EQ(outcome.status, 0) << outcome.err;
    EXPECT_EQ(outcome.err, "");
    size_t good = 0;
    for (size_t at = 0; (at = outcome.out.find("ok     ", at)) != std::string::npos; ++at) {
        ++good;
    }
    // A kernel older than 6.12 gives no short time slices, and nothing can be done about it.
    const bool slices = outcome.out.find("note   time slice   as long as") == std::string::npos;
    EXPECT_EQ(good, slices ? 12U : 11U) << outcome.out;
    EXPECT_EQ(slices, outcome.out.find("ok     time slice   100 us, ") != std::string::npos)
        << outcome.out;
}

TEST(DoctorTest, NamesKeysThatNobodyReads) {
    const std::string board = file_with("misspelt.toml", "[KELM]\nPOD_TCKDVI = 3\nPOD_SN = 5\n");
    const Outcome outcome = simulated({"--board", board, "doctor"});
    EXPECT_EQ(outcome.status, 0) << outcome.err;
    EXPECT_NE(outcome.out.find("note   board keys   never read, misspelt or without effect: "
                               "KELM.POD_TCKDVI (line 2)\n"),
              std::string::npos)
        << outcome.out;
}

TEST(ExtendedControllerTest, CannotBeConnected) {
    const std::string description = file_with(
        "exl.toml", "[[pod]]\nserial = 1\ncontroller = \"exl\"\n[[pod.tap]]\nname = \"a\"\n"
                    "ir_length = 4\n");
    const Outcome outcome = talvor({"--simulate", description, "chain"});
    EXPECT_EQ(outcome.status, 1);
    EXPECT_EQ(outcome.err, "talvor: connecting the pod: its controller is of the extended kind, "
                           "which the driver does not connect (-122 eJTI_ERROR_BAD_ARGUMENT)\n"
                           "  next: use a pod with a basic controller, or one with dual-port "
                           "memory\n");
}

TEST(InterruptTest, DisconnectsFirst) {
    const PodsimProcess simulator(five());
    for (const int signal : {SIGINT, SIGTERM, SIGHUP, SIGQUIT}) {
        // However long it sleeps.
        Running status({"status", "--watch", "3600"});
        ASSERT_TRUE(await([&status] { return status.out().find("TAP ") != std::string::npos; }))
            << status.err();
        EXPECT_EQ(controller_blocks().size(), 1U);
        status.signal(signal);
        EXPECT_EQ(status.wait(), 128 + signal);
        EXPECT_THAT(controller_blocks(), testing::IsEmpty());
    }
    const Outcome doctor = talvor({"doctor"});
    EXPECT_EQ(doctor.status, 0) << doctor.out;
    EXPECT_NE(doctor.out.find("ok     other hosts  none is connected\n"), std::string::npos)
        << doctor.out;
}

TEST(InterruptTest, EndsALongRunOfAnSvfFile) {
    const PodsimProcess simulator(five());
    for (const int signal : {SIGHUP, SIGQUIT}) {
        Running svf({"svf", file_with("hour.svf", "RUNTEST 3600 SEC;\n")});
        ASSERT_TRUE(await([] { return controller_blocks().size() == 1; }));
        svf.signal(signal);
        EXPECT_EQ(svf.wait(), 128 + signal) << svf.err();
        EXPECT_THAT(controller_blocks(), testing::IsEmpty());
    }
}

TEST(InterruptTest, EndsAnSvfFileWithItsReason) {
    std::string text = "STATE RESET;\n";
    for (int i = 0; i < 2000; ++i) {
        text += "RUNTEST 0.01 SEC;\n";
    }
    const PodsimProcess simulator(five());
    Running svf({"svf", "--progress", "always", file_with("slow.svf", text)});
    ASSERT_TRUE(await([&svf] { return svf.err().find("\rplay ") != std::string::npos; }));
    svf.signal(SIGINT);
    EXPECT_EQ(svf.wait(), 128 + SIGINT);
    EXPECT_NE(svf.err().find("interrupted: stopped at the user's request\n"), std::string::npos)
        << svf.err();
}

TEST(SimulatorTest, ABadDescriptionIsItsOwnWords) {
    const std::string description = file_with("bad-pod.toml", "[[pod]]\nserial = \"x\"\n");
    const Outcome outcome = talvor({"--simulate", description, "chain"});
    EXPECT_EQ(outcome.status, 2);
    EXPECT_NE(outcome.err.find(description + ":2: "), std::string::npos) << outcome.err;
}

} // namespace
} // namespace talvor::cli
