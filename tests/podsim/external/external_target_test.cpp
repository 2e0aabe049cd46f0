#include "bitbang_server.h"
#include "podsim/external/external_target.h"
#include "podsim/model/chain.h"
#include "tests/podsim/reason.h"
#include "vector_server.h"

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <chrono>
#include <cstring>
#include <filesystem>
#include <random>
#include <thread>

namespace talvor::podsim::external {
namespace {

using namespace std::chrono_literals;
using testing::AllOf;
using testing::Ge;
using testing::Le;

std::unique_ptr<ExternalTarget> connect(const StreamServer& server, Options options = {}) {
    options.address = server.address();
    auto client = ExternalTarget::connect(options);
    EXPECT_TRUE(client) << reason_of(client);
    return client ? *std::move(client) : nullptr;
}

std::string socket_path() {
    return std::filesystem::temp_directory_path() /
           ("talvor-bitbang-" + std::to_string(getpid()) + ".sock");
}

// Calls with what a chain of the same TAP, built in, answers to them.
class Calls {
public:
    Calls(unsigned scans, uint32_t seed) : random_(seed) {
        for (unsigned i = 0; i < scans; ++i) {
            scan();
        }
    }

    static constexpr size_t kParts = 3;

    // Those of one part of three. With `check`: each bit that is looked at is the twin's.
    void make(Target& target, size_t part, bool check) const {
        const size_t first = calls_.size() * part / kParts;
        const size_t end = calls_.size() * (part + 1) / kParts;
        for (const Call& call : std::span(calls_).subspan(first, end - first)) {
            if (call.bits == 0) {
                ASSERT_TRUE(target.move(call.path.tms, call.path.count, call.tdi_level));
                continue;
            }
            std::vector<uint64_t> found(call.tdi.size());
            ASSERT_TRUE(target.shift_tail(call.tdi, found, call.bits, true, call.unwanted));
            for (uint64_t i = call.unwanted; check && i < call.bits; ++i) {
                ASSERT_EQ(get_bits(found, i, 1), get_bits(call.tdo, i, 1))
                    << "bit " << i << " of " << call.bits;
            }
        }
    }
    uint64_t wanted_bits() const {
        uint64_t bits = 0;
        for (const Call& call : calls_) {
            bits += call.bits - call.unwanted;
        }
        return bits;
    }

private:
    struct Call {
        TmsPath path{};
        bool tdi_level = false;
        uint64_t bits = 0; // 0: a move
        uint64_t unwanted = 0;
        std::vector<uint64_t> tdi{};
        std::vector<uint64_t> tdo{};
    };

    void move(TapState to) {
        const Call call{.path = shortest_path(twin_.state(), to), .tdi_level = random_() % 2 != 0};
        if (call.path.count != 0) {
            EXPECT_TRUE(twin_.move(call.path.tms, call.path.count, call.tdi_level));
            calls_.push_back(call);
        }
    }
    void scan() {
        const bool instruction = random_() % 3 == 0;
        move(instruction ? TapState::ShiftIr : TapState::ShiftDr);
        Call call{.bits = instruction ? 4 : 1 + random_() % (random_() % 8 == 0 ? 9000 : 300)};
        call.unwanted = random_() % 2 == 0 ? 0 : random_() % (call.bits + 1);
        call.tdi.resize(words_for(call.bits));
        std::generate(call.tdi.begin(), call.tdi.end(), std::ref(random_));
        if (instruction && random_() % 2 == 0) {
            call.tdi[0] = 8;
        }
        call.tdo.resize(call.tdi.size());
        EXPECT_TRUE(twin_.shift(call.tdi, call.tdo, call.bits, true));
        calls_.push_back(call);
        move(random_() % 2 == 0 ? TapState::RunTestIdle : TapState::PauseDr);
    }

