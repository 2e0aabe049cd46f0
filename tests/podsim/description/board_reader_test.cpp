#include "tests/podsim/description/described.h"

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <string>

namespace talvor::podsim::description {
namespace {

using testing::ElementsAre;

// Two devices with a boundary register in plain form, and what stands behind them.
std::string board_with(const std::string& lines) {
    std::string text = "[[pod]]\nserial = 1\n";
    for (const char* name : {"a", "b"}) {
        text += std::string("[[pod.tap]]\nname = \"") + name +
                "\"\nir_length = 4\n[[pod.tap.register]]\nname = \"r\"\nkind = \"boundary\"\n"
                "sample = 1\n[[pod.tap.register.pin]]\nname = \"OUT\"\noutput = true\n"
                "[[pod.tap.register.pin]]\nname = \"IN\"\n";
    }
    return text + lines;
}

TEST(BoardReaderTest, ReadsNetsOfManyPinsAndFaults) {
    const Description description = parsed(board_with(R"(
        [[pod.net]]
        name = "D0"
        pins = ["a.OUT", "b.IN"]
        pull = "up"
        [[pod.net]]
        name = "D1"
        pins = ["b.OUT"]
        pull = "down"
        drive = 1
        floating = 0
        [[pod.fault]]
        kind = "open"
        net = "D0"
        [[pod.fault]]
        kind = "open"
        pin = "b.IN"
        [[pod.fault]]
        kind = "stuck"
        net = "D1"
        level = 0
        [[pod.fault]]
        kind = "short"
        nets = ["D1", "D0"]
        [[pod.fault]]
        kind = "short"
        nets = ["D1", "D0"]
        model = "strong"
        [[pod.fault]]
        kind = "dead"
        device = "b"
        [[pod.fault]]
        kind = "swapped"
        devices = ["b", "a"]
    )"));
    ASSERT_EQ(description.pods.size(), 1U);
    const BoardDescription& board = chain_of(description.pods[0]).board;
    ASSERT_EQ(board.nets.size(), 2U);
    EXPECT_EQ(board.nets[0].name, "D0");
    EXPECT_THAT(board.nets[0].pins, ElementsAre(PinPlace{0, 0}, PinPlace{1, 1}));
    EXPECT_EQ(board.nets[0].pull, true);
    EXPECT_EQ(board.nets[0].drive, std::nullopt);
    EXPECT_EQ(board.nets[1].pull, false);
    EXPECT_EQ(board.nets[1].drive, true);
    EXPECT_EQ(board.nets[1].floating, false);
    EXPECT_TRUE(board.floating);
    std::vector<std::string> faults;
    for (const BoardFault& fault : board.faults) {
        faults.push_back(text_of(fault));
    }
    EXPECT_THAT(faults, ElementsAre("open D0", "open b.IN", "stuck D1 0", "short D1 D0 wired-and",
                                    "short D1 D0 strong", "dead b 1", "swapped b a"));
}

TEST(BoardReaderTest, ErrorsOfABoardNameFileLineKeyAndExpectation) {
    // What stands behind the two TAPs begins with line 27.
    const auto net = [](const std::string& lines) { return board_with("[[pod.net]]\n" + lines); };
    const auto fault = [&](const std::string& lines) {
        return net("name = \"N\"\npins = []\n[[pod.fault]]\n" + lines);
    };
    expect_reasons({
        {net("name = \"N\"\n"),
         "27: pod[0].net[0].pins: missing, expected the pins, each written \"tap.pin\""},
        {net("pins = []\n"), "27: pod[0].net[0].name: missing, expected a text"},
        {net("name = \"N\"\npins = [\"a.X\"]\n"),
         "29: pod[0].net[0].pins: expected pins of this chain, each written \"tap.pin\", found "
         "\"a.X\""},
        {net("name = \"N\"\npins = [\"a.IN\", \"a.in\"]\n"),
         "29: pod[0].net[0].pins: expected pins that no other net has"},
        {net("from = \"a.OUT\"\nto = \"b.IN\"\n[[pod.net]]\nname = \"N\"\npins = "
             "[\"b.IN\"]\n"),
         "32: pod[0].net[1].pins: expected pins that no other net has"},
        {net("name = \"N M\"\npins = []\n"),
         "28: pod[0].net[0].name: expected a name without blanks, found \"N M\""},
        {net("name = \"a.IN\"\npins = []\n"),
         "28: pod[0].net[0].name: expected a name that no pin has, found \"a.IN\""},
        {net("name = \"N\"\npins = []\n[[pod.net]]\nname = \"N\"\npins = []\n"),
         "31: pod[0].net[1].name: expected a name of its own, found \"N\" again"},
        {net("name = \"N\"\npins = []\npull = \"left\"\n"),
         "30: pod[0].net[0].pull: expected up or down, found \"left\""},
        {net("name = \"N\"\npins = []\ndrive = 2\n"),
         "30: pod[0].net[0].drive: expected an integer from 0 to 1, found 2"},
        {fault("net = \"N\"\n"),
         "30: pod[0].fault[0].kind: missing, expected open, short, stuck, dead or swapped"},
        {fault("kind = \"bad\"\n"),
         "31: pod[0].fault[0].kind: expected open, short, stuck, dead or swapped, found \"bad\""},
        {fault("kind = \"open\"\n"),
         "30: pod[0].fault[0].net: missing, expected the net or the pin that is meant"},
        {fault("kind = \"open\"\nnet = \"M\"\n"),
         "32: pod[0].fault[0].net: expected the name of a net, found \"M\""},
        {fault("kind = \"open\"\npin = \"N\"\n"),
         "32: pod[0].fault[0].pin: expected a pin of this chain, written \"tap.pin\", found "
         "\"N\""},
        {fault("kind = \"open\"\nnet = \"N\"\npin = \"a.IN\"\n"),
         "33: pod[0].fault[0].pin: expected a net or a pin, not both"},
        {fault("kind = \"stuck\"\nnet = \"N\"\n"),
         "30: pod[0].fault[0].level: missing, expected 0 or 1"},
        {fault("kind = \"short\"\nnets = [\"N\"]\n"),
         "32: pod[0].fault[0].nets: expected two names or more, each another"},
        {fault("kind = \"short\"\nnets = [\"N\", \"N\"]\n"),
         "32: pod[0].fault[0].nets: expected two names or more, each another"},
        {fault("kind = \"short\"\nnets = [\"N\", \"M\"]\n"),
         "32: pod[0].fault[0].nets: expected the name of a net, found \"M\""},
        {fault("kind = \"dead\"\ndevice = \"c\"\n"),
         "32: pod[0].fault[0].device: expected the name of a TAP, found \"c\""},
        {fault("kind = \"swapped\"\ndevices = [\"a\"]\n"),
         "32: pod[0].fault[0].devices: expected two different names"},
        {fault("kind = \"open\"\nnet = \"N\"\nlevel = 1\n"),
         "33: pod[0].fault[0].level: unknown key, expected one of kind, net, pin"},
        {"[[pod]]\nserial = 1\ntarget = \"9000\"\nfloating = 0\n",
         "4: pod[0].floating: expected only without target"},
        {pod_with("faults = [\"board\"]\n"),
         "3: pod[0].faults: expected faults of this pod, found \"board\""},
    });
}

} // namespace
} // namespace talvor::podsim::description
