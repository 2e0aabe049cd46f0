// What a user sees of a pod: the chain, scans, states, registers, status.
#include "program.h"

#include <gtest/gtest.h>
#include <nlohmann/json.hpp>

namespace talvor::cli {
namespace {

constexpr const char* kChain = R"(5 devices, 33 instruction bits
  #  IDCODE      manufacturer           part    version  IR bits
  1  0x2C0DE7E3  0x3F1 (bank 8, 0x71)   0xC0DE  2        6
  2  0x1A2B3C4D  0x626 (bank 13, 0x26)  0xA2B3  1        4
  3  none        -                      -       -        5
  4  0x3D5A07E3  0x3F1 (bank 8, 0x71)   0xD5A0  3        8
  5  0x05707E35  0x71A (bank 15, 0x1A)  0x5707  0        10
Device 1 is nearest TDI, device 5 nearest TDO.
)";

void expect_done(const Outcome& outcome, const std::string& out) {
    EXPECT_EQ(outcome.status, 0) << outcome.err;
    EXPECT_EQ(outcome.out, out);
    EXPECT_EQ(outcome.err, "");
}

TEST(ChainTest, ListsEveryDevice) {
    expect_done(simulated({"chain"}), kChain);
}

TEST(ChainTest, OptionsMayStandBehindTheCommand) {
    expect_done(talvor({"chain", "--simulate"}), kChain);
}

TEST(ChainTest, TakesNamesAndLengthsFromTheBoardFile) {
    const Outcome outcome = simulated({"--board", source_file("examples/board.toml"), "chain"});
    expect_done(outcome, R"(5 devices, 33 instruction bits
  #  name    IDCODE      manufacturer           part    version  IR bits
  1  gate    0x2C0DE7E3  0x3F1 (bank 8, 0x71)   0xC0DE  2        6
  2  cpu     0x1A2B3C4D  0x626 (bank 13, 0x26)  0xA2B3  1        4
  3  switch  none        -                      -       -        5
  4  dsp     0x3D5A07E3  0x3F1 (bank 8, 0x71)   0xD5A0  3        8
  5  store   0x05707E35  0x71A (bank 15, 0x1A)  0x5707  0        10
Device 1 is nearest TDI, device 5 nearest TDO.
)");
}

TEST(ChainTest, IsADocumentWithJson) {
    const Outcome outcome = simulated({"chain", "--json"});
    EXPECT_EQ(outcome.status, 0);
    const auto document = nlohmann::json::parse(outcome.out);
    ASSERT_EQ(document.at("devices").size(), 5U);
    EXPECT_EQ(document.at("devices").at(1).at("idcode"), "0x1A2B3C4D");
    EXPECT_EQ(document.at("devices").at(1).at("manufacturer"), 0x626);
    EXPECT_EQ(document.at("devices").at(2).at("idcode"), nullptr);
    EXPECT_EQ(document.at("devices").at(4).at("instruction_bits"), 10);
    EXPECT_EQ(document.at("lengths_known"), true);
}

// A device whose capture looks like two.
constexpr const char* kAmbiguousTap = R"(
[[pod.tap]]
name = "a"
ir_length = 6
ir_capture = 0b110101
)";

TEST(ChainTest, AmbiguousLengthsAreAskedFor) {
    const std::string description =
        file_with("ambiguous.toml", std::string("[[pod]]\nserial = 1\n") + kAmbiguousTap +
                                        "[[pod.tap]]\nname = \"b\"\nir_length = 4\n");
    const Outcome found = talvor({"--simulate", description, "chain"});
    EXPECT_EQ(found.status, 0) << found.err;
    EXPECT_EQ(found.out, R"(2 devices, 10 instruction bits
  #  IDCODE  manufacturer  part  version  IR bits
  1  none    -             -     -        ?
  2  none    -             -     -        ?
Device 1 is nearest TDI, device 2 nearest TDO.
The instruction lengths are ambiguous: the capture 0x351 has 3 places where a device may begin, for 2 devices. Give them with --ir-lengths, nearest TDI first, or as [[device]] tables in the board file.
)");
    const Outcome given = talvor({"--simulate", description, "--ir-lengths", "6,4", "chain"});
    EXPECT_EQ(given.status, 0);
    EXPECT_NE(given.out.find("-        6\n"), std::string::npos) << given.out;
    const Outcome wrong = talvor({"--simulate", description, "--ir-lengths", "6,5", "chain"});
    EXPECT_EQ(wrong.status, 1);
    EXPECT_EQ(wrong.err,
              "talvor: instruction lengths: 2 lengths with 11 bits in all are given, but "
              "the chain has 2 devices and 10 instruction bits\n"
              "  next: correct --ir-lengths, or the [[device]] tables of the board "
              "file\n");
}

