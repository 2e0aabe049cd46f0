// Each rule that the checks hold a file against, on a file that breaks it and no other.
#include "common/bsdl/reader.h"
#include "common/bsdl/report.h"
#include "common/bsdl/sample.h"

#include <gmock/gmock.h>

namespace talvor::bsdl {
namespace {

using testing::SizeIs;

struct Broken {
    std::string old; // a part of the sample
    std::string replacement;
    std::string findings; // a line each
};

void expect_findings(const std::vector<Broken>& all) {
    for (const Broken& broken : all) {
        EXPECT_EQ(findings_of(sample_with(broken.old, broken.replacement)), broken.findings)
            << broken.replacement;
    }
}

TEST(ChecksTest, ASoundFileHasNoFindings) {
    EXPECT_EQ(findings_of(sample()), "");
    EXPECT_TRUE(read(sample()).usable());
}

TEST(ChecksTest, OfPorts) {
    expect_findings({
        {"attribute TAP_SCAN_IN of TDI : signal is true;", "",
         "1:8: error: no TAP_SCAN_IN says which port it is\n"
         "1:8: warning: no cell of BOUNDARY_REGISTER is at TDI\n"},
        {"attribute TAP_SCAN_IN of TDI", "attribute TAP_SCAN_IN of PA(0)",
         "1:8: warning: no cell of BOUNDARY_REGISTER is at TDI\n"
         "6:5: warning: PA(0) is an 'inout' port, and as TAP_SCAN_IN it should be 'in'\n"},
        {"attribute TAP_SCAN_IN of TDI", "attribute TAP_SCAN_IN of TDJ",
         "1:8: error: no TAP_SCAN_IN says which port it is\n"
         "1:8: warning: no cell of BOUNDARY_REGISTER is at TDI\n"
         "17:28: error: the device has no port 'TDJ'\n"},
        {"TDI : signal is true", "TDI : signal is 1",
         "1:8: error: no TAP_SCAN_IN says which port it is\n"
         "1:8: warning: no cell of BOUNDARY_REGISTER is at TDI\n"
         "17:44: error: expected 'true' as the value of TAP_SCAN_IN\n"},
        {"(10.0e6, BOTH)", "(10.0e6, HIGH)",
         "20:47: error: expected a frequency and LOW or BOTH as the value of TAP_SCAN_CLOCK, as in "
         "(10.0e6, BOTH)\n"},
        {"use STD_1149_1_2001.all;", "",
         "1:8: warning: no use clause names the standard, as in 'use STD_1149_1_2001.all;'\n"},
        {"RX : in bit;", "RX : in bit; rx : out bit;", "7:18: error: there is another port rx\n"},
        {"bit_vector (1 downto 0)", "bit_vector (0 downto 1)",
         "6:5: error: the vector PA has no elements: its bounds run the wrong way\n"
         "15:42: error: the device has no port 'PA'\n"
         "35:15: error: the device has no port 'PA(0)'\n"
         "36:15: error: the device has no port 'PA(0)'\n"
         "37:15: error: the device has no port 'PA(1)'\n"},
    });
}

TEST(ChecksTest, OfPinMaps) {
    expect_findings({
        {", GND : 10", "", "14:12: warning: the pin map SO10 has no pin for GND\n"},
        {"GND : 10", "GND : 9",
         "14:12: warning: the pin map SO10 has no pin for GND\n"
         "16:37: error: the pin map SO10 gives the pin '9' to VCC and to "
         "GND\n"},
        {"GND : 10", "GND : 10, GND : 11", "16:47: error: the pin map SO10 names GND twice\n"},
        {"GND : 10", "GND : 10, NC : 11", "16:41: error: the device has no port 'NC'\n"},
        {"PA : (5, 6)", "PA : (5, 6, 11)",
         "15:42: error: the port PA has 2 signals, and the pin map SO10 gives it 3 pins\n"},
        {"\"SO10\");\n", "\"SO8\");\n", ""},
    });
}

TEST(ChecksTest, OfInstructions) {
    expect_findings({
        {"attribute INSTRUCTION_LENGTH of SMALL : entity is 4;", "",
         "1:8: error: INSTRUCTION_LENGTH is missing\n"},
        {"INSTRUCTION_LENGTH of SMALL : entity is 4", "INSTRUCTION_LENGTH of SMALL : entity is X",
         "1:8: error: INSTRUCTION_LENGTH is missing\n"
         "21:53: error: expected a whole number from 1 to 65536 as the value of "
         "INSTRUCTION_LENGTH\n"},
        {"attribute INSTRUCTION_CAPTURE of SMALL : entity is \"XX01\";", "",
         "1:8: warning: INSTRUCTION_CAPTURE is missing\n"},
        {"\"XX01\"", "\"XXX01\"",
         "1:8: error: INSTRUCTION_CAPTURE has 5 bits, and the instruction register 4\n"},
        {"\"XX01\"", "\"XX11\"",
         "1:8: error: INSTRUCTION_CAPTURE is XX11; every device captures 01 in the bits nearest "
         "TDO\n"},
        {"(0100, 011X)", "(0100, 11X)",
         "24:21: error: the opcode '11X' of SELF has 3 bits, and the instruction register 4\n"},
        {"(0100, 011X)", "(0100, 01A1)",
         "24:33: error: expected a pattern of 0, 1 and X, found '01A1'\n"},
        {"(0100, 011X)", "(0100, 000X)",
         "24:21: warning: the opcode 000X is that of EXTEST and of SELF\n"
         "24:21: warning: the opcode 000X is that of IDCODE and of SELF\n"},
        {"(0100, 011X)", "(0100, 0100)", ""},
        {"(0100, 011X)", "(1111)",
         "24:21: warning: the opcode 1111 is that of BYPASS and of SELF\n"},
        {"SELF (0100, 011X)", "idcode (0100)",
         "24:21: error: there is another instruction idcode\n"
         "29:42: warning: the instruction SELF of the register STATUS has no opcode\n"},
    });
}

TEST(ChecksTest, OfInstructionsThatTheStandardWants) {
    expect_findings({
        {"EXTEST (0000), ", "",
         "1:8: error: the instruction EXTEST is missing\n"
         "29:6: warning: the instruction EXTEST of the register BOUNDARY has no opcode\n"},
        {"SAMPLE (0010), PRELOAD", "PRELOAD",
         "1:8: warning: the instruction SAMPLE is missing\n"
         "29:6: warning: the instruction SAMPLE of the register BOUNDARY has no opcode\n"},
        {"PRELOAD (0010), ", "",
         "1:8: warning: the instruction PRELOAD is missing\n"
         "29:6: warning: the instruction PRELOAD of the register BOUNDARY has no opcode\n"},
        {", BYPASS (1111)", "",
         "1:8: warning: the instruction BYPASS is missing; it is taken for all ones\n"},
        {"BYPASS (1111)", "BYPASS (1110)", "23:52: warning: no opcode of BYPASS is all ones\n"},
        {"IDCODE (0001), ", "",
         "1:8: warning: there is IDCODE_REGISTER and no instruction IDCODE\n"},
        {"SELF (0100, 011X)", "SELF (0100), USERCODE (1000)",
         "1:8: warning: there is an instruction USERCODE and no USERCODE_REGISTER\n"},
    });
    std::string old = sample_with("STD_1149_1_2001.all", "STD_1149_1_1994.all");
    old.replace(old.find("EXTEST (0000)"), 13, "EXTEST (1000)");
    EXPECT_EQ(findings_of(old), "23:6: warning: no opcode of EXTEST is all zeros, as this edition "
                                "of the standard has it\n");
}

TEST(ChecksTest, AddsTheBypassThatIsMissing) {
    const Device device = read(sample_with(", BYPASS (1111)", "")).device;
    EXPECT_EQ(find_instruction(device, "BYPASS")->opcodes.at(0).text, "1111");
}

TEST(ChecksTest, OfCodesAndRegisters) {
    expect_findings({
        {"\"01010000000\" & \"1\"", "\"01010000000\" & \"0\"",
         "1:8: error: the lowest bit of the IDCODE XXXX0000000000000001010100000000 is no 1\n"},
        {"\"01010000000\"", "\"00001111111\"",
         "1:8: warning: the manufacturer of the IDCODE XXXX0000000000000001000011111111 is one "
         "that "
         "no device may have\n"},
        {"\"01010000000\" & \"1\"", "\"01010000000\"",
         "1:8: warning: there is an instruction IDCODE and no IDCODE_REGISTER\n"
         "27:6: error: the code has 31 bits; expected 32\n"},
        {"STATUS[3]", "BYPASS[3]",
         "29:42: error: the register BYPASS has 3 bits here, and should have 1\n"},
        {"captures 10X", "captures 1X",
         "29:42: warning: SELF captures 2 bits, and its register STATUS has 3\n"},
        {"STATUS[3] (SELF captures 10X)", "STATUS[3] (SELF, SAMPLE)",
         "29:42: warning: the instruction SAMPLE selects BOUNDARY and STATUS\n"},
        {"SELF captures", "SELF takes captures",
         "29:58: warning: 'takes' means nothing here; expected 'captures', ',' or ')'\n"},
        {"STATUS[3]", "STATUS[99999999]",
         "29:49: error: expected the length of a register, from 1 to 16777216 bits, found "
         "'99999999'\n"},
    });
}

TEST(ChecksTest, OfTheNumbersOfCells) {
    expect_findings({
        {"BOUNDARY_LENGTH of SMALL : entity is 7", "BOUNDARY_LENGTH of SMALL : entity is 9",
         "1:8: error: cells are missing in BOUNDARY_REGISTER: 7 to 8\n"},
        {"BOUNDARY_LENGTH of SMALL : entity is 7", "BOUNDARY_LENGTH of SMALL : entity is 6",
         "38:6: error: the cell 6 is beyond BOUNDARY_LENGTH, 6\n"},
        {"attribute BOUNDARY_LENGTH of SMALL : entity is 7;", "",
         "1:8: error: BOUNDARY_LENGTH is missing\n"},
        {"\"1 (BC_2, RX, input, X),\" &", "",
         "1:8: error: cells are missing in BOUNDARY_REGISTER: 1\n"
         "1:8: warning: no cell of BOUNDARY_REGISTER is at RX\n"},
        {"1 (BC_2, RX, input, X),", "1 (BC_2, RX, input, X), 1 (BC_2, RX, observe_only, X),",
         "33:30: error: the cell 1 stands in line 33 already; only an input may share its cell "
         "with "
         "an output or a control\n"},
        {"1 (BC_2, RX, input, X),",
         "1 (BC_2, RX, input, X), 1 (BC_2, *, internal, X), 1 (BC_2, *, internal, X),",
         "33:56: error: the cell 1 stands in line 33 already; only an input may share its cell "
         "with "
         "an output or a control\n"},
        {"1 (BC_2, RX, input, X),", "1 (BC_2, RX, input, X), 1 (BC_2, *, internal, 0),", ""},
    });
}

TEST(ChecksTest, OfWhatCellsDo) {
    expect_findings({
        {"output3, X, 2, 1, PULL1", "output3, X",
         "35:6: error: the output3 cell 3 has no control cell\n"},
        {"output3, X, 2, 1, PULL1", "output3, X, 1, 1, PULL1",
         "35:6: error: the cell 1 that disables the cell 3 is no control cell\n"},
        {"output3, X, 2, 1, PULL1", "output3, X, 8, 1, PULL1",
         "35:6: error: the cell 8 that disables the cell 3 is missing\n"},
        {"output3, X, 2, 1, PULL1", "output3, X, 2, 1, SOME",
         "35:40: warning: 'SOME' is no result that is known\n"},
        {"TX, output2, 1", "TX, output2, 1, 0, 1, WEAK1", ""}, // disables itself
        {"6 (BC_0, *, internal, 0)", "6 (BC_0, *, control, 0)",
         "38:6: warning: the control cell 6 disables no output\n"},
        {"6 (BC_0, *, internal, 0)", "6 (BC_0, RX, internal, 0)",
         "38:6: warning: the internal cell 6 has a port, RX; expected '*'\n"},
        {"6 (BC_0, *, internal, 0)", "6 (BC_0, TX, input, 0)",
         "38:6: warning: the input cell 6 is at TX, an 'out' port\n"},
        {"6 (BC_0, *, internal, 0)", "6 (BC_0, TX, observe_only, 0)", ""},
        {"6 (BC_0, *, internal, 0)", "6 (BC_0, RX, output2, 0)",
         "38:6: warning: the output2 cell 6 is at RX, an 'in' port\n"},
        {"6 (BC_0, *, internal, 0)", "6 (BC_0, TX, output2, 0)",
         "38:6: error: the cells 0 and 6 both drive TX\n"},
        {"6 (BC_0, *, internal, 0)", "6 (BC_0, PA, input, 0)",
         "38:15: error: a cell has one signal, and PA is a vector of 2\n"},
        {"6 (BC_0, *, internal, 0)", "6 (BC_0, *, mystery, 0)",
         "38:18: error: 'mystery' is no function of a cell\n"},
    });
}

TEST(ChecksTest, OfAttributesThatAreThereTwiceOrOfAnother) {
    expect_findings({
        {"attribute BOUNDARY_LENGTH of SMALL : entity is 7;",
         "attribute BOUNDARY_LENGTH of SMALL : entity is 7; attribute BOUNDARY_LENGTH of SMALL : "
         "entity is 8;",
         "30:63: error: BOUNDARY_LENGTH stands in line 30 already\n"},
        {"BOUNDARY_LENGTH of SMALL", "BOUNDARY_LENGTH of BIG",
         "30:13: warning: BOUNDARY_LENGTH is of 'BIG'; the device is SMALL\n"},
        {"end SMALL;", "end BIG;", "39:5: warning: the entity SMALL ends as 'BIG'\n"},
        {"BOUNDARY_LENGTH of SMALL : entity is 7", "BOUNDARY_LENGTH of SMALL : entity is \"7\"",
         "1:8: error: BOUNDARY_LENGTH is missing\n"
         "30:50: error: expected a whole number from 1 to 1048576 as the value of "
         "BOUNDARY_LENGTH\n"},
        {"INSTRUCTION_CAPTURE of SMALL : entity is \"XX01\"",
         "INSTRUCTION_CAPTURE of SMALL : entity is XX01",
         "1:8: warning: INSTRUCTION_CAPTURE is missing\n"
         "25:54: error: expected a string as the value of INSTRUCTION_CAPTURE\n"},
    });
}

TEST(ChecksTest, OfComplianceAndPairs) {
    expect_findings({
        {"end SMALL;",
         "attribute COMPLIANCE_PATTERNS of SMALL : entity is \"(RX, PA) (01X, 111)\";"
         "end SMALL;",
         ""},
        {"end SMALL;",
         "attribute COMPLIANCE_PATTERNS of SMALL : entity is \"(RX) (01)\";end SMALL;",
         "39:59: error: the pattern has 2 bits for 1 signal\n"},
        {"end SMALL;",
         "attribute PORT_GROUPING of SMALL : entity is \"Differential_Voltage ((RX, TX))\";"
         "end SMALL;",
         ""},
        {"end SMALL;",
         "attribute PORT_GROUPING of SMALL : entity is \"Differential_Voltage ((RX, PA))\";"
         "end SMALL;",
         "39:70: error: RX and PA are a pair of different widths\n"},
        {"end SMALL;",
         "attribute PORT_GROUPING of SMALL : entity is \"Twins ((RX, TX))\";end SMALL;",
         "39:47: error: 'Twins' is no kind of group; expected 'Differential_Voltage' or "
         "'Differential_Current'\n"},
    });
}

TEST(ChecksTest, ManyFindingsAreCounted) {
    std::string registers = "STATUS[3] (SELF)";
    for (int i = 0; i < 300; ++i) {
        registers += ", R (N" + std::to_string(i) + ")";
    }
    const std::vector<Finding> findings =
        read(sample_with("STATUS[3] (SELF captures 10X)", registers)).findings;
    ASSERT_THAT(findings, SizeIs(kMostFindings + 1));
    EXPECT_EQ(findings.back().text, "100 warnings more of this kind are not listed");
}

} // namespace
} // namespace talvor::bsdl
