#include "tests/podsim/description/described.h"

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <string>

namespace talvor::podsim::description {
namespace {

using testing::ElementsAre;

TEST(ChainReaderTest, ReadsTapsWithRegistersOfEveryKindAndNets) {
    const Description description = parsed(R"(
        [[pod]]
        serial = 1
        [[pod.tap]]
        name = "a"
        ir_length = 6
        ir_capture = 0b110101
        idcode = 0xFFFF0001
        idcode_instruction = 9
        [[pod.tap.register]]
        name = "c"
        kind = "constant"
        instruction = [1, 2]
        length = 68
        value = "0xA_0123456789abcDEF"
        [[pod.tap.register]]
        name = "s"
        kind = "scratch"
        instruction = 3
        length = 20
        value = 0xFFFFF
        [[pod.tap.register]]
        name = "n"
        kind = "counter"
        instruction = 4
        length = 8
        [[pod.tap.register]]
        name = "m"
        kind = "memory"
        instruction = 5
        address_bits = 10
        data_bits = 64
        words = 1000
        [[pod.tap.register]]
        name = "b"
        kind = "boundary"
        extest = 6
        sample = 7
        [[pod.tap.register.pin]]
        name = "OUT"
        output = true
        level = true
        [[pod.tap.register.pin]]
        name = "IN"
        [[pod.tap]]
        name = "z"
        ir_length = 2
        [[pod.net]]
        from = "a.OUT"
        to = "a.IN"
    )");
    ASSERT_EQ(description.pods.size(), 1U);
    const ChainDescription& chain = chain_of(description.pods[0]);
    ASSERT_EQ(chain.devices.size(), 2U);
    const DeviceDescription& a = chain.devices[0];
    EXPECT_EQ(a.name, "a");
    EXPECT_EQ(a.instruction_bits, 6U);
    EXPECT_EQ(a.instruction_capture, 0b110101U);
    EXPECT_EQ(a.idcode, 0xFFFF0001U);
    EXPECT_EQ(a.idcode_instruction, 9U);
    ASSERT_EQ(a.registers.size(), 5U);
    EXPECT_THAT(a.registers[0].instructions, ElementsAre(1, 2));
    const auto& constant = std::get<ConstantRegister>(a.registers[0].kind);
    EXPECT_EQ(constant.bits, 68U);
    EXPECT_THAT(constant.value, ElementsAre(0x0123456789ABCDEF, 0xA));
    const auto& scratch = std::get<ScratchRegister>(a.registers[1].kind);
    EXPECT_EQ(scratch.bits, 20U);
    EXPECT_THAT(scratch.value, ElementsAre(0xFFFFF));
    EXPECT_EQ(std::get<CounterRegister>(a.registers[2].kind).bits, 8U);
    const auto& memory = std::get<MemoryRegister>(a.registers[3].kind);
    EXPECT_EQ(memory.address_bits, 10U);
    EXPECT_EQ(memory.data_bits, 64U);
    EXPECT_EQ(memory.words, 1000U);
    const auto& boundary = std::get<BoundaryRegister>(a.registers[4].kind);
    EXPECT_EQ(boundary.extest, 6U);
    EXPECT_EQ(boundary.sample, 7U);
    ASSERT_EQ(boundary.pins.size(), 2U);
    EXPECT_EQ(boundary.pins[0].name, "OUT");
    EXPECT_TRUE(boundary.pins[0].output);
    EXPECT_TRUE(boundary.pins[0].level);
    EXPECT_FALSE(boundary.pins[1].output);
    EXPECT_EQ(chain.devices[1].name, "z");
    EXPECT_FALSE(chain.devices[1].idcode);
    ASSERT_EQ(chain.nets.size(), 1U);
    EXPECT_EQ(chain.nets[0].from_pin, 0U);
    EXPECT_EQ(chain.nets[0].to_pin, 1U);
}

TEST(ChainReaderTest, ErrorsOfATapNameFileLineKeyAndExpectation) {
    expect_reasons({
        {pod_with("[[pod.tap]]\nir_length = 4\n"),
         "3: pod[0].tap[0].name: missing, expected a text"},
        {pod_with("[[pod.tap]]\nname = \"a\"\n"),
         "3: pod[0].tap[0].ir_length: missing, expected the length of the instruction register in "
         "bits"},
        {pod_with("[[pod.tap]]\nname = \"a\"\nir_length = 1\n"),
         "5: pod[0].tap[0].ir_length: expected an integer from 2 to 64, found 1"},
        {tap_with("ir_capture = 0b0010\n"),
         "6: pod[0].tap[0].ir_capture: expected a value of 4 bits that ends in binary 01"},
        {tap_with("ir_capture = 16\n"),
         "6: pod[0].tap[0].ir_capture: expected an integer from 0 to 15, found 16"},
        {tap_with("idcode = 0x10000000\nidcode_instruction = 1\n"),
         "6: pod[0].tap[0].idcode: expected an odd number, for bit 0 is 1"},
        {tap_with("idcode = 1\n"),
         "3: pod[0].tap[0].idcode_instruction: missing, expected the instruction IDCODE of a TAP "
         "with an idcode"},
        {tap_with("idcode_instruction = 1\n"),
         "6: pod[0].tap[0].idcode_instruction: expected only with idcode"},
        {tap_with("kind = \"arm\"\n"),
         "6: pod[0].tap[0].kind: expected plain or riscv-dtm, found \"arm\""},
        {tap_with("[[pod.tap]]\nname = \"a\"\nir_length = 4\n"),
         "7: pod[0].tap[1].name: expected a name of its own, found \"a\" again"},
        {tap_with("[[pod.net]]\nfrom = \"a.X\"\nto = \"a.Y\"\n"),
         "7: pod[0].net[0].from: expected a pin of this chain, written \"tap.pin\", found "
         "\"a.X\""},
    });
}

TEST(ChainReaderTest, ErrorsOfARegisterNameFileLineKeyAndExpectation) {
    const std::string at = "pod[0].tap[0].register[0].";
    expect_reasons({
        {register_with("instruction = 1\n"),
         "6: " + at + "kind: missing, expected constant, scratch, counter, memory or boundary"},
        {register_with("kind = \"shift\"\ninstruction = 1\n"),
         "8: " + at +
             "kind: expected constant, scratch, counter, memory or boundary, found \"shift\""},
        {register_with("kind = \"scratch\"\n"),
         "6: " + at +
             "instruction: missing, expected the instruction that selects the register, or "
             "several"},
        {register_with("kind = \"scratch\"\ninstruction = [1, 16]\n"),
         "9: " + at + "instruction: expected integers from 0 to 15"},
        {register_with("kind = \"scratch\"\ninstruction = 1\nlength = 0\n"),
         "10: " + at + "length: expected an integer from 1 to 16777216, found 0"},
        {register_with("kind = \"scratch\"\ninstruction = 1\nlength = 4\nvalue = 16\n"),
         "11: " + at +
             "value: expected a value of at most 4 bits, as an integer or as a text like "
             "\"0x1F\""},
        {register_with("kind = \"scratch\"\ninstruction = 1\nvalue = \"1F\"\n"),
         "10: " + at +
             "value: expected a value of at most 32 bits, as an integer or as a text like "
             "\"0x1F\""},
        {register_with("kind = \"counter\"\ninstruction = 1\nvalue = 3\n"),
         "10: " + at + "value: unknown key, expected one of name, kind, instruction, length"},
        {register_with("kind = \"memory\"\ninstruction = 1\naddress_bits = 4\nwords = 17\n"),
         "11: " + at + "words: expected an integer from 1 to 16, found 17"},
        {register_with("kind = \"boundary\"\nsample = 1\n"),
         "6: " + at + "pin: missing, expected the pins, written [[pod[0].tap[0].register[0].pin]]"},
        {register_with("kind = \"scratch\"\ninstruction = 15\n"),
         "9: " + at + "instruction: expected from 0 to 14, for all ones is BYPASS"},
    });
}

TEST(ChainReaderTest, RowsAreReadWithTheirInstructions) {
    const auto file = read(EXAMPLES_FOLDER "/cpld.toml");
    ASSERT_TRUE(file) << reason_of(file);
    const DeviceDescription& device = chain_of(file.value().pods[0]).devices.at(0);
    ASSERT_EQ(device.rows.size(), 1U);
    const RowsDescription& rows = device.rows[0];
    EXPECT_EQ(rows.name, "fuses");
    EXPECT_EQ(rows.address_bits, 10U);
    EXPECT_EQ(rows.row_bits, 96U);
    EXPECT_EQ(rows.rows, 1000U);
    EXPECT_EQ(rows.address, 0xA1U);
    EXPECT_EQ(rows.program, 0xA4U);
    EXPECT_EQ(rows.verify, 0xA5U);
    EXPECT_EQ(rows.erase, 0xE0U);
    EXPECT_EQ(rows.status, 0x5FU);
}

TEST(ChainReaderTest, ErrorsOfRowsNameFileLineKeyAndExpectation) {
    const std::string head = "[[pod]]\nserial = 1\n[[pod.tap]]\nname = \"a\"\nir_length = 4\n"
                             "[[pod.tap.rows]]\nname = \"r\"\naddress = 1\nprogram = 2\n"
                             "verify = 3\nerase = 4\n";
    const std::string at = "pod[0].tap[0].rows[0].";
    expect_reasons({
        {head, "6: " + at + "status: missing, expected the instruction that reads the status"},
        {head + "status = 4\n",
         "12: " + at + "status: expected an instruction that selects nothing else"},
        {head + "status = 5\naddress_bits = 3\nrows = 9\n",
         "14: " + at + "rows: expected an integer from 1 to 8, found 9"},
        {head + "status = 5\nbits = 3\n",
         "13: " + at +
             "bits: unknown key, expected one of name, address_bits, row_bits, rows, address, "
             "program, verify, erase, status"},
    });
}

TEST(ChainReaderTest, ARiscvTapBringsItsOwnRegisters) {
    const auto file = read(EXAMPLES_FOLDER "/riscv.toml");
    ASSERT_TRUE(file) << reason_of(file);
    const ChainDescription& chain = chain_of(file.value().pods[0]);
    ASSERT_EQ(chain.devices.size(), 1U);
    const DeviceDescription& hart = chain.devices[0];
    EXPECT_EQ(hart.instruction_bits, 5U);
    EXPECT_EQ(hart.idcode, 0x1521'0001U);
    EXPECT_EQ(hart.idcode_instruction, 0x01U);
    ASSERT_EQ(hart.registers.size(), 2U);
    EXPECT_THAT(hart.registers[0].instructions, ElementsAre(0x10U));
    const auto& dtmcs = std::get<ConstantRegister>(hart.registers[0].kind);
    EXPECT_EQ(dtmcs.bits, 32U);
    EXPECT_THAT(dtmcs.value, ElementsAre(0x71U)); // version 0.13, 7 bits of address
    EXPECT_THAT(hart.registers[1].instructions, ElementsAre(0x11U));
    EXPECT_EQ(register_bits(hart.registers[1]), 41U);
    const auto& dmi = std::get<RiscvDescription>(hart.registers[1].kind);
    EXPECT_EQ(dmi.memory_address, 0x8000'0000U);
    EXPECT_EQ(dmi.memory_bytes, 0x10'0000U);
}

TEST(ChainReaderTest, ErrorsOfARiscvTapNameFileLineKeyAndExpectation) {
    const auto riscv_with = [](const std::string& lines) {
        return pod_with("[[pod.tap]]\nname = \"a\"\nkind = \"riscv-dtm\"\n" + lines);
    };
    const std::string at = "pod[0].tap[0].";
    expect_reasons({
        {riscv_with(""), "3: " + at + "idcode: missing, expected the 32 bits of IDCODE"},
        {riscv_with("idcode = 1\nir_length = 4\n"),
         "7: " + at + "ir_length: expected an integer from 5 to 64, found 4"},
        {riscv_with("idcode = 1\nmemory_bytes = 0\n"),
         "7: " + at + "memory_bytes: expected an integer from 1 to 268435456, found 0"},
        {riscv_with("idcode = 1\nmemory_address = 0xFFFF0001\n"),
         "7: " + at +
             "memory_address: expected an address from which the memory fits into 32 bits"},
        {riscv_with("idcode = 1\nidcode_instruction = 2\n"),
         "7: " + at +
             "idcode_instruction: unknown key, expected one of name, kind, ir_length, "
             "ir_capture, idcode, memory_address, memory_bytes, register"},
        {riscv_with("idcode = 1\n[[pod.tap.register]]\nname = \"r\"\nkind = \"counter\"\n"
                    "instruction = 0x11\n"),
         "3: " + at + "instruction: expected an instruction that selects nothing else"},
    });
}

} // namespace
} // namespace talvor::podsim::description
