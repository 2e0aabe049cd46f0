#include "common/bsdl/reader.h"
#include "common/bsdl/sample.h"

#include <gmock/gmock.h>

namespace talvor::bsdl {
namespace {

using testing::ElementsAre;
using testing::HasSubstr;
using testing::IsEmpty;
using testing::SizeIs;

std::string name_of(const Device& device, std::optional<size_t> signal) {
    return signal ? device.signals.at(*signal).name : "*";
}

TEST(ReaderTest, ReadsTheNamesOfADevice) {
    const Device device = read(sample()).device;
    EXPECT_EQ(device.name, "SMALL");
    EXPECT_EQ(device.edition, 2001U);
    EXPECT_EQ(device.package, "SO10");
    EXPECT_THAT(device.packages, ElementsAre("SO10"));
    EXPECT_EQ(device.place, (Place{1, 8}));
}

TEST(ReaderTest, ReadsThePortsWithTheirPins) {
    const Device device = read(sample()).device;
    ASSERT_THAT(device.signals, SizeIs(10));
    std::string text;
    for (const Signal& signal : device.signals) {
        text += signal.name + "=" + signal.pin + " ";
    }
    EXPECT_EQ(text, "TCK=1 TMS=2 TDI=3 TDO=4 PA(1)=5 PA(0)=6 RX=7 TX=8 VCC=9 GND=10 ");
    EXPECT_EQ(device.signals[3].mode, PortMode::Out);
    EXPECT_EQ(device.signals[5].mode, PortMode::InOut);
    EXPECT_EQ(device.signals[5].port, "PA");
    EXPECT_EQ(device.signals[5].index, 0);
    EXPECT_EQ(device.signals[5].place, (Place{6, 5}));
    EXPECT_EQ(device.signals[6].index, std::nullopt);
    EXPECT_EQ(device.signals[9].mode, PortMode::Linkage);
}

TEST(ReaderTest, ReadsTheTestAccessPort) {
    const Device device = read(sample()).device;
    EXPECT_EQ(name_of(device, device.tap.tck), "TCK");
    EXPECT_EQ(name_of(device, device.tap.tms), "TMS");
    EXPECT_EQ(name_of(device, device.tap.tdi), "TDI");
    EXPECT_EQ(name_of(device, device.tap.tdo), "TDO");
    EXPECT_EQ(device.tap.trst, std::nullopt);
    EXPECT_EQ(device.tap.max_tck_hz, 10e6);
    EXPECT_TRUE(device.tap.tck_stops_both);
}

TEST(ReaderTest, ReadsTheInstructions) {
    const Device device = read(sample()).device;
    EXPECT_EQ(device.instruction_bits, 4U);
    EXPECT_EQ(device.instruction_capture, Pattern{"XX01"});
    ASSERT_THAT(device.instructions, SizeIs(6));
    const Instruction* self = find_instruction(device, "self");
    ASSERT_NE(self, nullptr);
    EXPECT_EQ(self->name, "SELF");
    EXPECT_THAT(self->opcodes, ElementsAre(Pattern{"0100"}, Pattern{"011X"}));
    EXPECT_EQ(self->place, (Place{24, 21}));
    EXPECT_FALSE(self->is_private);
}

TEST(ReaderTest, ReadsTheCodes) {
    const Device device = read(sample_with("IDCODE_REGISTER of SMALL : entity is",
                                           "IDCODE_REGISTER of SMALL : entity is \"1\" & "
                                           "\"0000000000000000000000000000011,\" & "))
                              .device;
    ASSERT_THAT(device.idcodes, SizeIs(2));
    EXPECT_EQ(device.idcodes[0].value(), 0x80000003U);
    EXPECT_EQ(device.idcodes[1].text, "XXXX000000000000000101010000000"
                                      "1");
    EXPECT_THAT(device.usercodes, IsEmpty());
}

TEST(ReaderTest, ReadsTheRegisters) {
    const Device device = read(sample()).device;
    ASSERT_THAT(device.registers, SizeIs(4));
    EXPECT_EQ(device.registers[0].name, "BOUNDARY");
    EXPECT_EQ(device.registers[0].bits, 7U);
    EXPECT_THAT(device.registers[0].instructions, ElementsAre("EXTEST", "SAMPLE", "PRELOAD"));
    EXPECT_EQ(device.registers[1].name, "STATUS");
    EXPECT_EQ(device.registers[1].bits, 3U);
    EXPECT_THAT(device.registers[1].captures, ElementsAre(Pattern{"10X"}));
    // What the standard says of its own instructions.
    EXPECT_EQ(device.registers[2].name, "BYPASS");
    EXPECT_EQ(device.registers[2].bits, 1U);
    EXPECT_THAT(device.registers[2].instructions, ElementsAre("BYPASS"));
    EXPECT_EQ(device.registers[3].name, "DEVICE_ID");
    EXPECT_EQ(device.registers[3].bits, 32U);
}

TEST(ReaderTest, ReadsTheCells) {
    const Device device = read(sample()).device;
    EXPECT_EQ(device.boundary_bits, 7U);
    ASSERT_THAT(device.cells, SizeIs(7));
    const Cell& output = device.cells[3];
    EXPECT_EQ(output.number, 3U);
    EXPECT_EQ(output.type, "BC_1");
    EXPECT_EQ(name_of(device, output.signal), "PA(0)");
    EXPECT_EQ(output.function, CellFunction::Output3);
    EXPECT_EQ(output.safe, 'X');
    EXPECT_EQ(output.control, 2U);
    EXPECT_EQ(output.disable_value, '1');
    EXPECT_EQ(output.disable_result, DisableResult::Pull1);
    EXPECT_EQ(output.place, (Place{35, 6}));
    EXPECT_EQ(device.cells[0].safe, '1');
    EXPECT_EQ(device.cells[0].control, std::nullopt);
    EXPECT_EQ(device.cells[2].signal, std::nullopt);
    EXPECT_EQ(device.cells[2].function, CellFunction::Control);
    EXPECT_EQ(device.cells[5].function, CellFunction::Bidir);
    EXPECT_EQ(device.cells[6].function, CellFunction::Internal);
}

TEST(ReaderTest, SortsTheCells) {
    const Device device =
        read(sample_with("\"0 (BC_1, TX, output2, 1),\" &\n    \"1 (BC_2, RX, input, X),\" &",
                         "\"1 (BC_2, RX, input, X), 0 (BC_1, TX, output2, 1),\" &"))
            .device;
    EXPECT_EQ(device.cells[0].number, 0U);
    EXPECT_EQ(device.cells[1].number, 1U);
}

TEST(ReaderTest, KeepsBothEntriesOfAMergedCell) {
    const Device device =
        read(sample_with("\"1 (BC_2, RX, input, X),\" &",
                         "\"1 (BC_2, RX, input, X), 1 (BC_2, *, control, 0),\" &"))
            .device;
    ASSERT_THAT(device.cells, SizeIs(8));
    EXPECT_EQ(device.cells[1].function, CellFunction::Input);
    EXPECT_EQ(device.cells[2].number, 1U);
    EXPECT_EQ(device.cells[2].function, CellFunction::Control);
}

TEST(ReaderTest, KeepsWhatItDoesNotUnderstand) {
    const Device device =
        read(sample_with("end SMALL;", "attribute ISC_PIN_BEHAVIOR of SMALL : entity is \"HIGHZ\";"
                                       "attribute MADE_UP of RX : signal is (3, \"a b\", Q);"
                                       "constant ANSWER : integer := 42;"
                                       "end SMALL;"))
            .device;
    ASSERT_THAT(device.others, SizeIs(4));
    EXPECT_EQ(device.others[0].name, "COMPONENT_CONFORMANCE");
    EXPECT_EQ(device.others[1].value, "HIGHZ");
    EXPECT_EQ(device.others[2].name, "MADE_UP");
    EXPECT_EQ(device.others[2].value, "(3,\"a b\",Q)");
    EXPECT_EQ(device.others[3].value, "42");
}

TEST(ReaderTest, ReadsTheExamples) {
    for (const char* name : {"tlv100", "tlc44"}) {
        const std::string path = std::string(TALVOR_EXAMPLES) + "/board/" + name + ".bsd";
        const Result<Description> description = read_bsdl(path);
        ASSERT_TRUE(description) << headline(description.error());
        EXPECT_THAT(description->findings, IsEmpty()) << description->findings.front().text;
        EXPECT_EQ(description->device.signals.size(),
                  std::string_view(name) == "tlv100" ? 100U : 44U);
    }
}

TEST(ReaderTest, NamesAFileThatIsNotThere) {
    const Result<Description> description = read_bsdl("/dev/null/none");
    ASSERT_FALSE(description);
    EXPECT_EQ(description.error().kind, ErrorKind::BadFile);
    EXPECT_THAT(headline(description.error()), HasSubstr("/dev/null/none: cannot be read"));
}

TEST(ReaderTest, NamesThePlaceOfAFault) {
    EXPECT_EQ(fault_of(""), "a.bsd:1:1: expected 'entity', found the end of the file");
    EXPECT_EQ(fault_of(sample_with("RX : in bit;", "RX in bit;")),
              "a.bsd:7:8: expected ':' behind the name of a port, found 'in'");
    EXPECT_EQ(fault_of(sample_with("3 (BC_1, PA(0), output3,", "3 (BC_1, PA(0) output3,")),
              "a.bsd:35:21: expected ',' behind the port of a cell in BOUNDARY_REGISTER, found "
              "'output3'");
}

} // namespace
} // namespace talvor::bsdl
