#include "host/bridge/edge_engine.h"
#include "tests/host/bridge/edge_target.h"

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <string>
#include <string_view>
#include <vector>

namespace talvor {
namespace {

using testing::ElementsAre;
using testing::HasSubstr;
using testing::IsEmpty;
using Calls = std::vector<std::string>;

// "110": the first edge is the leftmost.
Bits edges(std::string_view text) {
    Bits bits(text.size());
    for (size_t i = 0; i < text.size(); ++i) {
        bits.set(i, text[i] == '1');
    }
    return bits;
}

std::string text_of(const Bits& bits) {
    std::string text;
    for (size_t i = 0; i < bits.size(); ++i) {
        text += bits[i] ? '1' : '0';
    }
    return text;
}

std::string zeros(size_t count) {
    return std::string(count, '0');
}
std::string ones(size_t count) {
    return std::string(count, '1');
}

// Out of Run-Test/Idle into Shift, and from the last Shift clock through Update back.
constexpr const char* kIntoDr = "100";
constexpr const char* kIntoIr = "1100";
constexpr const char* kOut = "10";

// A bridge before one TAP with a register of 12 bits for the instruction 0, one of 40 bits for 1,
// and BYPASS for 2. It stands in Run-Test/Idle, the register of 12 bits selected.
class Bridge {
public:
    explicit Bridge(EdgeEngineOptions options = {})
        : line(ScanTarget({{4, {12, 40}, Captures::Held, 0}}, 1), 0xBEEF),
          engine(line, std::move(options), [this](Inexact kind, const std::string& text) {
              notes.push_back({kind, text});
          }) {
        clock("111110");
        choose("0000");
        line.record();
    }

    // No TDO is wanted.
    void clock(const std::string& tms, std::string tdi = {}) {
        tdi.resize(tms.size(), '0');
        const Status done = engine.clock(edges(tms), edges(tdi), nullptr);
        EXPECT_TRUE(done) << (done ? "" : headline(done.error()));
    }
    std::string ask(const std::string& tms, std::string tdi = {}) {
        tdi.resize(tms.size(), '0');
        Bits tdo;
        const Status done = engine.clock(edges(tms), edges(tdi), &tdo);
        EXPECT_TRUE(done) << (done ? "" : headline(done.error()));
        return text_of(tdo);
    }
    // Shift clocks; the last one leaves.
    static std::string shifts(size_t count) { return zeros(count - 1) + "1"; }
    void choose(const std::string& instruction) {
        clock(kIntoIr);
        clock(shifts(4), instruction);
        clock(kOut);
        settle();
        events();
        calls();
    }
    // A whole scan of the data register.
    void update(const std::string& bits) {
        clock(kIntoDr);
        clock(shifts(bits.size()), bits);
        clock(kOut);
        settle();
        events();
        calls();
    }
    void settle() { EXPECT_TRUE(engine.settle()); }
    Calls calls() { return line.take_calls(); }
    std::vector<TargetEvent> events() { return line.target.take_events(); }
    // What happened since the last look, a letter each: capture, update (i: on the instruction
    // path), reset.
    std::string happened() {
        std::string letters;
        for (const TargetEvent& event : events()) {
            const bool ir = event.path == ScanPath::Ir;
            switch (event.kind) {
            case TargetEvent::Kind::Reset:
                letters += "R";
                break;
            case TargetEvent::Kind::Capture:
                letters += ir ? "ci" : "c";
                break;
            case TargetEvent::Kind::Update:
                letters += ir ? "ui" : "u";
                break;
            }
        }
        return letters;
    }
    std::string register_content() {
        std::string text;
        for (const uint8_t bit : line.target.chain().content()) {
            text += bit != 0 ? '1' : '0';
        }
        return text;
    }
    void expect_refusal(const Status& done, const char* thing) {
        ASSERT_FALSE(done) << thing;
        EXPECT_EQ(done.error().kind, ErrorKind::Refused);
        EXPECT_EQ(done.error().thing, thing);
        EXPECT_EQ(done.error().next_step, "without --strict it is only counted");
    }

