// What is found in a file before it is run.
#include "host/stapl/compiler.h"
#include "host/stapl/crc.h"
#include "tests/host/stapl/aca_compressor.h"
#include "tests/host/stapl/played_program.h"

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <random>

namespace talvor::stapl {
namespace {

using testing::HasSubstr;
using testing::StartsWith;

std::string fault(const std::string& text, size_t chunk_bytes = SIZE_MAX,
                  const LexerLimits& limits = {}) {
    play::TextSource source(text, "a.stapl", chunk_bytes);
    const Result<Program> program = compile(source, limits);
    return program ? "" : headline(program.error());
}

std::string fault_in(const std::string& statement) {
    const std::string found = fault(with_body(statement));
    const std::string place = "a.stapl:3: ";
    return found.starts_with(place) ? found.substr(place.size()) : found;
}

uint16_t crc_of(std::string_view text) {
    Crc crc;
    for (const char byte : text) {
        crc.add(byte);
    }
    return crc.value();
}

TEST(CrcTest, IsTheOneThatOthersCompute) {
    EXPECT_EQ(crc_of("123456789"), 0x906E);
    EXPECT_EQ(crc_of(""), 0);
    EXPECT_EQ(crc_of("a\r\nb\r\n"), crc_of("a\nb\n"));
}

TEST(CompilerTest, ChecksTheChecksum) {
    const std::string text = "NOTE \"CRC\" \"x\"; ' CRC 1234;\n" + with_body("PRINT 1;") + "\n";
    const auto with = [&](uint16_t crc) {
        const std::string whole = text + fmt::format("CRC {:04x};\n\x1A", crc);
        play::TextSource source(whole, "a.stapl");
        return compile(source).value();
    };
    EXPECT_TRUE(with(crc_of(text)).crc_is_right());
    const Program wrong = with(static_cast<uint16_t>(crc_of(text) ^ 1));
    EXPECT_FALSE(wrong.crc_is_right());
    EXPECT_EQ(wrong.crc, crc_of(text));
    EXPECT_EQ(fault(text + "CRC 12345;"), "a.stapl:7: CRC: a checksum has four hexadecimal digits");
    play::TextSource none(text, "a.stapl");
    EXPECT_TRUE(compile(none).value().crc_is_right()) << "a file may have none";
}

TEST(CompilerTest, KeepsNotesActionsAndProcedures) {
    const std::string text =
        "NOTE \"DEVICE\" \"made up\";\nACTION PROGRAM \"all of it\" = A, B OPTIONAL, C "
        "RECOMMENDED;\nACTION READ = A;\nDATA D;\nENDDATA;\nPROCEDURE A USES D, B;\nENDPROC;\n"
        "PROCEDURE B;\nENDPROC;\nPROCEDURE C;\nENDPROC;\n";
    play::TextSource source(text, "a.stapl");
    const Program program = compile(source).value();
    ASSERT_EQ(program.notes.size(), 1U);
    EXPECT_EQ(program.notes[0].key + "=" + program.notes[0].text, "DEVICE=made up");
    ASSERT_EQ(program.actions.size(), 2U);
    EXPECT_EQ(program.actions[0].name + ": " + program.actions[0].description,
              "PROGRAM: all of it");
    std::string items;
    for (const Action::Item& item : program.actions[0].items) {
        items += program.blocks[item.block].name + std::to_string(static_cast<int>(item.need));
    }
    EXPECT_EQ(items, "A0B2C1");
    EXPECT_EQ(program.blocks[1].uses, (std::vector<uint32_t>{0, 2}));
    EXPECT_EQ(program.action("read"), &program.actions[1]);
    EXPECT_EQ(program.action("ERASE"), nullptr);
    EXPECT_EQ(program.bytes, text.size());
}

TEST(CompilerTest, HowAFileIsCutIntoPiecesDoesNotMatter) {
    std::mt19937 random(3);
    std::vector<uint8_t> bytes(500);
    for (uint8_t& byte : bytes) {
        byte = static_cast<uint8_t>(random() % 4);
    }
    const std::string text =
        with_body("BOOLEAN a[4000] = @" + AcaCompressor::compress(bytes) +
                  ";\nBOOLEAN b[12] = $A'x\n5 C;\nEXPORT \"A\", a[]; EXPORT \"B\", b[];");
    Lines whole;
    for (const size_t chunk : {SIZE_MAX, size_t{1}, size_t{7}}) {
        play::TextSource source(text, "a.stapl", chunk);
        const Program program = compile(source).value();
        svf::RecordingPort port;
        Reader reader(program, select(program, {}).value(), port);
        Lines printed;
        reader.perform(listener_of(printed));
        EXPECT_TRUE(play::Player(port, {}).play(reader));
        whole = whole.empty() ? printed : whole;
        EXPECT_EQ(printed, whole);
    }
    Bits expected;
    for (const uint8_t byte : bytes) {
        expected.append(Bits::from_uint(byte, 8));
    }
    EXPECT_EQ(whole, (Lines{"A = 4000:" + expected.to_hex(), "B = 12:A5C"}));
}

TEST(CompilerTest, CompressedDataHasBlanksAndCommentsInIt) {
    std::string data = AcaCompressor::compress({0xDE, 0xAD, 0xBE, 0xEF});
    data.insert(4, " 'comment\n\t");
    EXPECT_EQ(played_body("BOOLEAN a[32] = @" + data + ";\nEXPORT \"A\", a[];").printed,
              (Lines{"A = 32:EFBEADDE"}));
    EXPECT_EQ(fault_in("BOOLEAN a[32] = @400000;"), "BOOLEAN: the compressed data ends too early");
    EXPECT_EQ(played_body("BOOLEAN a[33] = @" + data + ";").error,
              "a.stapl:3: BOOLEAN: A has 33 bits, and its value 32");
}

TEST(CompilerTest, FilesThatAreNoneAreNamed) {
    EXPECT_EQ(fault(""), "a.stapl: is empty");
    EXPECT_EQ(fault(" ' only this\n"), "a.stapl: has no statement, only blanks and comments");
    EXPECT_EQ(fault("PROCEDURE A; ENDPROC;"), "a.stapl: has no ACTION that could be played");
    EXPECT_THAT(fault("NOTE \"A\" \"B\";\nINTEGER i;"),
                StartsWith("a.stapl:2: INTEGER: is it written in the older Jam language"));
    EXPECT_THAT(fault("LET A = 5;"), StartsWith("a.stapl:1: LET: is it written in the older Jam"));
    EXPECT_EQ(fault(std::string("JAM\0\0\0", 6)),
              "a.stapl:1: is it Jam byte-code? This player takes the text, STAPL");
    EXPECT_EQ(fault("SDR 8 TDI (FF);"), "a.stapl:1: the word that begins a statement is missing, "
                                        "there is 'SDR'");
}

TEST(CompilerTest, BrokenBlocksAreNamed) {
    const std::string action = "ACTION A = P;\n";
    EXPECT_EQ(fault(action + "PROCEDURE P;\nPRINT 1;\n"),
              "a.stapl:2: PROCEDURE: there is no ENDPROC");
    EXPECT_EQ(fault(action + "DATA P;\nENDPROC;"),
              "a.stapl:3: ENDPROC: the block of line 2 ends with ENDDATA");
    EXPECT_EQ(fault(action + "PROCEDURE P;\nDATA D;"),
              "a.stapl:3: DATA: it stands within the block of line 2");
    EXPECT_EQ(fault(action + "PRINT 1;"),
              "a.stapl:2: PRINT: it stands outside the PROCEDURE and DATA blocks");
    EXPECT_EQ(fault(action + "PROCEDURE P;\nENDPROC"),
              "a.stapl:3: the last statement has no ';' at its end");
    EXPECT_EQ(fault(action + "PROCEDURE P; ENDPROC;\nPROCEDURE P; ENDPROC;"),
              "a.stapl:3: PROCEDURE: P was defined on line 2");
    EXPECT_EQ(fault(action + "PROCEDURE P USES Q; ENDPROC;"),
              "a.stapl:2: PROCEDURE: there is no block Q to use");
    EXPECT_EQ(fault("ACTION A = Q;"), "a.stapl:1: ACTION: there is no procedure Q");
    EXPECT_EQ(fault("ACTION A = D; DATA D; ENDDATA;"),
              "a.stapl:1: ACTION: there is no procedure D");
    EXPECT_EQ(fault(action + "ACTION A = P; PROCEDURE P; ENDPROC;"),
              "a.stapl:2: ACTION: A was defined on line 1");
    EXPECT_EQ(fault("NOTE \"A\";" + action + "PROCEDURE P; ENDPROC;"),
              "a.stapl:1: NOTE: the text of the note, in quotes is missing, there is ';'");
    EXPECT_EQ(fault(action + "PROCEDURE P;\nPRINT \"abc;\nENDPROC;"),
              "a.stapl:3: the last statement has no ';' at its end");
}

TEST(CompilerTest, NamesThatAreNotThereAreNamed) {
    EXPECT_EQ(fault_in("i = 5;"), "assignment: there is no variable I");
    EXPECT_EQ(fault_in("GOTO there;"), "GOTO: there is no label THERE in this procedure");
    EXPECT_EQ(fault_in("CALL there;"), "CALL: there is no procedure THERE");
    EXPECT_EQ(fault_in("PRINT SIN(3);"), "PRINT: there is no function SIN");
    EXPECT_EQ(fault_in("a: a: PRINT 1;"), "PRINT: there is another label A in this procedure");
    EXPECT_EQ(fault_in("INTEGER i; BOOLEAN i;"), "BOOLEAN: I was declared on line 3");
    EXPECT_EQ(fault("ACTION A = P;\nDATA D; INTEGER i; ENDDATA;\nPROCEDURE P;\nPRINT i;\nENDPROC;"),
              "a.stapl:4: PRINT: I is a variable of D");
}

TEST(CompilerTest, TypesMustAgree) {
    const std::string start = "INTEGER i; BOOLEAN b; INTEGER n[2]; BOOLEAN a[2];";
    EXPECT_EQ(fault_in(start + "i = b;"),
              "assignment: an integer is wanted, and this is a Boolean value");
    EXPECT_EQ(fault_in(start + "b = i;"),
              "assignment: a Boolean value is wanted, and this is an integer");
    EXPECT_EQ(fault_in(start + "b = 2;"),
              "assignment: a Boolean value is wanted, and this is an integer");
    EXPECT_EQ(fault_in(start + "IF i THEN b = 1;"),
              "IF: a Boolean value is wanted, and this is an integer");
    EXPECT_EQ(fault_in(start + "IF i == b THEN b = 1;"),
              "IF: an integer is wanted, and this is a Boolean value");
    EXPECT_EQ(fault_in(start + "i = !3;"),
              "assignment: a Boolean value is wanted, and this is an integer");
    EXPECT_EQ(fault_in(start + "DRSCAN 2, n[];"), "DRSCAN: N is no Boolean array");
    EXPECT_EQ(fault_in(start + "DRSCAN 2, a[], COMPARE a[], a[], i;"),
              "DRSCAN: I is not a Boolean variable");
    EXPECT_EQ(fault_in(start + "FOR b = 1 TO 2;"), "FOR: B is not an integer variable");
    EXPECT_EQ(fault_in(start + "n[] = a[];"), "assignment: a value is missing, there is ']'");
    EXPECT_EQ(fault_in("BOOLEAN a[2] = 1, 0;"),
              "BOOLEAN: the value of a Boolean array begins with '#', '$' or '@'");
}

TEST(CompilerTest, WhatIsMissingIsNamed) {
    EXPECT_EQ(fault_in("PRINT 1 2;"),
              "PRINT: the ',' between two things to print is missing, there is '2'");
    EXPECT_EQ(fault_in("PRINT (1;"), "PRINT: the ')' is missing, there is ';'");
    EXPECT_EQ(fault_in("PRINT 1 +;"), "PRINT: a value is missing, there is ';'");
    EXPECT_EQ(fault_in("PRINT 12AB;"), "PRINT: '12AB' is neither a number nor a name");
    EXPECT_EQ(fault_in("PRINT 2147483649;"),
              "PRINT: 2147483649 does not fit into the 32 bits of an integer");
    EXPECT_EQ(fault_in("PRINT 2147483648;"),
              "PRINT: 2147483648 does not fit into the 32 bits of an integer");
    EXPECT_EQ(fault_in("INTEGER n[1] = 2147483648;"),
              "INTEGER: 2147483648 does not fit into the 32 bits of an integer");
    EXPECT_EQ(fault_in("INTEGER n[1] = -2147483648;"), "");
    EXPECT_EQ(fault_in("PRINT \x01;"), "PRINT: a byte of 0x01 means nothing here");
    EXPECT_EQ(fault_in("PRINT ?;"), "PRINT: '?' means nothing here");
    EXPECT_EQ(fault_in("DRSCAN 8, $;"), "DRSCAN: there is no hexadecimal digit behind '$'");
    EXPECT_EQ(fault_in("DRSCAN 8, #2;"), "DRSCAN: there is no binary digit behind '#'");
    EXPECT_EQ(fault_in("DRSCAN 8;"),
              "DRSCAN: the ',' behind the number of bits is missing, there is ';'");
    EXPECT_EQ(fault_in("DRSCAN 8, $FF CAPTUR a;"),
              "DRSCAN: CAPTURE or COMPARE is missing, there is 'CAPTUR'");
    EXPECT_EQ(fault_in("STATE;"), "STATE: the name of a TAP state is missing, there is ';'");
    EXPECT_EQ(fault_in("STATE WALK;"),
              "STATE: the name of a TAP state is missing, there is 'WALK'");
    EXPECT_EQ(fault_in("DRSTOP DRSHIFT;"), "DRSTOP: the TAP cannot stay in DRSHIFT");
    EXPECT_EQ(fault_in("WAIT;"), "WAIT: it does not say how long");
    EXPECT_EQ(fault_in("WAIT 5 MSEC;"), "WAIT: CYCLES or USEC is missing, there is 'MSEC'");
    EXPECT_EQ(fault_in("WAIT 5 USEC, 6 USEC;"), "WAIT: it says the same twice");
    EXPECT_EQ(fault_in("WAIT 5 USEC, IDLE, RESET;"), "WAIT: it names two states to end in");
    EXPECT_EQ(fault_in("IF 1 == 1 GOTO a;"), "IF: THEN is missing, there is 'GOTO'");
    EXPECT_EQ(fault_in("IF 1 == 1 THEN INTEGER i;"),
              "IF: a variable cannot be declared behind THEN");
    EXPECT_EQ(fault_in("IF 1 == 1 THEN ENDPROC;"),
              "IF: the end of a block cannot stand behind THEN");
    EXPECT_EQ(fault_in("FOR i;"), "FOR: there is no variable I");
    EXPECT_EQ(fault_in("INTEGER i; FOR i = 1 STEP 2;"), "FOR: TO is missing, there is 'STEP'");
    EXPECT_EQ(fault_in("EXIT;"), "EXIT: a value is missing, there is ';'");
    EXPECT_EQ(fault_in("EXPORT x, 1;"), "EXPORT: the key, in quotes is missing, there is 'X'");
}

TEST(CompilerTest, DepthIsBounded) {
    EXPECT_THAT(fault_in("PRINT " + std::string(100'000, '(') + "1;"),
                HasSubstr("more than 200 parentheses"));
    EXPECT_THAT(fault_in("PRINT " + std::string(100'000, '-') + "1;"),
                HasSubstr("more than 200 signs in a row"));
    std::string ifs;
    for (int i = 0; i < 1000; ++i) {
        ifs += "IF 1 == 1 THEN ";
    }
    EXPECT_THAT(fault_in(ifs + "EXIT 0;"), HasSubstr("more than 200 IFs"));
    std::string nested = "0";
    for (int i = 0; i < 150; ++i) {
        nested = "INT(b[" + nested + "]) + 0";
    }
    EXPECT_EQ(fault_in("BOOLEAN b[2]; PRINT " + nested + ";"), "") << "nothing is made twice";
}

TEST(CompilerTest, MemoryIsBounded) {
    LexerLimits limits;
    limits.max_literal_bytes = 100;
    const std::string eighty(160, 'F');
    EXPECT_EQ(fault(with_body("BOOLEAN a[640] = $" + eighty + ";"), SIZE_MAX, limits), "");
    EXPECT_EQ(
        fault(with_body("BOOLEAN a[640] = $" + eighty + ";\nBOOLEAN b[640] = $" + eighty + ";"),
              SIZE_MAX, limits),
        "a.stapl:4: BOOLEAN: the arrays have more than the 100 bytes that this player takes");
    EXPECT_THAT(fault(with_body("BOOLEAN a[8000] = @" +
                                AcaCompressor::compress(std::vector<uint8_t>(1000, 7)) + ";"),
                      SIZE_MAX, limits),
                HasSubstr("1000 bytes of compressed data are more than the 100"));
    limits = {};
    limits.max_file_bytes = 20;
    EXPECT_EQ(fault(with_body("PRINT 1;"), SIZE_MAX, limits),
              "a.stapl: has more than the 20 bytes that this player takes of a STAPL file");
}

TEST(CompilerTest, StopsOnRequest) {
    const std::string text = with_body("PRINT 1;");
    play::TextSource source(text, "a.stapl", 4);
    int left = 3;
    const Result<Program> program = compile(source, {}, [&left] { return --left > 0; });
    EXPECT_EQ(headline(program.error()), "a.stapl: stopped on request");
    EXPECT_EQ(program.error().kind, ErrorKind::Usage);
}

} // namespace
} // namespace talvor::stapl
