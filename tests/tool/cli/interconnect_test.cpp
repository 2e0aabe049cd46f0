// The test of a board's connections: the board of the examples, whole and broken.
#include "program.h"
#include "way_out.h"

#include <fmt/format.h>
#include <gmock/gmock.h>
#include <gtest/gtest.h>
#include <nlohmann/json.hpp>

#include <algorithm>
#include <array>
#include <random>
#include <string>
#include <vector>

namespace talvor::cli {
namespace {

using nlohmann::json;
using testing::HasSubstr;
using testing::Not;

const std::string& folder() {
    static const std::string path = source_file("examples/board");
    return path;
}

std::string nets() {
    return folder() + "/nets.toml";
}

// The board's description with faults; its path.
std::string broken(const std::string& faults) {
    std::string text = read_file(folder() + "/pod.toml");
    for (const char* file : {"tlv100.bsd", "tlc44.bsd"}) {
        const size_t at = text.find(file);
        text.insert(at, folder() + "/");
    }
    return file_with("broken.toml", text + faults);
}

Outcome interconnect(const std::string& description, std::vector<std::string> words) {
    words.insert(words.begin(),
                 {"--simulate", description, "--board", folder() + "/board.toml", "interconnect"});
    return talvor(std::move(words));
}

constexpr const char* kTwoFaults = "\n[[pod.fault]]\nkind = \"open\"\npin = \"u2.A5\"\n"
                                   "[[pod.fault]]\nkind = \"short\"\nnets = [\"DATA2\", "
                                   "\"DATA3\"]\n";

TEST(InterconnectTest, FindsNothingOnAGoodBoard) {
    const Outcome outcome = interconnect(folder() + "/pod.toml", {nets()});
    EXPECT_EQ(outcome.status, 0) << outcome.err;
    EXPECT_THAT(outcome.out, HasSubstr(nets() + ": 40 nets, 36 tested\n"));
    EXPECT_THAT(outcome.out, HasSubstr("12 vectors = 2 x ceil(log2(36 + 2)); 15 data scans"));
    EXPECT_THAT(outcome.out, HasSubstr("No fault on 36 nets.\n"));
}

TEST(InterconnectTest, FindsTwoFaults) {
    const std::string description = broken(kTwoFaults);
    const Outcome outcome = interconnect(description, {nets()});
    EXPECT_EQ(outcome.status, 1);
    EXPECT_THAT(outcome.out,
                HasSubstr("\nADDR5\n"
                          "  open at U1.A(5) (pin 41), which drives the net\n"
                          "  or open at U2.A5 (pin 7), which reads 1\n"
                          "  or ADDR5 stuck at 1, as if shorted to the supply\n"
                          "DATA2, DATA3\n"
                          "  DATA2 and DATA3 shorted: low where one of them is driven low "
                          "(wired-AND)\n"));
    EXPECT_EQ(outcome.err, "talvor: net ADDR5: open at U1.A(5) (pin 41), which drives the net\n"
                           "  next: 1 more finding above\n");
}

TEST(InterconnectTest, ReadsTheSameBoardFromKicad) {
    const std::string description = broken(kTwoFaults);
    const auto findings = [&description](const std::string& netlist) {
        return json::parse(interconnect(description, {netlist, "--json"}).out).at("findings");
    };
    EXPECT_EQ(findings(folder() + "/board.net"), findings(nets()));
}

TEST(InterconnectTest, SaysWhoDrivesAndDrivesNothing) {
    const Outcome outcome = interconnect(broken(kTwoFaults), {nets(), "--dry-run"});
    EXPECT_EQ(outcome.status, 0) << outcome.err;
    EXPECT_THAT(outcome.out, HasSubstr("  CLK    U1.CLKOUT (pin 66)  U2.GCLK (pin 1)\n"));
    EXPECT_THAT(outcome.out, HasSubstr("  GPIO0  U1.PA(0) (pin 2)    U1.PA(0) (pin 2) itself, "
                                       "U2.IO8 (pin 36)\n"));
    EXPECT_THAT(outcome.out, HasSubstr("Not tested:\n  RESET  none of its pins has an output\n"
                                       "  LED    U1.LED0 is its only pin of the chain\n"
                                       "  TCK    U1.TCK belongs to the test access port\n"
                                       "  TX0    U3.1 may drive it and is no pin of the chain\n"));
    EXPECT_THAT(outcome.out, HasSubstr("nothing was driven.\n"));
}

TEST(InterconnectTest, WritesADocumentAPictureAndJunit) {
    const std::string svg = file_with("nets.svg", "");
    const std::string junit = file_with("nets.xml", "");
    const Outcome outcome =
        interconnect(broken(kTwoFaults), {nets(), "--json", "--svg", svg, "--junit", junit});
    EXPECT_EQ(outcome.status, 1);
    const json document = json::parse(outcome.out);
    EXPECT_EQ(document.at("vectors"), 12);
    EXPECT_EQ(document.at("closer_vectors"), 8);
    EXPECT_EQ(document.at("nets").size(), 36U);
    EXPECT_EQ(document.at("untested").size(), 4U);
    const json& fault = document.at("findings").at(1).at("explanations").at(0).at(0);
    EXPECT_EQ(fault.at("kind"), "short");
    EXPECT_EQ(fault.at("model"), "wired-and");
    EXPECT_EQ(fault.at("nets"), json::array({"DATA2", "DATA3"}));
    EXPECT_EQ(document.at("error").at("thing"), "net ADDR5");
    EXPECT_THAT(read_file(svg), HasSubstr("ADDR5 driven 0: U2.A5 reads 1</title>"));
    const std::string cases = read_file(junit);
    EXPECT_THAT(cases, HasSubstr("tests=\"40\" failures=\"3\" errors=\"0\" skipped=\"4\""));
    EXPECT_THAT(cases, HasSubstr("<failure message=\"open at U1.A(5) (pin 41), which drives"));
}

// The picture of docs/boundary-scan.md.
TEST(InterconnectTest, DrawsThePictureOfTheManual) {
    const std::string svg = file_with("drawn.svg", "");
    EXPECT_EQ(interconnect(broken(kTwoFaults), {nets(), "--svg", svg}).status, 1);
    EXPECT_EQ(read_file(svg), read_file(source_file("docs/nets.svg")));
}

TEST(InterconnectTest, SaysFirstThatTheChainIsBroken) {
    const Outcome outcome =
        interconnect(broken("\n[[pod.fault]]\nkind = \"dead\"\ndevice = \"u2\"\n"), {nets()});
    EXPECT_EQ(outcome.status, 1);
    EXPECT_THAT(outcome.out, Not(HasSubstr("stuck at"))) << outcome.out;
    EXPECT_THAT(outcome.err, testing::ContainsRegex("chain|TDO"));
}

TEST(InterconnectTest, RefusesWhatDoesNotFit) {
    const auto refusal = [](const std::vector<std::string>& words, int status) {
        const Outcome outcome = interconnect(folder() + "/pod.toml", words);
        EXPECT_EQ(outcome.status, status) << outcome.err;
        return outcome.err;
    };
    EXPECT_THAT(refusal({nets(), "--part", "U1"}, 2),
                HasSubstr("--part U1: expected a part of the netlist and its device"));
    EXPECT_THAT(refusal({nets(), "--part", "U1=dsp"}, 2),
                HasSubstr("--part U1=dsp: device dsp: no device of the chain has this name"));
    EXPECT_THAT(refusal({"/dev/null/none"}, 2), HasSubstr("talvor: /dev/null/none: "));
    EXPECT_THAT(refusal({file_with("two.toml", "nets.X = [\"u1.TXD0\", \"u1.CS_N\"]\n")}, 1),
                HasSubstr("net X: u1.TXD0 and u1.CS_N both drive it, and nothing disables either"));
    EXPECT_THAT(refusal({file_with("none.toml", "nets.X = [\"u1.TCK\", \"u2.TCK\"]\n")}, 1),
                HasSubstr("none of its nets can be tested"));
}

TEST(InterconnectTest, TestsNetsOfPartsThatAreSaidToBePassive) {
    const Outcome outcome = interconnect(
        folder() + "/pod.toml", {file_with("passive.toml", "nets.X = [\"u1.CLKOUT\", \"u2.GCLK\", "
                                                           "\"X7.1\"]\n"),
                                 "--passive", "X7"});
    EXPECT_EQ(outcome.status, 0) << outcome.err;
    EXPECT_THAT(outcome.out, HasSubstr("1 net, 1 tested"));
}

// ---- files of other parts ---------------------------------------------------------------------

// The board file has the two parts the other way round.
TEST(InterconnectTest, SaysFirstThatAFileIsThatOfAnotherPart) {
    const std::string swapped = file_with(
        "swapped.toml", fmt::format("[[device]]\nname = \"u2\"\nbsdl = \"{0}/tlc44.bsd\"\n"
                                    "[[device]]\nname = \"u1\"\nbsdl = \"{0}/tlv100.bsd\"\n",
                                    folder()));
    const auto refusal = [&swapped](std::vector<std::string> words) {
        words.insert(words.begin(), {"--simulate", folder() + "/pod.toml", "--board", swapped});
        const Outcome outcome = talvor(std::move(words));
        EXPECT_EQ(outcome.status, 1);
        return outcome.err;
    };
    const std::string wanted = fmt::format(
        "talvor: u2: its IDCODE is 0x04100501, the file says 0x10044501 or 0x20044501\n"
        "  next: {}/tlc44.bsd describes another part, or the [[device]] tables of the board file "
        "are in another order: 'talvor chain' compares them\n",
        folder());
    EXPECT_EQ(refusal({"interconnect", nets()}), wanted);
    EXPECT_EQ(refusal({"interconnect", "--dry-run", nets()}), wanted);
    EXPECT_EQ(refusal({"pins", "set", "u1.LED0=1", "--hold", "0.01"}), wanted);
    EXPECT_EQ(refusal({"pins", "toggle", "u1.LED0", "--count", "1"}), wanted);
    // Who only listens is told, and what the chain then says comes behind.
    EXPECT_THAT(refusal({"pins"}),
                testing::StartsWith("talvor: u2: its IDCODE is 0x04100501, the file says"));
}

// ---- the way out ------------------------------------------------------------------------------

class InterconnectWayOutTest : public testing::Test {
protected:
    // A broken board, so that a closer look makes the test long; `script`: of the pod.
    explicit InterconnectWayOutTest(const std::string& script = "")
        : pod_(read_file(broken(kTwoFaults)),
               {"--vcd", vcd_, "--script", file_with("way-out.txt", script)}) {}
    // In the midst of the vectors: connecting and finding the chain take 17 batches, then EXTEST 3.
    static constexpr unsigned kBatch = 26;

