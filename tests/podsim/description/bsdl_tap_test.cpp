#include "tests/podsim/description/described.h"

#include <gtest/gtest.h>

#include <string>

namespace talvor::podsim::description {
namespace {

std::string bsdl_with(const std::string& lines) {
    return "[[pod]]\nserial = 1\n[[pod.tap]]\nname = \"u\"\nbsdl = \"board/tlc44.bsd\"\n" + lines;
}

// `text` as a file in the folder of the examples.
Result<Description> parsed_beside_examples(const std::string& text) {
    return parse(text, EXAMPLES_FOLDER "/pods.toml");
}

TEST(BsdlTapTest, ABsdlFileMakesATap) {
    const auto description = parsed_beside_examples(
        bsdl_with("core = { \"Y0\" = 1, \"IO3\" = \"0\", \"IO4\" = \"Z\" }\n[[pod.net]]\nname = "
                  "\"N\"\npins = "
                  "[\"u.y0\", \"u.2\"]\n[[pod.net]]\nfrom = \"u.Y1\"\nto = \"u.A1\"\n"));
    ASSERT_TRUE(description) << reason_of(description);
    const ChainDescription& chain = chain_of(description->pods[0]);
    ASSERT_EQ(chain.devices.size(), 1U);
    const DeviceDescription& device = chain.devices[0];
    EXPECT_EQ(device.name, "u");
    EXPECT_EQ(device.instruction_bits, 8U);
    EXPECT_EQ(device.idcode_instruction, 0xFEU);
    ASSERT_TRUE(device.boundary);
    const bsdl::Device& file = *device.boundary->device;
    const auto core = [&](const char* pin) {
        return device.boundary->core[bsdl::find_signal(file, pin).value_or(0)];
    };
    EXPECT_EQ(core("Y0"), Core::High);
    EXPECT_EQ(core("IO3"), Core::Low);
    EXPECT_EQ(core("IO4"), Core::Off);
    ASSERT_EQ(chain.board.nets.size(), 2U);
    EXPECT_EQ(file.signals[chain.board.nets[0].pins[0].pin].name, "Y0");
    EXPECT_EQ(file.signals[chain.board.nets[0].pins[1].pin].name, "A0");
    EXPECT_EQ(chain.board.nets[1].name, "");
}

TEST(BsdlTapTest, ErrorsOfABsdlTapNameFileLineKeyAndExpectation) {
    const std::string at = EXAMPLES_FOLDER "/pods.toml:";
    const std::vector<Wrong> all{
        {bsdl_with("ir_length = 4\n"),
         "6: pod[0].tap[0].ir_length: unknown key, expected one of name, bsdl, package, core"},
        {"[[pod]]\nserial = 1\n[[pod.tap]]\nname = \"u\"\nbsdl = \"none.bsd\"\n",
         "5: pod[0].tap[0].bsdl: " EXAMPLES_FOLDER
         "/none.bsd: cannot be read: No such file or directory"},
        {"[[pod]]\nserial = 1\n[[pod.tap]]\nname = \"u\"\nbsdl = \"board\"\n",
         "5: pod[0].tap[0].bsdl: " EXAMPLES_FOLDER "/board: cannot be read: it is not a file"},
        {bsdl_with("core = { \"Y9\" = 1 }\n"),
         "6: pod[0].tap[0].core.Y9: expected a signal, a port or a package pin of TLC44"},
        {bsdl_with("core = { \"Y0\" = 2 }\n"), "6: pod[0].tap[0].core.Y0: expected 0, 1 or \"Z\""},
        {bsdl_with("core = { \"A0\" = 1 }\n"),
         "6: pod[0].tap[0].core.A0: A0 is an input, which the device's own logic does not drive"},
    };
    for (const Wrong& wrong : all) {
        const auto description = parsed_beside_examples(wrong.text);
        EXPECT_FALSE(description) << wrong.text;
        EXPECT_EQ(reason_of(description), at + wrong.reason) << wrong.text;
    }
    const auto package = parsed_beside_examples(bsdl_with("package = \"BGA\"\n"));
    ASSERT_FALSE(package);
    EXPECT_NE(reason_of(package).find("BGA"), std::string::npos) << reason_of(package);
}

} // namespace
} // namespace talvor::podsim::description
