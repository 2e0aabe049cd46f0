#include "host/play/player.h"
#include "host/svf/reader.h"
#include "host/svf/recorder.h"
#include "tests/host/svf/recording_port.h"

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <random>
#include <string>

namespace talvor::svf {
namespace {

using testing::HasSubstr;

// A recorder whose file is a string.
struct Recording {
    std::string text;
    Recorder recorder{[this](std::string_view more) {
        text += more;
        return Status();
    }};
};

void expect_ok(const Status& status) {
    EXPECT_TRUE(status) << headline(status.error());
}

Error failure(ErrorKind kind) {
    return {kind, -140, "pod 1", "the batch failed", ""};
}

TEST(RecorderTest, WritesWhatWasDone) {
    Recording recording;
    Recorder& recorder = recording.recorder;
    expect_ok(recorder.comment("made\nby a test"));
    expect_ok(recorder.set_clock(12.5e6));
    expect_ok(recorder.found(StableState::Reset));
    const Bits out = Bits::from_uint(0x2A5, 10);
    const Bits in = Bits::from_uint(0x1F0, 10);
    expect_ok(recorder.scanned(ScanPath::Ir, out, nullptr, StableState::Idle));
    expect_ok(recorder.scanned(ScanPath::Dr, out, &in, StableState::PauseDr));
    expect_ok(recorder.ran(StableState::PauseDr, 0, std::chrono::microseconds(5)));
    expect_ok(recorder.ran(StableState::PauseDr, 0, std::chrono::nanoseconds(0)));
    expect_ok(recorder.ran(StableState::Idle, 100, std::chrono::nanoseconds(0)));
    expect_ok(recorder.moved(StableState::Idle));
    expect_ok(recorder.moved(StableState::PauseIr));
    expect_ok(recorder.moved(StableState::PauseIr));
    expect_ok(recorder.set_trst(TrstLevel::Released));
    expect_ok(recorder.pulsed_trst());
    expect_ok(recorder.was_reset());
    expect_ok(recorder.finish({}));
    EXPECT_EQ(recording.text, "! made by a test\n"
                              "FREQUENCY 12500000 HZ;\n"
                              "STATE RESET;\n"
                              "SIR 10 TDI (2A5);\n"
                              "ENDDR DRPAUSE;\n"
                              "SDR 10 TDI (2A5) TDO (1F0) MASK (3FF);\n"
                              "RUNTEST DRPAUSE 0.000005000 SEC ENDSTATE DRPAUSE;\n"
                              "RUNTEST IDLE 100 TCK ENDSTATE IDLE;\n"
                              "STATE IRPAUSE;\n"
                              "STATE IRPAUSE;\n"
                              "TRST OFF;\n"
                              "TRST ON;\nTRST OFF;\n"
                              "STATE RESET;\n"
                              "STATE RESET;\n"
                              "! Complete: 2 scans of 20 bits, 1 with answers.\n");
}

TEST(RecorderTest, OnlyWhatIsKnownOfAnAnswerIsCompared) {
    Recording recording;
    expect_ok(recording.recorder.found(StableState::Reset));
    const Bits out = Bits::from_uint(0xA5FFFF, 24);
    const Bits in = Bits::from_uint(0x7E, 8);
    expect_ok(recording.recorder.scanned(ScanPath::Dr, out, &in, StableState::Idle));
    EXPECT_THAT(recording.text, HasSubstr("SDR 24 TDI (A5FFFF) TDO (00007E) MASK (0000FF);\n"));
}

TEST(RecorderTest, BeginsWhereTheTapWasFound) {
    Recording recording;
    expect_ok(recording.recorder.found(StableState::PauseDr));
    EXPECT_EQ(recording.text,
              "! The TAP was found in Pause-DR: what the instruction registers held "
              "is not known.\nSTATE RESET;\nSTATE DRPAUSE;\n");
    EXPECT_TRUE(recording.recorder.losses().empty());
}

TEST(RecorderTest, WhatSvfCannotSayIsNamedInItsPlace) {
    Recording recording;
    Recorder& recorder = recording.recorder;
    expect_ok(recorder.found(StableState::Reset));
    expect_ok(recorder.other("a register that was written"));
    expect_ok(recorder.other("a register that was written"));
    expect_ok(recorder.moved(StableState::Idle));
    // Somebody else has moved the TAP; one that is reset was reset by who asked.
    expect_ok(recorder.found(StableState::PauseIr));
    expect_ok(recorder.found(StableState::PauseIr));
    expect_ok(recorder.found(StableState::Reset));
    EXPECT_EQ(recording.text, "STATE RESET;\n"
                              "! Not in this file: a register that was written\n"
                              "! Not in this file: a register that was written\n"
                              "STATE IDLE;\n"
                              "! Not in this file: a TAP that something else has moved\n"
                              "STATE RESET;\nSTATE IRPAUSE;\n"
                              "STATE RESET;\n");
    EXPECT_EQ(recorder.losses(),
              (std::map<std::string, uint64_t>{{"a TAP that something else has moved", 1},
                                               {"a register that was written", 2}}));
}

TEST(RecorderTest, TheLastLineSaysWhetherItIsComplete) {
    Recording stopped;
    expect_ok(stopped.recorder.finish(Failure(failure(ErrorKind::Usage))));
    EXPECT_EQ(stopped.text, "! INCOMPLETE: pod 1: the batch failed\n");
    EXPECT_EQ(stopped.recorder.incomplete(), "pod 1: the batch failed");
    // A session that goes on behind a failure is not what it was.
    Recording torn;
    expect_ok(torn.recorder.failed(failure(ErrorKind::Pod)));
    expect_ok(torn.recorder.moved(StableState::Idle));
    expect_ok(torn.recorder.finish({}));
    EXPECT_EQ(torn.text, "! Here something failed: pod 1: the batch failed\nSTATE IDLE;\n"
                         "! INCOMPLETE: pod 1: the batch failed\n");
}

TEST(RecorderTest, AFileThatCannotBeWrittenEndsTheOperation) {
    Recorder recorder([](std::string_view) { return Status(file_error("a.svf", "is full")); });
    EXPECT_FALSE(recorder.found(StableState::Reset));
    EXPECT_FALSE(recorder.was_reset());
    EXPECT_FALSE(recorder.scanned(ScanPath::Dr, Bits(8), nullptr, StableState::Idle));
    EXPECT_FALSE(recorder.other("anything"));
    EXPECT_FALSE(recorder.finish({}));
}

// What a player is asked for, told to a recorder as a pod's port tells it.
class Session {
public:
    Session(RecordingPort& port, Recorder& recorder, uint32_t seed)
        : port_(port), recorder_(recorder), random_(seed) {}

