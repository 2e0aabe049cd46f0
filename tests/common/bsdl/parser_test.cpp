// The forms in which files are written, and what is no file.
#include "common/bsdl/parser.h"
#include "common/bsdl/sample.h"

#include <gmock/gmock.h>

namespace talvor::bsdl {
namespace {

using testing::ElementsAre;
using testing::HasSubstr;
using testing::SizeIs;
using testing::StartsWith;

std::string replaced(std::string text, std::string_view old, std::string_view replacement) {
    for (size_t at = 0; (at = text.find(old, at)) != std::string::npos; at += replacement.size()) {
        text.replace(at, old.size(), replacement);
    }
    return text;
}

// An entity of these declarations.
std::string entity(const std::string& declarations) {
    return "entity A is\n" + declarations + "\nend A;\n";
}

TEST(ParserTest, LineEndsMeanNothing) {
    for (const char* end : {"\r\n", "\r"}) {
        const Description description = read(replaced(sample(), "\n", end));
        EXPECT_TRUE(description.findings.empty());
        EXPECT_EQ(description.device.cells.back().place, (Place{38, 6}));
    }
}

TEST(ParserTest, CommentsAndCapitalsMeanNothing) {
    const std::string text =
        replaced(replaced(sample(), "\n", " -- \"\xE9\xFF; end\n"), "attribute", "ATTRIBUTE");
    EXPECT_EQ(findings_of(replaced(text, "entity", "Entity")), "");
    EXPECT_EQ(findings_of("\xEF\xBB\xBF" + sample() + "\x1A"), "");
}

TEST(ParserTest, PassesOverPackages) {
    const std::string package = R"(
library IEEE; use IEEE.std_logic_1164.all;
package STD_1149_1_2001 is
  type BC is (a, b); type R is record x : y; end record;
  constant C : CELL_INFO := ((Output3, Extest, PI), ('"', 'X', '''));
  attribute PIN_MAP : string;
end STD_1149_1_2001;
package body STD_1149_1_2001 is end package body STD_1149_1_2001;
package Q is end;
)";
    const Description description = read(package + sample() + package);
    EXPECT_TRUE(description.findings.empty());
    EXPECT_EQ(description.device.name, "SMALL");
    EXPECT_THAT(fault_of("package P is\nconstant A : b;\n"),
                StartsWith("a.bsd:1:1: the package P is not closed"));
}

TEST(ParserTest, ReadsTheFirstOfTwoEntities) {
    EXPECT_EQ(findings_of(sample() + "entity B is end B;"),
              "40:1: warning: only the first entity, SMALL, is read; what stands behind it means "
              "nothing\n");
}

TEST(ParserTest, ReadsEveryModeOfAPort) {
    const Device device =
        read(entity("port (a : in bit; b : OUT bit; c : buffer bit; d : inout bit; e : linkage bit;"
                    "f : linkage_in bit; g : linkage_out bit; h : linkage_inout bit;"
                    "i : linkage_buffer bit; j : linkage_mechanical bit; k : power_0 bit;"
                    "l : POWER_POS bit_vector(1 to 2); m : power_neg bit; n : vref_in bit;"
                    "o : vref_out bit);"))
            .device;
    ASSERT_THAT(device.signals, SizeIs(16));
    for (size_t i = 0; i < 12; ++i) {
        EXPECT_EQ(static_cast<size_t>(device.signals[i].mode), i);
    }
    EXPECT_EQ(device.signals[15].mode, PortMode::VrefOut);
}

TEST(ParserTest, ReadsVectorsBothWaysAndInOtherBases) {
    const Device device =
        read(entity("port (A : in bit_vector (0 to 2); B : out bit_vector(16#1_0# downto 15);"
                    "\\c d\\ : in bit);"))
            .device;
    std::vector<std::string> names;
    for (const Signal& signal : device.signals) {
        names.push_back(signal.name);
    }
    EXPECT_THAT(names, ElementsAre("A(0)", "A(1)", "A(2)", "B(16)", "B(15)", "\\c d\\"));
}

TEST(ParserTest, ChoosesThePackage) {
    const std::string text = sample_with(
        "  attribute TAP_SCAN_IN", "  constant BGA : PIN_MAP_STRING := \"TCK : A1, TMS : A2, TDI : "
                                   "A3, TDO : B1, PA : (B2, B3), RX : C1, TX : C2, VCC : C3, "
                                   "GND : D1\";\n  attribute TAP_SCAN_IN");
    EXPECT_EQ(read(text).device.signals[0].pin, "1");
    EXPECT_EQ(read(text, {.package = "bga"}).device.signals[0].pin, "A1");
    EXPECT_EQ(read(text, {.package = "bga"}).device.package, "BGA");
    EXPECT_THAT(read(text).device.packages, ElementsAre("SO10", "BGA"));
    EXPECT_EQ(fault_of(text, {.package = "QFP"}), "a.bsd:1:8: the device has no pin map 'QFP'");
    const std::string open = replaced(text, " := \"SO10\"", "");
    EXPECT_EQ(findings_of(open),
              "1:8: warning: no pin map is the default; SO10 is taken, the first "
              "of SO10, BGA\n");
    EXPECT_EQ(read(replaced(text, "\"SO10\");", "BGA);")).device.signals[0].pin, "A1");
}

TEST(ParserTest, MendsWhatOthersForgive) {
    const auto mended = [](std::string_view old, std::string_view replacement) {
        return findings_of(sample_with(old, replacement));
    };
    EXPECT_EQ(mended("SAMPLE (0010), PRELOAD", "SAMPLE (0010) PRELOAD"),
              "23:35: warning: a ',' is missing in INSTRUCTION_OPCODE before 'PRELOAD'\n");
    EXPECT_EQ(mended("internal, 0)\"", "internal, 0),\""),
              "38:31: warning: there is nothing behind the last ',' in BOUNDARY_REGISTER\n");
    EXPECT_EQ(mended("011X)\";", "011X)\" & ;"),
              "24:42: warning: there is nothing behind the last '&' of the attribute "
              "INSTRUCTION_OPCODE\n");
    EXPECT_EQ(mended("\"0000000000000001\" &", "\"0000000000000001\""),
              "27:33: warning: a '&' is missing before this string of the attribute "
              "IDCODE_REGISTER\n");
    EXPECT_EQ(mended("GND : linkage bit\n", "GND : linkage bit;\n"),
              "10:3: warning: there is no port behind the last ';'\n");
    EXPECT_EQ(mended("RX : in bit", "RX : bit"),
              "7:10: warning: the port has no mode; it is taken for an 'in'\n");
    EXPECT_EQ(mended("end SMALL;", "end"), "40:1: warning: a ';' is missing behind the end of the "
                                           "entity\n");
    EXPECT_EQ(mended("\"XX01\"", "\"XX\n01\""),
              "25:54: warning: the string goes on behind the end of its line; close it there, and "
              "join the rest with &\n");
}

TEST(ParserTest, JoinsStringsAndConstants) {
    const Device device =
        read(entity("constant WORD : string := \"B\";\n"
                    "attribute X of A : entity is \"A \"\"q\"\" \" & word & \"C\xE9\";"))
            .device;
    EXPECT_EQ(device.others.at(0).value, "A \"q\" BC\xC3\xA9");
    EXPECT_EQ(fault_of(entity("attribute X of A : entity is \"\" & NONE;")),
              "a.bsd:2:35: expected a string of the attribute X behind '&', found 'NONE'");
}

TEST(ParserTest, NamesWhatWasExpected) {
    const auto fault = [](const std::string& declarations) {
        return fault_of(entity(declarations)).substr(6);
    };
    EXPECT_EQ(fault("port A;"), "2:6: expected '(' behind 'port', found 'A'");
    EXPECT_EQ(fault("port (A : in bit"), "3:1: expected ';' or ')' behind a port, found 'end'");
    EXPECT_EQ(fault("port (A : sideways bit);"),
              "2:11: expected the mode of a port ('in', 'out', 'inout', 'buffer', 'linkage' ...), "
              "found 'sideways'");
    EXPECT_EQ(fault("port (A : in bit_vector);"),
              "2:24: expected '(' and the bounds behind 'bit_vector', found ')'");
    EXPECT_EQ(fault("port (A : in bit_vector (0 up 1));"),
              "2:28: expected 'to' or 'downto' between the bounds of a vector, found 'up'");
    EXPECT_EQ(fault("port (A : in bit_vector (a to 1));"),
              "2:26: expected a whole number as the bound of a vector, found 'a'");
    EXPECT_EQ(fault("attribute X of A : entity \"1\";"),
              "2:27: expected 'is' before the value of the attribute X, found a string");
    EXPECT_EQ(fault("attribute X of A : entity is \"1\"\nattribute Y of A : entity is 2;"),
              "3:1: expected ';' behind the value of the attribute X, found 'attribute'");
    EXPECT_EQ(fault("attribute X of A : entity is 1"),
              "3:1: expected ';' behind the value of the attribute X, found 'end'");
    EXPECT_EQ(fault("component B;"), "2:1: expected 'generic', 'port', 'use', 'attribute', "
                                     "'constant' or 'end', found 'component'");
    EXPECT_EQ(fault("\"text\";"), "2:1: expected a declaration or 'end', found a string");
    EXPECT_EQ(fault("attribute X of A : entity is #;"), "2:30: '#' means nothing here");
    EXPECT_EQ(fault("attribute X of \xE9 : entity is 1;"),
              "2:16: the byte 0xE9 means nothing here");
    EXPECT_EQ(fault_of("entity A is port (B : in bit);"),
              "a.bsd:1:31: expected 'end A;', found the end of the file");
}

TEST(ParserTest, FindsTheStringThatIsNotClosed) {
    const std::string said = "the string is not closed: expected '\"' before the end of the line";
    EXPECT_EQ(fault_of(entity("attribute X of A : entity is \"1")), "a.bsd:2:30: " + said);
    EXPECT_EQ(fault_of(sample_with("SELF (0100, 011X)\";", "SELF (0100, 011X);")),
              "a.bsd:24:5: " + said);
    EXPECT_EQ(fault_of(sample_with("RX, input, X),\" &", "RX, input, X), &")),
              "a.bsd:33:5: " + said);
}

TEST(ParserTest, NamesPlacesBehindJoinsAndQuotes) {
    const std::string text =
        sample_with("\"EXTEST (0000), SAMPLE", "\"EX\" &  \"TEST (0000), \" & \"\"\n & \"SAMPLE");
    const Device device = read(text).device;
    EXPECT_EQ(device.instructions[0].place, (Place{23, 6}));
    EXPECT_EQ(device.instructions[0].name, "EXTEST");
    EXPECT_EQ(device.instructions[1].place, (Place{24, 5}));
}

// ---- hostile ----------------------------------------------------------------------------------

TEST(HostileTest, TakesNoVectorOfAllNumbers) {
    for (const char* bounds : {"0 to 2147483647", "0 to 4611686018427387903", "16384 downto 0"}) {
        EXPECT_EQ(fault_of(entity(std::string("port (A : in bit_vector (") + bounds + "));")),
                  "a.bsd:2:7: with A the device has more than 16384 signals");
    }
    EXPECT_THAT(fault_of(entity("port (A : in bit_vector (0 to 99999999999999999999));")),
                HasSubstr("expected a whole number"));
    EXPECT_THAT(fault_of(entity("port (" + std::string(256, 'A') + " : in bit);")),
                HasSubstr("the name of a port has 256 letters, and 255 at most"));
}

TEST(HostileTest, TakesNoConstantsThatDoubleForEver) {
    std::string text = "constant C0 : string := \"0123456789\";\n";
    for (int i = 1; i < 40; ++i) {
        const std::string last = "C" + std::to_string(i - 1);
        text +=
            "constant C" + std::to_string(i) + " : string := \"\" & " + last + " & " + last + ";\n";
    }
    EXPECT_THAT(fault_of(entity(text)),
                HasSubstr("the constants joined so far are longer than the file"));
}

TEST(HostileTest, TakesNoCellBeyondAllRegisters) {
    EXPECT_THAT(fault_of(sample_with("\"6 (BC_0", "\"1048576 (BC_0")),
                HasSubstr("no boundary register has more than 1048576 cells"));
}

TEST(HostileTest, TakesAnyDepthOfParentheses) {
    const std::string deep(100'000, '(');
    EXPECT_EQ(read(entity("attribute X of A : entity is " + deep + ";")).device.others.at(0).value,
              deep);
    EXPECT_THAT(fault_of(entity("attribute REGISTER_ACCESS of A : entity is \"" + deep + "\";")),
                HasSubstr("expected the name of a register"));
}

TEST(HostileTest, EveryTruncationIsAFault) {
    const std::string whole = sample();
    for (size_t length = 0; length + 3 < whole.find("end SMALL"); ++length) {
        const Result<Description> description = parse_bsdl(whole.substr(0, length), "a.bsd");
        ASSERT_FALSE(description) << length;
        EXPECT_THAT(description.error().thing, StartsWith("a.bsd:"));
    }
}

TEST(HostileTest, EveryByteMayBeAnyOther) {
    const std::string whole = sample();
    for (size_t at = 0; at < whole.size(); ++at) {
        for (const char byte : {'"', ')', '\xFF', '9'}) {
            std::string text = whole;
            text[at] = byte;
            const Result<Description> description = parse_bsdl(text, "a.bsd");
            EXPECT_TRUE(description || !description.error().reason.empty());
        }
    }
}

} // namespace
} // namespace talvor::bsdl
