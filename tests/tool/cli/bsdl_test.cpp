// BSDL files: what they say, and what a chain says to them.
#include "program.h"

#include <gmock/gmock.h>
#include <gtest/gtest.h>
#include <nlohmann/json.hpp>

#include <filesystem>
#include <fstream>

namespace talvor::cli {
namespace {

using nlohmann::json;
using testing::HasSubstr;
using testing::Not;
using testing::StartsWith;

std::string example(const std::string& name) {
    return source_file("examples/board/" + name);
}

// ---- the file ---------------------------------------------------------------------------------

TEST(BsdlTest, SummarisesAFile) {
    const Outcome outcome = talvor({"bsdl", example("tlc44.bsd")});
    EXPECT_EQ(outcome.status, 0) << outcome.err;
    for (const char* part :
         {"TLC44, ", "IEEE 1149.1-1994\n", "PLCC44\n", "44: 14 in, 9 out, 16 inout, 5 linkage\n",
          "TCK 13, TMS 12, TDI 11, TDO 35; up to 10 MHz, stops low and high\n",
          "0x10044501 or 0x20044501\n", "8 bits, captures 000XXX01\n",
          "61 bits: 18 input, 1 clock, 16 output3, 8 control, 10 controlr, 8 bidir\n",
          "IDCODE          11111110  DEVICE_ID  32\n"}) {
        EXPECT_THAT(outcome.out, HasSubstr(part));
    }
}

TEST(BsdlTest, PrintsTheWholeModel) {
    const json document = json::parse(talvor({"bsdl", example("tlv100.bsd"), "--json"}).out);
    EXPECT_EQ(document.at("name"), "TLV100");
    EXPECT_EQ(document.at("usable"), true);
    EXPECT_EQ(document.at("signals").size(), 100U);
    EXPECT_EQ(document.at("cells").size(), 128U);
    EXPECT_EQ(
        document.at("cells").at(5),
        json::parse(R"json({"number": 5, "type": "BC_1", "signal": "PA(1)", "function": "input",
                  "safe": "X", "control": null, "open": null,
                  "place": {"line": 256, "column": 8}})json"));
    EXPECT_EQ(document.at("compliance"),
              json::parse(R"({"signals": ["TEST"], "patterns": ["0"]})"));
    EXPECT_EQ(document.at("pairs").at(0).at("associated"), "CK_N");
}

TEST(BsdlTest, ChecksForContinuousIntegration) {
    EXPECT_EQ(talvor({"bsdl", "--check", example("tlv100.bsd")}).out,
              example("tlv100.bsd") + ": nothing is wrong\n");
    std::string text = read_file(example("tlc44.bsd"));
    const std::string file =
        file_with("broken.bsd", text.replace(text.find("entity is 61"), 12, "entity is 62"));
    const Outcome broken = talvor({"bsdl", "--check", file});
    EXPECT_EQ(broken.status, 2);
    EXPECT_EQ(broken.out, file + ":3:8: error: cells are missing in BOUNDARY_REGISTER: 61\n");
    EXPECT_EQ(broken.err, "talvor: " + file + ": 1 error, 0 warnings\n");
    EXPECT_EQ(talvor({"bsdl", file}).status, 0) << "without --check it only tells";
    const Outcome document = talvor({"bsdl", "--check", "--json", file});
    EXPECT_EQ(document.status, 2);
    EXPECT_EQ(json::parse(document.out).at("usable"), false);
}

TEST(BsdlTest, NamesThePlaceOfAFault) {
    const std::string file = file_with("fault.bsd", "entity A is\n  port (B in bit);\nend A;\n");
    const Outcome outcome = talvor({"bsdl", file});
    EXPECT_EQ(outcome.status, 2);
    EXPECT_EQ(outcome.err,
              "talvor: " + file + ":2:11: expected ':' behind the name of a port, found 'in'\n");
    const Outcome package = talvor({"bsdl", example("tlc44.bsd"), "--package", "BGA"});
    EXPECT_EQ(package.err, "talvor: " + example("tlc44.bsd") +
                               ":3:8: the device has no pin map 'BGA'\n  next: it has PLCC44\n");
}

// ---- the chain --------------------------------------------------------------------------------

// A simulated chain of the two devices, the second one ambiguous without its file.
std::string parts(
    const std::string& second = "ir_length = 8\nidcode = 0x20044501\nidcode_instruction = 254\n") {
    return "--simulate=" +
           file_with("parts.toml", "[[pod]]\nserial = 1\n[[pod.tap]]\nname = \"t1\"\nir_length = "
                                   "5\nidcode = 0x24100501\n"
                                   "idcode_instruction = 1\n[[pod.tap.register]]\n"
                                   "name = \"control\"\nkind = \"scratch\"\ninstruction = 9\n"
                                   "length = 8\n[[pod.tap]]\nname = \"t2\"\n" +
                                       second);
}

TEST(DescribedChainTest, SaysWhatMatches) {
    const Outcome outcome = talvor({parts(), "--bsdl", source_file("examples/board"), "chain"});
    EXPECT_EQ(outcome.status, 0) << outcome.err;
    EXPECT_THAT(outcome.out, HasSubstr("1  TLV100  0x24100501"));
    EXPECT_THAT(outcome.out, HasSubstr("Device 1: TLV100 of " + example("tlv100.bsd") +
                                       ": IDCODE, instruction length, capture match.\n"));
    EXPECT_THAT(outcome.out, HasSubstr("Device 2: TLC44 of "));
    EXPECT_THAT(outcome.out, Not(HasSubstr("Contradiction")));
}

TEST(DescribedChainTest, SaysWhatContradicts) {
    const TemporaryFolder folder = TemporaryFolder::create().value();
    std::filesystem::copy_file(example("tlv100.bsd"), folder.path() + "/cpu.bsd");
    std::filesystem::create_directory(folder.path() + "/boards");
    const std::string board = folder.path() + "/boards/board.toml";
    std::ofstream(board) << "[[device]]\nname = \"logic\"\nbsdl = \"../cpu.bsd\"\n[[device]]\n";
    const Outcome outcome = talvor(
        {"--simulate=" +
             file_with("other.toml",
                       "[[pod]]\nserial = 1\n[[pod.tap]]\nname = \"t3\"\nir_length = 8\nidcode = "
                       "0x20044501\nidcode_instruction = 254\n[[pod.tap]]\nname = "
                       "\"t4\"\nir_length = 4\n"),
         "--board", board, "chain"});
    EXPECT_EQ(outcome.status, 0) << outcome.err;
    EXPECT_THAT(outcome.out, HasSubstr("1  logic "));
    EXPECT_THAT(outcome.out,
                HasSubstr("Device 1: TLV100 of " + folder.path() +
                          "/boards/../cpu.bsd: nothing matches.\n"
                          "  Contradiction: its IDCODE is 0x20044501, the file says 0xX4100501.\n"
                          "  Contradiction: its instruction register has 8 bits, the file says "
                          "5.\n"));
}

TEST(DescribedChainTest, TellsOfOtherFilesAndOfThoseThatCannotBeRead) {
    const TemporaryFolder folder = TemporaryFolder::create().value();
    std::filesystem::copy_file(example("tlv100.bsd"), folder.path() + "/a.bsd");
    std::filesystem::copy_file(example("tlv100.bsd"), folder.path() + "/b.bsd");
    std::ofstream(folder.path() + "/c.bsd") << "library\n";
    const Outcome outcome = talvor({parts(), "--bsdl", folder.path(), "chain"});
    EXPECT_THAT(outcome.out, HasSubstr("Device 1: TLV100 of " + folder.path() + "/a.bsd: "));
    EXPECT_THAT(outcome.out, HasSubstr("  " + folder.path() + "/b.bsd would fit as well; "));
    EXPECT_THAT(outcome.err, HasSubstr("passing over " + folder.path() + "/c.bsd:2:1: expected"));
    const Outcome none = talvor({parts(), "--bsdl", "/dev/null/none", "chain"});
    EXPECT_EQ(none.status, 2);
    EXPECT_THAT(none.err, HasSubstr("/dev/null/none: cannot be read"));
}

TEST(DescribedChainTest, FilesSettleLengthsThatTheCapturesLeaveOpen) {
    const std::string open =
        "ir_length = 8\nidcode = 0x20044501\nidcode_instruction = 254\nir_capture = 0b00010101\n";
    EXPECT_THAT(talvor({parts(open), "chain"}).out, HasSubstr("are ambiguous"));
    const Outcome outcome = talvor({parts(open), "--bsdl", example("tlv100.bsd"), "chain"});
    EXPECT_THAT(outcome.out, Not(HasSubstr("are ambiguous")));
    EXPECT_THAT(
        json::parse(talvor({parts(open), "--bsdl", example("tlv100.bsd"), "chain", "--json"}).out)
            .at("devices")
            .at(1)
            .at("instruction_bits"),
        8);
}

// ---- instructions by their names --------------------------------------------------------------

Outcome with_files(std::vector<std::string> words) {
    words.insert(words.begin(), {parts(), "--bsdl", source_file("examples/board")});
    return talvor(std::move(words));
}

TEST(NamedInstructionTest, IsShiftedIntoItsDevice) {
    const Outcome idcode = with_files({"dr", "0", "--device", "1", "--instruction", "idcode"});
    EXPECT_EQ(idcode.out, "0x24100501\n") << idcode.err;
    EXPECT_EQ(with_files({"ir", "SAMPLE", "--device", "1"}).out, "0x01\n");
    // The register's length comes from the file: eight bits for one digit.
    EXPECT_EQ(with_files({"dr", "5", "--device", "1", "--ir", "CONTROL"}).out, "0x00\n");
    EXPECT_EQ(with_files({"dr", "5", "--device", "1", "--ir", "0x9", "--bits", "8"}).out, "0x00\n");
}

TEST(NamedInstructionTest, IsKnownFromABoardFileWithoutAskingTheTarget) {
    const std::string board = file_with(
        "named.toml", "[[device]]\nbsdl = \"" + example("tlv100.bsd") + "\"\n[[device]]\nir = 8\n");
    EXPECT_EQ(talvor({parts(), "--board", board, "dr", "0", "--device", "1", "--ir", "IDCODE"}).out,
              "0x24100501\n");
}

TEST(NamedInstructionTest, TellsWhatItDoesNotKnow) {
    const Outcome unknown = with_files({"ir", "RUNBIST", "--device", "1"});
    EXPECT_EQ(unknown.status, 2);
    EXPECT_THAT(unknown.err,
                StartsWith("talvor: instruction RUNBIST: TLV100 has no such instruction\n"
                           "  next: it has BYPASS, CLAMP, CONTROL, DEBUG, EXTEST, "));
    const Outcome bare = talvor({parts(), "ir", "EXTEST", "--device", "1"});
    EXPECT_EQ(bare.status, 2);
    EXPECT_EQ(bare.err, "talvor: instruction EXTEST: no BSDL file describes device 1, and it is no "
                        "hexadecimal number\n  next: name the file as 'bsdl' of the [[device]] in "
                        "the board file, or its folder with --bsdl\n");
    const Outcome whole = with_files({"ir", "EXTEST"});
    EXPECT_EQ(whole.status, 2);
    EXPECT_THAT(whole.err, HasSubstr("name the device with --device"));
    EXPECT_THAT(with_files({"ir", "MBIST", "--device", "1"}).err,
                HasSubstr("MBIST is private to the maker of TLV100, and may do harm"));
}

} // namespace
} // namespace talvor::cli