    void run(int steps) {
        expect_ok(recorder_.found(StableState::Reset));
        for (int i = 0; i < steps; ++i) {
            step();
        }
        expect_ok(recorder_.finish({}));
    }

private:
    uint32_t dice(uint32_t sides) { return static_cast<uint32_t>(random_() % sides); }
    StableState state() {
        return std::array{StableState::Idle, StableState::PauseDr, StableState::PauseIr,
                          StableState::Reset}[dice(4)];
    }
    void step() {
        switch (dice(6)) {
        case 0: {
            const StableState to = state();
            // A player goes to Test-Logic-Reset by clocks of TMS, wherever the TAP stands.
            if (to == StableState::Reset) {
                expect_ok(port_.reset_tap());
                expect_ok(recorder_.was_reset());
            } else if (to != at_ || to != StableState::Idle) {
                expect_ok(port_.move(to));
                expect_ok(recorder_.moved(to));
            }
            at_ = to;
            break;
        }
        case 1: {
            const uint64_t clocks = 1 + dice(50);
            expect_ok(port_.run(StableState::Idle, clocks, std::chrono::nanoseconds(0)));
            expect_ok(recorder_.ran(StableState::Idle, clocks, std::chrono::nanoseconds(0)));
            at_ = StableState::Idle;
            break;
        }
        default:
            scan();
        }
    }
    void scan() {
        const ScanPath path = dice(3) == 0 ? ScanPath::Ir : ScanPath::Dr;
        const StableState end = state();
        Bits out(1 + dice(300));
        for (uint16_t& word : out.words()) {
            word = static_cast<uint16_t>(random_());
        }
        out.clear_unused();
        Bits in;
        const bool receives = dice(2) != 0;
        expect_ok(port_.scan({path, &out, receives ? &in : nullptr, end}));
        expect_ok(recorder_.scanned(path, out, receives ? &in : nullptr, end));
        at_ = end;
    }

    RecordingPort& port_;
    Recorder& recorder_;
    std::mt19937 random_;
    StableState at_ = StableState::Reset;
};

TEST(RecorderTest, PlayingARecordingDoesTheSameAgain) {
    for (uint32_t seed = 0; seed < 60; ++seed) {
        Recording recording;
        RecordingPort first;
        Session(first, recording.recorder, seed).run(50);
        RecordingPort second;
        play::TextSource source(recording.text, "recorded.svf");
        Reader reader(source, second);
        play::PlayOptions options;
        options.reset_first = false;
        play::Player player(second, options);
        expect_ok(player.play(reader));
        EXPECT_EQ(player.report().mismatches, 0U);
        // The file begins with a reset of its own, and a player flushes at its end.
        ASSERT_GE(second.log.size(), 2U);
        ASSERT_EQ(second.log.front(), "reset");
        ASSERT_EQ(second.log.back(), "flush");
        const std::vector<std::string> played(second.log.begin() + 1, second.log.end() - 1);
        ASSERT_EQ(played, first.log) << seed;
    }
}

} // namespace
} // namespace talvor::svf