    std::mt19937_64 random_;
    Chain twin_{scratch_tap()};
    std::vector<Call> calls_;
};

// One call after the other, and then two batches of them.
void compare_with_twin(ExternalTarget& client, const Calls& calls) {
    calls.make(client, 0, true);
    for (size_t part = 1; part < Calls::kParts; ++part) {
        SCOPED_TRACE("batch " + std::to_string(part));
        client.send_ahead();
        calls.make(client, part, false);
        client.repeat();
        calls.make(client, part, true);
        ASSERT_TRUE(client.end_repeat());
    }
}

TEST(ExternalTargetTest, MovesTheSameBitsAsABuiltInChain) {
    for (const bool tdo_on_rise : {false, true}) {
        for (const std::string& path : {std::string(), socket_path()}) {
            BitbangServer server(path, {.tdo_on_rise = tdo_on_rise});
            auto client = connect(server);
            compare_with_twin(*client, Calls(120, 7));
            client.reset();
            server.finish();
            EXPECT_EQ(server.unknown, 0U);
            EXPECT_EQ(server.resets, "");
            EXPECT_TRUE(server.tck_rests_low);
        }
    }
}

TEST(ExternalTargetTest, MovesTheSameBitsThroughAnXvcServer) {
    for (const char* greeting :
         {"xvcServer_v1.0:2048\n", "xvcServer_v1.0:3\n", "xvcServer_v1.1:1000000\r\n"}) {
        XvcServer server(socket_path(), {.greeting = greeting});
        auto client = connect(server, {.protocol = TargetProtocol::Xvc});
        compare_with_twin(*client, Calls(greeting[15] == '3' ? 9 : 90, 9));
        client.reset();
        server.finish();
        EXPECT_EQ(server.unknown, 0U);
        EXPECT_EQ(server.early, 0U);
    }
}

TEST(ExternalTargetTest, MovesTheSameBitsThroughAJtagVpiServer) {
    JtagVpiServer server;
    auto client = connect(server, {.protocol = TargetProtocol::JtagVpi});
    compare_with_twin(*client, Calls(90, 8));
    client.reset();
    server.finish();
    EXPECT_EQ(server.unknown, 0U);
    EXPECT_EQ(server.early, 0U);
    EXPECT_EQ(server.longest_bits, 4096U);
}

TEST(ExternalTargetTest, FillsTheVectorsThatAnXvcServerOffers) {
    XvcServer server("", {.greeting = "xvcServer_v1.0:512\n"});
    auto client = connect(server, {.protocol = TargetProtocol::Xvc});
    client->send_ahead();
    std::vector<uint64_t> words(64);
    for (int scan = 0; scan < 10; ++scan) {
        ASSERT_TRUE(client->shift(words, words, 1000, false));
    }
    ASSERT_TRUE(client->end_repeat());
    client.reset();
    server.finish();
    EXPECT_EQ(server.longest_bits, 2048U);
    EXPECT_EQ(server.requests, 1U + 5U); // the reset at the start; 10,000 bits
}

TEST(ExternalTargetTest, PutsTheMovesBetweenTwoScansIntoOnePacketOfJtagVpi) {
    JtagVpiServer server;
    auto client = connect(server, {.protocol = TargetProtocol::JtagVpi});
    client->send_ahead();
    uint64_t word = 0;
    for (int scan = 0; scan < 10; ++scan) {
        ASSERT_TRUE(client->shift({&word, 1}, {&word, 1}, 32, true));
        ASSERT_TRUE(client->move(0b01, 2, true));
        ASSERT_TRUE(client->move(0b001, 3, true));
    }
    ASSERT_TRUE(client->end_repeat());
    client.reset();
    server.finish();
    EXPECT_EQ(server.moves, 1U + 10U); // the reset at the start
    EXPECT_EQ(server.requests, 10U);
}

TEST(ExternalTargetTest, SendsNoByteWithoutAnEffect) {
    BitbangServer server;
    auto client = connect(server);
    compare_with_twin(*client, Calls(60, 11));
    client.reset();
    server.finish();
    EXPECT_GT(server.pin_bytes, 1000U);
    EXPECT_EQ(server.idle_bytes, 0U);
}

TEST(ExternalTargetTest, AsksOnlyForWhatIsLookedAt) {
    BitbangServer server;
    auto client = connect(server);
    const Calls calls(60, 12);
    compare_with_twin(*client, calls);
    client.reset();
    server.finish();
    EXPECT_EQ(server.reads, calls.wanted_bits());
}

// The failure of a long shift.
std::string failure_of_shift(ExternalTarget& client) {
    std::vector<uint64_t> tdi(64);
    std::vector<uint64_t> tdo(64);
    return reason_of(client.shift(tdi, tdo, 4096, false));
}

// Clocks a long shift ahead of its answers, and takes them.
std::string failure_of_long_batch(ExternalTarget& client, uint64_t bits) {
    std::vector<uint64_t> tdi(words_for(bits));
    std::vector<uint64_t> tdo(tdi.size());
    client.send_ahead();
    const Status ahead = client.shift(tdi, tdo, bits, false);
    client.repeat();
    const Status repeated = client.shift(tdi, tdo, bits, false);
    const Status ended = client.end_repeat();
    EXPECT_EQ(reason_of(ended), reason_of(repeated));
    EXPECT_TRUE(ahead || !repeated);
    return reason_of(repeated);
}

TEST(ExternalTargetTest, KeepsManyRequestsInFlightAndNeverMoreThan65536) {
    BitbangServer server("", {.hoard = true});
    auto client = connect(server);
    EXPECT_EQ(failure_of_long_batch(*client, 200'000), "");
    client.reset();
    server.finish();
    EXPECT_THAT(server.most_unanswered, AllOf(Ge(16'384U), Le(65'536U)));
}

TEST(ExternalTargetTest, AServerThatDoesNotReadWhileItAnswersIsServed) {
    BitbangServer server(socket_path(), {.narrow = true});
    auto client = connect(server);
    EXPECT_EQ(failure_of_long_batch(*client, 200'000), "");
}

TEST(ExternalTargetTest, BringsATargetOfUnknownStateToTestLogicReset) {
    BitbangServer server; // starts in Pause-DR
    auto client = connect(server);
    const TmsPath path = shortest_path(TapState::TestLogicReset, TapState::ShiftIr);
    ASSERT_TRUE(client->move(path.tms, path.count, true));
    const uint64_t tdi = 0;
    uint64_t tdo = 0;
    ASSERT_TRUE(client->shift({&tdi, 1}, {&tdo, 1}, 4, false));
    EXPECT_EQ(tdo & 0xFU, 1U);
}

TEST(ExternalTargetTest, SendsResetsOnlyWhenToldTo) {
    for (const bool send_resets : {false, true}) {
        BitbangServer server;
        auto client = connect(server, {.send_resets = send_resets});
        ASSERT_TRUE(client->pulse_trst());
        ASSERT_TRUE(client->set_reset(true));
        ASSERT_TRUE(client->set_reset(false));
        client.reset();
        server.finish();
        EXPECT_EQ(server.resets, send_resets ? "trsr" : "");
    }
}

TEST(ExternalTargetTest, SendsTheResetOfJtagVpiOnlyWhenToldTo) {
    for (const bool send_resets : {false, true}) {
        JtagVpiServer server;
        auto client =
            connect(server, {.protocol = TargetProtocol::JtagVpi, .send_resets = send_resets});
        ASSERT_TRUE(client->pulse_trst());
        ASSERT_TRUE(client->set_reset(true));
        client.reset();
        server.finish();
        EXPECT_EQ(server.resets, send_resets ? 1U : 0U);
    }
}

TEST(ExternalTargetTest, EndsTheServerOnlyWhenToldTo) {
    for (const bool quit : {false, true}) {
        BitbangServer bitbang;
        connect(bitbang, {.quit = quit}).reset();
        bitbang.finish();
        EXPECT_EQ(bitbang.quits, quit ? 1U : 0U);
        JtagVpiServer vpi;
        connect(vpi, {.protocol = TargetProtocol::JtagVpi, .quit = quit}).reset();
        vpi.finish();
        EXPECT_EQ(vpi.quits, quit ? 1U : 0U);
    }
}

TEST(ExternalTargetTest, ReachesTestLogicResetOnTrstWithoutThePin) {
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

TEST(ExternalTargetTest, APeerThatClosesIsAClearFailureAndStaysOne) {
    BitbangServer server("", {.close_at_read = true, .trouble_at = 1000});
    auto client = connect(server);
    const std::string expected = "the target at " + server.address() + " has closed the connection";
    EXPECT_EQ(failure_of_shift(*client), expected);
    EXPECT_EQ(reason_of(client->move(1, 1, true)), expected);
    EXPECT_EQ(failure_of_shift(*client), expected);
    EXPECT_EQ(reason_of(client->pulse_trst()), expected);
    EXPECT_EQ(reason_of(client->set_reset(true)), expected);
}

TEST(ExternalTargetTest, APeerThatClosesInTheMiddleOfABatchIsAClearFailure) {
    BitbangServer server("", {.close_at_read = true, .trouble_at = 1000});
    auto client = connect(server);
    EXPECT_EQ(failure_of_long_batch(*client, 2000),
              "the target at " + server.address() + " has closed the connection");
}

TEST(ExternalTargetTest, ABatchThatIsAbandonedLosesTheTargetUntilItsPowerComesBack) {
    BitbangServer server;
    auto client = connect(server);
    std::vector<uint64_t> words(16);
    client->send_ahead();
    EXPECT_TRUE(client->shift(words, words, 1000, false));
    client->abandon();
    EXPECT_EQ(failure_of_shift(*client),
              "the target at " + server.address() + " was given up in the middle of a batch");
    EXPECT_TRUE(client->power_on());
    EXPECT_EQ(failure_of_shift(*client), "");
}

TEST(ExternalTargetTest, VectorServersThatCloseOrGoSilentAreClearFailures) {
    XvcServer closing("", {.close_at = 2});
    EXPECT_EQ(failure_of_shift(*connect(closing, {.protocol = TargetProtocol::Xvc})),
              "the target at " + closing.address() + " has closed the connection");
    XvcServer silent("", {.silent_at = 2});
    EXPECT_EQ(
        failure_of_shift(*connect(silent, {.protocol = TargetProtocol::Xvc, .patience = 50ms})),
        "the target at " + silent.address() + " has not answered for 50 ms");
    JtagVpiServer closing_vpi("", {.close_at = 1});
    EXPECT_EQ(failure_of_shift(*connect(closing_vpi, {.protocol = TargetProtocol::JtagVpi})),
              "the target at " + closing_vpi.address() + " has closed the connection");
    JtagVpiServer silent_vpi("", {.silent_at = 1});
    EXPECT_EQ(failure_of_shift(
                  *connect(silent_vpi, {.protocol = TargetProtocol::JtagVpi, .patience = 50ms})),
              "the target at " + silent_vpi.address() + " has not answered for 50 ms");
}

TEST(ExternalTargetTest, AServerThatDoesNotGreetAsXvcIsRefused) {
    for (const char* greeting : {"hello\n", "xvcServer_v1.0:\n", "xvcServer_v1.0:1\n",
                                 "xvcServer_v1.0:12x\n", "xvcServer_v1.0 2048\n"}) {
        const XvcServer server("", {.greeting = greeting});
        const auto client = ExternalTarget::connect(
            {.address = server.address(), .protocol = TargetProtocol::Xvc, .patience = 100ms});
        const std::string line(greeting, std::strlen(greeting) - 1);
        EXPECT_EQ(reason_of(client), "the target at " + server.address() +
                                         " is no XVC server: it has answered getinfo: with \"" +
                                         line + "\"");
    }
}

TEST(ExternalTargetTest, ALostTargetIsReachedAgainWhenItsPowerComesBack) {
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

TEST(ExternalTargetTest, ASilentPeerIsAFailureAfterTheTimeLimit) {
    BitbangServer server("", {.silent_at_read = true, .trouble_at = 300});
    auto client = connect(server, {.patience = 100ms});
    const auto start = std::chrono::steady_clock::now();
    EXPECT_EQ(failure_of_shift(*client),
              "the target at " + server.address() + " has not answered for 100 ms");
    EXPECT_GE(std::chrono::steady_clock::now() - start, 100ms);
    EXPECT_LT(std::chrono::steady_clock::now() - start, 5s);
}

TEST(ExternalTargetTest, AnAnswerThatIsNoneIsAFailure) {
    BitbangServer server("", {.wrong_at_read = true, .trouble_at = 10});
    auto client = connect(server);
    EXPECT_EQ(failure_of_shift(*client), "the target at " + server.address() +
                                             " has answered with the byte 0x3f instead of 0 or 1");
}

TEST(ExternalTargetTest, ATargetThatIsNotThereIsNamed) {
    std::string address;
    {
        const BitbangServer server;
        address = server.address();
    }
    EXPECT_EQ(reason_of(ExternalTarget::connect({.address = address})),
              "connecting to the target at " + address + ": Connection refused");
    EXPECT_EQ(reason_of(ExternalTarget::connect({.address = "/nowhere/x"})),
              "connecting to the target at /nowhere/x: No such file or directory");
    EXPECT_EQ(reason_of(ExternalTarget::connect({.address = "not-a-port"})),
              "connecting to the target at not-a-port: Cannot assign requested address");
}

TEST(ExternalTargetTest, AStopFreesACallThatWaits) {
    BitbangServer server("", {.silent_at_read = true, .trouble_at = 1});
    auto client = connect(server, {.patience = 20'000ms});
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
