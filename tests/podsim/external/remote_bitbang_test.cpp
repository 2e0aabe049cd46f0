#include "podsim/external/remote_bitbang.h"

#include "bitbang_server.h"

#include "podsim/model/chain.h"

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <chrono>
#include <filesystem>
#include <random>
#include <thread>

namespace podsim::external {
namespace {

using namespace std::chrono_literals;
using testing::AllOf;
using testing::Gt;
using testing::Le;

std::unique_ptr<RemoteBitbang> connect(const BitbangServer& server, bool send_resets = false,
                                       std::chrono::milliseconds patience = 5000ms) {
    auto client = RemoteBitbang::connect({server.address(), send_resets, patience});
    EXPECT_FALSE(client.failed()) << client.reason();
    return client.failed() ? nullptr : std::move(client.value());
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
void compare_with_twin(RemoteBitbang& client, unsigned operations, std::uint32_t seed) {
    Chain reference = twin();
    ASSERT_FALSE(reference.power_on().failed());
    std::mt19937_64 random(seed);
    for (unsigned operation = 0; operation < operations; ++operation) {
        const TapState shift_state = random() % 3 == 0 ? TapState::ShiftIr : TapState::ShiftDr;
        const TmsPath path = shortest_path(reference.state(), shift_state);
        const bool tdi_level = random() % 2 != 0;
        if (path.count > 0) {
            ASSERT_FALSE(reference.move(path.tms, path.count, tdi_level).failed());
            ASSERT_FALSE(client.move(path.tms, path.count, tdi_level).failed());
        }
        const std::uint64_t count = shift_state == TapState::ShiftIr ? 4 : 1 + random() % 700;
        std::vector<std::uint64_t> tdi((count + 63) / 64);
        std::generate(tdi.begin(), tdi.end(), std::ref(random));
        if (shift_state == TapState::ShiftIr && random() % 2 == 0) {
            tdi[0] = 8;
        }
        std::vector<std::uint64_t> expected(tdi.size());
        std::vector<std::uint64_t> found(tdi.size());
        ASSERT_FALSE(reference.shift(tdi, expected, count, true).failed());
        ASSERT_FALSE(client.shift(tdi, found, count, true).failed());
        const std::uint64_t mask = count % 64 == 0 ? ~0ULL : (1ULL << (count % 64)) - 1;
        expected.back() &= mask;
        found.back() &= mask;
        ASSERT_EQ(found, expected) << "operation " << operation << ", " << count << " bits";
        // On to a stable state, as a controller does.
        const TmsPath rest = shortest_path(reference.state(), TapState::RunTestIdle);
        ASSERT_FALSE(reference.move(rest.tms, rest.count, true).failed());
        ASSERT_FALSE(client.move(rest.tms, rest.count, true).failed());
    }
}

TEST(RemoteBitbang, moves_the_same_bits_as_a_built_in_chain) {
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

TEST(RemoteBitbang, sends_no_byte_without_an_effect) {
    BitbangServer server;
    auto client = connect(server);
    compare_with_twin(*client, 30, 11);
    client.reset();
    server.finish();
    EXPECT_GT(server.pin_bytes, 1000U);
    EXPECT_EQ(server.idle_bytes, 0U);
}

TEST(RemoteBitbang, keeps_many_requests_in_flight_and_never_more_than_255) {
    BitbangServer server("", {.hoard = true});
    auto client = connect(server);
    std::vector<std::uint64_t> tdi(64);
    std::vector<std::uint64_t> tdo(64);
    ASSERT_FALSE(client->shift(tdi, tdo, 4096, false).failed());
    client.reset();
    server.finish();
    EXPECT_THAT(server.most_unanswered, AllOf(Gt(200U), Le(255U)));
}

TEST(RemoteBitbang, brings_a_target_of_unknown_state_to_test_logic_reset) {
    BitbangServer server; // starts in Pause-DR
    auto client = connect(server);
    const TmsPath path = shortest_path(TapState::TestLogicReset, TapState::ShiftIr);
    ASSERT_FALSE(client->move(path.tms, path.count, true).failed());
    const std::uint64_t tdi = 0;
    std::uint64_t tdo = 0;
    ASSERT_FALSE(client->shift({&tdi, 1}, {&tdo, 1}, 4, false).failed());
    EXPECT_EQ(tdo & 0xFU, 1U);
}

TEST(RemoteBitbang, sends_resets_only_when_told_to) {
    for (const bool send_resets : {false, true}) {
        BitbangServer server;
        auto client = connect(server, send_resets);
        ASSERT_FALSE(client->pulse_trst().failed());
        ASSERT_FALSE(client->set_reset(true).failed());
        ASSERT_FALSE(client->set_reset(false).failed());
        client.reset();
        server.finish();
        EXPECT_EQ(server.resets, send_resets ? "trsr" : "");
    }
}

TEST(RemoteBitbang, reaches_test_logic_reset_on_trst_without_the_pin) {
    BitbangServer server;
    auto client = connect(server);
    const TmsPath path = shortest_path(TapState::TestLogicReset, TapState::ShiftDr);
    ASSERT_FALSE(client->move(path.tms, path.count, true).failed());
    ASSERT_FALSE(client->pulse_trst().failed());
    const TmsPath again = shortest_path(TapState::TestLogicReset, TapState::ShiftIr);
    ASSERT_FALSE(client->move(again.tms, again.count, true).failed());
    const std::uint64_t tdi = 0xF;
    std::uint64_t tdo = 0;
    ASSERT_FALSE(client->shift({&tdi, 1}, {&tdo, 1}, 4, true).failed());
    EXPECT_EQ(tdo & 0xFU, 1U);
}

// The failure of a long shift.
std::string failure_of_shift(RemoteBitbang& client) {
    std::vector<std::uint64_t> tdi(64);
    std::vector<std::uint64_t> tdo(64);
    return client.shift(tdi, tdo, 4096, false).reason();
}

TEST(RemoteBitbang, a_peer_that_closes_is_a_clear_failure_and_stays_one) {
    BitbangServer server("", {.close_at_read = true, .trouble_at = 1000});
    auto client = connect(server);
    const std::string expected = "the target at " + server.address() + " has closed the connection";
    EXPECT_EQ(failure_of_shift(*client), expected);
    EXPECT_EQ(client->move(1, 1, true).reason(), expected);
    EXPECT_EQ(failure_of_shift(*client), expected);
    EXPECT_EQ(client->pulse_trst().reason(), expected);
    EXPECT_EQ(client->set_reset(true).reason(), expected);
}

TEST(RemoteBitbang, a_lost_target_is_reached_again_when_its_power_comes_back) {
    BitbangServer server("", {.close_at_read = true, .trouble_at = 5000});
    auto client = connect(server);
    EXPECT_EQ(failure_of_shift(*client), "");
    EXPECT_NE(failure_of_shift(*client), "");
    EXPECT_FALSE(client->power_on().failed());
    EXPECT_FALSE(client->move(0, 1, true).failed());
    client.reset();
    server.finish();
    EXPECT_EQ(server.connections, 2U);
}

TEST(RemoteBitbang, a_silent_peer_is_a_failure_after_the_time_limit) {
    BitbangServer server("", {.silent_at_read = true, .trouble_at = 300});
    auto client = connect(server, false, 100ms);
    const auto start = std::chrono::steady_clock::now();
    EXPECT_EQ(failure_of_shift(*client),
              "the target at " + server.address() + " has not answered for 100 ms");
    EXPECT_GE(std::chrono::steady_clock::now() - start, 100ms);
    EXPECT_LT(std::chrono::steady_clock::now() - start, 5s);
}

TEST(RemoteBitbang, an_answer_that_is_none_is_a_failure) {
    BitbangServer server("", {.wrong_at_read = true, .trouble_at = 10});
    auto client = connect(server);
    EXPECT_EQ(failure_of_shift(*client), "the target at " + server.address() +
                                             " has answered with the byte 0x3f instead of 0 or 1");
}

TEST(RemoteBitbang, a_target_that_is_not_there_is_named) {
    std::string address;
    {
        const BitbangServer server;
        address = server.address();
    }
    EXPECT_EQ(RemoteBitbang::connect({.address = address}).reason(),
              "connecting to the target at " + address + ": Connection refused");
    EXPECT_EQ(RemoteBitbang::connect({.address = "/nowhere/x"}).reason(),
              "connecting to the target at /nowhere/x: No such file or directory");
    EXPECT_EQ(RemoteBitbang::connect({.address = "not-a-port"}).reason(),
              "connecting to the target at not-a-port: Cannot assign requested address");
}

TEST(RemoteBitbang, a_stop_frees_a_call_that_waits) {
    BitbangServer server("", {.silent_at_read = true, .trouble_at = 1});
    auto client = connect(server, false, 20'000ms);
    std::thread stopper([&] {
        std::this_thread::sleep_for(50ms);
        client->request_stop();
    });
    const auto start = std::chrono::steady_clock::now();
    EXPECT_EQ(failure_of_shift(*client), "the target at " + server.address() +
                                             " is no longer waited for: the pod is being stopped");
    EXPECT_LT(std::chrono::steady_clock::now() - start, 5s);
    stopper.join();
}

} // namespace
} // namespace podsim::external
