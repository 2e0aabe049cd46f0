// Runs of data words: when the controller takes them in one piece, and what it does then. That it
// does what the words do one by one is for the random batches of the decoder's tests.
#include "host.h"
#include "podsim/model/controller.h"

#include <gmock/gmock.h>
#include <gtest/gtest.h>

namespace talvor::podsim {
namespace {

using namespace host;
using testing::ElementsAre;

constexpr DataStep kExchange{SHM_WAIT_READ_ONE, true, true};
constexpr DataStep kReceive{SHM_WAIT_READ_ONE, false, true};
constexpr DataStep kSend{SHM_WAIT_WRITE_ONE, true, false};
constexpr DataStep kExchangeAlone{0, true, true};
constexpr DataStep kReceiveAlone{0, false, true};
constexpr DataStep kSendAlone{0, true, false};

// A strict pod whose batches hold the waits, and which nobody watches.
class RunStepsTest : public StrictPodTest {
protected:
    RunStepsTest() {
        pod.write(TBC_PORT_POD_TIMING, POD_TIMING_HOST_WAITS);
        pod.controller.observe(nullptr);
    }

    // A scan with as many words on their way.
    void begin(unsigned option, uint64_t words, int sent) {
        pod.launch(TBC_STATE_IDLE, option, words * 16 - 1);
        for (int i = 0; i < sent; ++i) {
            pod.write(TBC_PORT_SEND, 0x100U + static_cast<unsigned>(i));
        }
    }
    // How many of `count` steps are taken; the words that are sent count up from 0x200.
    size_t taken(const DataStep& step, size_t count) {
        std::vector<uint16_t> words(count * step.words());
        for (size_t i = 0; i < count && step.sends; ++i) {
            words[i * step.words() + step.value_index()] = static_cast<uint16_t>(0x200 + i);
        }
        received.assign(count, 0xAAAA);
        const auto steps = pod.controller.run_steps(step, words.data(), count, received.data());
        EXPECT_TRUE(steps);
        return steps.value_or(99);
    }

