#include "common/temporary.h"
#include "host/waveform/vcd.h"
#include "tests/host/waveform/trace.h"

#include <gtest/gtest.h>

#include <fstream>
#include <sstream>
#include <string>
#include <vector>

namespace talvor::waveform {
namespace {

Result<Waveform> read(const std::string& text, const Window& window = {}) {
    std::istringstream stream(text);
    return read_vcd(stream, "t.vcd", window);
}

std::string message(const std::string& text) {
    const Result<Waveform> result = read(text);
    EXPECT_FALSE(result);
    if (result) {
        return "";
    }
    EXPECT_EQ(result.error().kind, ErrorKind::BadFile);
    return headline(result.error());
}

const std::string kHeader = "$timescale 1 ns $end\n$var wire 1 ! tck $end\n"
                            "$var wire 1 \" tms $end\n$var wire 1 # tdi $end\n"
                            "$var wire 1 $ tdo $end\n$enddefinitions $end\n";

TEST(VcdTest, OneSampleForEachRisingEdge) {
    const Result<Waveform> wave =
        read(Trace().moves("0").moves("1").clock(false, false, true).text());
    ASSERT_TRUE(wave) << headline(wave.error());
    EXPECT_EQ(wave->total_tcks, 3U);
    EXPECT_EQ(wave->first_tck, 0U);
    EXPECT_EQ(wave->samples,
              (std::vector<Sample>{{50000, false, true, true, TapState::TestLogicReset},
                                   {150000, true, true, true, TapState::RunTestIdle},
                                   {250000, false, false, true, TapState::SelectDrScan}}));
    EXPECT_TRUE(wave->pin_changes.empty());
}

TEST(VcdTest, FollowsTheStateFromTmsWhenTheTraceHasNone) {
    Trace with;
    Trace without(false);
    for (Trace* trace : {&with, &without}) {
        trace->moves("0100").shift(5, 3, 4).moves("10110010").pin('%', false).moves("00");
    }
    const Result<Waveform> one = read(with.text());
    const Result<Waveform> other = read(without.text());
    ASSERT_TRUE(one && other);
    EXPECT_EQ(one->samples, other->samples);
    EXPECT_EQ(one->samples.back().state, TapState::RunTestIdle);
}

// A trace with a wire for each bit of the state; `gap` stands before the index.
std::string in_wires(std::string text, const std::string& gap) {
    const std::string vector = "$var reg 4 ) tap_state [3:0] $end\n";
    std::string wires;
    for (const char bit : {'3', '2', '1', '0'}) {
        wires += std::string("$var wire 1 s") + bit + " tap_state" + gap + "[" + bit + "] $end\n";
    }
    text.replace(text.find(vector), vector.size(), wires);
    for (size_t at = 0; (at = text.find("\nb", at)) != std::string::npos;) {
        std::string bits;
        for (size_t i = 0; i < 4; ++i) {
            bits += std::string("\n") + text[at + 2 + i] + "s" + std::to_string(3 - i);
        }
        text.replace(at, 8, bits);
    }
    return text;
}

TEST(VcdTest, TakesTheStateFromAWireForEachBit) {
    // The state stands elsewhere than where TMS leads from the start.
    Trace trace;
    trace.moves("0100").shift(5, 3, 4).moves("10110010").pin('%', false).moves("00");
    const std::string text = trace.text();
    const Result<Waveform> vector = read(text);
    ASSERT_TRUE(vector);
    for (const char* gap : {"", " "}) {
        const Result<Waveform> wires = read(in_wires(text, gap));
        ASSERT_TRUE(wires) << headline(wires.error());
        EXPECT_EQ(wires->samples, vector->samples);
    }
    // Three bits are no state: then TMS says where the TAP stands.
    std::string three = in_wires(text, "");
    three.replace(three.find("tap_state[3]"), 12, "something[3]");
    const Result<Waveform> followed = read(three);
    ASSERT_TRUE(followed);
    EXPECT_EQ(followed->samples, vector->samples);
}

TEST(VcdTest, ValuesThatChangeWithTheEdgeAreNotSampledByIt) {
    const Result<Waveform> wave = read(kHeader + "#0\n0!\n0\"\n0#\n0$\n#5\n1\"\n1#\n1!\n1$\n");
    ASSERT_TRUE(wave);
    EXPECT_EQ(wave->samples,
              (std::vector<Sample>{{5000, false, false, false, TapState::TestLogicReset}}));
}

TEST(VcdTest, AClockThatStartsHighHasNoEdgeThere) {
    const Result<Waveform> wave = read(kHeader + "#0\n1!\n#5\n0!\n#6\n1!\n#7\n1!\n");
    ASSERT_TRUE(wave);
    EXPECT_EQ(wave->total_tcks, 1U);
}

TEST(VcdTest, UnknownLevelsReadAsPulledUp) {
    const Result<Waveform> wave = read(kHeader + "#0\n0!\nx\"\nz#\nX$\n#5\n1!\n");
    ASSERT_TRUE(wave);
    EXPECT_EQ(wave->samples[0], (Sample{5000, true, true, true, TapState::TestLogicReset, false}));
}

TEST(VcdTest, AnUndrivenTdoIsNoUnknownOne) {
    const Result<Waveform> wave = read(kHeader + "#0\n0!\nz$\n#5\n1!\n#6\n0!\nx$\n#7\n1!\n");
    ASSERT_TRUE(wave);
    EXPECT_TRUE(wave->samples[0].tdo_known);
    EXPECT_FALSE(wave->samples[1].tdo_known);
}

TEST(VcdTest, KeepsThePinsBesideThePort) {
    const Result<Waveform> wave =
        read(Trace().moves("0").pin('%', false).pin('%', true).moves("00").pin('(', true).text());
    ASSERT_TRUE(wave);
    EXPECT_EQ(wave->pins_at_start, (std::array<bool, kPinCount>{true, true, true, false}));
    EXPECT_EQ(wave->pin_changes, (std::vector<PinChange>{{100000, 1, Pin::TrstN, false},
                                                         {100000, 1, Pin::TrstN, true},
                                                         {300000, 3, Pin::TargetReset, true}}));
}

TEST(VcdTest, AWindowKeepsItsSamplesAndCountsAll) {
    Trace trace;
    trace.moves("0").pin('&', false).moves("000").pin('&', true).moves("00").pin('\'', false);
    const Result<Waveform> wave = read(trace.text(), {2, 3});
    ASSERT_TRUE(wave);
    EXPECT_EQ(wave->total_tcks, 6U);
    EXPECT_EQ(wave->first_tck, 2U);
    ASSERT_EQ(wave->samples.size(), 3U);
    EXPECT_EQ(wave->samples[0].time_ps, 250000U);
    EXPECT_FALSE(wave->pins_at_start[static_cast<size_t>(Pin::Emu0)]);
    EXPECT_EQ(wave->pin_changes, (std::vector<PinChange>{{400000, 2, Pin::Emu0, true}}));
}

TEST(VcdTest, AWindowBehindTheEndIsEmpty) {
    const Result<Waveform> wave = read(Trace().moves("000").text(), {100, 5});
    ASSERT_TRUE(wave);
    EXPECT_TRUE(wave->samples.empty());
    EXPECT_EQ(wave->first_tck, 3U);
}

TEST(VcdTest, TakesTheTimeScale) {
    for (const auto& [scale, time_ps] :
         {std::pair{"10ps", 50U}, {"1 ps", 5U}, {"1us", 5000000U}, {"\n1\nns\n", 5000U}}) {
        std::string text = kHeader + "#0\n0!\n#5\n1!\n";
        text.replace(text.find("1 ns"), 4, scale);
        const Result<Waveform> wave = read(text);
        ASSERT_TRUE(wave) << scale;
        EXPECT_EQ(wave->samples[0].time_ps, time_ps) << scale;
    }
}

TEST(VcdTest, PassesOverSignalsAndTextsOfOthers) {
    std::string text = kHeader;
    text.insert(0, "$comment a b c $end $scope module x $end $var real 64 ? volts $end\n");
    const Result<Waveform> wave = read(text + "#0 $dumpvars 0! $end r1.5 ? sabc ? b101 ?\n"
                                              "$comment 1! $end #5 1! 1?\n");
    ASSERT_TRUE(wave) << headline(wave.error());
    EXPECT_EQ(wave->total_tcks, 1U);
}

TEST(VcdTest, NamesWhatIsWrong) {
    EXPECT_EQ(message(""), "t.vcd: this is no value change dump");
    EXPECT_EQ(message("SDR 8 TDI (1);"), "t.vcd: this is no value change dump");
    EXPECT_EQ(message("$date $end $var wire 1 !"), "t.vcd: this is no value change dump");
    EXPECT_EQ(message("$var wire 1 ! tck $end $enddefinitions $end"),
              "t.vcd: there is no signal tms");
    EXPECT_EQ(message("\n$timescale 3 parsec $end"),
              "t.vcd:2: '3parsec' is no time scale that a trace has");
    EXPECT_EQ(message("$var wire 1 $end"), "t.vcd:1: a $var without type, size, code and name");
    EXPECT_EQ(message(kHeader + "#0\n0!\nhello\n"), "t.vcd:9: 'hello' is no change of a value");
    EXPECT_EQ(message(kHeader + "#0\n#x\n"), "t.vcd:8: '#x' is no time");
    EXPECT_EQ(message(kHeader + "#5\n#4\n"), "t.vcd:8: the time goes backwards");
    EXPECT_EQ(message(kHeader + "#5\n$var\n"), "t.vcd:8: '$var' has no place among values");
}

TEST(VcdTest, ATimeThatDoesNotFitIsNamed) {
    const std::string in_seconds = "$timescale 1 s $end" + kHeader.substr(kHeader.find("\n$var"));
    const Result<Waveform> wave = read(in_seconds + "#0\n0!\n#18446744\n1!\n");
    ASSERT_TRUE(wave) << headline(wave.error());
    EXPECT_EQ(wave->samples.at(0).time_ps, 18'446'744'000'000'000'000U);
    EXPECT_EQ(message(in_seconds + "#18446745\n1!\n"),
              "t.vcd:7: '#18446745' is later than 18446744 s");
    EXPECT_EQ(message("$timescale 99999999999 s $end"),
              "t.vcd:1: '99999999999s' is no time scale that a trace has");
    EXPECT_EQ(message("$timescale 0 ns $end"), "t.vcd:1: '0ns' is no time scale that a trace has");
}

// A disk that gets full cuts a file anywhere.
TEST(VcdTest, ATimeThatIsCutShortEndsTheTrace) {
    for (const char* rest : {"#", "#1", "#10"}) {
        const Result<Waveform> wave = read(kHeader + "#100\n0!\n#105\n1!\n#110\n0!\n" + rest);
        ASSERT_TRUE(wave) << rest << headline(wave.error());
        EXPECT_EQ(wave->samples.size(), 1U);
    }
    EXPECT_FALSE(read(kHeader + "#100\n0!\n#10\n"));
}

// A file with `text` for as long as the object lives.
class TraceFile {
public:
    explicit TraceFile(const std::string& text) { std::ofstream(file_.path()) << text; }
    [[nodiscard]] const std::string& path() const { return file_.path(); }

private:
    TemporaryFile file_ = TemporaryFile::create().value();
};

TEST(ShiftWindowTest, ReachesFromTheShiftBeforeToTheShiftBehind) {
    // Four Shift clocks, two, and one.
    Trace trace;
    trace.moves("00100").shift(5, 3, 4).moves("010").shift(1, 1, 2).moves("1100").clock(true);
    const TraceFile file(trace.text());
    const auto samples = read(trace.text())->samples;
    std::vector<size_t> shifting;
    for (size_t i = 0; i < samples.size(); ++i) {
        if (is_shift(samples[i].state)) {
            shifting.push_back(i);
        }
    }
    ASSERT_EQ(shifting.size(), 7U);
    const auto window = [&file](uint64_t first, uint64_t end) {
        return window_of_shifts(file.path(), {first, end}).value();
    };
    const auto expect = [](const Window& found, uint64_t first, uint64_t end) {
        EXPECT_EQ(found.first_tck, first);
        EXPECT_EQ(found.first_tck + found.count, end);
    };
    expect(window(0, 4), 0, shifting[4]);
    expect(window(4, 6), shifting[3] + 1, shifting[6]);
    expect(window(6, 7), shifting[5] + 1, samples.size());
    expect(window(4, 4), shifting[3] + 1, shifting[4]); // a statement that shifts nothing
    expect(window(7, 7), shifting[6] + 1, samples.size());
}

TEST(ShiftWindowTest, WhatTheLimitTookIsSaid) {
    const std::string start = "#0\n0!\n1\"\n1#\n1$\n";
    const TraceFile late(kHeader.substr(0, kHeader.find("$enddef")) + "$enddefinitions $end\n" +
                         "$comment The trace begins here: 100 test clocks, 40 shifting, are not "
                         "kept. $end\n" +
                         start);
    EXPECT_TRUE(window_of_shifts(late.path(), {40, 41}));
    const auto lost = window_of_shifts(late.path(), {39, 41});
    ASSERT_FALSE(lost);
    EXPECT_EQ(headline(lost.error()),
              late.path() + ": the waveform had reached its limit, and lost that part");
    const TraceFile early(kHeader + start + "$comment The trace ends here: 5000 bytes. $end\n");
    EXPECT_FALSE(window_of_shifts(early.path(), {0, 1}));
}

TEST(VcdTest, AMissingFileIsNamed) {
    const Result<Waveform> wave = read_vcd_file("/nonexistent/t.vcd");
    ASSERT_FALSE(wave);
    EXPECT_EQ(headline(wave.error()),
              "/nonexistent/t.vcd: cannot open it: No such file or directory");
}

constexpr const char* kLate =
    "$comment The trace begins here: 1000 test clocks, 30 shifting, are not kept. $end\n";

TEST(VcdTest, ATraceThatLostItsBeginningCountsOn) {
    const std::string text =
        kHeader + kLate + "#0\n1!\n#5\n0!\n#6\n1!\n#7\n0!\n#8\n1!\n#9\n0!\n#10\n1!\n";
    const Result<Waveform> whole = read(text);
    ASSERT_TRUE(whole) << headline(whole.error());
    EXPECT_EQ(whole->total_tcks, 1003U);
    EXPECT_EQ(whole->missing_tcks, 1000U);
    EXPECT_EQ(whole->first_tck, 1000U);
    EXPECT_EQ(whole->first_shift_tck, 30U);
    EXPECT_EQ(whole->samples.size(), 3U);
    EXPECT_FALSE(whole->ends_early);
    const Result<Waveform> last = read(text, {1001, 5});
    ASSERT_TRUE(last);
    EXPECT_EQ(last->first_tck, 1001U);
    EXPECT_EQ(last->samples.size(), 2U);
    EXPECT_EQ(last->samples[0].time_ps, 8000U);
    const Result<Waveform> lost = read(text, {0, 1000});
    ASSERT_TRUE(lost);
    EXPECT_EQ(lost->first_tck, 1000U);
    EXPECT_TRUE(lost->samples.empty());
}

TEST(VcdTest, ATraceThatLostItsEndSaysSo) {
    const std::string text = kHeader + "#0\n0!\n#5\n1!\n";
    const Result<Waveform> cut = read(text + "$comment The trace ends here: 5000 bytes. $end\n");
    ASSERT_TRUE(cut) << headline(cut.error());
    EXPECT_TRUE(cut->ends_early);
    EXPECT_EQ(cut->total_tcks, 1U);
    for (const char* other : {"$comment The trace ends here: $end", "$comment $end",
                              "$comment The trace is here: 5000 bytes. $end"}) {
        const Result<Waveform> whole = read(text + other);
        ASSERT_TRUE(whole) << other;
        EXPECT_FALSE(whole->ends_early) << other;
    }
}

TEST(VcdTest, ABeginningThatMakesNoSenseIsRefused) {
    const std::string start = "$comment The trace begins here: ";
    for (const char* numbers :
         {"x test clocks, 3 shifting,", "5 test clocks, x shifting,", "5 test clocks",
          "5 test clocks, 6 shifting,", "9223372036854775808 test clocks, 3 shifting,",
          "18446744073709551616 test clocks, 3 shifting,", "5x test clocks, 3 shifting,"}) {
        EXPECT_EQ(message(kHeader + start + numbers + " are not kept. $end\n#0\n"),
                  "t.vcd:7: a beginning that does not say how many test clocks are missing")
            << numbers;
    }
    EXPECT_EQ(message(kHeader + "#0\n0!\n" + kLate), "t.vcd:9: the trace begins a second time");
    EXPECT_EQ(message(kHeader + kLate + kLate), "t.vcd:8: the trace begins a second time");
    EXPECT_EQ(message(kHeader + "$comment no end"), "t.vcd: this is no value change dump");
}

} // namespace
} // namespace talvor::waveform
