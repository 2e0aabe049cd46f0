#include "host/scan/exact_scan.h"
#include "tests/host/scan/scan_target.h"

#include <gtest/gtest.h>

namespace talvor {
namespace {

// One TAP with a register of `length` bits that is selected after a reset, and BYPASS.
class OneRegister {
public:
    explicit OneRegister(size_t length, Captures captures = Captures::Held)
        : line(ScanTarget({{4, {length}, captures, 0}}, 1), 0xBEEF), scan(line) {
        scan.on_shift([this](const ShiftMark& mark) { marks.push_back(mark); });
        choose(0);
    }

    // The register for 0, BYPASS for 1.
    void choose(uint64_t instruction) {
        const Bits bits = Bits::from_uint(instruction, 4);
        EXPECT_TRUE(scan.whole(ScanPath::Ir, bits, nullptr, StableState::Idle));
        clear();
    }
    Status update(const Bits& bits) {
        return scan.whole(ScanPath::Dr, bits, nullptr, StableState::Idle);
    }
    // What the register was last updated with.
    Bits updated() {
        const auto updates = line.tap().target().take_updates();
        Bits bits(updates.empty() ? 0 : updates.back().size());
        for (size_t i = 0; i < bits.size(); ++i) {
            bits.set(i, updates.back()[i] != 0);
        }
        return bits;
    }
    void clear() {
        marks.clear();
        line.exchanges = 0;
        line.clocks = 0;
    }