    Words received;
};

TEST_F(RunStepsTest, WholeGroupsAreTakenSaveTheLastWordsOfTheScan) {
    begin(TBC_SCAN_BOTH, 20, 2);
    EXPECT_EQ(taken(kExchange, 7), 4U);
    EXPECT_EQ(taken(kExchange, 3), 0U);
    EXPECT_EQ(taken(kExchange, 100), 12U); // 16 words are left, two of them in the send buffer
    EXPECT_EQ(taken(kExchange, 100), 0U);
    pod.write(TBC_PORT_CONTROL, TBC_CONTROL_RESET);
    begin(TBC_SCAN_BOTH, 20, 1);
    EXPECT_EQ(taken(kExchange, 100), 16U);
    EXPECT_EQ(taken(kExchange, 100), 0U);
    pod.write(TBC_PORT_CONTROL, TBC_CONTROL_RESET);
    begin(TBC_SCAN_RECEIVE, 20, 0);
    EXPECT_EQ(taken(kReceive, 100), 16U);
    EXPECT_EQ(taken(kReceive, 100), 0U);
    pod.write(TBC_PORT_CONTROL, TBC_CONTROL_RESET);
    begin(TBC_SCAN_SEND, 22, 2);
    EXPECT_EQ(taken(kSend, 100), 20U);
    EXPECT_EQ(taken(kSend, 100), 0U);
    pod.wait(SHM_WAIT_DONE);
}

TEST_F(RunStepsTest, WordsGoOutAndComeInInTheirOrder) {
    pod.scan_send(TBC_STATE_IR_PATH | TBC_STATE_IDLE, 4, {3});
    pod.scan_send(TBC_STATE_IDLE, 64, {1, 2, 3, 4});
    begin(TBC_SCAN_BOTH, 14, 2);
    EXPECT_EQ(taken(kExchange, 12), 12U);
    // The pipeline's 16 bits, the register, and then what was sent.
    EXPECT_EQ(Words(received.begin() + 1, received.end()),
              (Words{1, 2, 3, 4, 0x100, 0x101, 0x200, 0x201, 0x202, 0x203, 0x204}));
    EXPECT_EQ(pod.read(TBC_PORT_TAP_STATE), TBC_STATE_SHIFT_DR);
    Words rest;
    for (int i = 0; i < 2; ++i) {
        pod.wait(SHM_WAIT_READ_ONE);
        rest.push_back(pod.read(TBC_PORT_RECEIVE));
    }
    EXPECT_THAT(rest, ElementsAre(0x205, 0x206));
    EXPECT_EQ(pod.read(TBC_PORT_TAP_STATE), TBC_STATE_IDLE_READ);
    EXPECT_EQ(pod.scan_both(TBC_STATE_IDLE, 64, {0, 0, 0, 0}, true),
              (Words{0x208, 0x209, 0x20A, 0x20B}));
}

TEST_F(RunStepsTest, OnlyStepsThatFitTheScanAreTaken) {
    EXPECT_EQ(taken(kExchange, 8), 0U); // there is none
    begin(TBC_SCAN_BOTH, 20, 2);
    EXPECT_EQ(taken(kReceive, 8), 0U);
    EXPECT_EQ(taken(kSend, 8), 0U);
    pod.write(TBC_PORT_CONTROL, TBC_CONTROL_RESET);
    begin(TBC_SCAN_SEND, 20, 2);
    EXPECT_EQ(taken(kExchange, 8), 0U);
    EXPECT_EQ(taken(kReceive, 8), 0U);
    pod.write(TBC_PORT_CONTROL, TBC_CONTROL_RESET);
    begin(TBC_SCAN_RECEIVE, 20, 0);
    EXPECT_EQ(taken(kExchange, 8), 0U);
    EXPECT_EQ(taken(kSend, 8), 0U);
    EXPECT_EQ(taken(kReceive, 8), 8U);
}

TEST_F(RunStepsTest, AMissingWaitIsLeftToTheWordThatLacksIt) {
    struct Case {
        unsigned option;
        DataStep step;
        int sent;
    };
    for (const Case& each :
         {Case{TBC_SCAN_BOTH, kExchangeAlone, 2}, Case{TBC_SCAN_RECEIVE, kReceiveAlone, 0},
          Case{TBC_SCAN_SEND, kSendAlone, 2}}) {
        pod.write(TBC_PORT_POD_TIMING, POD_TIMING_HOST_WAITS);
        begin(each.option, 20, each.sent);
        EXPECT_EQ(taken(each.step, 8), 0U);
        pod.write(TBC_PORT_POD_TIMING, 0); // the pod waits by itself
        EXPECT_EQ(taken(each.step, 8), 8U);
        pod.write(TBC_PORT_CONTROL, TBC_CONTROL_RESET);
    }
}

TEST_F(RunStepsTest, BuffersThatAreNotAsTheNextStepLeavesThemAreLeftToTheWords) {
    begin(TBC_SCAN_BOTH, 20, 0);
    EXPECT_EQ(taken(kExchange, 8), 0U);
    pod.write(TBC_PORT_SEND, 1);
    pod.write(TBC_PORT_SEND, 2);
    pod.wait(SHM_WAIT_WRITE_ONE); // a word is received
    pod.write(TBC_PORT_SEND, 3);
    EXPECT_EQ(taken(kExchange, 8), 0U);
    pod.wait(SHM_WAIT_READ_ONE);
    EXPECT_EQ(taken(kExchange, 8), 0U);
    pod.read(TBC_PORT_RECEIVE);
    EXPECT_EQ(taken(kExchange, 8), 8U);
    pod.write(TBC_PORT_CONTROL, TBC_CONTROL_RESET);
    begin(TBC_SCAN_SEND, 20, 1);
    EXPECT_EQ(taken(kSend, 8), 0U);
    pod.write(TBC_PORT_SEND, 2);
    EXPECT_EQ(taken(kSend, 8), 8U);
    pod.write(TBC_PORT_CONTROL, TBC_CONTROL_RESET);
    begin(TBC_SCAN_RECEIVE, 20, 0);
    pod.wait(SHM_WAIT_READ_ONE);
    EXPECT_EQ(taken(kReceive, 8), 0U);
}

TEST_F(RunStepsTest, NothingIsTakenWhenNobodyWantsItSo) {
    begin(TBC_SCAN_BOTH, 40, 2);
    pod.controller.observe(&pod.recorder); // a trace shows each word by itself
    EXPECT_EQ(taken(kExchange, 8), 0U);
    pod.controller.observe(nullptr);
    EXPECT_EQ(taken(kExchange, 8), 8U);
    pod.write(TBC_PORT_COMMAND, TBC_COMMAND_LOOPBACK);
    EXPECT_EQ(taken(kExchange, 8), 0U);
    pod.write(TBC_PORT_COMMAND, TBC_COMMAND_RELEASE);
    EXPECT_EQ(taken(kExchange, 8), 8U);
    pod.controller.request_stop();
    EXPECT_EQ(taken(kExchange, 8), 0U);
    ControllerSettings settings = strict_settings();
    settings.takes_runs = false;
    Bench slow(scratch_chain(64), settings);
    slow.controller.observe(nullptr);
    slow.launch(TBC_STATE_IDLE, TBC_SCAN_RECEIVE, 20 * 16 - 1);
    Words in(8);
    EXPECT_EQ(slow.controller.run_steps(kReceive, in.data(), 8, in.data()), 0U);
}

// A chain whose program can go away.
class FrailChain : public Chain {
public:
    using Chain::Chain;
    Status shift(std::span<const uint64_t> tdi, std::span<uint64_t> tdo, uint64_t count,
                 bool leave) override {
        return gone ? failure("the target has gone") : Chain::shift(tdi, tdo, count, leave);
    }
    bool gone = false;
};

TEST(FailingRunTest, ATargetThatFailsEndsTheScan) {
    FrailChain chain(scratch_chain(64));
    Controller controller(strict_settings(), chain);
    const auto write = [&](unsigned port, unsigned value) {
        EXPECT_TRUE(controller.write(static_cast<uint16_t>(port), static_cast<uint16_t>(value)));
    };
    write(TBC_PORT_COUNT_LOW, 40 * 16 - 1);
    write(TBC_PORT_OPERATION, TBC_STATE_IDLE | TBC_TRANSIT_SCAN);
    write(TBC_PORT_CONFIG, TBC_SCAN_BOTH);
    write(TBC_PORT_CONTROL, TBC_CONTROL_RUN);
    write(TBC_PORT_SEND, 1);
    write(TBC_PORT_SEND, 2);
    Words words(8 * kExchange.words());
    Words in(8);
    EXPECT_EQ(controller.run_steps(kExchange, words.data(), 8, in.data()), 8U);
    const uint64_t time = controller.time_ns();
    chain.gone = true;
    EXPECT_EQ(controller.run_steps(kExchange, words.data(), 8, in.data()), std::nullopt);
    EXPECT_EQ(headline(controller.word_error()), "the target has gone");
    EXPECT_FALSE(controller.busy());
    EXPECT_EQ(controller.time_ns(), time);
    chain.gone = false;
    EXPECT_EQ(controller.run_steps(kExchange, words.data(), 8, in.data()), 0U);
    EXPECT_TRUE(controller.wait(SHM_WAIT_DONE));
}

} // namespace
} // namespace talvor::podsim
