#include "board_fixture.h"
#include "podsim/model/bsdl_device.h"
#include "podsim/model/chain_check.h"

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <functional>

namespace talvor::podsim::board {
namespace {

using testing::HasSubstr;

void add_instruction(bsdl::Device& device, const char* name, std::vector<std::string> opcodes) {
    bsdl::Instruction instruction;
    instruction.name = name;
    for (std::string& each : opcodes) {
        instruction.opcodes.push_back({std::move(each)});
    }
    device.instructions.push_back(std::move(instruction));
}

void add_register(bsdl::Device& device, const char* name, std::optional<size_t> bits,
                  std::vector<std::string> instructions, std::vector<bsdl::Pattern> captures = {}) {
    bsdl::RegisterAccess access;
    access.name = name;
    access.bits = bits;
    access.instructions = std::move(instructions);
    access.captures = std::move(captures);
    device.registers.push_back(std::move(access));
}

// With an IDCODE, a USERCODE, and registers of its own.
DeviceMaker rich() {
    DeviceMaker maker;
    maker.cell("BC_1", CellFunction::Output2, maker.pin("OUT", PortMode::Out));
    bsdl::Device& device = maker.device();
    device.instruction_capture.text = "1X01";
    device.idcodes.push_back({"XXXX"
                              "0000000000010010"
                              "00000000000"
                              "1"});
    device.idcodes.push_back({"11110000000000010010000000000011"});
    device.usercodes.push_back({"1100000000000000000000000000001X"});
    add_instruction(device, "IDCODE", {"0101", "0110"});
    add_instruction(device, "USERCODE", {"0111"});
    add_instruction(device, "OWN", {"100X"});
    add_instruction(device, "OTHER", {"1010"});
    add_instruction(device, "STATE", {"1011"});
    add_instruction(device, "SECRET", {"1100"});
    add_instruction(device, "RUNBIST", {"1101"});
    add_register(device, "OWNREG", 5, {"OWN", "OTHER"});
    add_register(device, "STATUS", 3, {"STATE"}, {{"10X"}});
    add_register(device, "UNKNOWN", std::nullopt, {"SECRET"});
    return maker;
}

TEST(BsdlDeviceTest, InstructionsSelectWhatTheFileSays) {
    const ChainDescription chain = chain_of({rich().described("u")});
    EXPECT_FALSE(check(chain));
    Host host(chain);
    const auto captured = [&](uint64_t instruction, uint64_t value, unsigned bits) {
        host.instruction(instruction);
        return host.data(value, bits);
    };
    EXPECT_EQ(host.data(0, 32), 0x00012001U); // after reset; bits left open are 0
    EXPECT_EQ(captured(5, 0, 32), 0x00012001U);
    EXPECT_EQ(captured(6, 0, 32), 0x00012001U);
    EXPECT_EQ(captured(7, 0, 32), 0xC0000002U);
    // One register of three instructions.
    EXPECT_EQ(captured(8, 0x15, 5), 0U);
    EXPECT_EQ(captured(9, 0x0A, 5), 0x15U);
    EXPECT_EQ(captured(10, 0, 5), 0x0AU);
    EXPECT_EQ(captured(11, 7, 3), 0b100U);
    EXPECT_EQ(captured(11, 7, 3), 0b100U);
    // No length, and no such instruction: BYPASS.
    EXPECT_EQ(captured(12, 0b101, 3), 0b010U);
    EXPECT_EQ(captured(14, 0b101, 3), 0b010U);
    EXPECT_EQ(captured(15, 0b101, 3), 0b010U);
}

TEST(BsdlDeviceTest, TheInstructionRegisterCapturesItsPattern) {
    const DeviceDescription device = rich().described("u");
    EXPECT_EQ(device.instruction_capture, 0b1001U);
    EXPECT_EQ(device.instruction_bits, kInstructionBits);
}

TEST(BsdlDeviceTest, RunbistDrivesAsTheFileSays) {
    for (const bool highz : {false, true}) {
        DeviceMaker maker = rich();
        if (highz) {
            maker.device().others.push_back(
                {"RUNBIST_EXECUTION", "Wait_Duration (1 ms), Observing HIGHZ At_Pins", {}});
        }
        Host host(chain_of({maker.described("u")}));
        host.preload(0, 1);
        host.instruction(13);
        EXPECT_EQ(host.level("u.OUT"), highz);
    }
}

TEST(BsdlDeviceTest, WithoutAnIdcodeItComesUpInBypass) {
    DeviceMaker maker = rich();
    maker.device().idcodes.clear();
    Host host(chain_of({maker.described("u")}));
    EXPECT_EQ(host.data(0b101, 3), 0b010U);
    host.instruction(5);
    EXPECT_EQ(host.data(0b101, 3), 0b010U);
}

std::string refusal(const std::function<void(bsdl::Device&)>& change) {
    DeviceMaker maker = rich();
    change(maker.device());
    const auto made = device_of("u", std::make_shared<bsdl::Device>(maker.device()));
    return made ? "" : headline(made.error());
}

TEST(BsdlDeviceTest, NamesWhatTheSimulatorCannotBe) {
    EXPECT_EQ(refusal([](bsdl::Device& device) { device.instruction_bits = 65; }),
              "MADE: its instruction register has 65 bits, expected 2 to 64");
    EXPECT_EQ(refusal([](bsdl::Device& device) { device.instruction_capture.text = "0010"; }),
              "MADE: INSTRUCTION_CAPTURE is not 4 bits that end in 01");
    EXPECT_THAT(
        refusal([](bsdl::Device& device) { device.boundary_bits = size_t{kMaxRegisterBits} + 1; }),
        HasSubstr("its boundary register has 16777217 bits"));
    EXPECT_EQ(refusal([](bsdl::Device& device) { device.registers[0].bits = 0; }),
              "MADE: its register OWNREG has 0 bits, expected 1 to 16777216");
    EXPECT_EQ(refusal([](bsdl::Device& device) { device.cells[0].control = 1; }),
              "MADE: cell 0 is not complete");
    EXPECT_EQ(refusal([](bsdl::Device& device) { device.cells[0].signal = 1; }),
              "MADE: cell 0 is not complete");
    EXPECT_EQ(refusal([](bsdl::Device&) {}), "");
}

} // namespace
} // namespace talvor::podsim::board
