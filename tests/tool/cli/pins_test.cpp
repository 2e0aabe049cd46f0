// Pins of a simulated board of two devices, and the way out of driving them, seen in the waveform.
#include "program.h"
#include "way_out.h"

#include <gmock/gmock.h>
#include <gtest/gtest.h>
#include <nlohmann/json.hpp>

#include <csignal>
#include <string>
#include <vector>

namespace talvor::cli {
namespace {

using nlohmann::json;
using testing::HasSubstr;

std::string part(const std::string& name) {
    return source_file("examples/board/" + name + ".bsd");
}

// The net joins an output of the first with an input of the second.
std::string board_text() {
    return "[[pod]]\nserial = 5\nrevision = 0x0302\n"
           "[[pod.tap]]\nname = \"u1\"\nbsdl = \"" +
           part("tlv100") + "\"\n[[pod.tap]]\nname = \"u2\"\nbsdl = \"" + part("tlc44") +
           "\"\n[[pod.net]]\nname = \"LINK\"\npins = [\"u1.LED0\", \"u2.A0\"]\n";
}

class PinsTest : public testing::Test {
protected:
    const std::string board_ = file_with("pins.toml", board_text());
    const std::string devices_ = file_with(
        "devices.toml", "[[device]]\nname = \"u1\"\nbsdl = \"" + part("tlv100") +
                            "\"\n[[device]]\nname = \"u2\"\nbsdl = \"" + part("tlc44") + "\"\n");

