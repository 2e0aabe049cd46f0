// What the target saw, drawn.
#include "host/waveform/vcd.h"
#include "program.h"

#include <gtest/gtest.h>

#include <algorithm>
#include <cstdlib>
#include <filesystem>
#include <sstream>
#include <string>
#include <sys/mount.h>

namespace talvor::cli {
namespace {

TEST(TraceTest, DrawsInTheTerminal) {
    const Outcome outcome =
        talvor({"trace", "--count", "120", "ir", "0x1FFFFFFFF", "--bits", "33"});
    EXPECT_EQ(outcome.status, 0) << outcome.err;
    EXPECT_TRUE(outcome.out.starts_with("0x008840401\n")) << outcome.out;
    // The client's clocks are told from those that are shifted beside them.
    EXPECT_NE(outcome.out.find("  IR 48 bits marker  TDI "), std::string::npos) << outcome.out;
    EXPECT_NE(outcome.out.find("  IR 33 bits  TDI 1FFFFFFFF"), std::string::npos) << outcome.out;
    EXPECT_NE(outcome.out.find("TMS"), std::string::npos);
    EXPECT_NE(outcome.out.find("Test-Logic-Reset"), std::string::npos);
}

TEST(TraceTest, DrawsAsWideAndInTheCharactersOfTheEnvironment) {
    const std::vector<std::string> scan{"trace", "--last", "--count", "60", "dr", "0xFFFFFFFF"};
    // The widest line, in bytes of ASCII.
    const auto widest = [&scan](const char* columns) {
        setenv("COLUMNS", columns, 1);
        std::istringstream lines(talvor(scan).out);
        size_t most = 0;
        for (std::string line; std::getline(lines, line);) {
            most = std::max(most, line.size());
        }
        return most;
    };
    setenv("LC_ALL", "C", 1);
    const size_t narrow = widest("60");
    EXPECT_LE(narrow, 60U);
    EXPECT_GT(widest("90"), narrow);
    EXPECT_LE(widest("90"), 90U);
    const auto beyond_ascii = [](char c) { return (static_cast<unsigned char>(c) & 0x80U) != 0; };
    EXPECT_TRUE(std::ranges::none_of(talvor(scan).out, beyond_ascii));
    setenv("LC_ALL", "C.UTF-8", 1);
    EXPECT_NE(talvor(scan).out.find("▔"), std::string::npos);
    unsetenv("LC_ALL");
    unsetenv("COLUMNS");
}

TEST(TraceTest, DrawsAPicture) {
    const std::string svg = file_with("scan.svg", "");
    const Outcome outcome =
        talvor({"trace", "--svg", svg, "--title", "A scan", "--count", "30", "dr", "0xFFFFFFFF"});
    EXPECT_EQ(outcome.status, 0) << outcome.err;
    EXPECT_NE(outcome.out.find("\n" + svg + ": TCKs 0 to 30 of "), std::string::npos)
        << outcome.out;
    const std::string picture = read_file(svg);
    EXPECT_TRUE(picture.starts_with("<svg") || picture.starts_with("<?xml"))
        << picture.substr(0, 80);
    EXPECT_NE(picture.find("A scan"), std::string::npos);
    EXPECT_NE(picture.find("</svg>"), std::string::npos);
}

TEST(TraceTest, ShowsTheLastClocksToo) {
    const Outcome outcome = talvor({"trace", "--last", "--count", "5", "state", "move", "pauseir"});
    EXPECT_EQ(outcome.status, 0) << outcome.err;
    EXPECT_TRUE(outcome.out.starts_with("Pause-IR\n")) << outcome.out;
    EXPECT_EQ(outcome.out.find("Test-Logic-Reset"), std::string::npos) << outcome.out;
}

TEST(TraceTest, ShowsWhatWasSeenWhenTheCommandFails) {
    const std::string svf = file_with("mismatch.svf", "STATE RESET;\nSIR 33 TDI (0) TDO (0);\n");
    const Outcome outcome = talvor({"trace", "--count", "60", "svf", svf});
    EXPECT_EQ(outcome.status, 1);
    EXPECT_NE(outcome.out.find("TMS"), std::string::npos) << outcome.out;
    EXPECT_FALSE(outcome.err.empty());
}

TEST(TraceTest, LeavesADocumentAlone) {
    const Outcome outcome = talvor({"trace", "--count", "8", "chain", "--json"});
    EXPECT_EQ(outcome.status, 0) << outcome.err;
    EXPECT_TRUE(outcome.out.ends_with("}\n")) << outcome.out;
    EXPECT_EQ(outcome.out.find("TMS"), std::string::npos);
}

TEST(TraceTest, LeavesNothingBehind) {
    // A folder of this test's own: others run beside it.
    const TemporaryFolder folder = TemporaryFolder::create().value();
    setenv("TMPDIR", folder.path().c_str(), 1);
    EXPECT_EQ(talvor({"trace", "chain"}).status, 0);
    unsetenv("TMPDIR");
    EXPECT_TRUE(std::filesystem::is_empty(folder.path()));
    EXPECT_TRUE(std::filesystem::is_empty("/dev/shm"));
}

TEST(TraceTest, WithoutRoomForTheWaveformSaysWhatToSet) {
    setenv("TMPDIR", "/nonexistent", 1);
    const Outcome outcome = talvor({"trace", "chain"});
    unsetenv("TMPDIR");
    EXPECT_EQ(outcome.status, 2);
    EXPECT_TRUE(outcome.err.starts_with("talvor: making the temporary file /nonexistent/talvor-"))
        << outcome.err;
    EXPECT_TRUE(outcome.err.ends_with(": No such file or directory\n  next: set TMPDIR\n"))
        << outcome.err;
}

// A disk of `bytes` for as long as the object lives; none where mounts are not allowed.
class SmallDisk {
public:
    explicit SmallDisk(size_t bytes)
        : mounted_(mount("tmpfs", path().c_str(), "tmpfs", MS_NOSUID | MS_NODEV,
                         ("size=" + std::to_string(bytes)).c_str()) == 0) {}
    ~SmallDisk() {
        if (mounted_) {
            umount2(path().c_str(), MNT_DETACH);
        }
    }
    SmallDisk(const SmallDisk&) = delete;
    SmallDisk& operator=(const SmallDisk&) = delete;