TEST(ChainTest, OneDeviceIsAsLongAsThePathWhateverItCaptures) {
    const std::string description =
        file_with("one.toml", std::string("[[pod]]\nserial = 1\n") + kAmbiguousTap);
    const Outcome found = talvor({"--simulate", description, "chain"});
    EXPECT_EQ(found.status, 0) << found.err;
    EXPECT_EQ(found.out, R"(1 device, 6 instruction bits
  #  IDCODE  manufacturer  part  version  IR bits
  1  none    -             -     -        6
Device 1 is nearest TDI, device 1 nearest TDO.
)");
}

TEST(ShiftTest, ReadsIdcodesThroughTheDataPath) {
    // 129 bits, the device nearest TDO first: its code stands in the lowest bits.
    expect_done(simulated({"dr", "0", "--bits", "129"}), "0x0581BCFC63456789A3D5A07E305707E35\n");
}

TEST(ShiftTest, CapturesEndInBinary01) {
    expect_done(simulated({"ir", "0x1FFFFFFFF", "--bits", "33"}), "0x008840401\n");
}

TEST(ShiftTest, AddressesOneDevice) {
    expect_done(simulated({"ir", "0x2", "--device", "2"}), "0x1\n");
    expect_done(simulated({"dr", "0", "--bits", "32", "--device", "2", "--ir", "0x2"}),
                "0x1A2B3C4D\n");
    expect_done(simulated({"dr", "0x00000000", "--device", "5", "--ir", "0x008"}), "0x54414C56\n");
    expect_done(simulated({"dr", "0x1", "--bits", "1", "--device", "3", "--ir", "0x1F"}), "0x0\n");
}

// A part of a path answers right, and leaves the rest of it where it belongs.
TEST(ShiftTest, AScanMayBeShorterThanItsPathOrLonger) {
    expect_done(simulated({"dr", "0x12"}), "0x35\n");
    expect_done(simulated({"dr", "0x12", "--fast"}), "0x35\n");
    // With the driver's adjustment ones come out before the data.
    expect_done(simulated({"dr", "0x1234", "--device", "3", "--ir", "0x1F", "--fast"}), "0xFFF8\n");
    expect_done(simulated({"ir", "0x1FFFFFFFF", "--bits", "33", "--fast"}), "0x008840401\n");
    expect_done(simulated({"dr", "0", "--bits", "140"}), "0x000581BCFC63456789A3D5A07E305707E35\n");
    expect_done(simulated({"ir", "0x1", "--bits", "2"}), "0x1\n");
}

TEST(ShiftTest, KnowsWhatItDoesNotKnow) {
    const Outcome outcome = simulated({"dr", "0", "--device", "2"});
    EXPECT_EQ(outcome.status, 2);
    EXPECT_EQ(outcome.err,
              "talvor: --device: finding the other devices would reset the TAPs, and "
              "with them the instruction\n"
              "  next: name the instruction with --ir, or list the devices in the board "
              "file or with --ir-lengths\n");
    const Outcome beyond = simulated({"ir", "0x2", "--device", "6"});
    EXPECT_EQ(beyond.status, 2);
    EXPECT_EQ(beyond.err, "talvor: device 6: the chain has 5 devices\n");
}

TEST(StateTest, IsShownAndMoved) {
    expect_done(simulated({"state"}), "Test-Logic-Reset\n");
    expect_done(simulated({"state", "get"}), "Test-Logic-Reset\n");
    expect_done(simulated({"state", "move", "pausedr"}), "Pause-DR\n");
    expect_done(simulated({"state", "move", "pauseir", "--via-idle", "--times", "3"}),
                "Pause-IR\n");
    expect_done(simulated({"state", "move", "reset"}), "Test-Logic-Reset\n");
    expect_done(simulated({"ir", "0x1FFFFFFFF", "--end", "pauseir", "--json"}),
                "{\n  \"path\": \"ir\",\n  \"bits\": 36,\n  \"out\": \"0xE08840401\",\n"
                "  \"state\": \"pauseir\"\n}\n");
}

