#include "host/svf/player.h"
#include "tests/host/support/chain_port.h"
#include "tests/host/svf/recording_port.h"

#include <fmt/format.h>
#include <gtest/gtest.h>

#include <random>
#include <string>
#include <thread>
#include <vector>

namespace talvor::svf {
namespace {

using namespace play;

// Three devices; the last one is nearest TDO. Instruction 2 selects a scratch register.
ChainPort chain_of_three() {
    return ChainPort({ChainTap{{}, 4, 1, {{2, 8}}}, ChainTap{{}, 5, 1, {{2, 12}}},
                      ChainTap{{}, 8, 1, {{2, 20}}}});
}

Result<PlayReport> play_text(std::string_view text, JtagPort& port, PlayOptions options = {}) {
    play::TextSource source(text, "t.svf");
    return check_and_play(source, port, options);
}

TEST(PlayerTest, WritesAndReadsTheMiddleDeviceThroughHeaderAndTrailer) {
    ChainPort port = chain_of_three();
    const Result<PlayReport> report = play_text("HIR 8 TDI (FF) TDO (01);\n"
                                                "TIR 4 TDI (F) TDO (1);\n"
                                                "HDR 1 TDI (0) TDO (0);\n"
                                                "TDR 1 TDI (0) TDO (0);\n"
                                                "SIR 5 TDI (02) TDO (01);\n"
                                                "SDR 12 TDI (ABC) TDO (000);\n"
                                                "SDR 12 TDI (123) TDO (ABC);\n"
                                                "SDR 12 TDI (000) TDO (123);\n",
                                                port);
    ASSERT_TRUE(report) << headline(report.error());
    EXPECT_EQ(report->mismatches, 0U);
    EXPECT_TRUE(report->complete);
    EXPECT_EQ(report->summary.compared_scans, 4U);
    EXPECT_EQ(port.state(), TapState::RunTestIdle);
}

TEST(PlayerTest, AMismatchNamesLineValueAndBits) {
    ChainPort port = chain_of_three();
    const Result<PlayReport> report = play_text("SIR 17 TDI (04101);\n"
                                                "SIR 17 TDI (1FFFF)\n"
                                                "  TDO (02121);\n"
                                                "SDR 3 TDI (0) TDO (0);\n",
                                                port);
    ASSERT_TRUE(report);
    EXPECT_FALSE(report->complete);
    EXPECT_EQ(report->mismatches, 1U);
    EXPECT_EQ(report->summary.statements, 2U);
    ASSERT_TRUE(report->first_mismatch);
    EXPECT_EQ(headline(to_error(*report->first_mismatch, "t.svf")),
              "t.svf:2: SIR: 1 of 17 bits differ, at 5: expected 02121, got 02101, mask 1FFFF");
}

TEST(PlayerTest, HeaderAndTrailerCountForThemselves) {
    RecordingPort port;
    port.answers = {"A0B0C"};
    PlayOptions options;
    std::vector<std::string> seen;
    options.keep_going = true;
    options.on_mismatch = [&seen](const Mismatch& mismatch) {
        seen.push_back(headline(to_error(mismatch, "")));
    };
    const Result<PlayReport> report = play_text("HDR 4 TDI (0) TDO (D);\nTDR 8 TDI (0) TDO (A0);\n"
                                                "SDR 8 TDI (0) TDO (B1);",
                                                port, options);
    ASSERT_TRUE(report);
    EXPECT_EQ(seen, (std::vector<std::string>{
                        ":3: HDR: 1 of 4 bits differ, at 0: expected D, got C, mask F",
                        ":3: SDR: 1 of 8 bits differ, at 0: expected B1, got B0, mask FF"}));
}

TEST(PlayerTest, KeepsGoingWhenAsked) {
    RecordingPort port;
    port.answers = {"1", "2", "3"};
    PlayOptions options;
    options.keep_going = true;
    const Result<PlayReport> report =
        play_text("SDR 4 TDI (0) TDO (0);\nSDR 4 TDO (2);\nSDR 4 TDO (0);", port, options);
    ASSERT_TRUE(report);
    EXPECT_TRUE(report->complete);
    EXPECT_EQ(report->mismatches, 2U);
    EXPECT_EQ(report->first_mismatch->line, 1U);
    EXPECT_EQ(report->summary.statements, 3U);
}

// MASK and TDO carry over by different rules; getting them wrong passes scans that should fail.
struct MaskCase {
    const char* name;
    const char* text;
    std::vector<std::string> answers;
    std::vector<uint64_t> failing_lines;
};

class MaskTest : public testing::TestWithParam<MaskCase> {};

TEST_P(MaskTest, FailsExactlyTheseLines) {
    RecordingPort port;
    port.answers = GetParam().answers;
    PlayOptions options;
    options.keep_going = true;
    std::vector<uint64_t> lines;
    options.on_mismatch = [&lines](const Mismatch& mismatch) { lines.push_back(mismatch.line); };
    const Result<PlayReport> report = play_text(GetParam().text, port, options);
    ASSERT_TRUE(report) << headline(report.error());
    EXPECT_EQ(lines, GetParam().failing_lines);
}

const MaskCase kMasks[] = {
    {"NoMaskComparesAll", "SDR 8 TDI (0) TDO (80);", {"00"}, {1}},
    {"MaskHides", "SDR 8 TDI (0) TDO (80) MASK (7F);", {"00"}, {}},
    {"MaskIsRemembered",
     "SDR 8 TDI (0) TDO (80) MASK (7F);\nSDR 8 TDO (80);\nSDR 8 TDO (01);",
     {"00", "00", "00"},
     {3}},
    {"AnAbsentTdoLeavesTheMaskAlone",
     "SDR 8 TDI (0) TDO (80) MASK (7F);\nSDR 8;\nSDR 8 TDO (01);\nSDR 8 TDO (80);",
     {"00", "00", "00"},
     {3}},
    {"AMaskWithoutTdoIsRemembered",
     "SDR 8 TDI (0) MASK (F0);\nSDR 8 TDO (0F);\nSDR 8 TDO (F0);",
     {"00", "00"},
     {3}},
    {"ANewLengthMeansAllOnes",
     "SDR 8 TDI (0) TDO (FF) MASK (00);\nSDR 9 TDI (0) TDO (001);\nSDR 8 TDI (0) TDO (01);",
     {"00", "00", "00"},
     {2, 3}},
    {"TheMaskOfIrIsItsOwn", "SDR 8 TDI (0) MASK (00);\nSIR 8 TDI (0) TDO (01);", {"00"}, {2}},
    {"SmaskHidesNothing", "SDR 8 TDI (0) SMASK (00) TDO (01);", {"00"}, {1}},
    {"TheMaskOfTheHeaderIsItsOwn",
     "HDR 4 TDI (0) TDO (F) MASK (0);\nSDR 4 TDI (0) TDO (1);\nSDR 4 TDO (0);",
     {"00", "00"},
     {2}},
    {"TheTdoOfAHeaderStaysUntilTheNextOne",
     "HDR 4 TDI (0) TDO (F);\nSDR 4 TDI (0);\nSDR 4;\nHDR 4;\nSDR 4;",
     {"00", "00"},
     {2, 3}},
};
INSTANTIATE_TEST_SUITE_P(Each, MaskTest, testing::ValuesIn(kMasks),
                         [](const auto& tested) { return std::string(tested.param.name); });

TEST(PlayerTest, ResetsTheTapFirstUnlessToldNotTo) {
    RecordingPort port;
    ASSERT_TRUE(play_text("STATE IDLE;", port));
    EXPECT_EQ(port.log, (std::vector<std::string>{"reset", "move IDLE", "flush"}));
}

TEST(PlayerTest, SpendsClocksInIdle) {
    ChainPort port = chain_of_three();
    ASSERT_TRUE(play_text("RUNTEST 123 TCK ENDSTATE DRPAUSE;", port));
    EXPECT_EQ(port.idle_clocks, 123U);
    EXPECT_EQ(port.state(), TapState::PauseDr);
}

TEST(PlayerTest, GoesOnShiftingFromPause) {
    ChainPort port = chain_of_three();
    // The pieces of one register: 20 bits of the last device in three scans, low bits first.
    const Result<PlayReport> report = play_text("SIR 17 TDI (1FF02);\n"
                                                "ENDDR DRPAUSE; SDR 8 TDI (43) TDO (00);\n"
                                                "SDR 8 TDI (65) TDO (00);\n"
                                                "ENDDR IDLE; SDR 6 TDI (07) TDO (00);\n"
                                                "SDR 22 TDI (0) TDO (076543);\n",
                                                port);
    ASSERT_TRUE(report);
    EXPECT_EQ(report->mismatches, 0U);
}

TEST(PlayerTest, AFailingPortIsToldWithTheLine) {
    for (const char* failing : {"dr", "move", "run", "trst", "hertz"}) {
        RecordingPort port;
        port.failing = failing;
        const Result<PlayReport> report =
            play_text("SIR 1 TDI (1);\n"
                      "SDR 1 TDI (1); STATE IDLE; RUNTEST 1 TCK; TRST OFF; FREQUENCY 5 HZ;",
                      port);
        ASSERT_FALSE(report) << failing;
        EXPECT_EQ(report.error().thing, "t.svf:2");
        EXPECT_NE(report.error().reason.find(": pod 1: the batch failed"), std::string::npos);
        EXPECT_EQ(report.error().code, -140);
        EXPECT_EQ(report.error().next_step, "look at the pod");
        EXPECT_EQ(report.error().kind, ErrorKind::Pod);
    }
    for (const char* failing : {"reset", "flush"}) {
        RecordingPort port;
        port.failing = failing;
        const Result<PlayReport> report = play_text("SIR 1 TDI (1);", port);
        ASSERT_FALSE(report);
        EXPECT_EQ(headline(report.error()), "pod 1: the batch failed");
    }
}

// Where a run ended, as a line.
std::string stop_of(std::string_view text, JtagPort& port, play::PlayOptions options = {}) {
    play::TextSource source(text, "t.svf");
    Reader reader(source, port);
    Player player(port, std::move(options));
    const Status status = player.play(reader);
    const PlayReport& report = player.report();
    EXPECT_EQ(report.complete, !report.stopped);
    return report.stopped ? fmt::format("{} {} {} {}", report.stopped->line,
                                        report.stopped->statement, name_of(report.stopped->tap),
                                        status ? "mismatch" : headline(status.error()))
                          : "nowhere";
}

TEST(PlayerTest, TellsWhereItStopped) {
    RecordingPort port;
    EXPECT_EQ(stop_of("SIR 1 TDI (1);\nSTATE DRPAUSE;\n", port), "nowhere");
    port.failing = "ir";
    EXPECT_EQ(stop_of("STATE DRPAUSE;\n\nSIR 1 TDI (1);\n", port),
              "3 SIR Pause-DR t.svf:3: SIR: pod 1: the batch failed");
    port.failing = "";
    port.answers = {"0"};
    EXPECT_EQ(stop_of("ENDIR IRPAUSE;\nSIR 1 TDI (1)\n TDO (1);\n", port),
              "2 SIR Pause-IR mismatch");
    EXPECT_EQ(stop_of("STATE IDLE;\nSDR 1 TDI (3);\n", port),
              "2  Run-Test/Idle t.svf:2: the value of SDR TDI is wider than its 1 bits");
    EXPECT_EQ(stop_of("STATE IDLE;\nRUNTEST 1 SCK;\n", port),
              "2 RUNTEST Run-Test/Idle t.svf:2: RUNTEST: SCK: there is no system clock");
    play::PlayOptions options;
    options.progress = [](const Progress& progress) { return progress.statements < 2; };
    EXPECT_EQ(stop_of("STATE IDLE;\nSTATE IRPAUSE;\nSTATE RESET;\n", port, options),
              "2 STATE Pause-IR t.svf: stopped on request");
}

TEST(PlayerTest, CountsRunsThatTookLongerThanTheirMaximum) {
    class SlowPort final : public JtagPort {
    public:
        Status can_scan(ScanPath, uint64_t, bool) const override { return {}; }
        Status can_run(StableState, uint64_t, ClockLine) const override { return {}; }
        Status can_set_trst(TrstLevel) const override { return {}; }
        Status can_set_max_frequency(std::optional<double>) const override { return {}; }
        Status reset_tap() override { return {}; }
        Status move(StableState) override { return {}; }
        Status scan(const Scan&) override { return {}; }
        Status run(StableState, uint64_t, std::chrono::nanoseconds) override {
            std::this_thread::sleep_for(std::chrono::milliseconds(3));
            return {};
        }
        Status set_trst(TrstLevel) override { return {}; }
        Status set_max_frequency(std::optional<double>) override { return {}; }
        Status flush() override { return {}; }
    };
    SlowPort port;
    const Result<PlayReport> report = play_text("RUNTEST 1E-3 SEC MAXIMUM 1000 SEC;\n"
                                                "RUNTEST 1E-3 SEC MAXIMUM 2E-3 SEC;\n"
                                                "RUNTEST 1E-3 SEC MAXIMUM 2E-3 SEC;\n",
                                                port);
    ASSERT_TRUE(report);
    EXPECT_EQ(report->overlong_runs, 2U);
    EXPECT_EQ(report->first_overlong_line, 2U);
    EXPECT_GE(report->elapsed, std::chrono::milliseconds(9));
}

// A file of random scans whose answers come from a chain of its own, clocked bit by bit.
struct GeneratedFile {
    std::string text;
    uint64_t scans = 0;
    std::vector<std::pair<size_t, uint64_t>> checked_digits; // place in the text, line
};

void done(const Status& status) {
    EXPECT_TRUE(status);
}

std::string random_hex(std::mt19937& random, size_t length) {
    Bits bits(length);
    for (size_t i = 0; i < length; ++i) {
        bits.set(i, (random() & 1U) != 0);
    }
    return bits.to_hex();
}

class Generator {
public:
    explicit Generator(uint32_t seed) : random_(seed) {
        done(chain_.reset_tap());
        instructions();
    }