    [[nodiscard]] bool mounted() const { return mounted_; }
    [[nodiscard]] const std::string& path() const { return folder_.path(); }

private:
    TemporaryFolder folder_ = TemporaryFolder::create().value();
    bool mounted_;
};

std::string idling(unsigned clocks) {
    return file_with("idle.svf", "STATE RESET;\nRUNTEST " + std::to_string(clocks) + " TCK;\n");
}

TEST(TraceTest, OnADiskThatGetsFullIsNoSuccess) {
    const SmallDisk disk(65536);
    if (!disk.mounted()) {
        GTEST_SKIP() << "mounts are not allowed here";
    }
    const std::string vcd = disk.path() + "/trace.vcd";
    const Outcome outcome =
        talvor({"trace", "--vcd", vcd, "--count", "8", "--text", "svf", idling(20000)});
    EXPECT_EQ(outcome.status, 2);
    EXPECT_EQ(outcome.err,
              "talvor: simulator: writing the trace " + vcd +
                  ": No space left on device\n  next: make room on that file system\n");
    EXPECT_NE(outcome.out.find("TMS"), std::string::npos) << "what there is is drawn";
    std::filesystem::remove(vcd);
    const Outcome last =
        talvor({"trace", "--vcd", vcd, "--last", "--count", "8", "svf", idling(20000)});
    EXPECT_EQ(last.status, 2);
    EXPECT_EQ(last.out.find("TMS"), std::string::npos) << "not the last, drawn as if they were";
}

TEST(TraceTest, TheLastClocksAreTheLastBeyondTheLimitToo) {
    const std::string svf = idling(20000);
    const std::vector<std::string> drawing{"--last", "--count", "12", "svf", svf};
    std::vector<std::string> all{"trace"};
    all.insert(all.end(), drawing.begin(), drawing.end());
    const Outcome whole = talvor(all);
    ASSERT_EQ(whole.status, 0) << whole.err;
    const std::string vcd = file_with("last.vcd", "");
    std::vector<std::string> few{"trace", "--vcd", vcd, "--vcd-bytes", "20000"};
    few.insert(few.end(), drawing.begin(), drawing.end());
    const Outcome small = talvor(few);
    ASSERT_EQ(small.status, 0) << small.err;
    EXPECT_EQ(small.out, whole.out);
    EXPECT_NE(small.out.find("TCK 2"), std::string::npos) << small.out;
    EXPECT_LT(std::filesystem::file_size(vcd), 20000U + 1000);
    EXPECT_NE(small.err.find(vcd + " begins with TCK "), std::string::npos) << small.err;
    const auto seen = waveform::read_vcd_file(vcd);
    ASSERT_TRUE(seen) << headline(seen.error());
    EXPECT_GT(seen->missing_tcks, 15000U);
    EXPECT_EQ(seen->samples.size(), seen->total_tcks - seen->missing_tcks);
}

TEST(TraceTest, SaysWhereTheTraceReachedItsLimit) {
    const std::string svg = file_with("limit.svg", "");
    const std::string svf = idling(20000);
    const Outcome late = talvor({"trace", "--vcd-bytes", "20000", "--last", "--count", "19000",
                                 "--text", "--svg", svg, "svf", svf});
    EXPECT_EQ(late.status, 0) << late.err;
    EXPECT_NE(late.out.find("The trace begins with TCK "), std::string::npos) << late.out;
    EXPECT_NE(read_file(svg).find("The trace begins with TCK "), std::string::npos);
    const Outcome early = talvor(
        {"trace", "--vcd-bytes", "20000", "--count", "19000", "--text", "--svg", svg, "svf", svf});
    EXPECT_EQ(early.status, 0) << early.err;
    EXPECT_NE(early.out.find(" of more than "), std::string::npos) << early.out;
    EXPECT_NE(early.out.find("The trace ends before TCK "), std::string::npos) << early.out;
}

TEST(TraceTest, SaysWhatTheFileOrTheDrawingLacks) {
    const std::string svf = idling(20000);
    const std::string vcd = file_with("cut.vcd", "");
    const Outcome cut = talvor({"trace", "--vcd", vcd, "--vcd-bytes", "20000", "svf", svf});
    EXPECT_EQ(cut.status, 0);
    EXPECT_NE(cut.err.find("reached its 20000 bytes"), std::string::npos) << cut.err;
    const Outcome enough = talvor({"trace", "--vcd", vcd, "svf", svf});
    EXPECT_EQ(enough.err, "");
    const Outcome behind =
        talvor({"trace", "--vcd-bytes", "20000", "--first", "10000", "svf", svf});
    EXPECT_NE(behind.err.find("nothing is drawn"), std::string::npos) << behind.err;
    EXPECT_NE(behind.err.find("reached its 20000 bytes"), std::string::npos) << behind.err;
    const Outcome after = talvor({"trace", "--first", "1000000", "svf", svf});
    EXPECT_NE(after.err.find("nothing is drawn"), std::string::npos) << after.err;
    EXPECT_EQ(after.err.find("reached"), std::string::npos) << after.err;
}

TEST(TraceTest, ShowsTheHelpOfItsCommand) {
    const Outcome outcome = talvor({"trace", "chain", "--help"});
    EXPECT_EQ(outcome.status, 0);
    EXPECT_NE(outcome.out.find("Usage: talvor chain"), std::string::npos) << outcome.out;
    EXPECT_EQ(outcome.err, "");
}

// Five TMS ones lead to Test-Logic-Reset from any state, so a reset must have them.
TEST(ResetTest, OfTheTapHasFiveOnesInARow) {
    const std::string vcd = file_with("reset.vcd", "");
    const Outcome outcome = talvor({"trace", "--vcd", vcd, "--svg", vcd + ".svg", "svf",
                                    file_with("reset.svf", "STATE IDLE;\nSTATE RESET;\n")});
    ASSERT_EQ(outcome.status, 0) << outcome.err;
    const auto seen = waveform::read_vcd_file(vcd);
    ASSERT_TRUE(seen);
    size_t ones = 0;
    size_t longest = 0;
    bool left_reset = false;
    for (const waveform::Sample& sample : seen->samples) {
        left_reset = left_reset || sample.state == TapState::RunTestIdle;
        ones = sample.tms ? ones + 1 : 0;
        // Only what follows the first Run-Test/Idle: connecting resets, too.
        longest = left_reset ? std::max(longest, ones) : 0;
    }
    EXPECT_GE(longest, 5U);
    EXPECT_EQ(waveform::final_state(*seen), TapState::TestLogicReset);
}

} // namespace
} // namespace talvor::cli
