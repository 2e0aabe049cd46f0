// Two people on one pod: what the second one is told, and what each can do about it.
#include "program.h"

#include <gmock/gmock.h>
#include <gtest/gtest.h>
#include <nlohmann/json.hpp>

#include <csignal>
#include <fcntl.h>
#include <filesystem>
#include <list>
#include <sys/file.h>
#include <sys/mman.h>
#include <unistd.h>

namespace talvor::cli {
namespace {

using testing::HasSubstr;
using testing::IsEmpty;
using testing::StartsWith;

constexpr const char* kBlock = "/talvor_lcl_shm_000005";

// It plays for as long as nobody stops it.
std::string endless_svf() {
    std::string text = "STATE RESET;\n";
    for (int i = 0; i < 5000; ++i) {
        text += "RUNTEST 0.01 SEC;\n";
    }
    return file_with("endless.svf", text);
}

// A user of the pod that has been connected for certain.
void await_playing(const Running& svf) {
    ASSERT_TRUE(await([&svf] { return svf.err().find("\rplay ") != std::string::npos; }))
        << svf.err();
}

TEST(PodInUseTest, IsRefusedWithItsUserAndTheNextStep) {
    const PodsimProcess simulator(five());
    Running first({"svf", "--progress", "always", endless_svf()});
    await_playing(first);
    const Outcome second = talvor({"chain"});
    EXPECT_EQ(second.status, 1);
    EXPECT_EQ(second.out, "");
    EXPECT_THAT(second.err, StartsWith("talvor: pod 5: used by `talvor svf --progress always "));
    EXPECT_THAT(second.err, testing::ContainsRegex("` \\(process [0-9]+\\) since .*[0-9]+:[0-9]+:"
                                                   "[0-9]+\n  next: wait for it with --wait "
                                                   "SECONDS, or go on beside it with --share\n$"));
    const auto document = nlohmann::json::parse(talvor({"--json", "chain"}).out);
    EXPECT_EQ(document.at("error").at("kind"), "refused");
    EXPECT_EQ(document.at("error").at("thing"), "pod 5");
    first.signal(SIGINT);
    EXPECT_EQ(first.wait(), 128 + SIGINT);
    EXPECT_EQ(talvor({"chain"}).status, 0);
}

TEST(PodInUseTest, OnePlaysAndThreeAreRefused) {
    const PodsimProcess simulator(five());
    const std::string file = endless_svf();
    std::list<Running> hosts;
    for (int i = 0; i < 4; ++i) {
        hosts.emplace_back(std::vector<std::string>{"svf", "--progress", "always", file});
    }
    const auto refused = [](const Running& host) {
        return host.err().find("next: wait for it with --wait") != std::string::npos;
    };
    EXPECT_TRUE(await([&] { return std::count_if(hosts.begin(), hosts.end(), refused) == 3; }));
    int playing = 0;
    for (Running& host : hosts) {
        if (!refused(host)) {
            ++playing;
            await_playing(host);
            host.signal(SIGTERM);
            EXPECT_EQ(host.wait(), 128 + SIGTERM);
        } else {
            EXPECT_EQ(host.wait(), 1) << host.err();
        }
    }
    EXPECT_EQ(playing, 1);
}

TEST(PodInUseTest, FourThatWaitPlayOneAfterTheOther) {
    const PodsimProcess simulator(five());
    std::string text;
    for (int i = 0; i < 300; ++i) {
        text += "STATE RESET;\nSDR 129 TDI (0) TDO (0581BCFC63456789A3D5A07E305707E35);\n";
    }
    const std::string file = file_with("idcodes.svf", text);
    std::list<Running> hosts;
    for (int i = 0; i < 4; ++i) {
        hosts.emplace_back(std::vector<std::string>{"svf", "--wait", "600", file});
    }
    for (Running& host : hosts) {
        EXPECT_EQ(host.wait(), 0) << host.err();
        EXPECT_EQ(host.out(), file + ": all scans answered as expected\n"
                                     "  600 statements, 300 scans of 38700 bits, 300 compared\n");
    }
}

TEST(PodInUseTest, WaitingSaysSoAndEndsWithItsTime) {
    const PodsimProcess simulator(five());
    Running first({"svf", "--progress", "always", endless_svf()});
    await_playing(first);
    const Outcome second = talvor({"chain", "--wait", "0.2"});
    EXPECT_EQ(second.status, 1);
    EXPECT_THAT(second.err, StartsWith("talvor: the pod is used by `talvor svf "));
    EXPECT_THAT(second.err, HasSubstr("; waiting up to 0.2 seconds for it\n"));
    EXPECT_THAT(second.err, HasSubstr("; it was not let go within 0.2 seconds\n"));
}

TEST(PodInUseTest, WaitingEndsWithAnInterrupt) {
    const PodsimProcess simulator(five());
    Running first({"svf", "--progress", "always", endless_svf()});
    await_playing(first);
    for (const int signal : {SIGINT, SIGTERM, SIGHUP, SIGQUIT}) {
        Running second({"chain", "--wait", "3600"});
        ASSERT_TRUE(await([&] { return second.err().find("waiting up to") != std::string::npos; }));
        second.signal(signal);
        EXPECT_EQ(second.wait(), 128 + signal);
        EXPECT_THAT(second.err(), HasSubstr("interrupted: stopped at the user's request\n"));
    }
}

TEST(PodInUseTest, IsSharedWithAWarning) {
    const PodsimProcess simulator(five());
    Running first({"status", "--watch", "3600"});
    ASSERT_TRUE(await([&] { return first.out().find("TAP ") != std::string::npos; }));
    const Outcome second = talvor({"chain", "--share"});
    EXPECT_EQ(second.status, 0) << second.err;
    EXPECT_THAT(second.out, StartsWith("5 devices, 33 instruction bits\n"));
    EXPECT_THAT(second.err, StartsWith("talvor: pod 5: used by `talvor status --watch 3600`"));
    EXPECT_THAT(second.err, HasSubstr("; going on beside it"));
}

// A host that is not this program, and takes the same lock.
TEST(PodInUseTest, NamesHostsOfOtherKinds) {
    const PodsimProcess simulator(five());
    const FileDescriptor block(shm_open(kBlock, O_RDONLY | O_CLOEXEC, 0));
    ASSERT_EQ(flock(block.get(), LOCK_EX | LOCK_NB), 0);
    const Outcome chain = talvor({"chain"});
    EXPECT_EQ(chain.status, 1);
    EXPECT_THAT(chain.err, StartsWith("talvor: pod 5: used by `tool_cli_test"));
    EXPECT_THAT(chain.err, HasSubstr("(process " + std::to_string(getpid()) + ")"));
}

TEST(PodInUseTest, StopsNobodyWhoNeedsNoPod) {
    const PodsimProcess simulator(five());
    const FileDescriptor block(shm_open(kBlock, O_RDONLY | O_CLOEXEC, 0));
    ASSERT_EQ(flock(block.get(), LOCK_EX | LOCK_NB), 0);
    EXPECT_EQ(talvor({"info"}).status, 0);
    EXPECT_EQ(talvor({"tclk", "convert", "10MHz"}).status, 0);
    EXPECT_EQ(simulated({"chain"}).status, 0) << "its pod is another one";
}

TEST(PodInUseTest, IsFreeAgainWhenItsUserWasKilled) {
    const PodsimProcess simulator(five());
    Running first({"svf", "--progress", "always", endless_svf()});
    await_playing(first);
    first.signal(SIGKILL);
    EXPECT_EQ(first.wait(), 128 + SIGKILL);
    const Outcome second = talvor({"chain"});
    EXPECT_EQ(second.status, 0) << second.err;
    EXPECT_EQ(second.err, "");
}

// The waiter gets the new proxy's pod, though the user of the old one never lets that go.
TEST(PodInUseTest, OutlivesAProxyThatIsStartedAnewWhileSomebodyWaits) {
    auto simulator = std::make_unique<PodsimProcess>(five());
    const FileDescriptor block(shm_open(kBlock, O_RDONLY | O_CLOEXEC, 0));
    ASSERT_EQ(flock(block.get(), LOCK_EX | LOCK_NB), 0);
    Running second({"chain", "--wait", "600"});
    ASSERT_TRUE(await([&] { return second.err().find("waiting up to") != std::string::npos; }));
    // In one go: a proxy that has ended and not come back is an error of its own.
    simulator->stop(SIGKILL);
    const PodsimProcess again(five());
    EXPECT_EQ(second.wait(), 0) << second.err();
    EXPECT_THAT(second.out(), StartsWith("5 devices, 33 instruction bits\n"));
}

} // namespace
} // namespace talvor::cli