    HeldLine line;
    ExactScan scan;
    std::vector<ShiftMark> marks;
};

Bits hex(const char* text, size_t bits) {
    return *Bits::from_hex(text, bits);
}

TEST(ExactScanTest, WithoutAnAnswerIsShiftedOnceAndWaitsForNothing) {
    OneRegister tap(32);
    ASSERT_TRUE(tap.update(hex("1234ABCD", 32)));
    EXPECT_EQ(tap.line.exchanges, 0U);
    EXPECT_EQ(tap.line.clocks, 32U);
    EXPECT_EQ(tap.updated(), hex("1234ABCD", 32));
    EXPECT_EQ(tap.marks, (std::vector<ShiftMark>{{ScanPath::Dr, ShiftPurpose::Data, 32}}));
    EXPECT_EQ(tap.line.tap().state(), StableState::Idle);
}

TEST(ExactScanTest, WithAnAnswerIsOneExchangeWithAMarkerInFront) {
    OneRegister tap(32);
    ASSERT_TRUE(tap.update(hex("1234ABCD", 32)));
    tap.clear();
    Bits answer;
    ASSERT_TRUE(tap.scan.whole(ScanPath::Dr, hex("0", 32), &answer, StableState::Idle));
    EXPECT_EQ(answer, hex("1234ABCD", 32));
    EXPECT_EQ(tap.updated(), hex("0", 32));
    EXPECT_EQ(tap.line.exchanges, 1U);
    EXPECT_EQ(tap.line.clocks, 32 + kMarkerBits);
    EXPECT_EQ(tap.marks, (std::vector<ShiftMark>{{ScanPath::Dr, ShiftPurpose::Marker, kMarkerBits},
                                                 {ScanPath::Dr, ShiftPurpose::Data, 32}}));
    EXPECT_EQ(tap.scan.register_bits(), 32U);
}

TEST(ExactScanTest, MayAnswerIntoTheBitsThemselves) {
    OneRegister tap(8);
    ASSERT_TRUE(tap.update(hex("5A", 8)));
    Bits bits = hex("123", 12);
    ASSERT_TRUE(tap.scan.whole(ScanPath::Dr, bits, &bits, StableState::Idle));
    EXPECT_EQ(bits, hex("35A", 12));
    EXPECT_EQ(tap.updated(), hex("12", 8));
}

TEST(ExactScanTest, APartOfARegisterIsPutRight) {
    OneRegister tap(64);
    ASSERT_TRUE(tap.update(hex("0123456789ABCDEF", 64)));
    tap.clear();
    Bits answer;
    ASSERT_TRUE(tap.scan.whole(ScanPath::Dr, hex("77", 8), &answer, StableState::Idle));
    EXPECT_EQ(answer, hex("EF", 8));
    EXPECT_EQ(tap.updated(), hex("770123456789ABCD", 64));
    EXPECT_EQ(tap.line.exchanges, 2U);
    EXPECT_EQ(tap.marks.back(), (ShiftMark{ScanPath::Dr, ShiftPurpose::Repair, 64}));

    // From then on it is known how long it is, and one exchange is enough.
    tap.clear();
    ASSERT_TRUE(tap.scan.whole(ScanPath::Dr, hex("88", 8), &answer, StableState::Idle));
    EXPECT_EQ(answer, hex("CD", 8));
    EXPECT_EQ(tap.updated(), hex("88770123456789AB", 64));
    EXPECT_EQ(tap.line.exchanges, 1U);
    EXPECT_EQ(tap.line.clocks, kMarkerBits + 64 + 64);
}

// The register changes behind the scan's back, and with it its length.
TEST(ExactScanTest, ALengthThatIsRememberedIsOnlyAGuess) {
    OneRegister tap(64);
    ASSERT_TRUE(tap.update(hex("0123456789ABCDEF", 64)));
    Bits answer;
    for (int i = 0; i < 2; ++i) {
        ASSERT_TRUE(tap.line.move(StableState::Reset)); // BYPASS, untold
        ASSERT_TRUE(tap.scan.whole(ScanPath::Dr, hex("A5", 8), &answer, StableState::Idle));
        EXPECT_EQ(answer.slice(1, 7), hex("25", 7));
        EXPECT_EQ(tap.scan.register_bits(), 1U);
        tap.choose(0);
        ASSERT_TRUE(tap.scan.whole(ScanPath::Dr, hex("1", 4), &answer, StableState::Idle));
        EXPECT_EQ(tap.scan.register_bits(), 64U);
    }
    EXPECT_EQ(tap.updated(), hex("110123456789ABCD", 64));
}

TEST(ExactScanTest, PiecesBehindAKnownLengthWaitForNothing) {
    OneRegister tap(16);
    ASSERT_TRUE(tap.update(hex("CAFE", 16)));
    tap.clear();
    tap.scan.begin(ScanPath::Dr);
    Bits answer;
    ASSERT_TRUE(tap.scan.piece(hex("1234", 16), &answer));
    EXPECT_EQ(answer, hex("CAFE", 16));
    ASSERT_TRUE(tap.scan.piece(hex("56", 8), &answer));
    EXPECT_EQ(answer, hex("34", 8));
    ASSERT_TRUE(tap.scan.piece(hex("789", 12), &answer));
    EXPECT_EQ(answer, hex("612", 12));
    EXPECT_EQ(tap.line.exchanges, 1U);
    ASSERT_TRUE(tap.scan.finish(StableState::Idle));
    EXPECT_EQ(tap.line.exchanges, 1U);
    EXPECT_EQ(tap.updated(), hex("7895", 16));
    EXPECT_EQ(tap.line.clocks, kMarkerBits + 36);
}

TEST(ExactScanTest, AnswersComeBeforeTheScanHasEnded) {
    OneRegister tap(300);
    Bits value(300);
    for (size_t i = 0; i < value.size(); ++i) {
        value.set(i, i % 7 < 3);
    }
    ASSERT_TRUE(tap.update(value));
    tap.scan.begin(ScanPath::Dr);
    for (size_t i = 0; i < value.size(); ++i) {
        Bits answer;
        ASSERT_TRUE(tap.scan.piece(Bits::ones(1), &answer));
        ASSERT_EQ(answer[0], value[i]) << i;
    }
    ASSERT_TRUE(tap.scan.finish(StableState::Idle));
    EXPECT_EQ(tap.updated(), Bits::ones(300));
}

TEST(ExactScanTest, SettlesWhatRestsInPause) {
    OneRegister tap(40);
    ASSERT_TRUE(tap.update(hex("123456789A", 40)));
    tap.scan.begin(ScanPath::Dr);
    Bits answer;
    ASSERT_TRUE(tap.scan.piece(hex("F", 4), &answer));
    ASSERT_TRUE(tap.scan.settle());
    EXPECT_TRUE(tap.scan.open());
    // Another program may go on from here.
    BareTap& bare = tap.line.tap();
    EXPECT_EQ(bare.state(), StableState::PauseDr);
    bare.move(StableState::Idle);
    EXPECT_EQ(tap.updated(), hex("F123456789", 40));
}

TEST(ExactScanTest, ParkingUpdatesNothing) {
    OneRegister tap(8);
    ASSERT_TRUE(tap.update(hex("5A", 8)));
    (void)tap.updated();
    Bits answer;
    ASSERT_TRUE(tap.scan.whole(ScanPath::Dr, hex("3", 4), &answer, StableState::PauseDr));
    EXPECT_FALSE(tap.scan.open());
    EXPECT_TRUE(tap.line.tap().target().take_updates().empty());
    // The next scan goes on with what the register holds.
    ASSERT_TRUE(tap.scan.whole(ScanPath::Dr, hex("C", 4), &answer, StableState::Idle));
    EXPECT_EQ(answer, hex("5", 4));
    EXPECT_EQ(tap.updated(), hex("C3", 8));
}

// ---- the next bit
// --------------------------------------------------------------------------------

TEST(ExactScanTest, TellsTdoBeforeABitGoesIn) {
    for (const size_t length : {1U, 5U, 31U, 33U, 48U, 300U}) {
        OneRegister tap(length);
        Bits value(length);
        for (size_t i = 0; i < length; ++i) {
            value.set(i, i % 7 < 3);
        }
        ASSERT_TRUE(tap.update(value));
        const Bits sent = Bits::concat({&value, &value});
        tap.scan.begin(ScanPath::Dr);
        EXPECT_FALSE(tap.scan.touched());
        for (size_t i = 0; i < length + 20; ++i) {
            const auto level = tap.scan.next();
            ASSERT_TRUE(level);
            ASSERT_EQ(*level, value[i % length]) << length << ", bit " << i;
            ASSERT_EQ(tap.scan.next(), level);
            ASSERT_TRUE(tap.scan.piece(sent.slice(i % length, 1), nullptr));
        }
        EXPECT_TRUE(tap.scan.touched());
        ASSERT_TRUE(tap.scan.finish(StableState::Idle));
        EXPECT_EQ(tap.updated(), sent.slice((length + 20) % length, length));
    }
}

TEST(ExactScanTest, AskingForTheNextBitOfAKnownLengthCostsNothing) {
    OneRegister tap(16);
    ASSERT_TRUE(tap.update(hex("CAFE", 16)));
    tap.scan.begin(ScanPath::Dr);
    Bits answer;
    ASSERT_TRUE(tap.scan.piece(hex("1234", 16), &answer));
    tap.clear();
    EXPECT_EQ(tap.scan.next(), false);
    ASSERT_TRUE(tap.scan.piece(hex("7", 3), nullptr));
    EXPECT_EQ(tap.scan.next(), false);
    EXPECT_EQ(tap.line.exchanges, 0U);
    EXPECT_EQ(tap.line.clocks, 0U);
}

TEST(ExactScanTest, ANextBitIsEnoughToCapture) {
    OneRegister tap(16);
    ASSERT_TRUE(tap.update(hex("CAFE", 16)));
    tap.scan.begin(ScanPath::Dr);
    EXPECT_EQ(tap.scan.next(), false);
    EXPECT_TRUE(tap.scan.touched());
    ASSERT_TRUE(tap.scan.finish(StableState::Idle));
    EXPECT_EQ(tap.updated(), hex("CAFE", 16));
}

// ---- small pieces
// --------------------------------------------------------------------------------

TEST(ExactScanTest, ManySmallPiecesDoNotCostAnExchangeEach) {
    OneRegister tap(500);
    Bits value(500);
    for (size_t i = 0; i < value.size(); ++i) {
        value.set(i, i % 7 < 3);
    }
    ASSERT_TRUE(tap.update(value));
    tap.clear();
    tap.scan.begin(ScanPath::Dr);
    for (size_t i = 0; i < value.size(); ++i) {
        Bits answer;
        ASSERT_TRUE(tap.scan.piece(Bits::from_uint(i % 2, 1), &answer));
        ASSERT_EQ(answer[0], value[i]) << i;
    }
    EXPECT_LE(tap.line.exchanges, 9U);
    EXPECT_LE(tap.line.clocks, 1500U);
    ASSERT_TRUE(tap.scan.finish(StableState::Idle));
    EXPECT_EQ(tap.updated().to_uint(), 0xAAAAAAAAAAAAAAAA);
}

// ---- once
// ----------------------------------------------------------------------------------------

TEST(ExactScanTest, ARegisterReadOnceSeesTheClientsBitsOnly) {
    OneRegister tap(40);
    ASSERT_TRUE(tap.update(hex("CAFE123456", 40)));
    tap.clear();
    tap.scan.begin(ScanPath::Dr, ExactScan::Reading::Once);
    Bits answer;
    ASSERT_TRUE(tap.scan.piece(hex("321", 12), nullptr));
    ASSERT_TRUE(tap.scan.piece(hex("7654321", 28), &answer));
    EXPECT_EQ(answer, hex("FFFF123", 28)); // bits 12 to 23 of the register
    EXPECT_EQ(tap.scan.held_back(), 16U);
    EXPECT_EQ(tap.line.exchanges, 1U);
    EXPECT_EQ(tap.line.clocks, 40U);
    ASSERT_TRUE(tap.scan.piece(hex("F", 4), &answer));
    EXPECT_EQ(answer, hex("F", 4));
    EXPECT_EQ(tap.scan.held_back(), 20U);
    EXPECT_EQ(tap.scan.next(), true);
    EXPECT_EQ(tap.scan.held_back(), 21U);
    ASSERT_TRUE(tap.scan.finish(StableState::Idle));
    EXPECT_EQ(tap.line.exchanges, 1U);
    EXPECT_EQ(tap.line.clocks, 44U);
    EXPECT_EQ(tap.updated(), hex("F765432132", 40));
    EXPECT_EQ(tap.marks, (std::vector<ShiftMark>{{ScanPath::Dr, ShiftPurpose::Data, 40},
                                                 {ScanPath::Dr, ShiftPurpose::Data, 4}}));
}

TEST(ExactScanTest, TheNextBitOfARegisterReadOnceIsNotWaitedFor) {
    OneRegister tap(16);
    tap.scan.begin(ScanPath::Dr, ExactScan::Reading::Once);
    EXPECT_EQ(tap.scan.next(), true);
    EXPECT_FALSE(tap.scan.touched());
    ASSERT_TRUE(tap.scan.finish(StableState::Idle));
    EXPECT_EQ(tap.line.clocks, 0U);
}

// ---- what is remembered
// --------------------------------------------------------------------------

TEST(ExactScanTest, AnInstructionThatRestsInPauseCountsFromItsUpdateOn) {
    OneRegister tap(64);
    const auto scan_behind = [&tap](uint64_t instruction) {
        const Bits bits = Bits::from_uint(instruction, 4);
        EXPECT_TRUE(tap.scan.whole(ScanPath::Ir, bits, nullptr, StableState::PauseIr));
        tap.clear();
        Bits answer;
        EXPECT_TRUE(tap.scan.whole(ScanPath::Dr, hex("77", 8), &answer, StableState::Idle));
        return tap.line.exchanges;
    };
    EXPECT_EQ(scan_behind(0), 2U);
    EXPECT_EQ(scan_behind(1), 1U); // BYPASS
    EXPECT_EQ(scan_behind(0), 1U);
    EXPECT_EQ(tap.scan.register_bits(), 64U);
}

TEST(ExactScanTest, WithoutABitIsOnlyTheMove) {
    OneRegister tap(8);
    tap.scan.begin(ScanPath::Dr);
    Bits answer = hex("F", 4);
    ASSERT_TRUE(tap.scan.piece(Bits(), &answer));
    EXPECT_TRUE(answer.empty());
    ASSERT_TRUE(tap.scan.finish(StableState::PauseIr));
    EXPECT_EQ(tap.line.clocks, 0U);
    EXPECT_EQ(tap.line.tap().state(), StableState::PauseIr);
}

// A marker that the client's own data repeat is told from them by what follows.
TEST(ExactScanTest, DataThatRepeatTheMarkerAreNoMarker) {
    const Bits marker = Bits::from_uint(MarkerSource().next_marker(), kMarkerBits);
    for (const size_t copies : {1U, 2U, 5U}) {
        OneRegister tap(20);
        Bits data = hex("5", 3);
        for (size_t i = 0; i < copies; ++i) {
            data = i == 0 && copies != 1 ? marker : Bits::concat({&data, &marker});
        }
        ASSERT_TRUE(tap.update(hex("ABCDE", 20)));
        Bits answer;
        ASSERT_TRUE(tap.scan.whole(ScanPath::Dr, data, &answer, StableState::Idle));
        Bits expected = hex("ABCDE", 20);
        expected.append(data.slice(0, data.size() - 20));
        EXPECT_EQ(answer, expected);
        EXPECT_EQ(tap.scan.register_bits(), 20U);
        EXPECT_EQ(tap.updated(), data.slice(data.size() - 20, 20));
    }
}

// What really came back is answered, so that a bad line does not go unnoticed.
TEST(ExactScanTest, AWrongBitOnTheWayBackIsInTheAnswer) {
    OneRegister tap(1);
    Bits data(400);
    for (size_t i = 0; i < data.size(); ++i) {
        data.set(i, i % 5 < 2);
    }
    for (const uint64_t bit : {100U, 300U, 447U}) {
        tap.choose(1);
        HeldLine line(ScanTarget({{4, {}, Captures::Held, 0}}, 1), 0);
        line.flip = bit;
        ExactScan scan(line);
        Bits answer;
        ASSERT_TRUE(scan.whole(ScanPath::Dr, data, &answer, StableState::Idle));
        Bits expected = Bits(1);
        expected.append(data.slice(0, data.size() - 1));
        const size_t at = bit - ShiftLine::kHeldBits - kMarkerBits;
        expected.set(at, !expected[at]);
        EXPECT_EQ(answer, expected) << bit;
    }
}

TEST(ExactScanTest, AStuckLineIsSaidAndDoesNotGoOnForEver) {
    for (const bool level : {false, true}) {
        OneRegister tap(32);
        tap.line.stuck = level;
        Bits answer;
        const Status status =
            tap.scan.whole(ScanPath::Dr, hex("12345678", 32), &answer, StableState::Idle);
        ASSERT_FALSE(status);
        EXPECT_EQ(status.error().kind, ErrorKind::Target);
        EXPECT_EQ(headline(status.error()),
                  level
                      ? "TDO: reads ones only: the line is open, stuck high, or no device drives it"
                      : "TDO: reads zeros only: the line is shorted to ground or stuck low");
        EXPECT_LT(tap.line.clocks, 3 * ExactScan::kLongestSilence);
        EXPECT_TRUE(tap.scan.gave_up());
        EXPECT_FALSE(tap.scan.open());
        EXPECT_EQ(tap.line.tap().state(), StableState::Idle);
        EXPECT_EQ(tap.updated(), hex("12345678", 32)) << "it is no longer than the scan";
    }
}

TEST(ExactScanTest, AnAnswerThatComesEarlyIsSaid) {
    for (const size_t lost : {2U, 7U, 15U}) {
        OneRegister tap(1);
        tap.line.lost_bits = lost;
        Bits answer;
        const Status status =
            tap.scan.whole(ScanPath::Dr, hex("12345678", 32), &answer, StableState::Idle);
        ASSERT_FALSE(status);
        EXPECT_EQ(status.error().reason,
                  "what goes in at TDI comes out " + std::to_string(lost - 1) +
                      (lost == 2 ? " test clock too early" : " test clocks too early"));
        EXPECT_LT(tap.line.clocks, 2000U);
    }
}

TEST(ExactScanTest, AFailingLineEndsTheScan) {
    OneRegister tap(8);
    tap.line.fail();
    Bits answer;
    const Status status = tap.scan.whole(ScanPath::Dr, hex("12", 8), &answer, StableState::Idle);
    ASSERT_FALSE(status);
    EXPECT_EQ(status.error().kind, ErrorKind::Pod);
    EXPECT_FALSE(tap.scan.open());
    tap.scan.begin(ScanPath::Dr);
    ASSERT_TRUE(tap.scan.piece(hex("12", 8), nullptr));
    EXPECT_FALSE(tap.scan.finish(StableState::Idle));
    EXPECT_FALSE(tap.scan.open());
}

TEST(ExactScanTest, TheLongestRegisterIsFoundAndNoLonger) {
    // What a register this long held comes back, and it gets it again.
    OneRegister tap(ExactScan::kLongestRegister / 2, Captures::Noise);
    Bits answer;
    ASSERT_TRUE(tap.scan.whole(ScanPath::Dr, hex("5", 4), &answer, StableState::Idle));
    EXPECT_EQ(tap.scan.register_bits(), ExactScan::kLongestRegister / 2);

    OneRegister longer(ExactScan::kLongestRegister * 2, Captures::Noise);
    const Status status = longer.scan.whole(ScanPath::Dr, hex("5", 4), &answer, StableState::Idle);
    ASSERT_FALSE(status);
    EXPECT_EQ(headline(status.error()),
              "chain: what goes in at TDI comes out of the data path changed");
}

} // namespace
} // namespace talvor