    // With a simulated board of its own.
    Outcome pins(std::vector<std::string> words) const {
        words.insert(words.begin(),
                     {"--simulate=" + board_, "--board", devices_, "--timeout", "60", "pins"});
        return talvor(std::move(words));
    }
    json document(std::vector<std::string> words) const {
        words.emplace_back("--json");
        const Outcome outcome = pins(std::move(words));
        EXPECT_EQ(outcome.status, 0) << outcome.err;
        return json::parse(outcome.out, nullptr, false);
    }
};

json pin_of(const json& list, const std::string& name) {
    for (const json& device : list.value("devices", json::array())) {
        for (const json& pin : device["pins"]) {
            if (pin["name"] == name) {
                return pin;
            }
        }
    }
    return {};
}

TEST_F(PinsTest, ListsEveryPinWithACell) {
    const json list = document({});
    ASSERT_EQ(list["devices"].size(), 2U);
    EXPECT_EQ(list["devices"][0]["part"], "TLV100");
    EXPECT_EQ(list["devices"][1]["package"], "PLCC44");
    const json pin = pin_of(list, "u2.IO8");
    EXPECT_EQ(pin["direction"], "inout");
    EXPECT_EQ(pin["driving_cell"], 38);
    EXPECT_EQ(pin["observing_cell"], 39);
    EXPECT_EQ(pin["control_cell"], 37);
    const Outcome text = pins({"--device", "u2", "--filter", "IO8"});
    EXPECT_EQ(text.status, 0) << text.err;
    EXPECT_THAT(text.out, HasSubstr("u2: TLC44, PLCC44, 61 cells\n"));
    EXPECT_THAT(text.out, HasSubstr("in 39, out 38, control 37"));
}

TEST_F(PinsTest, DrivesAndReadsBack) {
    for (const char* level : {"0", "1"}) {
        const json set =
            document({"set", std::string("u1.PA3=") + level, std::string("u1.LED0=") + level,
                      "--compliance-met", "--hold", "0.01"});
        EXPECT_EQ(set["instruction"], "extest");
        EXPECT_EQ(set["pins"][0]["name"], "u1.PA(3)");
        EXPECT_EQ(set["pins"][0]["set"], level);
        EXPECT_EQ(set["pins"][0]["reads"], level);
        // An open collector lets go at 1.
        EXPECT_EQ(set["pins"][1]["reads"], std::string(level) == "1" ? "Z" : "0");
    }
}

TEST_F(PinsTest, GetsSomePins) {
    const Outcome outcome = pins({"get", "u2.A0", "u2.GCLK"});
    EXPECT_EQ(outcome.status, 0) << outcome.err;
    EXPECT_THAT(outcome.out, testing::MatchesRegex("u2.A0=[01]\nu2.GCLK=[01]\n"));
    const Outcome power = pins({"get", "u1.VDD1"});
    EXPECT_EQ(power.status, 1);
    EXPECT_THAT(power.err, HasSubstr("no cell of the boundary register reaches this pin"));
}

TEST_F(PinsTest, WantsComplianceBeforeItDrives) {
    const Outcome refused = pins({"set", "u1.LED0=1", "--hold", "0.01"});
    EXPECT_EQ(refused.status, 1);
    EXPECT_THAT(refused.err, HasSubstr("complies with IEEE 1149.1 only while TEST = 0"));
    EXPECT_THAT(refused.err, HasSubstr("--compliance-met"));
    EXPECT_THAT(pins({"get", "u2.A0"}).err, HasSubstr("TEST = 0")); // shown
    EXPECT_EQ(pins({"--device", "u2", "set", "IO0=1", "--hold", "0.01"}).status, 0);
}

TEST_F(PinsTest, NamesOutputsThatASharedControlEnables) {
    const Outcome refused = pins({"--device", "u2", "set", "Y0=1", "--hold", "0.01"});
    EXPECT_EQ(refused.status, 1);
    EXPECT_THAT(refused.err, HasSubstr("a shared cell also enables u2.Y1, u2.Y2, u2.Y3"));
    const Outcome accepted =
        pins({"--device", "u2", "set", "Y0=1", "--enable-others", "--hold", "0.01"});
    EXPECT_EQ(accepted.status, 0) << accepted.err;
    EXPECT_THAT(accepted.err, HasSubstr("this also enables u2.Y1, u2.Y2, u2.Y3"));
}

TEST_F(PinsTest, TakesOtherInstructions) {
    const auto set = [this](std::vector<std::string> words) {
        words.insert(words.begin(), {"--device", "u2", "set", "--hold", "0.01", "--instruction"});
        return document(std::move(words));
    };
    EXPECT_EQ(set({"clamp", "IO0=1"})["pins"][0]["set"], "1");
    EXPECT_EQ(set({"clamp", "IO0=1"})["pins"][0]["reads"], nullptr); // the register is aside
    EXPECT_EQ(set({"highz"})["pins"].size(), 0U);
    const json outputs = set({"intest", "A4=1"});
    EXPECT_EQ(outputs["instruction"], "intest");
    EXPECT_EQ(outputs["pins"].size(), 24U); // Y0 to Y7, IO0 to IO15
    EXPECT_EQ(outputs["pins"][0]["set"], nullptr);
}

TEST_F(PinsTest, ToldMistakesDriveNothing) {
    struct Case {
        std::vector<std::string> words;
        int status;
        const char* err;
    };
    for (const Case& one : std::vector<Case>{
             {{"set", "u2.IO0=1"}, 2, "nobody is at a terminal to press a key"},
             {{"set", "--hold", "1"}, 2, "no pin is named"},
             {{"set", "u2.IO0=2", "--hold", "1"}, 2, "expected NAME=0, NAME=1 or NAME=Z"},
             {{"set", "u2.IO77=1", "--hold", "1"}, 2, "no described device has such a signal"},
             {{"--device", "u2", "set", "A0=1", "--hold", "1"}, 1, "cannot drive this pin"},
             {{"--device", "u2", "set", "IO0=1", "IO0=0", "--hold", "1"}, 1, "would have to be"},
             {{"set", "u2.IO0=1", "--watch", "1", "--hold", "1"}, 2, "makes no use of it"},
             {{"--device", "u2", "set", "--instruction", "highz", "IO0=1", "--hold", "1"},
              2,
              "takes no settings"},
             {{"--device", "u7"}, 2, "device u7: no device of the chain has this name"},
             {{"--device", "3"}, 2, "device 3: the chain has 2 devices"},
             {{"--filter", "nothing"}, 2, "no pin fits it"},
             {{"--count", "3"}, 2, "no effect without"}}) {
        const Outcome outcome = pins(one.words);
        EXPECT_EQ(outcome.status, one.status) << outcome.err;
        EXPECT_THAT(outcome.err, HasSubstr(one.err));
    }
    const Outcome nothing = simulated({"pins"});
    EXPECT_EQ(nothing.status, 2);
    EXPECT_THAT(nothing.err, HasSubstr("no device of the chain has a description"));
}

TEST_F(PinsTest, WatchesAndRecords) {
    const std::string vcd = file_with("samples.vcd", "");
    const Outcome outcome =
        pins({"--device", "u2", "--watch", "0.01", "--count", "3", "--vcd", vcd});
    EXPECT_EQ(outcome.status, 0) << outcome.err;
    EXPECT_THAT(outcome.out, HasSubstr("u2: TLC44"));
    EXPECT_THAT(outcome.err, HasSubstr("3 samples of "));
    const std::string dump = read_file(vcd);
    EXPECT_THAT(dump, HasSubstr("$timescale 1 us $end\n$scope module u2 $end\n"));
    EXPECT_THAT(dump, HasSubstr(" GCLK $end\n"));
    EXPECT_THAT(dump, HasSubstr("$dumpvars\n"));
    const Outcome lines = pins({"--device", "u2", "--watch", "0.01", "--count", "2", "--json"});
    EXPECT_EQ(std::count(lines.out.begin(), lines.out.end(), '\n'), 2);
}

TEST_F(PinsTest, DrawsThePackage) {
    const std::string svg = file_with("package.svg", "");
    EXPECT_EQ(pins({"--device", "u1", "--svg", svg}).status, 0);
    const std::string picture = read_file(svg);
    EXPECT_THAT(picture, HasSubstr("u1: TLV100 QFP100"));
    EXPECT_THAT(picture, HasSubstr("TCK, pin 70: test access port"));
    const Outcome both = pins({"--svg", svg});
    EXPECT_EQ(both.status, 2);
    EXPECT_THAT(both.err, HasSubstr("say which, as in --device u2"));
}

// ---- the way out ------------------------------------------------------------------------------

// Drives an output of the second device, which has BYPASS before it.
class WayOutTest : public PinsTest {
protected:
    WayOutTest() : pod_(board_text(), {"--vcd", vcd_}) {}