TEST(ResetTest, PrintsTheLogInWords) {
    const Outcome outcome = simulated({"reset"});
    expect_done(outcome, R"(Reset log
   6  only the test-bus controller is used
  53  the controller is of the basic kind
   6  only the test-bus controller is used
   1  a hard reset goes through the support register
   2  a soft reset goes through the support register
   5  the controller was reached
  19  the controller runs in slow clock mode
  28  EMU0 reads 1
  31  EMU1 reads 1
  22  TDO is sampled on the rising edge
  24  the edge of TDI cannot be chosen
  39  the link delay in test clocks is 3
  35  target power had not been lost before
  38  target power is there
)");
}

TEST(ResetTest, SaysThatTrstWasPulsed) {
    const Outcome outcome = simulated({"reset", "--trst", "--hard", "--soft", "--hidden"});
    EXPECT_EQ(outcome.status, 0) << outcome.err;
    EXPECT_TRUE(outcome.out.starts_with("Reset log\n  41  TRSTn was pulsed\n")) << outcome.out;
}

TEST(StatusTest, ShowsPodAndPins) {
    expect_done(simulated({"status"}), R"(  pod           serial 5, revision 3.2
  controller    basic, kind 1, utility revision 1, alive
  test clock    3.846 MHz
  cable         connected
  target power  on
  return clock  there
  TRSTn         1
  EMU0, EMU1    1, 1
  TAP           Test-Logic-Reset
)");
}

// Major and minor are hexadecimal, as the pod's maker writes them.
TEST(StatusTest, ShowsTheRevisionInHexadecimal) {
    const std::string description =
        file_with("revision.toml", "[[pod]]\nserial = 1\nrevision = 0x0210\n[[pod.tap]]\n"
                                   "name = \"a\"\nir_length = 4\n");
    const Outcome status = talvor({"--simulate", description, "status"});
    EXPECT_EQ(status.status, 0) << status.err;
    EXPECT_TRUE(status.out.starts_with("  pod           serial 1, revision 2.10\n")) << status.out;
    const Outcome info = talvor({"--simulate", description, "info", "--json"});
    EXPECT_EQ(nlohmann::json::parse(info.out).at("pods").at(0).at("revision"), "2.10");
}

TEST(StatusTest, IsWatched) {
    const Outcome outcome = simulated({"status", "--watch", "0.01", "--count", "3", "--json"});
    EXPECT_EQ(outcome.status, 0) << outcome.err;
    size_t documents = 0;
    for (size_t at = 0; (at = outcome.out.find("\"alive\":true", at)) != std::string::npos; ++at) {
        ++documents;
    }
    EXPECT_EQ(documents, 3U);
}

TEST(LinkTest, IsShownSetAndFound) {
    expect_done(simulated({"link"}), "  applied  3 test clocks\n  default  3\n  maximum  31\n");
    expect_done(simulated({"--link", "7", "link", "show"}),
                "  applied  7 test clocks\n  default  3\n  maximum  31\n");
    const Outcome set = simulated({"link", "set", "3"});
    EXPECT_EQ(set.status, 0) << set.err;
    EXPECT_TRUE(set.out.starts_with(" 3  works\n")) << set.out;
    const Outcome wrong = simulated({"link", "set", "4"});
    EXPECT_EQ(wrong.status, 1);
    EXPECT_TRUE(wrong.err.starts_with("talvor: link delay 4: ")) << wrong.err;
    EXPECT_NE(wrong.err.find("next: find the right one with 'talvor link find'"),
              std::string::npos);
}

TEST(LinkTest, FindsTheCableOfAnyLength) {
    for (const int delay : {0, 3, 9, 31}) {
        const std::string description =
            file_with("cable.toml", "[[pod]]\nserial = 1\ncable_delay = " + std::to_string(delay) +
                                        "\n[[pod.tap]]\nname = \"a\"\nir_length = 4\n"
                                        "idcode = 0x10000001\nidcode_instruction = 2\n");
        const Outcome found = talvor({"--simulate", description, "link", "find", "--json"});
        ASSERT_EQ(found.status, 0) << found.err;
        const auto document = nlohmann::json::parse(found.out);
        EXPECT_EQ(document.at("delay"), delay);
        for (const auto& trial : document.at("trials")) {
            EXPECT_EQ(trial.at("works").get<bool>(), trial.at("delay") == delay) << trial;
        }
    }
}

