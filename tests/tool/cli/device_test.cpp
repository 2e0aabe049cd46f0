// Files for one device, on a chain of five.
#include "program.h"

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <string>

namespace talvor::cli {
namespace {

using testing::HasSubstr;
using testing::Not;
using testing::StartsWith;

const std::string kScratch = "STATE RESET;\n"
                             "SDR 32 TDI (0) TDO (1A2B3C4D);\n"
                             "SIR 4 TDI (8) TDO (1) MASK (3);\n"
                             "SDR 32 TDI (CAFEBABE);\n"
                             "SDR 32 TDI (12345678) TDO (CAFEBABE);\n";

Outcome on_device(const std::string& device, const std::string& file,
                  std::vector<std::string> more = {}) {
    more.insert(more.begin(), {"--simulate", "svf", file, "--device", device});
    return talvor(more);
}

TEST(PlayOnDeviceTest, AFileForOneDeviceAnswersInItsChain) {
    const std::string file = file_with("scratch.svf", kScratch);
    const Outcome outcome = on_device("2", file);
    EXPECT_EQ(outcome.status, 0) << outcome.err;
    EXPECT_THAT(outcome.out, StartsWith(file + ": all scans answered as expected\n"));
    EXPECT_THAT(outcome.out, HasSubstr("4 scans of 100 bits, 3 compared\n  on device 2\n"));
    // On the whole chain the same file is about something else.
    EXPECT_EQ(talvor({"--simulate", "svf", file}).status, 1);
}

TEST(PlayOnDeviceTest, EveryFormatHasIt) {
    const std::string xsvf = file_with("scratch.xsvf", "");
    ASSERT_EQ(talvor({"convert", file_with("scratch.svf", kScratch), xsvf}).status, 0);
    const Outcome outcome = talvor({"--simulate", "play", xsvf, "--device", "2", "--json"});
    EXPECT_EQ(outcome.status, 0) << outcome.err;
    EXPECT_THAT(outcome.out, HasSubstr("\"device\": {\n    \"number\": 2\n  }"));
    EXPECT_EQ(talvor({"--simulate", "xsvf", xsvf, "--device", "4"}).status, 1);
}

TEST(PlayOnDeviceTest, TheFilesOwnHeadersAndTrailersStandNextToItsScans) {
    // The file takes the devices 1 to 3 for its own: its trailer is the device 1, its header the 3.
    const std::string text = "STATE RESET;\nHIR 5 TDI (1F);\nTIR 6 TDI (3F);\n"
                             "HDR 1 TDI (0) TDO (0) MASK (1);\nTDR 1 TDI (0) TDO (0);\n"
                             "SIR 4 TDI (8) TDO (1) MASK (3);\nSDR 32 TDI (CAFEBABE);\n"
                             "SDR 32 TDI (0) TDO (CAFEBABE);\n";
    const std::string lengths = "--ir-lengths=15,8,10";
    const Outcome refused =
        talvor({"--simulate", lengths, "svf", file_with("three.svf", text), "--device", "1"});
    // Three devices that are taken for one are not what the chain looks like.
    EXPECT_EQ(refused.status, 1);
    const Outcome described = talvor(
        {"--simulate", lengths, "svf", file_with("three.svf", text), "--device", "1", "--dry-run"});
    EXPECT_EQ(described.status, 0) << described.err;
    const std::string unreset = text.substr(text.find('\n') + 1);
    const Outcome outcome = talvor({"--simulate", lengths, "svf", file_with("unreset.svf", unreset),
                                    "--device", "1", "--no-reset"});
    EXPECT_EQ(outcome.status, 0) << outcome.err;
}

TEST(PlayOnDeviceTest, ADeviceHasItsNameFromTheBoardFile) {
    const std::string file = file_with("scratch.svf", kScratch);
    const std::vector<std::string> board{"--simulate", "--board",
                                         source_file("examples/board.toml")};
    const auto named = [&](const std::string& name) {
        std::vector<std::string> words = board;
        words.insert(words.end(), {"svf", file, "--device", name});
        return talvor(words);
    };
    const Outcome outcome = named("cpu");
    EXPECT_EQ(outcome.status, 0) << outcome.err;
    EXPECT_THAT(outcome.out, HasSubstr("\n  on device 2, cpu\n"));
    const Outcome unknown = named("cpld");
    EXPECT_EQ(unknown.status, 2);
    EXPECT_EQ(unknown.err, "talvor: device cpld: no device of the chain has this name\n"
                           "  next: they are gate, cpu, switch, dsp, store\n");
    std::vector<std::string> words = board;
    words.insert(words.end(), {"dr", "0", "--bits", "32", "--device", "cpu", "--ir", "0x2"});
    EXPECT_EQ(talvor(words).out, "0x1A2B3C4D\n");
}

TEST(PlayOnDeviceTest, ADeviceThatIsNotThereIsSaid) {
    const std::string file = file_with("scratch.svf", kScratch);
    const Outcome beyond = on_device("6", file);
    EXPECT_EQ(beyond.status, 2);
    EXPECT_EQ(beyond.err, "talvor: device 6: the chain has 5 devices\n");
    EXPECT_THAT(on_device("0", file).err, HasSubstr("5 devices, and the one nearest TDI is 1\n"));
    EXPECT_THAT(on_device("99999999999999999999", file).err, HasSubstr("the chain has 5 devices"));
    EXPECT_THAT(on_device("cpu", file).err, HasSubstr("name the devices in the board file"));
    // Another device than the file's.
    const Outcome other = on_device("4", file);
    EXPECT_EQ(other.status, 1);
    EXPECT_THAT(other.err, HasSubstr("expected 1A2B3C4D, got 3D5A07E3"));
    EXPECT_THAT(other.err, HasSubstr("next: device 4 is another one: 'talvor chain' lists"));
}

TEST(PlayOnDeviceTest, NothingIsShiftedForADryRun) {
    const std::string file = file_with("scratch.svf", kScratch);
    const Outcome dry = on_device("9", file, {"--dry-run"});
    EXPECT_EQ(dry.status, 0) << dry.err;
    EXPECT_THAT(dry.err, HasSubstr("whether the chain has device 9 is seen when"));
    const Outcome known = on_device("9", file, {"--dry-run", "--ir-lengths", "6,4,5,8,10"});
    EXPECT_EQ(known.status, 2);
    EXPECT_EQ(known.err, "talvor: device 9: the chain has 5 devices\n");
}

TEST(PlayOnDeviceTest, WithoutAResetTheChainMustBeKnown) {
    const std::string file = file_with("scratch.svf", kScratch);
    const Outcome unknown = on_device("2", file, {"--no-reset"});
    EXPECT_EQ(unknown.status, 2);
    EXPECT_THAT(unknown.err, HasSubstr("would reset the TAPs\n  next: list the devices"));
    const Outcome behind = on_device("2", file, {"--no-reset", "--ir-lengths", "6,4,5,8,10"});
    EXPECT_EQ(behind.status, 1);
    EXPECT_THAT(behind.err, HasSubstr("scratch.svf:2: SDR: a data scan behind a reset: which of"));
    const std::string rest = kScratch.substr(kScratch.find("SIR"));
    const Outcome done =
        on_device("2", file_with("rest.svf", rest), {"--no-reset", "--ir-lengths", "6,4,5,8,10"});
    EXPECT_EQ(done.status, 0) << done.err;
}

} // namespace
} // namespace talvor::cli