    std::vector<std::string> driving(std::vector<std::string> more) const {
        more.insert(more.begin(), {"--board", devices_, "pins", "--device", "u2"});
        return more;
    }
    // And it began with safe values, and drove others in between.
    void expect_the_way_out() {
        pod_.stop();
        const std::vector<Act> acts = acts_of(vcd_);
        way_out_.expect_taken(acts);
        bool drove = false;
        for (const size_t entry : way_out_.entries(acts)) {
            EXPECT_EQ(way_out_.images_of(acts[entry - 1]), way_out_.safe()); // PRELOAD
            for (size_t i = entry + 1; i < acts.size() && acts[i].kind == Act::Kind::Data; ++i) {
                drove = drove || way_out_.images_of(acts[i]) != way_out_.safe();
            }
        }
        EXPECT_TRUE(drove);
    }

    const std::string vcd_ = file_with("way-out.vcd", "");
    test_support::PodsimProcess pod_;
    const WayOut way_out_{{{part("tlv100"), false}, {part("tlc44"), true}}};
};

TEST_F(WayOutTest, IsGoneAtTheEnd) {
    const Outcome outcome = talvor(driving({"set", "IO0=1", "--hold", "0.01"}));
    EXPECT_EQ(outcome.status, 0) << outcome.err;
    expect_the_way_out();
}

TEST_F(WayOutTest, IsGoneAfterASignal) {
    for (const int signal : {SIGINT, SIGTERM}) {
        Running held(driving({"set", "IO0=1", "--hold", "3600"}));
        ASSERT_TRUE(await([&] { return held.out().find("u2.IO0") != std::string::npos; }))
            << held.err();
        held.signal(signal);
        held.signal(signal); // somebody who does not like to wait
        EXPECT_EQ(held.wait(), 128 + signal);
    }
    expect_the_way_out();
}

TEST_F(WayOutTest, IsGoneWhenTheTimeIsOver) {
    const Outcome outcome = talvor(driving({"--timeout", "1", "set", "IO0=1", "--hold", "3600"}));
    EXPECT_EQ(outcome.status, 124) << outcome.err;
    expect_the_way_out();
}

TEST_F(WayOutTest, IsGoneAfterToggling) {
    const Outcome outcome = talvor(driving({"toggle", "IO0", "--period", "0.002", "--count", "3"}));
    EXPECT_EQ(outcome.status, 0) << outcome.err;
    EXPECT_EQ(outcome.out, "3 periods of 1 pin\n");
    expect_the_way_out();
}

TEST_F(WayOutTest, IsGoneWhenTogglingIsStopped) {
    Running toggling(driving({"toggle", "IO0", "--period", "0.002"}));
    // Connecting and finding the chain leave about 108,000 bytes behind, and a period 3,800.
    ASSERT_TRUE(await([&] { return read_file(vcd_).size() > 150000; })) << toggling.err();
    toggling.signal(SIGINT);
    EXPECT_EQ(toggling.wait(), 128 + SIGINT);
    expect_the_way_out();
}

} // namespace
} // namespace talvor::cli
