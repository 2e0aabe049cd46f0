// Every combination of what a scan is told, compared word for word with a generator that knows the
// wire format and the rules of a scan, and nothing of the engine.
#include "common/notation.h"
#include "scan/scan_operation.h"
#include "scan/scan_rules.h"
#include "support/instant_pod.h"

#include <gtest/gtest.h>

#include <span>
#include <string>

namespace {

using scan_rules::Board;
using scan_rules::command_of;
using scan_rules::describe;
using scan_rules::Generator;
using scan_rules::Kind;
using scan_rules::received_word;
using scan_rules::ScanCase;
using scan_rules::source_word;
using scan_rules::Words;
using test_support::empty_batch;
using test_support::InstantPod;

constexpr uint32_t kBufferWords = 400;

std::string text(const std::vector<Words>& batches) {
    std::string all;
    for (const Words& words : batches) {
        all += talvor::notation::text(words) + "---\n";
    }
    return all;
}

// Makes scans on one board and compares.
class Bench {
public:
    explicit Bench(const Board& board) : board_(board), pod_(board.revision) {
        pod_.inform.qelVariable.aw = !board.host_waits;
        pod_.inform.qelVariable.slowclk = board.settles;
        pod_.control.priorConfig = board.config;
        pod_.control.ambleDelay.preAmbleIR = board.pre_ir;
        pod_.control.ambleDelay.posAmbleIR = board.pos_ir;
        pod_.control.ambleDelay.preAmbleDR = board.pre_dr;
        pod_.control.ambleDelay.posAmbleDR = board.pos_dr;
        pod_.give = [this](uint16_t port) {
            return port == TBC_PORT_RECEIVE ? received_word(received_++) : uint16_t{0};
        };
        for (uint32_t index = 0; index < kBufferWords; ++index) {
            source_.push_back(source_word(index));
        }
    }

    // Whether the scan came out as the generator says; else the test fails with what differs.
    bool same(const ScanCase& scan) {
        const Generator expected(scan, board_, kBufferWords);
        ++compared_;
        pod_.batches.clear();
        empty_batch(*pod_.block);
        std::fill(std::begin(pod_.control.registerCache), std::end(pod_.control.registerCache),
                  uint16_t{0});
        received_ = 0;
        destination_.assign(kBufferWords, Generator::kUntouched);
        const int32_t code = make(scan);
        pod_.batches.push_back(pod_.queued());
        EXPECT_EQ(code, 0) << describe(scan);
        EXPECT_EQ(pod_.inform.opList, nullptr) << describe(scan);
        if (pod_.batches != expected.batches) {
            ADD_FAILURE() << describe(scan) << "\n"
                          << text(pod_.batches) << "expected\n"
                          << text(expected.batches);
            return false;
        }
        if (destination_ != expected.destination) {
            ADD_FAILURE() << describe(scan) << ": received words";
            return false;
        }
        return code == 0;
    }

    InstantPod& pod() { return pod_; }
    size_t compared() const { return compared_; }

private:
    int32_t make(const ScanCase& scan) {
        const JSC_JtagCommand command = command_of(scan);
        if (scan.kind == Kind::Zeros || scan.kind == Kind::Ones) {
            const JSC_JtagParam01 param{scan.repeat, 0, scan.bits, scan.kind == Kind::Ones};
            return jsc_ScanFixed01(pod_.get(), &command, &param);
        }
        const JSC_JtagParam16 param{scan.repeat, 0, scan.bits, source_.data(), destination_.data()};
        switch (scan.kind) {
        case Kind::Send:
            return jsc_ScanSend16(pod_.get(), &command, &param);
        case Kind::Both:
            return jsc_ScanBoth16(pod_.get(), &command, &param);
        default:
            return jsc_ScanRecv16(pod_.get(), &command, &param);
        }
    }