TEST(RegTest, ReadsWritesAndPolls) {
    expect_done(simulated({"reg", "read", "17"}), "17  0x8003\n");
    expect_done(simulated({"reg", "read", "4"}), " 4  0x0083\n");
    expect_done(simulated({"reg", "read", "16", "2"}), "16  0x0000\n17  0x8003\n");
    expect_done(simulated({"reg", "write", "3", "0x0010"}), "");
    expect_done(simulated({"reg", "poll", "idle"}), "idle\n");
    const Outcome range = simulated({"reg", "read", "26"});
    EXPECT_EQ(range.status, 1);
    EXPECT_EQ(range.err, "talvor: reading registers: the controller has no such register (-170 "
                         "eJTI_ERROR_REGISTER_RANGE)\n"
                         "  next: basic controllers have registers 0 to 23, the others 0 to 31\n");
}

TEST(TclkTest, ConvertsWithoutAPod) {
    expect_done(talvor({"tclk", "convert", "10.375MHz"}),
                R"(  coordinate  (3, 19): 2^3 x (1 + 19/64) MHz
  packed      0x0313
  as text     + 03 13
  frequency   10375000 Hz
)");
    const Outcome json = talvor({"tclk", "convert", "500kHz", "--json"});
    EXPECT_EQ(json.out,
              "{\n  \"y\": -1,\n  \"z\": 0,\n  \"packed\": 65280,\n  \"hertz\": 500000\n}\n");
}

TEST(TclkTest, FindsTheHighestClockThatWorks) {
    const Outcome outcome = simulated({"tclk", "search", "--json"});
    ASSERT_EQ(outcome.status, 0) << outcome.err;
    const auto document = nlohmann::json::parse(outcome.out);
    // 100 MHz / 6 is the fastest of the pod's clocks that the target's 18 MHz allow.
    EXPECT_EQ(document.at("highest_hz"), 16'666'666);
    EXPECT_LT(document.at("chosen").at("actual_hz"), 16'666'666);
    EXPECT_GT(document.at("chosen").at("actual_hz"), 10'000'000);
    for (const auto& trial : document.at("trials")) {
        EXPECT_EQ(trial.at("passed").get<bool>(), trial.at("actual_hz") <= 18'000'000) << trial;
    }
}

TEST(TclkTest, PrintsATableAndWhatToWriteDown) {
    const Outcome outcome = simulated({"tclk", "search"});
    ASSERT_EQ(outcome.status, 0) << outcome.err;
    EXPECT_TRUE(outcome.out.starts_with("  phase   coordinate  wanted       divider  test clock\n"))
        << outcome.out;
    EXPECT_NE(outcome.out.find("To keep it, put this into the table [KELM] of the board file:\n"
                               "  POD_TCKDIV = 4\n  POD_TCKEXP = 0\n"
                               "  POD_TCKPREDIVENA = false\n"),
              std::string::npos);
}

TEST(TestClockTest, IsChosenWithTck) {
    const Outcome outcome = simulated({"--tck", "10MHz", "status"});
    EXPECT_EQ(outcome.status, 0);
    EXPECT_NE(outcome.out.find("test clock    10 MHz\n"), std::string::npos) << outcome.out;
    const Outcome fast = simulated({"--tck", "30MHz", "chain"});
    EXPECT_EQ(fast.status, 1) << fast.out;
}

TEST(BenchTest, MeasuresSixRates) {
    const Outcome outcome = simulated({"bench", "--seconds", "0.02", "--json"});
    ASSERT_EQ(outcome.status, 0) << outcome.err;
    const auto document = nlohmann::json::parse(outcome.out);
    ASSERT_EQ(document.at("measurements").size(), 6U);
    for (const auto& measurement : document.at("measurements")) {
        EXPECT_GT(measurement.at("rate"), 0.0);
        EXPECT_GE(measurement.at("seconds"), 0.02);
    }
}

TEST(BenchTest, LeavesExactScansOutWhereNothingAnswers) {
    const std::string description = file_with("no_target.toml", "[[pod]]\nserial = 1\n");
    const Outcome outcome =
        talvor({"--simulate", description, "bench", "--seconds", "0.02", "--bits", "100"});
    EXPECT_EQ(outcome.status, 0) << outcome.err;
    EXPECT_NE(outcome.out.find("100-bit scans, out only"), std::string::npos) << outcome.out;
    EXPECT_EQ(outcome.out.find("exact"), std::string::npos) << outcome.out;
    EXPECT_EQ(outcome.out.find(" 0.0 "), std::string::npos) << outcome.out;
    EXPECT_NE(outcome.err.find("exact scans are not measured: chain: there is no device"),
              std::string::npos)
        << outcome.err;
}

} // namespace
} // namespace talvor::cli
