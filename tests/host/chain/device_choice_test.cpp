#include "host/chain/device_choice.h"

#include <gtest/gtest.h>

#include <array>
#include <string>
#include <vector>

namespace talvor {
namespace {

const std::vector<std::string> kNames{"gate", "", "Switch", "twin", "TWIN", "2"};

std::string found(std::string_view choice) {
    const Result<size_t> device = find_device(kNames, choice);
    return device ? std::to_string(*device) : headline(device.error());
}

TEST(DeviceChoiceTest, TakesANameInAnyCase) {
    EXPECT_EQ(found("gate"), "0");
    EXPECT_EQ(found("GATE"), "0");
    EXPECT_EQ(found("switch"), "2");
}

TEST(DeviceChoiceTest, TakesANumberFromOneWhereNoDeviceIsCalledSo) {
    EXPECT_EQ(found("1"), "0");
    EXPECT_EQ(found("6"), "5");
    EXPECT_EQ(found("2"), "5");
    EXPECT_EQ(found("02"), "1");
}

TEST(DeviceChoiceTest, SaysWhatThereIs) {
    EXPECT_EQ(found("0"), "device 0: the chain has 6 devices, and the one nearest TDI is 1");
    EXPECT_EQ(found("7"), "device 7: the chain has 6 devices");
    EXPECT_EQ(found("99999999999999999999"),
              "device 99999999999999999999: the chain has 6 devices");
    EXPECT_EQ(found(""), "device : no device of the chain has this name");
    EXPECT_EQ(found("1a"), "device 1a: no device of the chain has this name");
    EXPECT_EQ(find_device(kNames, "cpu").error().next_step, "they are gate, Switch, twin, TWIN, 2");
    const std::array<std::string, 1> nameless;
    EXPECT_EQ(find_device(nameless, "cpu").error().next_step,
              "name the devices in the board file, or give a number from 1, nearest TDI first");
    EXPECT_EQ(find_device(nameless, "2").error().reason, "the chain has 1 device");
}

TEST(DeviceChoiceTest, ANameThatTwoHaveNeedsANumber) {
    const Error error = find_device(kNames, "twin").error();
    EXPECT_EQ(headline(error), "device twin: more than one device of the chain has this name");
    EXPECT_EQ(error.next_step, "give its number, from 1, nearest TDI first");
    EXPECT_EQ(error.kind, ErrorKind::Usage);
    EXPECT_EQ(found("5"), "4");
}

TEST(DeviceChoiceTest, KnowsTheNamesOfAChain) {
    Chain chain;
    chain.devices.resize(3);
    chain.devices[1].name = "cpu";
    EXPECT_EQ(find_device(chain, "CPU").value(), 1U);
    EXPECT_EQ(find_device(chain, "3").value(), 2U);
    EXPECT_EQ(find_device(chain, "dsp").error().next_step, "they are cpu");
}

} // namespace
} // namespace talvor
