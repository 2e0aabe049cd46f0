#include "host/jtag/null_port.h"
#include "host/svf/checker.h"
#include "tests/host/svf/recording_port.h"

#include <gtest/gtest.h>

#include <vector>

namespace talvor::svf {
namespace {

using namespace play;

TEST(CheckerTest, CountsWhatTheFileHolds) {
    const std::string_view text = "! head\n"
                                  "TRST OFF;\n"
                                  "STATE RESET;\n"
                                  "HDR 2 TDI (0);\n"
                                  "SIR 8 TDI (1) TDO (1);\n"
                                  "SDR 30 TDI (1); SDR 30;\n"
                                  "SDR 10 TDI (1) TDO (0);\n"
                                  "RUNTEST 100 TCK 0.5 SEC;\n"
                                  "RUNTEST 1 SEC;\n"
                                  "FREQUENCY 1E6 HZ;\n";
    play::TextSource source(text);
    RecordingPort port;
    const Result<Summary> summary = check(source, port);
    ASSERT_TRUE(summary) << headline(summary.error());
    EXPECT_EQ(summary->bytes, text.size());
    EXPECT_EQ(summary->lines, 11U);
    EXPECT_EQ(summary->statements, 10U);
    EXPECT_EQ(summary->by_kind[static_cast<size_t>(StatementKind::Sdr)], 3U);
    EXPECT_EQ(summary->by_kind[static_cast<size_t>(StatementKind::RunTest)], 2U);
    EXPECT_EQ(summary->by_kind[static_cast<size_t>(StatementKind::Pio)], 0U);
    EXPECT_EQ(summary->ir_scans, 1U);
    EXPECT_EQ(summary->ir_bits, 8U);
    EXPECT_EQ(summary->dr_scans, 3U);
    EXPECT_EQ(summary->dr_bits, 32U + 32U + 12U);
    EXPECT_EQ(summary->longest_scan_bits, 32U);
    EXPECT_EQ(summary->compared_scans, 2U);
    EXPECT_EQ(summary->state_moves, 1U);
    EXPECT_EQ(summary->run_clocks, 100U);
    EXPECT_EQ(summary->run_time, std::chrono::milliseconds(1500));
    EXPECT_TRUE(port.log.empty());
}

TEST(CheckerTest, SumsOfRunsStayAtTheirEnd) {
    std::string text;
    for (int i = 0; i < 120; ++i) { // each some 925 days
        text += "RUNTEST IDLE 9223372036854775807 TCK 8E7 SEC;";
    }
    play::TextSource source(text);
    RecordingPort port;
    const Result<Summary> summary = check(source, port);
    ASSERT_TRUE(summary) << headline(summary.error());
    EXPECT_EQ(summary->run_time, std::chrono::nanoseconds::max());
    EXPECT_EQ(summary->run_clocks, UINT64_MAX);
}

TEST(CheckerTest, ChecksAgainFromTheStart) {
    play::TextSource source("SIR 8 TDI (1);");
    const NullPort port;
    const Result<Summary> first = check(source, port);
    const Result<Summary> second = check(source, port);
    ASSERT_TRUE(first && second);
    EXPECT_EQ(*first, *second);
    EXPECT_EQ(second->statements, 1U);
}

TEST(CheckerTest, ReportsProgressInOrderAndToTheEnd) {
    const std::string_view text = "SIR 8 TDI (1);\nSDR 80 TDI (1234567890);\nSDR 80;\n";
    play::TextSource source(text, "t.svf", 10);
    const NullPort port;
    std::vector<Progress> seen;
    CheckOptions options;
    options.progress = [&seen](const Progress& progress) {
        seen.push_back(progress);
        return true;
    };
    ASSERT_TRUE(check(source, port, options));
    ASSERT_GE(seen.size(), 6U);
    for (size_t i = 0; i < seen.size(); ++i) {
        EXPECT_EQ(seen[i].pass, Pass::Check);
        EXPECT_EQ(seen[i].bytes_total, text.size());
        EXPECT_LE(seen[i].bytes_done, text.size());
        EXPECT_GE(seen[i].bytes_done, i == 0 ? 0 : seen[i - 1].bytes_done);
    }
    EXPECT_EQ(seen.back().bytes_done, text.size());
    EXPECT_EQ(seen.back().statements, 3U);
    EXPECT_EQ(seen.back().bits_shifted, 168U);
}

TEST(CheckerTest, StopsWhenTheHookSaysSo) {
    play::TextSource source("SIR 8 TDI (1);\nSIR 8 TDI (2);\n");
    const NullPort port;
    CheckOptions options;
    int calls = 0;
    options.progress = [&calls](const Progress&) { return ++calls < 1; };
    const Result<Summary> summary = check(source, port, options);
    ASSERT_FALSE(summary);
    EXPECT_EQ(headline(summary.error()), "text: stopped on request");
    EXPECT_EQ(calls, 1);
}

} // namespace
} // namespace talvor::svf
