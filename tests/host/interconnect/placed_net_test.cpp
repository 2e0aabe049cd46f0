#include "host/interconnect/made_device.h"
#include "host/interconnect/netlist_file.h"
#include "host/interconnect/placed_net.h"

#include <gtest/gtest.h>

namespace talvor::interconnect {
namespace {

std::vector<boundary::Member> chain() {
    return {MadeDevice("cpu").input("A").control().bidir("PA0").bidir("2").member(),
            MadeDevice("U2").input("A").input("B").member(),
            {"third", 4, nullptr}};
}

Result<std::vector<PlacedNet>> place(std::string_view text, const Placement& placement = {}) {
    const Result<Netlist> netlist = parse_netlist(text, "a.net");
    EXPECT_TRUE(netlist) << (netlist ? "" : headline(netlist.error()));
    return place_nets(*netlist, chain(), placement);
}

std::string pins_of(const PlacedNet& net) {
    std::string text;
    for (const DevicePin& pin : net.pins) {
        text += fmt::format("{}:{}/{} ", pin.device, pin.name, pin.package);
    }
    for (const std::string& other : net.others) {
        text += "others:" + other + " ";
    }
    for (const std::string& unknown : net.unknown) {
        text += "unknown:" + unknown + " ";
    }
    return text;
}

std::string refusal(std::string_view text, const Placement& placement = {}) {
    const auto placed = place(text, placement);
    EXPECT_FALSE(placed);
    return placed ? "" : headline(placed.error());
}

TEST(PlacedNetTest, FindsSignalsAndPackagePins) {
    const auto placed = place("nets.X = [\"CPU.pa0\", \"u2.2\"]");
    ASSERT_TRUE(placed);
    EXPECT_EQ(pins_of(placed->front()), "0:CPU.PA0/2 1:u2.B/2 ");
}

TEST(PlacedNetTest, TakesWhatTheNetlistSaysOfParts) {
    const auto placed = place("devices.U7 = 1\nnets.X = [\"U7.PA0\", \"U2.A\"]");
    ASSERT_TRUE(placed);
    EXPECT_EQ(pins_of(placed->front()), "0:U7.PA0/2 1:U2.A/1 ");
}

TEST(PlacedNetTest, TakesWhatAPersonSaysFirst) {
    Placement placement;
    placement.devices = {{"u7", "2", 0}};
    const auto placed = place("devices.U7 = 1\nnets.X = [\"U7.A\"]", placement);
    ASSERT_TRUE(placed);
    EXPECT_EQ(pins_of(placed->front()), "1:U7.A/1 ");
}

TEST(PlacedNetTest, TakesANumberForADevice) {
    const auto placed = place("nets.X = [\"1.PA0\", \"2.A\"]");
    ASSERT_TRUE(placed);
    EXPECT_EQ(pins_of(placed->front()), "0:1.PA0/2 1:2.A/1 ");
}

TEST(PlacedNetTest, ReadsNumbersOfKicadAsPackagePins) {
    constexpr const char* kNet =
        "(export (nets (net (code 1) (name X) (node (ref cpu) (pin 2)) (node (ref U2) (pin A)) "
        "(node (ref U2) (pin EP)))))";
    const auto placed = place(kNet);
    ASSERT_TRUE(placed);
    EXPECT_EQ(pins_of(placed->front()), "0:cpu.PA0/2 1:U2.A/1 unknown:U2.EP ");
}

TEST(PlacedNetTest, TellsWhoElseMayDrive) {
    Placement placement;
    placement.passive = {"x2"};
    const auto placed = place("passive = [\"X1\"]\nnets.X = [\"cpu.PA0\", \"R1.1\", \"U9.3\", "
                              "\"X1.1\", \"X2.1\", \"third.4\"]",
                              placement);
    ASSERT_TRUE(placed);
    EXPECT_EQ(pins_of(placed->front()), "0:cpu.PA0/2 others:U9.3 others:third.4 ");
}

TEST(PlacedNetTest, KnowsPassivePartsByTheirReferences) {
    for (const char* part : {"R1", "c12", "TP3", "J1", "LED4", "RN2", "R?"}) {
        EXPECT_EQ(looks_passive(part), std::string_view(part) != "R?") << part;
    }
    for (const char* part : {"U1", "IC3", "Q1", "X1", "RELAY1", "1", ""}) {
        EXPECT_FALSE(looks_passive(part)) << part;
    }
}

TEST(PlacedNetTest, NamesWhatDoesNotFit) {
    EXPECT_EQ(refusal("\nnets.X = [\"cpu.PQ\"]"),
              "a.net:2: net X: cpu has neither a signal nor a pin PQ");
    EXPECT_EQ(refusal("nets.X = [\"cpu.PA0\"]\nnets.Y = [\"cpu.2\", \"cpu.3\", \"cpu.PA0\"]"),
              "a.net:2: net Y: cpu.PA0 is a pin of the net X (line 1) already");
    EXPECT_EQ(refusal("devices.U1 = \"dsp\"\nnets.X = [\"U1.1\"]"),
              "a.net:1: U1: device dsp: no device of the chain has this name");
    EXPECT_EQ(refusal("devices.U1 = 1\ndevices.U3 = \"cpu\"\nnets.X = [\"U1.1\"]"),
              "a.net:2: U3: the device cpu is U1 already");
    EXPECT_EQ(refusal("nets.X = [\"U8.1\"]"), "a.net: none of its parts is a device of the chain");
    Placement placement;
    placement.devices = {{"U8", "4", 0}};
    const auto placed = place("nets.X = [\"U8.1\"]", placement);
    ASSERT_FALSE(placed);
    EXPECT_EQ(placed.error().kind, ErrorKind::Usage);
    EXPECT_EQ(headline(placed.error()), "--part U8=4: device 4: the chain has 3 devices");
    placement.devices = {{"U8", "dsp", 0}};
    EXPECT_EQ(place("nets.X = [\"U8.1\"]", placement).error().next_step, "they are cpu, U2, third");
}

TEST(PlacedNetTest, KeepsAPinThatIsListedTwiceOnce) {
    const auto placed = place("nets.X = [\"cpu.PA0\", \"cpu.2\", \"cpu.PA0\"]");
    ASSERT_TRUE(placed);
    EXPECT_EQ(placed->front().pins.size(), 2U);
}

} // namespace
} // namespace talvor::interconnect