    GeneratedFile make(int statements) {
        for (int i = 0; i < statements; ++i) {
            switch (random_() % 6) {
            case 0:
                instructions();
                break;
            case 1:
                wrap("HDR", header_);
                break;
            case 2:
                wrap("TDR", trailer_);
                break;
            case 3:
                file_.text += "RUNTEST 3 TCK ENDSTATE IDLE;\n";
                ++line_;
                done(chain_.run(StableState::Idle, 3, {}));
                break;
            default:
                body();
            }
        }
        return std::move(file_);
    }

private:
    void instructions() {
        const std::string value =
            Bits::from_uint(random_() % 2 == 0 ? 0x1FF02 : 0x04102, 17).to_hex();
        const Bits out = Bits::from_hex(value, 17).value();
        done(chain_.scan({ScanPath::Ir, &out, nullptr, StableState::Idle}));
        file_.text += fmt::format("SIR 17 TDI ({}) TDO (02101);\n", value);
        ++line_;
        ++file_.scans;
    }

    void wrap(const char* keyword, std::string& value) {
        const size_t length = random_() % 20;
        value.clear();
        ++line_;
        if (length == 0) {
            file_.text += fmt::format("{} 0;\n", keyword);
            return;
        }
        const Bits bits = Bits::from_hex(random_hex(random_, length), length).value();
        for (size_t i = 0; i < length; ++i) {
            value += bits[i] ? '1' : '0';
        }
        file_.text += fmt::format("{} {} TDI ({});\n", keyword, length, bits.to_hex());
    }

