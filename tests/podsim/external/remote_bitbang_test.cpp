#include "bitbang_server.h"
#include "podsim/external/remote_bitbang.h"
#include "podsim/model/chain.h"
#include "tests/podsim/reason.h"

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <chrono>
#include <filesystem>
#include <random>
#include <thread>

namespace talvor::podsim::external {
namespace {

using namespace std::chrono_literals;
using testing::AllOf;
using testing::Gt;
using testing::Le;

std::unique_ptr<RemoteBitbang> connect(const BitbangServer& server, bool send_resets = false,
                                       std::chrono::milliseconds patience = 5000ms) {
    auto client = RemoteBitbang::connect({server.address(), send_resets, patience});
    EXPECT_TRUE(client) << reason_of(client);
    return client ? *std::move(client) : nullptr;
}

// The same TAP as the server's, built in.
Chain twin() {
    DeviceDescription device;
    device.name = "twin";
    device.registers.push_back(
        {.name = "scratch", .instructions = {8}, .kind = ScratchRegister{.bits = 32, .value = {}}});
    return Chain({.devices = {device}, .nets = {}});
}

std::string socket_path() {
    return std::filesystem::temp_directory_path() /
           ("talvor-bitbang-" + std::to_string(getpid()) + ".sock");
}

// Moves and shifts both targets alike and compares every bit.
void compare_with_twin(RemoteBitbang& client, unsigned operations, uint32_t seed) {
    Chain reference = twin();
    ASSERT_TRUE(reference.power_on());
    std::mt19937_64 random(seed);
    for (unsigned operation = 0; operation < operations; ++operation) {
        const TapState shift_state = random() % 3 == 0 ? TapState::ShiftIr : TapState::ShiftDr;
        const TmsPath path = shortest_path(reference.state(), shift_state);
        const bool tdi_level = random() % 2 != 0;
        if (path.count > 0) {
            ASSERT_TRUE(reference.move(path.tms, path.count, tdi_level));
            ASSERT_TRUE(client.move(path.tms, path.count, tdi_level));
        }
        const uint64_t count = shift_state == TapState::ShiftIr ? 4 : 1 + random() % 700;
        std::vector<uint64_t> tdi((count + 63) / 64);
        std::generate(tdi.begin(), tdi.end(), std::ref(random));
        if (shift_state == TapState::ShiftIr && random() % 2 == 0) {
            tdi[0] = 8;
        }
        std::vector<uint64_t> expected(tdi.size());
        std::vector<uint64_t> found(tdi.size());
        ASSERT_TRUE(reference.shift(tdi, expected, count, true));
        ASSERT_TRUE(client.shift(tdi, found, count, true));
        const uint64_t mask = count % 64 == 0 ? ~0ULL : (1ULL << (count % 64)) - 1;
        expected.back() &= mask;
        found.back() &= mask;
        ASSERT_EQ(found, expected) << "operation " << operation << ", " << count << " bits";
        // On to a stable state, as a controller does.
        const TmsPath rest = shortest_path(reference.state(), TapState::RunTestIdle);
        ASSERT_TRUE(reference.move(rest.tms, rest.count, true));
        ASSERT_TRUE(client.move(rest.tms, rest.count, true));
    }
}

TEST(RemoteBitbangTest, MovesTheSameBitsAsABuiltInChain) {
    for (const bool tdo_on_rise : {false, true}) {
        for (const std::string& path : {std::string(), socket_path()}) {
            BitbangServer server(path, {.tdo_on_rise = tdo_on_rise});
            auto client = connect(server);
            compare_with_twin(*client, 60, 7);
            client.reset();
            server.finish();
            EXPECT_EQ(server.quits, 1U);
            EXPECT_EQ(server.unknown, 0U);
            EXPECT_EQ(server.resets, "");
            EXPECT_TRUE(server.tck_rests_low);
        }
    }
}

TEST(RemoteBitbangTest, SendsNoByteWithoutAnEffect) {
    BitbangServer server;
    auto client = connect(server);
    compare_with_twin(*client, 30, 11);
    client.reset();
    server.finish();
    EXPECT_GT(server.pin_bytes, 1000U);
    EXPECT_EQ(server.idle_bytes, 0U);
}

TEST(RemoteBitbangTest, KeepsManyRequestsInFlightAndNeverMoreThan255) {
    BitbangServer server("", {.hoard = true});
    auto client = connect(server);
    std::vector<uint64_t> tdi(64);
    std::vector<uint64_t> tdo(64);
    ASSERT_TRUE(client->shift(tdi, tdo, 4096, false));
    client.reset();
    server.finish();
    EXPECT_THAT(server.most_unanswered, AllOf(Gt(200U), Le(255U)));
}

TEST(RemoteBitbangTest, BringsATargetOfUnknownStateToTestLogicReset) {
    BitbangServer server; // starts in Pause-DR
    auto client = connect(server);
    const TmsPath path = shortest_path(TapState::TestLogicReset, TapState::ShiftIr);
    ASSERT_TRUE(client->move(path.tms, path.count, true));
    const uint64_t tdi = 0;
    uint64_t tdo = 0;
    ASSERT_TRUE(client->shift({&tdi, 1}, {&tdo, 1}, 4, false));
    EXPECT_EQ(tdo & 0xFU, 1U);
}

TEST(RemoteBitbangTest, SendsResetsOnlyWhenToldTo) {
    for (const bool send_resets : {false, true}) {
        BitbangServer server;
        auto client = connect(server, send_resets);
        ASSERT_TRUE(client->pulse_trst());
        ASSERT_TRUE(client->set_reset(true));
        ASSERT_TRUE(client->set_reset(false));
        client.reset();
        server.finish();
        EXPECT_EQ(server.resets, send_resets ? "trsr" : "");
    }
}

TEST(RemoteBitbangTest, ReachesTestLogicResetOnTrstWithoutThePin) {
    BitbangServer server;
    auto client = connect(server);
    const TmsPath path = shortest_path(TapState::TestLogicReset, TapState::ShiftDr);
    ASSERT_TRUE(client->move(path.tms, path.count, true));
    ASSERT_TRUE(client->pulse_trst());
    const TmsPath again = shortest_path(TapState::TestLogicReset, TapState::ShiftIr);
    ASSERT_TRUE(client->move(again.tms, again.count, true));
    const uint64_t tdi = 0xF;
    uint64_t tdo = 0;
    ASSERT_TRUE(client->shift({&tdi, 1}, {&tdo, 1}, 4, true));
    EXPECT_EQ(tdo & 0xFU, 1U);
}

// The failure of a long shift.
std::string failure_of_shift(RemoteBitbang& client) {
    std::vector<uint64_t> tdi(64);
    std::vector<uint64_t> tdo(64);
    return reason_of(client.shift(tdi, tdo, 4096, false));
}

TEST(RemoteBitbangTest, APeerThatClosesIsAClearFailureAndStaysOne) {
    BitbangServer server("", {.close_at_read = true, .trouble_at = 1000});
    auto client = connect(server);
    const std::string expected = "the target at " + server.address() + " has closed the connection";
    EXPECT_EQ(failure_of_shift(*client), expected);
    EXPECT_EQ(reason_of(client->move(1, 1, true)), expected);
    EXPECT_EQ(failure_of_shift(*client), expected);
    EXPECT_EQ(reason_of(client->pulse_trst()), expected);
    EXPECT_EQ(reason_of(client->set_reset(true)), expected);
}

TEST(RemoteBitbangTest, ALostTargetIsReachedAgainWhenItsPowerComesBack) {
    BitbangServer server("", {.close_at_read = true, .trouble_at = 5000});
    auto client = connect(server);
    EXPECT_EQ(failure_of_shift(*client), "");
    EXPECT_NE(failure_of_shift(*client), "");
    EXPECT_TRUE(client->power_on());
    EXPECT_TRUE(client->move(0, 1, true));
    client.reset();
    server.finish();
    EXPECT_EQ(server.connections, 2U);
}

TEST(RemoteBitbangTest, ASilentPeerIsAFailureAfterTheTimeLimit) {
    BitbangServer server("", {.silent_at_read = true, .trouble_at = 300});
    auto client = connect(server, false, 100ms);
    const auto start = std::chrono::steady_clock::now();
    EXPECT_EQ(failure_of_shift(*client),
              "the target at " + server.address() + " has not answered for 100 ms");
    EXPECT_GE(std::chrono::steady_clock::now() - start, 100ms);
    EXPECT_LT(std::chrono::steady_clock::now() - start, 5s);
}

TEST(RemoteBitbangTest, AnAnswerThatIsNoneIsAFailure) {
    BitbangServer server("", {.wrong_at_read = true, .trouble_at = 10});
    auto client = connect(server);
    EXPECT_EQ(failure_of_shift(*client), "the target at " + server.address() +
                                             " has answered with the byte 0x3f instead of 0 or 1");
}

TEST(RemoteBitbangTest, ATargetThatIsNotThereIsNamed) {
    std::string address;
    {
        const BitbangServer server;
        address = server.address();
    }
    EXPECT_EQ(reason_of(RemoteBitbang::connect({.address = address})),
              "connecting to the target at " + address + ": Connection refused");
    EXPECT_EQ(reason_of(RemoteBitbang::connect({.address = "/nowhere/x"})),
              "connecting to the target at /nowhere/x: No such file or directory");
    EXPECT_EQ(reason_of(RemoteBitbang::connect({.address = "not-a-port"})),
              "connecting to the target at not-a-port: Cannot assign requested address");
}

TEST(RemoteBitbangTest, AStopFreesACallThatWaits) {
    BitbangServer server("", {.silent_at_read = true, .trouble_at = 1});
    auto client = connect(server, false, 20'000ms);
    std::thread stopper([&] {
        while (!server.troubled) { // until the client waits for an answer
            std::this_thread::sleep_for(1ms);
        }
        client->request_stop();
    });
    const auto start = std::chrono::steady_clock::now();
    EXPECT_EQ(failure_of_shift(*client), "the target at " + server.address() +
                                             " is no longer waited for: the pod is being stopped");
    EXPECT_LT(std::chrono::steady_clock::now() - start, 5s);
    stopper.join();
}

} // namespace
} // namespace talvor::podsim::external