    Board board_;
    InstantPod pod_;
    size_t compared_ = 0;
    uint32_t received_ = 0;
    Words source_;
    Words destination_;
};

constexpr Kind kKinds[] = {Kind::Zeros, Kind::Ones, Kind::Send, Kind::Both, Kind::Receive};
constexpr uint32_t kBitCounts[] = {1, 2, 15, 16, 17, 31, 32, 33, 48, 100, 1000};
constexpr JSC_JtagState kEnds[] = {eJSC_JTAG_STATE_RESET, eJSC_JTAG_STATE_IDLE,
                                   eJSC_JTAG_STATE_PAUSE_DR, eJSC_JTAG_STATE_PAUSE_IR};
constexpr JSC_JtagAmble kAmbles[] = {eJSC_JTAG_AMBLE_NEITHER, eJSC_JTAG_AMBLE_PREAMBLE,
                                     eJSC_JTAG_AMBLE_POSTAMBLE, eJSC_JTAG_AMBLE_BOTH};
constexpr JSC_JtagTransit kTransits[] = {eJSC_JTAG_TRANSIT_QUICKEST, eJSC_JTAG_TRANSIT_VIA_CAPTURE,
                                         eJSC_JTAG_TRANSIT_VIA_IDLE};
constexpr JSC_JtagWidth kWidths[] = {eJSC_JTAG_WIDTH_8, eJSC_JTAG_WIDTH_16, eJSC_JTAG_WIDTH_32};

// What goes around the main shift, for one shift.
bool all_surroundings(Bench& bench, ScanCase scan) {
    for (const JSC_JtagState end : kEnds) {
        for (const JSC_JtagAmble amble : kAmbles) {
            for (const JSC_JtagTransit before : kTransits) {
                for (const JSC_JtagTransit after : kTransits) {
                    scan.end = end;
                    scan.amble = amble;
                    scan.before = before;
                    scan.after = after;
                    if (!bench.same(scan)) {
                        return false;
                    }
                }
            }
        }
    }
    return true;
}

// How a shift is repeated, for one shift with given surroundings.
bool all_repeats(Bench& bench, ScanCase scan) {
    for (const uint32_t repeat : {1U, 3U}) {
        for (const bool reuse : {false, true}) {
            for (const JSC_JtagWidth width : kWidths) {
                scan.repeat = repeat;
                scan.reuse = reuse;
                scan.width = width;
                if (!all_surroundings(bench, scan)) {
                    return false;
                }
            }
        }
    }
    return true;
}

bool all_shifts(Bench& bench, bool (*vary)(Bench&, ScanCase)) {
    for (const Kind kind : kKinds) {
        for (const bool ir : {false, true}) {
            for (const uint32_t bits : kBitCounts) {
                for (const bool adjust : {false, true}) {
                    ScanCase scan;
                    scan.kind = kind;
                    scan.ir = ir;
                    scan.bits = bits;
                    scan.adjust = adjust;
                    if (!vary(bench, scan)) {
                        return false;
                    }
                }
            }
        }
    }
    return true;
}

TEST(ScanGeneratorTest, EveryCombinationGivesTheWordsOfTheRules) {
    Bench bench{Board{}};
    EXPECT_TRUE(all_shifts(bench, all_repeats));
    constexpr size_t kShifts = std::size(kKinds) * 2 * std::size(kBitCounts) * 2;
    constexpr size_t kSurroundings =
        std::size(kEnds) * std::size(kAmbles) * std::size(kTransits) * std::size(kTransits);
    EXPECT_EQ(bench.compared(), kShifts * kSurroundings * 2 * 2 * std::size(kWidths));
}

TEST(ScanGeneratorTest, APodThatWaitsByItselfGetsNoBufferWaits) {
    Board board;
    board.host_waits = false;
    board.revision = 0x0200;
    Bench bench{board};
    EXPECT_TRUE(all_shifts(bench, all_surroundings));
}

TEST(ScanGeneratorTest, AnOldPodWithASlowClockSettlesAfterEachWordSent) {
    Board board;
    board.settles = true;
    Bench bench{board};
    EXPECT_TRUE(all_shifts(bench, all_surroundings));
}

TEST(ScanGeneratorTest, ABoardWithoutAmbleBitsHasNoAmbles) {
    Board board;
    board.pre_ir = board.pos_ir = board.pre_dr = board.pos_dr = 0;
    board.config = 0;
    Bench bench{board};
    EXPECT_TRUE(all_shifts(bench, all_surroundings));
}

TEST(ScanGeneratorTest, SlowAndFastModeChangeNoWord) {
    Bench bench{Board{}};
    bench.pod().control.timeDependNew.slowMode = true;
    bench.pod().control.timeDependNew.fastMode = true;
    EXPECT_TRUE(all_shifts(bench, all_surroundings));
}

} // namespace
