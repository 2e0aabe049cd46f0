#include "common/temporary.h"
#include "common/toml.h"
#include "tool/output/progress_bar.h"

#include <gtest/gtest.h>

namespace talvor {
namespace {

using std::chrono::milliseconds;
using std::chrono::seconds;

TEST(ProgressLineTest, ShowsPartRateAndTimeLeft) {
    EXPECT_EQ(progress_line("play", 5'000'000, 10'000'000, seconds(2)),
              "play   50 % [###############---------------]  2.5 MB/s  0:02 left");
    EXPECT_EQ(progress_line("check", 1, 3, seconds(1)),
              "check  33 % [##########--------------------]  1 B/s  0:02 left");
}

TEST(ProgressLineTest, SaysNothingAboutTheRateAtFirst) {
    EXPECT_EQ(progress_line("play", 1000, 10'000, milliseconds(199)),
              "play   10 % [###---------------------------]");
    EXPECT_EQ(progress_line("play", 0, 10'000, seconds(5)),
              "play    0 % [------------------------------]");
}

TEST(ProgressLineTest, AnEmptyFileIsDone) {
    EXPECT_EQ(progress_line("play", 0, 0, milliseconds(0)),
              "play  100 % [##############################]");
}

TEST(ByteTextTest, TakesTheUnitThatFits) {
    EXPECT_EQ(byte_text(0), "0 B");
    EXPECT_EQ(byte_text(999), "999 B");
    EXPECT_EQ(byte_text(1000), "1.0 kB");
    EXPECT_EQ(byte_text(1.25e6), "1.2 MB");
    EXPECT_EQ(byte_text(5e12), "5000.0 GB");
}

TEST(ClockTextTest, HasHoursOnlyWhenNeeded) {
    EXPECT_EQ(clock_text(seconds(0)), "0:00");
    EXPECT_EQ(clock_text(seconds(75)), "1:15");
    EXPECT_EQ(clock_text(seconds(3599)), "59:59");
    EXPECT_EQ(clock_text(seconds(3723)), "1:02:03");
}

TEST(ProgressReportTest, IsALineThatIsReadBack) {
    const ProgressReport report{"play 3", 12, 400};
    EXPECT_EQ(report.line(), "progress 12 400 play 3\n");
    EXPECT_EQ(ProgressReport::parse("progress 12 400 play 3"), report);
    for (const char* other : {"", "progress", "progress 12", "progress 12 400", "progress x 1 y",
                              "talvor: progress 1 2 x"}) {
        EXPECT_FALSE(ProgressReport::parse(other)) << other;
    }
}

TEST(ProgressBarTest, ReportsWithoutBeingShown) {
    const TemporaryFile reports = TemporaryFile::create().value();
    testing::internal::CaptureStderr();
    {
        ProgressBar bar(false, reports.descriptor());
        bar.show("check", 1, 10);
        bar.show("check", 2, 10); // too soon
        bar.show("check", 10, 10);
        bar.show("play", 0, 10);
    }
    EXPECT_EQ(testing::internal::GetCapturedStderr(), "");
    EXPECT_EQ(read_text_file(reports.path()).value(),
              "progress 1 10 check\nprogress 10 10 check\nprogress 0 10 play\n");
}

} // namespace
} // namespace talvor