    TargetLine line;
    EdgeEngine engine;
    std::vector<std::pair<Inexact, std::string>> notes;
};

// ---- scans
// ---------------------------------------------------------------------------------------

TEST(EdgeEngineTest, AScanThatNobodyAsksAboutIsSentOnceAndWaitsForNothing) {
    Bridge bridge;
    bridge.clock(kIntoDr);
    bridge.clock(zeros(11), "10110011100");
    bridge.clock("1", "1");
    bridge.clock("1");
    EXPECT_THAT(bridge.calls(), IsEmpty()); // in Update-DR
    bridge.clock("0");
    EXPECT_THAT(bridge.calls(), ElementsAre("send DR 12 to Run-Test/Idle"));
    EXPECT_EQ(bridge.happened(), "cu");
    EXPECT_EQ(bridge.register_content(), "101100111001");
}

TEST(EdgeEngineTest, AScanWithAnAnswerIsOneExchange) {
    Bridge bridge;
    bridge.update("110100010111");
    EXPECT_EQ(bridge.ask(kIntoDr + Bridge::shifts(12) + kOut, "000101010101010"), "111110100010111"
                                                                                  "11");
    EXPECT_THAT(bridge.calls(), ElementsAre("exchange DR 60 to Pause-DR", "move Run-Test/Idle"));
    EXPECT_EQ(bridge.happened(), "cu");
    EXPECT_EQ(bridge.register_content(), "101010101010");
}

TEST(EdgeEngineTest, OnlyClocksThatAreAskedAboutCostAnExchange) {
    Bridge bridge;
    bridge.update("110100010111");
    const Bits tms = edges("10000");
    Bits tdo;
    const Bits outside = edges("00100"); // the clock in Capture-DR
    ASSERT_TRUE(bridge.engine.clock(tms, Bits(5), &tdo, &outside));
    EXPECT_EQ(bridge.line.exchanges, 0U);
    EXPECT_TRUE(tdo[2]);
    EXPECT_EQ(bridge.engine.count_of(Inexact::TdoOutsideShift), 1U);
    const Bits inside = edges("00100");
    ASSERT_TRUE(bridge.engine.clock(Bits(5), Bits(5), &tdo, &inside));
    EXPECT_EQ(bridge.line.exchanges, 1U);
    EXPECT_FALSE(tdo[2]); // bit 4 of the register
    EXPECT_EQ(bridge.engine.count_of(Inexact::TdoOutsideShift), 1U);
}

TEST(EdgeEngineTest, BehindAKnownLengthPiecesCostNothing) {
    Bridge bridge;
    bridge.update("110100010111");
    bridge.clock(kIntoDr);
    EXPECT_EQ(bridge.ask(zeros(12), "100110011001"), "110100010111");
    EXPECT_EQ(bridge.line.exchanges, 1U);
    EXPECT_EQ(bridge.ask(zeros(5), "01010"), "10011");
    EXPECT_EQ(bridge.ask(zeros(6) + "1", "1111111"), "0011001");
    EXPECT_EQ(bridge.line.exchanges, 1U);
    bridge.clock(kOut);
    bridge.settle();
    EXPECT_EQ(bridge.line.exchanges, 1U);
    EXPECT_EQ(bridge.register_content(), "010101111111");
}

TEST(EdgeEngineTest, AShiftGoesOnFromPauseWithoutACapture) {
    Bridge bridge;
    bridge.update("110100010111");
    bridge.clock(kIntoDr);
    EXPECT_EQ(bridge.ask(Bridge::shifts(5), "10101"), "11010");
    EXPECT_EQ(bridge.ask("0010"), "1111"); // Pause, Pause, Exit2, Shift
    EXPECT_EQ(bridge.ask(Bridge::shifts(7), "1100110"), "0010111");
    bridge.clock("011"); // Pause, Exit2, Update
    bridge.clock("0");
    EXPECT_EQ(bridge.happened(), "cu");
    EXPECT_EQ(bridge.register_content(), "101011100110");
    EXPECT_EQ(bridge.engine.count_of(Inexact::PauseClocks), 1U);
}

TEST(EdgeEngineTest, PiecesThatNobodyAsksAboutGoOutTogether) {
    Bridge bridge;
    bridge.clock(kIntoDr);
    bridge.clock(Bridge::shifts(5), "10101");
    bridge.clock("010"); // through Pause
    bridge.clock(Bridge::shifts(7), "1100110");
    bridge.clock(kOut);
    EXPECT_THAT(bridge.calls(), ElementsAre("send DR 12 to Run-Test/Idle"));
    EXPECT_EQ(bridge.register_content(), "101011100110");
}

TEST(EdgeEngineTest, ALongerRegisterKeepsItsOtherBits) {
    Bridge bridge;
    bridge.choose("1000");
    const std::string value = "1101000101110010101111100000111100110101";
    bridge.update(value);
    EXPECT_EQ(bridge.ask(kIntoDr + Bridge::shifts(3) + kOut, "000010"), "11111011");
    EXPECT_EQ(bridge.happened(), "cu");
    EXPECT_EQ(bridge.register_content(), value.substr(3) + "010");
}

// ---- captures and updates
// ------------------------------------------------------------------------

TEST(EdgeEngineTest, AnUpdateWaitsForWhereTheClientGoes) {
    Bridge bridge;
    bridge.clock(kIntoDr);
    bridge.clock(Bridge::shifts(12), "101100111001");
    bridge.clock("11"); // Update-DR, Select-DR-Scan
    EXPECT_EQ(bridge.happened(), "");
    const uint64_t idle = bridge.line.target.idle_clocks;
    bridge.clock("0"); // Capture-DR
    EXPECT_THAT(bridge.calls(), ElementsAre("send DR 12 to Pause-DR", "move Pause-DR"));
    EXPECT_EQ(bridge.happened(), "cuc");
    EXPECT_EQ(bridge.ask("0" + Bridge::shifts(12)), "1101100111001");
    EXPECT_EQ(bridge.line.target.idle_clocks, idle + 1); // on the way out, into the scan
}

TEST(EdgeEngineTest, TheOtherPathIsCapturedByItsFirstShift) {
    Bridge bridge;
    bridge.clock(kIntoDr);
    bridge.clock(Bridge::shifts(12), "101100111001");
    bridge.clock("11100"); // Update-DR, Select-DR-Scan, Select-IR-Scan, Capture-IR, Shift-IR
    EXPECT_THAT(bridge.calls(), ElementsAre("send DR 12 to Pause-DR"));
    EXPECT_EQ(bridge.happened(), "c");
    const uint64_t idle = bridge.line.target.idle_clocks;
    bridge.clock(Bridge::shifts(4), "1000");
    bridge.clock(kOut);
    EXPECT_THAT(bridge.calls(), ElementsAre("send IR 4 to Run-Test/Idle"));
    EXPECT_EQ(bridge.happened(), "uciui");
    EXPECT_EQ(bridge.line.target.idle_clocks, idle);
}

TEST(EdgeEngineTest, ACaptureWithoutAShiftHappensBeforeItsUpdate) {
    Bridge bridge;
    bridge.update("101100111001");
    bridge.clock("101"); // Select-DR-Scan, Capture-DR, Exit1-DR
    EXPECT_THAT(bridge.calls(), IsEmpty());
    bridge.clock("10");
    EXPECT_THAT(bridge.calls(), ElementsAre("move Pause-DR", "move Run-Test/Idle"));
    EXPECT_EQ(bridge.happened(), "cu");
    EXPECT_EQ(bridge.register_content(), "101100111001");
}

TEST(EdgeEngineTest, CapturesAreRepeatedThroughUpdate) {
    Bridge bridge;
    bridge.clock("10");
    for (int i = 0; i < 3; ++i) {
        bridge.clock("1110"); // Exit1-DR, Update-DR, Select-DR-Scan, Capture-DR
    }
    bridge.clock("110"); // Exit1-DR, Update-DR, Run-Test/Idle
    EXPECT_EQ(bridge.happened(), "cucucucu");
    EXPECT_THAT(bridge.calls(), ElementsAre("move Pause-DR", "move Pause-DR", "move Pause-DR",
                                            "move Pause-DR", "move Run-Test/Idle"));
}

TEST(EdgeEngineTest, PauseBeforeTheFirstShiftCapturesOnce) {
    Bridge bridge;
    bridge.update("101100111001");
    bridge.clock("1010"); // Select-DR-Scan, Capture-DR, Exit1-DR, Pause-DR
    bridge.settle();
    EXPECT_THAT(bridge.calls(), ElementsAre("move Pause-DR", "flush"));
    bridge.clock("10"); // Exit2-DR, Shift-DR
    EXPECT_EQ(bridge.ask(Bridge::shifts(12)), "101100111001");
    EXPECT_EQ(bridge.happened(), "c");
}

TEST(EdgeEngineTest, SelectStatesDoNothing) {
    Bridge bridge;
    bridge.clock("11"); // Select-DR-Scan, Select-IR-Scan
    EXPECT_THAT(bridge.calls(), IsEmpty());
    bridge.clock("1");
    EXPECT_THAT(bridge.calls(), ElementsAre("move Test-Logic-Reset"));
}

// ---- Test-Logic-Reset
// ----------------------------------------------------------------------------

TEST(EdgeEngineTest, TheFirstFiveOnesOfAClientResetForSure) {
    Bridge bridge;
    bridge.clock("11111");
    EXPECT_THAT(bridge.calls(), ElementsAre("move Test-Logic-Reset"));
    bridge.engine.new_client();
    bridge.clock("1111");
    EXPECT_THAT(bridge.calls(), IsEmpty());
    bridge.clock("0111");
    EXPECT_THAT(bridge.calls(), ElementsAre("move Run-Test/Idle", "move Test-Logic-Reset"));
    bridge.clock("11");
    EXPECT_THAT(bridge.calls(), ElementsAre("reset"));
    bridge.clock("1111111");
    EXPECT_THAT(bridge.calls(), IsEmpty());
}

TEST(EdgeEngineTest, TheClockThatLeavesShiftIsTheFirstOfAReset) {
    Bridge bridge;
    bridge.clock(kIntoDr);
    bridge.engine.new_client();
    bridge.clock("0" + ones(5));
    EXPECT_THAT(bridge.calls(), ElementsAre("send DR 2 to Test-Logic-Reset", "reset"));
}

TEST(EdgeEngineTest, AResetThroughUpdateSpendsNoClockInIdle) {
    Bridge bridge;
    bridge.clock(kIntoDr);
    bridge.clock(Bridge::shifts(12), "101100111001");
    const uint64_t idle = bridge.line.target.idle_clocks;
    bridge.clock("1111");
    EXPECT_THAT(bridge.calls(), ElementsAre("send DR 12 to Test-Logic-Reset"));
    EXPECT_EQ(bridge.happened(), "cuR");
    EXPECT_EQ(bridge.line.target.idle_clocks, idle + 1); // the one the scan left with
    EXPECT_EQ(bridge.engine.client_state(), TapState::TestLogicReset);
}

TEST(EdgeEngineTest, OnesBeyondAResetAreCounted) {
    Bridge bridge;
    bridge.clock(ones(16));
    EXPECT_EQ(bridge.engine.count_of(Inexact::ResetClocks), 0U);
    bridge.clock(ones(3));
    EXPECT_EQ(bridge.engine.count_of(Inexact::ResetClocks), 3U);
    bridge.clock(ones(2));
    EXPECT_EQ(bridge.engine.count_of(Inexact::ResetClocks), 5U);
    bridge.clock("0" + ones(20));
    EXPECT_EQ(bridge.engine.count_of(Inexact::ResetClocks), 9U);
}

// ---- Run-Test/Idle
// -------------------------------------------------------------------------------

TEST(EdgeEngineTest, IdleClocksAreOneEntryAndPassesOfSeven) {
    for (const auto& [clocks, passes] :
         {std::pair{1U, 0U}, {2U, 1U}, {8U, 1U}, {9U, 2U}, {15U, 2U}, {16U, 3U}, {1000U, 143U}}) {
        Bridge bridge;
        bridge.clock("101" + std::string("1"));
        bridge.calls();
        const uint64_t idle = bridge.line.target.idle_clocks;
        bridge.clock(zeros(clocks));
        bridge.clock(kIntoDr);
        bridge.clock("1");
        bridge.settle();
        Calls expected{"move Pause-DR", "move Run-Test/Idle"};
        if (passes != 0) {
            expected.push_back("idle " + std::to_string(passes));
        }
        expected.insert(expected.end(), {"send DR 1 to Pause-DR", "flush"});
        EXPECT_EQ(bridge.calls(), expected) << clocks;
        // The way into the first capture has left Run-Test/Idle, too.
        EXPECT_EQ(bridge.line.target.idle_clocks - idle, 1 + 1 + 7 * passes) << clocks;
        EXPECT_EQ(bridge.engine.count_of(Inexact::IdleClocks), 1 + 7 * passes - clocks) << clocks;
    }
}

TEST(EdgeEngineTest, AStayInPiecesGetsNoClockTwice) {
    Bridge bridge;
    for (int i = 0; i < 10; ++i) {
        bridge.clock("0");
    }
    EXPECT_THAT(bridge.calls(), IsEmpty());
    bridge.settle();
    EXPECT_THAT(bridge.calls(), ElementsAre("idle 2", "flush"));
    bridge.clock("0000");
    bridge.settle();
    EXPECT_THAT(bridge.calls(), ElementsAre("flush"));
    bridge.clock("0");
    bridge.clock("1");
    EXPECT_THAT(bridge.calls(), ElementsAre("idle 1"));
    EXPECT_EQ(bridge.engine.count_of(Inexact::IdleClocks), 6U);
}

TEST(EdgeEngineTest, ALongStayIsNotLeftForItsEnd) {
    Bridge bridge;
    bridge.clock(zeros(20000));
    EXPECT_THAT(bridge.calls(), ElementsAre("idle 2857")); // 19,999
    bridge.clock("1");
    EXPECT_THAT(bridge.calls(), ElementsAre("idle 1"));
}

TEST(EdgeEngineTest, AVeryLongStayIsGivenInParts) {
    Bridge bridge;
    bridge.clock(zeros(65537 * 7));
    EXPECT_THAT(bridge.calls(), ElementsAre("idle 65536", "idle 1"));
}

// ---- TDO between clocks
// --------------------------------------------------------------------------

TEST(EdgeEngineTest, TdoStandsBeforeTheNextEdge) {
    Bridge bridge;
    bridge.update("110100010111");
    bridge.clock(kIntoDr);
    std::string seen;
    const std::string sent = "0110100110010110";
    for (const char bit : sent) {
        const auto level = bridge.engine.tdo();
        ASSERT_TRUE(level);
        EXPECT_EQ(bridge.engine.tdo(), level); // asking changes nothing
        seen += *level ? '1' : '0';
        bridge.clock("0", std::string(1, bit));
    }
    EXPECT_EQ(seen, "110100010111" + sent.substr(0, 4));
    EXPECT_LE(bridge.line.exchanges, 6U);
    bridge.clock("1", "1");
    bridge.clock(kOut);
    EXPECT_EQ(bridge.register_content(), sent.substr(5) + "1");
}

TEST(EdgeEngineTest, TdoOutsideShiftReadsOneAndIsTold) {
    Bridge bridge;
    EXPECT_EQ(bridge.engine.tdo(), true);
    EXPECT_EQ(bridge.engine.tdo(), true);
    EXPECT_EQ(bridge.ask("10"), "11");
    EXPECT_EQ(bridge.engine.count_of(Inexact::TdoOutsideShift), 2U);
    ASSERT_EQ(bridge.notes.size(), 1U);
    EXPECT_EQ(bridge.notes[0].first, Inexact::TdoOutsideShift);
    EXPECT_EQ(bridge.notes[0].second, "no TAP drives TDO outside the Shift states: it reads 1");
    EXPECT_EQ(bridge.line.exchanges, 0U);
}

// ---- settling
// ------------------------------------------------------------------------------------

TEST(EdgeEngineTest, SettlesWhatIsDueOnce) {
    Bridge bridge;
    EXPECT_FALSE(bridge.engine.unsettled());
    bridge.settle();
    EXPECT_THAT(bridge.calls(), IsEmpty());
    bridge.clock(kIntoDr);
    bridge.clock("000", "101");
    EXPECT_TRUE(bridge.engine.unsettled());
    bridge.settle();
    EXPECT_FALSE(bridge.engine.unsettled());
    EXPECT_THAT(bridge.calls(), ElementsAre("send DR 3 to Pause-DR", "flush"));
    bridge.settle();
    EXPECT_THAT(bridge.calls(), IsEmpty());
}

TEST(EdgeEngineTest, ARegisterThatRanAheadIsPutRightWhenItSettles) {
    Bridge bridge;
    bridge.update("110100010111");
    EXPECT_EQ(bridge.ask(std::string(kIntoDr) + "0000", "0000010"), "1111101");
    EXPECT_NE(bridge.register_content(), "000101110010");
    bridge.settle();
    EXPECT_EQ(bridge.register_content(), "000101110010");
    EXPECT_EQ(bridge.happened(), "c");
}

TEST(EdgeEngineTest, AnUpdateOfWhoStandsInUpdateIsNotMade) {
    Bridge bridge;
    bridge.clock(kIntoDr);
    bridge.clock(Bridge::shifts(12) + "1");
    bridge.settle();
    EXPECT_EQ(bridge.happened(), "c");
    bridge.clock("0");
    EXPECT_EQ(bridge.happened(), "u");
}

// ---- pins and clock
// ------------------------------------------------------------------------------

TEST(EdgeEngineTest, TrstIsAPulseAndHoldsTheClient) {
    Bridge bridge;
    ASSERT_TRUE(bridge.engine.set_trst(false));
    EXPECT_THAT(bridge.calls(), IsEmpty());
    ASSERT_TRUE(bridge.engine.set_trst(true));
    ASSERT_TRUE(bridge.engine.set_trst(true));
    EXPECT_THAT(bridge.calls(), ElementsAre("trst"));
    EXPECT_EQ(bridge.engine.client_state(), TapState::TestLogicReset);
    EXPECT_EQ(bridge.ask("0100000"), "1111111");
    EXPECT_EQ(bridge.engine.client_state(), TapState::TestLogicReset);
    EXPECT_EQ(bridge.engine.tdo(), true);
    ASSERT_TRUE(bridge.engine.set_trst(false));
    EXPECT_THAT(bridge.calls(), IsEmpty());
    bridge.clock("0");
    EXPECT_THAT(bridge.calls(), ElementsAre("move Run-Test/Idle"));
    EXPECT_EQ(bridge.engine.count_of(Inexact::TrstHeld), 1U);
    ASSERT_EQ(bridge.notes.size(), 2U);
    EXPECT_EQ(bridge.notes[0].first, Inexact::TrstHeld);
}

TEST(EdgeEngineTest, TrstComesBehindAnUpdateThatIsDue) {
    Bridge bridge;
    bridge.clock(kIntoDr);
    bridge.clock(Bridge::shifts(12) + "1");
    ASSERT_TRUE(bridge.engine.set_trst(true));
    EXPECT_THAT(bridge.calls(), ElementsAre("send DR 12 to Run-Test/Idle", "trst"));
    EXPECT_EQ(bridge.happened(), "cuR");
}

TEST(EdgeEngineTest, TrstInTheMiddleOfAScanUpdatesNothing) {
    Bridge bridge;
    EXPECT_EQ(bridge.ask(std::string(kIntoDr) + "0000").size(), 7U);
    ASSERT_TRUE(bridge.engine.set_trst(true));
    EXPECT_EQ(bridge.happened(), "cR");
    ASSERT_TRUE(bridge.engine.set_trst(false));
    bridge.clock("0");
    EXPECT_EQ(bridge.ask(kIntoDr + Bridge::shifts(3) + kOut, "000011"),
              "11100111"); // BYPASS
}

TEST(EdgeEngineTest, TheSystemResetIsAPulse) {
    Bridge bridge;
    bridge.clock("00");
    ASSERT_TRUE(bridge.engine.set_srst(false));
    EXPECT_THAT(bridge.calls(), IsEmpty());
    ASSERT_TRUE(bridge.engine.set_srst(true));
    ASSERT_TRUE(bridge.engine.set_srst(true));
    EXPECT_THAT(bridge.calls(), ElementsAre("idle 1", "flush", "srst", "ask"));
    ASSERT_TRUE(bridge.engine.set_srst(false));
    EXPECT_THAT(bridge.calls(), IsEmpty());
    EXPECT_EQ(bridge.engine.client_state(), TapState::RunTestIdle);
    bridge.clock("1110");
    EXPECT_THAT(bridge.calls(), ElementsAre("move Test-Logic-Reset", "move Run-Test/Idle"));
    EXPECT_EQ(bridge.engine.count_of(Inexact::SrstHeld), 1U);
}

TEST(EdgeEngineTest, TheSystemResetWaitsForTheEndOfAScan) {
    Bridge bridge;
    bridge.update("110100010111");
    bridge.clock(kIntoDr);
    EXPECT_EQ(bridge.ask("0000"), "1101");
    ASSERT_TRUE(bridge.engine.set_srst(true));
    ASSERT_TRUE(bridge.engine.set_srst(false));
    EXPECT_EQ(bridge.ask(Bridge::shifts(8)), "00010111");
    bridge.clock("1");
    EXPECT_THAT(bridge.calls(), testing::Not(testing::Contains("srst")));
    bridge.clock("0");
    Calls calls = bridge.calls();
    ASSERT_GE(calls.size(), 3U);
    EXPECT_EQ(Calls(calls.end() - 3, calls.end()), (Calls{"flush", "srst", "ask"}));
    bridge.clock("1010");
    EXPECT_THAT(bridge.calls(), IsEmpty());
}

TEST(EdgeEngineTest, ATapThatTheSystemResetMovesGoesBack) {
    Bridge bridge;
    bridge.line.srst_moves_to = TapState::TestLogicReset;
    ASSERT_TRUE(bridge.engine.set_srst(true));
    EXPECT_THAT(bridge.calls(), ElementsAre("flush", "srst", "ask", "move Run-Test/Idle"));
    EXPECT_EQ(bridge.line.target.state(), TapState::RunTestIdle);
}

TEST(EdgeEngineTest, TheTestClockChangesBehindEverythingDue) {
    Bridge bridge;
    bridge.clock("000");
    ASSERT_TRUE(bridge.engine.set_max_frequency(2e6));
    EXPECT_THAT(bridge.calls(), ElementsAre("idle 1", "flush", "frequency 2000000"));
    EXPECT_EQ(bridge.engine.hertz(), 2e6);
    const Status done = bridge.engine.set_max_frequency(10);
    ASSERT_FALSE(done);
    EXPECT_EQ(done.error().kind, ErrorKind::Refused);
    bridge.calls();
    bridge.clock("1");
    EXPECT_THAT(bridge.calls(), IsEmpty()); // the engine knows where it stands
}

// ---- registers that must not run ahead
// -----------------------------------------------------------

TEST(EdgeEngineTest, ARegisterThatIsNamedSeesTheClientsClocksOnly) {
    Bridge bridge({.no_lookahead = {edges("1000")}});
    bridge.choose("1000");
    const std::string value = "1101000101110010101111100000111100110101";
    bridge.update(value);
    const uint64_t clocks = bridge.line.target.shift_clocks;
    EXPECT_EQ(bridge.ask(kIntoDr + Bridge::shifts(40) + kOut),
              "111" + value.substr(0, 24) + ones(16) + "11");
    EXPECT_THAT(bridge.calls(), ElementsAre("exchange DR 40 to Pause-DR", "move Run-Test/Idle"));
    EXPECT_EQ(bridge.line.target.shift_clocks, clocks + 40);
    EXPECT_EQ(bridge.engine.count_of(Inexact::HeldBack), 16U);
    ASSERT_EQ(bridge.notes.size(), 1U);
    EXPECT_EQ(bridge.notes[0].first, Inexact::HeldBack);
    EXPECT_EQ(bridge.engine.tdo(), true);
}

TEST(EdgeEngineTest, ShortAnswersOfANamedRegisterAreNotWaitedFor) {
    Bridge bridge({.no_lookahead = {edges("1000")}});
    bridge.choose("1000");
    bridge.clock(kIntoDr);
    EXPECT_EQ(bridge.engine.tdo(), true);
    EXPECT_EQ(bridge.ask(zeros(16)), ones(16));
    EXPECT_THAT(bridge.calls(), IsEmpty());
    EXPECT_EQ(bridge.engine.count_of(Inexact::HeldBack), 17U);
    // What is already under way comes out first, and too late.
    EXPECT_EQ(bridge.ask(Bridge::shifts(20)), zeros(4) + ones(16));
    EXPECT_THAT(bridge.calls(), ElementsAre("exchange DR 36 to Pause-DR"));
}

TEST(EdgeEngineTest, OtherInstructionsAndAResetLetARegisterRunAheadAgain) {
    Bridge bridge({.no_lookahead = {edges("1000")}});
    bridge.choose("1000");
    bridge.choose("0000");
    EXPECT_EQ(bridge.ask(kIntoDr + Bridge::shifts(12) + kOut).size(), 17U);
    bridge.choose("1000");
    bridge.clock("1110"); // Test-Logic-Reset, Run-Test/Idle
    EXPECT_EQ(bridge.ask(kIntoDr + Bridge::shifts(3) + kOut, "000110"), "11101111");
    bridge.choose("1000");
    ASSERT_TRUE(bridge.engine.set_trst(true));
    ASSERT_TRUE(bridge.engine.set_trst(false));
    bridge.clock("0");
    EXPECT_EQ(bridge.ask(kIntoDr + Bridge::shifts(3) + kOut, "000110"), "11101111");
    EXPECT_EQ(bridge.engine.count_of(Inexact::HeldBack), 0U);
}

TEST(EdgeEngineTest, TheLastBitsShiftedAreTheInstruction) {
    Bridge bridge({.no_lookahead = {edges("1000")}});
    bridge.clock(kIntoIr);
    EXPECT_EQ(bridge.ask(Bridge::shifts(7), "0101000"), "1000010");
    bridge.clock(kOut);
    bridge.clock(kIntoDr);
    EXPECT_EQ(bridge.ask("0"), "1");
    EXPECT_EQ(bridge.engine.count_of(Inexact::HeldBack), 1U);
}

// ---- what is refused
// -----------------------------------------------------------------------------

TEST(EdgeEngineTest, StrictRefusesWhatCannotBeExactAndGoesOn) {
    Bridge bridge({.strict = true});
    const auto clock = [&bridge](const std::string& tms) {
        return bridge.engine.clock(edges(tms), Bits(tms.size()), nullptr);
    };
    bridge.clock(zeros(7));
    bridge.clock("1"); // 1 + 7 clocks are exact
    bridge.clock("010");
    bridge.expect_refusal(clock("00"), "pause clocks");
    EXPECT_EQ(bridge.engine.client_state(), TapState::PauseDr);
    bridge.clock("11000"); // Exit2-DR, Update-DR, and three clocks in Run-Test/Idle
    bridge.expect_refusal(clock("100"), "idle clocks");
    EXPECT_EQ(bridge.engine.client_state(), TapState::RunTestIdle);
    bridge.clock("1");
    EXPECT_EQ(bridge.engine.client_state(), TapState::SelectDrScan);
    bridge.clock(ones(15));
    bridge.expect_refusal(clock("1"), "reset clocks");
    bridge.expect_refusal(bridge.engine.set_trst(true), "trst held");
    bridge.expect_refusal(bridge.engine.set_srst(true), "srst held");
    bridge.expect_refusal(bridge.engine.tdo().map([](bool) { return Done{}; }),
                          "tdo outside shift");
    bridge.clock("0");
    EXPECT_EQ(bridge.engine.client_state(), TapState::RunTestIdle);
    EXPECT_EQ(bridge.notes.size(), 6U);
}

TEST(EdgeEngineTest, StrictRefusesWhatHasNotComeOut) {
    Bridge bridge({.strict = true, .no_lookahead = {edges("1000")}});
    bridge.choose("1000");
    bridge.clock(kIntoDr);
    Bits tdo;
    bridge.expect_refusal(bridge.engine.clock(Bits(20), Bits(20), &tdo), "held back");
    EXPECT_EQ(bridge.engine.count_of(Inexact::HeldBack), 16U);
}

TEST(EdgeEngineTest, StrictSettlesNoClocksTooMany) {
    Bridge bridge({.strict = true});
    bridge.clock(zeros(10));
    bridge.settle();
    EXPECT_THAT(bridge.calls(), ElementsAre("idle 1", "flush"));
    bridge.clock(zeros(4));
    bridge.clock("1");
    EXPECT_THAT(bridge.calls(), ElementsAre("idle 1"));
}

TEST(EdgeEngineTest, EachKindIsToldOnce) {
    Bridge bridge;
    for (int i = 0; i < 3; ++i) {
        bridge.clock("00"); // two clocks in Run-Test/Idle
        bridge.clock("1010" + zeros(5));
        bridge.clock("110");
    }
    EXPECT_EQ(bridge.notes.size(), 2U);
    EXPECT_EQ(bridge.engine.count_of(Inexact::PauseClocks), 15U);
    EXPECT_EQ(bridge.engine.count_of(Inexact::IdleClocks), 15U);
}

// ---- what goes wrong
// -----------------------------------------------------------------------------

TEST(EdgeEngineTest, ABrokenChainAnswersWhatTdoReads) {
    Bridge bridge;
    bridge.line.stuck = false;
    EXPECT_EQ(bridge.ask(kIntoDr + Bridge::shifts(8) + kOut), "1110000000011");
    EXPECT_EQ(bridge.happened(), "cu");
    EXPECT_EQ(bridge.engine.count_of(Inexact::LengthUnknown), 1U);
    ASSERT_EQ(bridge.notes.size(), 1U);
    EXPECT_THAT(bridge.notes[0].second, HasSubstr("TDO: reads zeros only"));
}

TEST(EdgeEngineTest, StrictTellsOfALengthThatIsNotFoundAtTheEnd) {
    Bridge bridge({.strict = true});
    bridge.line.stuck = true;
    const std::string tms = kIntoDr + Bridge::shifts(8) + "11011";
    Bits tdo;
    bridge.expect_refusal(bridge.engine.clock(edges(tms), Bits(tms.size()), &tdo),
                          "length unknown");
    EXPECT_EQ(bridge.engine.client_state(), TapState::UpdateDr);
    bridge.clock("0");
    EXPECT_EQ(bridge.happened(), "cucu");
}

TEST(EdgeEngineTest, BehindAnErrorOfTheLineItAsksWhereTheTapStands) {
    Bridge bridge;
    bridge.line.fail(true);
    bridge.clock(kIntoDr);
    Bits tdo;
    const Status done = bridge.engine.clock(edges("000"), Bits(3), &tdo);
    ASSERT_FALSE(done);
    EXPECT_EQ(done.error().kind, ErrorKind::Pod);
    EXPECT_FALSE(bridge.engine.settle());
    bridge.line.fail(false);
    bridge.calls();
    bridge.clock("0");
    EXPECT_THAT(bridge.calls(), ElementsAre("ask"));
    EXPECT_EQ(bridge.engine.client_state(), TapState::RunTestIdle);
    bridge.update("110100010111");
    EXPECT_EQ(bridge.ask(kIntoDr + Bridge::shifts(12) + kOut), "111"
                                                               "110100010111"
                                                               "11");
}

TEST(EdgeEngineTest, ARegisterThatIsNamedStaysSoBehindAnError) {
    Bridge bridge({.no_lookahead = {edges("1000")}});
    bridge.choose("1000");
    bridge.clock("00");
    bridge.line.fail(true);
    ASSERT_FALSE(bridge.engine.settle());
    bridge.line.fail(false);
    bridge.clock(kIntoDr);
    EXPECT_EQ(bridge.ask("0"), "1");
    EXPECT_EQ(bridge.engine.count_of(Inexact::HeldBack), 1U);
    // One that a reset has put away does not.
    bridge.line.target.walk(kResetPath);
    ASSERT_TRUE(bridge.engine.open());
    bridge.clock("0");
    EXPECT_EQ(bridge.ask(kIntoDr + Bridge::shifts(3) + kOut, "000110"), "11101111");
}

TEST(EdgeEngineTest, AnErrorLetsTrstGo) {
    Bridge bridge;
    ASSERT_TRUE(bridge.engine.set_trst(true));
    bridge.line.fail(true);
    ASSERT_FALSE(bridge.engine.settle());
    bridge.line.fail(false);
    bridge.clock("0");
    EXPECT_EQ(bridge.engine.client_state(), TapState::RunTestIdle);
}

TEST(EdgeEngineTest, AClientGoesOnFromAPauseStateThatItFinds) {
    Bridge bridge;
    bridge.update("110100010111");
    ASSERT_TRUE(bridge.line.move(StableState::PauseDr));
    ASSERT_TRUE(bridge.engine.open());
    EXPECT_EQ(bridge.engine.client_state(), TapState::PauseDr);
    bridge.happened();
    EXPECT_EQ(bridge.ask("10" + Bridge::shifts(12) + kOut), "11"
                                                            "110100010111"
                                                            "11");
    EXPECT_EQ(bridge.happened(), "u");
}

TEST(EdgeEngineTest, NoClockIsNoClock) {
    Bridge bridge;
    Bits tdo = edges("101");
    ASSERT_TRUE(bridge.engine.clock({}, {}, &tdo));
    EXPECT_TRUE(tdo.empty());
    EXPECT_THAT(bridge.calls(), IsEmpty());
}

TEST(InexactTest, EveryKindHasAWordAndASentence) {
    for (size_t i = 0; i < kInexactKinds; ++i) {
        const auto kind = static_cast<Inexact>(i);
        ASSERT_NE(word_of(kind), nullptr);
        EXPECT_THAT(word_of(kind), testing::MatchesRegex("[a-z_]+"));
        EXPECT_THAT(sentence(kind), testing::Not(testing::EndsWith(".")));
    }
    EXPECT_STREQ(word_of(Inexact::LengthUnknown), "length_unknown");
}

} // namespace
} // namespace talvor