    void body() {
        const size_t length = 1 + random_() % 200;
        const Bits tdi = Bits::from_hex(random_hex(random_, length), length).value();
        std::string all = header_;
        for (size_t i = 0; i < length; ++i) {
            all += tdi[i] ? '1' : '0';
        }
        all += trailer_;
        Bits out(all.size());
        for (size_t i = 0; i < all.size(); ++i) {
            out.set(i, all[i] == '1');
        }
        Bits in;
        done(chain_.scan({ScanPath::Dr, &out, &in, StableState::Idle}));
        Bits tdo(length);
        for (size_t i = 0; i < length; ++i) {
            tdo.set(i, in[header_.size() + i]);
        }
        file_.text += fmt::format("SDR {} TDI ({})\nTDO (", length, tdi.to_hex());
        file_.checked_digits.emplace_back(file_.text.size() + (length + 3) / 4 - 1, line_);
        file_.text += fmt::format("{});\n", tdo.to_hex());
        line_ += 2;
        ++file_.scans;
    }

    std::mt19937 random_;
    ChainPort chain_ = chain_of_three();
    std::string header_; // bit by bit, first one shifted first
    std::string trailer_;
    uint64_t line_ = 1;
    GeneratedFile file_;
};

TEST(PlayerGeneratedTest, AFileOfKnownAnswersPassesAndEachWrongDigitIsFound) {
    for (uint32_t seed = 1; seed <= 20; ++seed) {
        GeneratedFile file = Generator(seed).make(100);
        ChainPort port = chain_of_three();
        const Result<PlayReport> good = play_text(file.text, port);
        ASSERT_TRUE(good) << headline(good.error());
        EXPECT_EQ(good->mismatches, 0U) << headline(to_error(*good->first_mismatch, "t.svf"));

        ASSERT_FALSE(file.checked_digits.empty());
        const auto [place, line] = file.checked_digits[seed % file.checked_digits.size()];
        char& digit = file.text[place];
        // The lowest bit of the lowest digit, so the value keeps its width.
        digit = "1032547698BADCFE"[static_cast<size_t>(
            std::string_view("0123456789ABCDEF").find(digit))];
        ChainPort again = chain_of_three();
        const Result<PlayReport> bad = play_text(file.text, again);
        ASSERT_TRUE(bad);
        ASSERT_EQ(bad->mismatches, 1U);
        EXPECT_EQ(bad->first_mismatch->first_bits, std::vector<uint64_t>{0});
        EXPECT_EQ(bad->first_mismatch->line + 1, line + 1);
    }
}

} // namespace
} // namespace talvor::svf