    static std::vector<std::string> words(std::vector<std::string> more = {}) {
        more.insert(more.end(), {"--board", folder() + "/board.toml", "interconnect", nets()});
        return more;
    }
    // `whole`: every vector was driven.
    void expect_the_way_out(bool whole) {
        pod_.stop();
        const std::vector<Act> acts = acts_of(vcd_);
        way_out_.expect_taken(acts);
        std::vector<std::string> driven;
        for (const size_t entry : way_out_.entries(acts)) {
            for (size_t i = entry + 1; i < acts.size() && acts[i].kind == Act::Kind::Data; ++i) {
                driven.push_back(way_out_.images_of(acts[i]));
            }
        }
        constexpr size_t kVectors = 12 + 8; // each a scan; a rest behind both parts; safe values
        if (whole) {
            EXPECT_EQ(driven.size(), kVectors + 2 + 1);
        } else {
            EXPECT_LT(driven.size(), kVectors);
        }
        EXPECT_GT(std::count_if(driven.begin(), driven.end(),
                                [this](const auto& one) { return one != way_out_.safe(); }),
                  0);
    }

    const std::string vcd_ = file_with("interconnect-way-out.vcd", "");
    PodsimProcess pod_;
    const WayOut way_out_{{{folder() + "/tlv100.bsd"}, {folder() + "/tlc44.bsd"}}};
};

TEST_F(InterconnectWayOutTest, IsGoneAtTheEnd) {
    const Outcome outcome = talvor(words());
    EXPECT_EQ(outcome.status, 1);
    EXPECT_THAT(outcome.err, HasSubstr("1 more finding above"));
    expect_the_way_out(true);
}

// The pod takes its time from a batch within the vectors on.
class SlowVectorTest : public InterconnectWayOutTest {
protected:
    SlowVectorTest()
        : InterconnectWayOutTest(fmt::format("batch {}: latency 200000\n", kBatch - 3)) {}
    [[nodiscard]] bool driving() const {
        return json::parse(pod_.ctl("status")).at("pods").at(0).at("batches") >= kBatch;
    }
};

TEST_F(SlowVectorTest, TheWayOutIsGoneAfterASignal) {
    Running testing(words());
    ASSERT_TRUE(await([this] { return driving(); })) << testing.err();
    testing.signal(SIGINT);
    testing.signal(SIGINT); // somebody who does not like to wait
    EXPECT_EQ(testing.wait(), 128 + SIGINT);
    EXPECT_EQ(testing.out(), "") << "half a test says nothing of the board";
    expect_the_way_out(false);
}

class FailingVectorTest : public InterconnectWayOutTest {
protected:
    FailingVectorTest() : InterconnectWayOutTest(fmt::format("batch {}: fail 1\n", kBatch)) {}
};

TEST_F(FailingVectorTest, TheWayOutIsGoneAfterAnErrorOfThePod) {
    const Outcome outcome = talvor(words());
    EXPECT_EQ(outcome.status, 1);
    EXPECT_THAT(outcome.err, HasSubstr("talvor: "));
    EXPECT_EQ(outcome.out, "");
    expect_the_way_out(false);
}

// ---- faults at random, through library and simulated pod --------------------------------------

struct Breakage {
    std::string toml;
    std::vector<std::string> nets; // each is found
};

Breakage random_breakage(std::mt19937_64& engine) {
    static const std::array<std::string, 8> kNets{"ADDR0", "ADDR7", "DATA0", "DATA6",
                                                  "INT1",  "GPIO3", "LINK1", "RX1"};
    static const std::array<std::string, 8> kPins{"u2.A0",  "u1.A(7)", "u1.D(0)", "u1.D(6)",
                                                  "u1.PC3", "u2.IO11", "u1.PC1",  "u1.RXD1"};
    const auto below = [&engine](size_t count) {
        return std::uniform_int_distribution<size_t>(0, count - 1)(engine);
    };
    const size_t net = below(kNets.size());
    switch (below(3)) {
    case 0:
        return {fmt::format("\n[[pod.fault]]\nkind = \"open\"\npin = \"{}\"\n", kPins[net]),
                {kNets[net]}};
    case 1:
        return {fmt::format("\n[[pod.fault]]\nkind = \"stuck\"\nnet = \"{}\"\nlevel = {}\n",
                            kNets[net], below(2)),
                {kNets[net]}};
    default:
        break;
    }
    const size_t other = (net + 1 + below(kNets.size() - 1)) % kNets.size();
    static const std::array<std::string, 3> kModels{"wired-and", "wired-or", "strong"};
    return {fmt::format("\n[[pod.fault]]\nkind = \"short\"\nnets = [\"{}\", \"{}\"]\n"
                        "model = \"{}\"\n",
                        kNets[net], kNets[other], kModels[below(3)]),
            {kNets[net], kNets[other]}};
}

TEST(InterconnectTest, FindsRandomFaultsAndInventsNone) {
    std::mt19937_64 engine(20261122);
    for (size_t board = 0; board < 30; ++board) {
        const Breakage breakage = random_breakage(engine);
        const Outcome outcome = interconnect(broken(breakage.toml), {nets(), "--json"});
        EXPECT_EQ(outcome.status, 1) << breakage.toml;
        const json findings = json::parse(outcome.out).at("findings");
        std::vector<std::string> named;
        for (const json& finding : findings) {
            for (const json& net : finding.at("nets")) {
                named.push_back(net);
            }
            EXPECT_EQ(finding.at("explanations").at(0).size(), 1U) << finding << breakage.toml;
            EXPECT_TRUE(finding.at("unclear").empty()) << finding << breakage.toml;
        }
        std::sort(named.begin(), named.end());
        std::vector<std::string> wanted = breakage.nets;
        std::sort(wanted.begin(), wanted.end());
        EXPECT_EQ(named, wanted) << findings << breakage.toml;
    }
}

} // namespace
} // namespace talvor::cli
