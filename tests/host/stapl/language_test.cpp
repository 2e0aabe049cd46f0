// Values, variables and control flow: what a program computes.
#include "tests/host/stapl/played_program.h"

#include <gtest/gtest.h>

namespace talvor::stapl {
namespace {

// What an expression comes to, as PRINT writes it.
std::string value(const std::string& expression) {
    const Played result = played_body("INTEGER i = 7; BOOLEAN t = 1; BOOLEAN f; INTEGER a[3] = 30, "
                                      "20, 10; BOOLEAN b[12] = $A5C;\nPRINT " +
                                      expression + ";");
    return result.error.empty() ? result.printed.at(0) : result.error;
}

std::string fault(const std::string& body) {
    return played_body(body).error;
}

TEST(ExpressionTest, Computes) {
    EXPECT_EQ(value("1 + 2 * 3"), "7");
    EXPECT_EQ(value("(1 + 2) * 3"), "9");
    EXPECT_EQ(value("10 - 4 - 3"), "3");
    EXPECT_EQ(value("-7 / 2"), "-3");
    EXPECT_EQ(value("7 % 4"), "3");
    EXPECT_EQ(value("-7 % 4"), "-3");
    EXPECT_EQ(value("-i + +i"), "0");
    EXPECT_EQ(value("- -i"), "7");
    EXPECT_EQ(value("~5"), "-6");
    EXPECT_EQ(value("12 & 10"), "8");
    EXPECT_EQ(value("12 | 3"), "15");
    EXPECT_EQ(value("12 ^ 10"), "6");
    EXPECT_EQ(value("1 << 4"), "16");
    EXPECT_EQ(value("1 << 31"), "-2147483648");
    EXPECT_EQ(value("1 << 32"), "0");
    EXPECT_EQ(value("-16 >> 2"), "-4");
    EXPECT_EQ(value("-16 >> 99"), "-1");
    EXPECT_EQ(value("2147483647"), "2147483647");
    EXPECT_EQ(value("-2147483648"), "-2147483648");
}

TEST(ExpressionTest, BindsAsTheStandardOrdersIt) {
    EXPECT_EQ(value("1 | 2 ^ 3 & 6"), "1") << "& before ^ before |";
    EXPECT_EQ(value("1 << 2 + 1"), "8") << "+ before <<";
    EXPECT_EQ(value("1 << 2 < 5"), "1") << "<< before <";
    EXPECT_EQ(value("3 < 4 == 5 < 6"), "1") << "< before ==";
    EXPECT_EQ(value("t || f && f"), "1") << "&& before ||";
    EXPECT_EQ(value("!f && t"), "1") << "! before &&";
    EXPECT_EQ(value("-2 * 3"), "-6");
}

TEST(ExpressionTest, Compares) {
    EXPECT_EQ(value("i == 7"), "1");
    EXPECT_EQ(value("i != 7"), "0");
    EXPECT_EQ(value("i < 7"), "0");
    EXPECT_EQ(value("i <= 7"), "1");
    EXPECT_EQ(value("i > 6"), "1");
    EXPECT_EQ(value("i >= 8"), "0");
    EXPECT_EQ(value("t == f"), "0");
    EXPECT_EQ(value("t != f"), "1");
    EXPECT_EQ(value("t == 1"), "1");
    EXPECT_EQ(value("t && f"), "0");
    EXPECT_EQ(value("t || f"), "1");
}

TEST(ExpressionTest, HasFunctions) {
    EXPECT_EQ(value("ABS(-5)"), "5");
    EXPECT_EQ(value("SQRT(24)"), "4");
    EXPECT_EQ(value("CEIL(SQRT(24))"), "5");
    EXPECT_EQ(value("CEIL(SQRT(25))"), "5");
    EXPECT_EQ(value("FLOOR(SQRT(24))"), "4");
    EXPECT_EQ(value("SQRT(2147483647)"), "46340");
    EXPECT_EQ(value("LOG2(9)"), "4");
    EXPECT_EQ(value("LOG2(8)"), "3");
    EXPECT_EQ(value("FLOOR(LOG2(9))"), "3");
    EXPECT_EQ(value("CEIL(LOG2(9))"), "4");
    EXPECT_EQ(value("LOG2(1)"), "0");
    EXPECT_EQ(value("CEIL(7 / 2)"), "4");
    EXPECT_EQ(value("CEIL(8 / 2)"), "4");
    EXPECT_EQ(value("CEIL(-7 / 2)"), "-3");
    EXPECT_EQ(value("FLOOR(-7 / 2)"), "-4");
    EXPECT_EQ(value("FLOOR(7 / 2)"), "3");
    EXPECT_EQ(value("CEIL(i)"), "7");
    EXPECT_EQ(value("1 + CEIL(7 / 2) * 2"), "9");
}

TEST(ExpressionTest, ReadsArraysAndLiterals) {
    EXPECT_EQ(value("a[0]"), "10") << "the first value written is that of the highest index";
    EXPECT_EQ(value("a[2]"), "30");
    EXPECT_EQ(value("b[0]"), "0");
    EXPECT_EQ(value("b[2]"), "1");
    EXPECT_EQ(value("b[11]"), "1");
    EXPECT_EQ(value("INT(b[])"), "2652");
    EXPECT_EQ(value("INT(b[7..4])"), "5");
    EXPECT_EQ(value("INT(b[4..7])"), "10") << "the other way round the bits turn";
    EXPECT_EQ(value("INT(b[a[0] - 10..0])"), "0");
    EXPECT_EQ(value("INT($FF) + 1"), "256");
    EXPECT_EQ(value("INT(#101)"), "5");
    EXPECT_EQ(value("INT($FFFFFFFF)"), "-1");
    EXPECT_EQ(value("INT(BOOL(i))"), "7");
    EXPECT_EQ(value("INT(t)"), "1");
    EXPECT_EQ(value("INT(b[2])"), "1");
    EXPECT_EQ(value("INT(b[INT(b[3..2])])"), "1") << "b[3]";
}

TEST(ExpressionTest, FaultsAreNamed) {
    EXPECT_EQ(value("1 / (i - 7)"), "a.stapl:4: PRINT: a division by zero");
    EXPECT_EQ(value("1 % (i - 7)"), "a.stapl:4: PRINT: a division by zero");
    EXPECT_EQ(value("2147483647 + 1"),
              "a.stapl:4: PRINT: the result does not fit into the 32 bits of an integer");
    EXPECT_EQ(value("65536 * 32768"),
              "a.stapl:4: PRINT: the result does not fit into the 32 bits of an integer");
    EXPECT_EQ(value("LOG2(0)"), "a.stapl:4: PRINT: the logarithm of a number that is not above 0");
    EXPECT_EQ(value("SQRT(-1)"), "a.stapl:4: PRINT: the square root of a negative number");
    EXPECT_EQ(value("a[3]"), "a.stapl:4: PRINT: A[3] is outside of the array of 3");
    EXPECT_EQ(value("b[-1]"), "a.stapl:4: PRINT: B[-1] is outside of the array of 12");
    EXPECT_EQ(value("INT(b[12..0])"), "a.stapl:4: PRINT: B[12..0] is outside of the array of 12");
    EXPECT_EQ(value("INT($123456789)"), "a.stapl:4: PRINT: 36 bits do not fit into the 32 of an "
                                        "integer");
}

TEST(VariableTest, HoldsWhatIsAssigned) {
    const Played result = played_body("INTEGER i = 5; BOOLEAN b; BOOLEAN w[8] = #10110001;\n"
                                      "INTEGER n[4];\n"
                                      "i = i + 1; b = i > 5; n[3] = i; w[0] = 0; w[7..6] = #01;\n"
                                      "PRINT i, \" \", b, \" \", n[3], n[0];\n"
                                      "EXPORT \"W\", w[];");
    EXPECT_EQ(result.error, "");
    EXPECT_EQ(result.printed, (Lines{"6 1 60", "W = 8:70"}));
}

TEST(VariableTest, StretchesAreCopiedFromTheirLowEnd) {
    const Played result =
        played_body("BOOLEAN a[40] = $123456789A; BOOLEAN c[40]; BOOLEAN d[40]; BOOLEAN e[4];\n"
                    "c[] = a[]; c[39..36] = a[3..0]; EXPORT \"C\", c[];\n"
                    "d[19..4] = a[35..20]; d[] = d[39..4]; EXPORT \"D\", d[];\n"
                    "e[] = $F5; EXPORT \"E\", e[3..0];\n"
                    "d[] = BOOL(-2); EXPORT \"D\", d[];\n"
                    "e[0..3] = #0001; EXPORT \"E\", e[];");
    EXPECT_EQ(result.error, "");
    EXPECT_EQ(result.printed, (Lines{"C = 40:A23456789A", "D = 40:0000002345", "E = 4:5",
                                     "D = 40:00FFFFFFFE", "E = 4:8"}));
}

TEST(VariableTest, AnInitialisedArrayIsNotChangedForTheNextTime) {
    const Played result =
        played_body("INTEGER i;\nFOR i = 1 TO 2;\nCALL MAIN2;\nNEXT i;\nENDPROC;\n"
                    "PROCEDURE MAIN2;\nBOOLEAN b[8] = $0F; INTEGER n[2] = 2, 1; INTEGER s = 4;\n"
                    "PRINT INT(b[]), \" \", n[0], \" \", s;\nb[7] = 1; n[0] = 9; s = 5;");
    EXPECT_EQ(result.error, "a.stapl:5: CALL: MAIN does not use MAIN2");
    svf::RecordingPort port;
    const Played again = played("ACTION RUN = MAIN;\nPROCEDURE MAIN USES MAIN2;\nINTEGER i;\n"
                                "FOR i = 1 TO 2; CALL MAIN2; NEXT i;\nENDPROC;\n"
                                "PROCEDURE MAIN2;\nBOOLEAN b[8] = $0F; INTEGER n[2] = 2, 1; "
                                "INTEGER s = 4;\nPRINT INT(b[]), \" \", n[0], \" \", s;\n"
                                "b[7] = 1; n[0] = 9; s = 5;\nENDPROC;\n",
                                port);
    EXPECT_EQ(again.error, "");
    EXPECT_EQ(again.printed, (Lines{"15 1 4", "15 1 4"}));
}

TEST(VariableTest, DataIsMadeOnceAndSharedByThoseThatUseIt) {
    svf::RecordingPort port;
    const Played result = played("ACTION RUN = ONE, TWO;\n"
                                 "DATA SHARED; INTEGER n = 3; BOOLEAN b[4] = $9; ENDDATA;\n"
                                 "PROCEDURE ONE USES SHARED; n = n + 1; b[0] = 0; ENDPROC;\n"
                                 "PROCEDURE TWO USES SHARED; PRINT n, INT(b[]); ENDPROC;\n",
                                 port);
    EXPECT_EQ(result.error, "");
    EXPECT_EQ(result.printed, (Lines{"48"}));
}

TEST(VariableTest, SizesAndValuesMustAgree) {
    EXPECT_EQ(fault("BOOLEAN b[8] = $F;"), "a.stapl:3: BOOLEAN: B has 8 bits, and its value 4");
    EXPECT_EQ(fault("BOOLEAN b[8] = $FFF;"), "a.stapl:3: BOOLEAN: B has 8 bits, and its value 12");
    EXPECT_EQ(fault("BOOLEAN b[6] = $3F;"), "") << "the last digit may be used in part";
    EXPECT_EQ(fault("BOOLEAN b[3] = #0011;"), "a.stapl:3: BOOLEAN: B has 3 bits, and its value 4");
    EXPECT_EQ(fault("INTEGER n[3] = 1, 2;"),
              "a.stapl:3: INTEGER: N has 3 elements, and its value 2");
    EXPECT_EQ(fault("INTEGER i; INTEGER n[2] = i, 2 + i;"), "");
    EXPECT_EQ(fault("BOOLEAN b[0];"), "a.stapl:3: BOOLEAN: B is to have 0 elements");
    EXPECT_EQ(fault("BOOLEAN b[-3];"), "a.stapl:3: BOOLEAN: B is to have -3 elements");
}

TEST(VariableTest, ComputedListsAreInTheSameOrder) {
    EXPECT_EQ(played_body("INTEGER i = 4; INTEGER n[3] = i, i + 1, i + 2;\n"
                          "PRINT n[2], n[1], n[0];")
                  .printed,
              (Lines{"456"}));
}

TEST(VariableTest, MemoryIsBounded) {
    svf::RecordingPort port;
    HowToPlay how;
    how.reader.limits.max_array_bytes = 100;
    EXPECT_EQ(played(with_body("BOOLEAN b[801];"), port, how).error,
              "a.stapl:3: BOOLEAN: the arrays have more than the 100 bytes that this player takes");
    EXPECT_EQ(played(with_body("BOOLEAN b[400]; INTEGER n[13];"), port, how).error,
              "a.stapl:3: INTEGER: the arrays have more than the 100 bytes that this player takes");
    EXPECT_EQ(played(with_body("BOOLEAN b[400]; INTEGER n[12];"), port, how).error, "");
}

TEST(ControlTest, ForCountsUpDownAndAtLeastOnce) {
    EXPECT_EQ(played_body("INTEGER i;\nFOR i = 1 TO 3; PRINT i; NEXT i;\nPRINT i;").printed,
              (Lines{"1", "2", "3", "3"}));
    EXPECT_EQ(played_body("INTEGER i;\nFOR i = 6 TO 1 STEP -2; PRINT i; NEXT i;").printed,
              (Lines{"6", "4", "2", "0"}))
        << "it stops when it has reached the end or passed it";
    EXPECT_EQ(played_body("INTEGER i;\nFOR i = 5 TO 1; PRINT i; NEXT i;").printed, (Lines{"5"}));
    EXPECT_EQ(played_body("INTEGER i; INTEGER j;\nFOR i = 1 TO 2; FOR j = 1 TO 2; PRINT i, j; "
                          "NEXT j; NEXT i;")
                  .printed,
              (Lines{"11", "12", "21", "22"}));
    EXPECT_EQ(fault("INTEGER i; FOR i = 1 TO 2 STEP 0; NEXT i;"), "a.stapl:3: FOR: the step is 0");
    EXPECT_EQ(fault("INTEGER i; NEXT i;"), "a.stapl:3: NEXT: there is no FOR I that it ends");
}

TEST(ControlTest, GotoLeavesLoopsBehind) {
    EXPECT_EQ(played_body("INTEGER i; INTEGER j;\nFOR i = 1 TO 2;\nFOR j = 1 TO 9;\n"
                          "IF j == 2 THEN GOTO out;\nNEXT j;\nout: PRINT i, j;\nNEXT i;\n"
                          "FOR i = 1 TO 2;\nGOTO done;\nNEXT i;\ndone:")
                  .printed,
              (Lines{"12", "22"}));
}

TEST(ControlTest, IfRunsOneStatement) {
    EXPECT_EQ(played_body("INTEGER i = 2;\nIF i == 2 THEN PRINT \"two\";\n"
                          "IF i == 3 THEN PRINT \"three\";\n"
                          "IF i > 1 THEN IF i < 3 THEN i = 7;\nPRINT i;")
                  .printed,
              (Lines{"two", "7"}));
}

TEST(ControlTest, GotoGoesBackAndForth) {
    EXPECT_EQ(played_body("INTEGER i;\nGOTO b;\na: PRINT \"a\"; i = i + 1;\n"
                          "b: PRINT \"b\"; IF i < 2 THEN GOTO a;")
                  .printed,
              (Lines{"b", "a", "b", "a", "b"}));
}

TEST(ControlTest, PushAndPopPassValues) {
    EXPECT_EQ(played_body("INTEGER i; BOOLEAN b; INTEGER n[2]; BOOLEAN c[2];\n"
                          "PUSH 5; PUSH i == 0; PUSH 7; PUSH 1; POP c[1]; POP n[0]; POP b; POP i;\n"
                          "PRINT i, b, n[0], c[1];")
                  .printed,
              (Lines{"5171"}));
    EXPECT_EQ(fault("INTEGER i; POP i;"), "a.stapl:3: POP: there is no value on the stack");
    EXPECT_EQ(fault("PUSH 1;"),
              "a.stapl:4: ENDPROC: a value that was pushed in this block was not popped");
}

TEST(ControlTest, ProceduresCallThemselvesUpToALimit) {
    svf::RecordingPort port;
    EXPECT_EQ(played("ACTION RUN = MAIN;\nDATA D; INTEGER n = 3; ENDDATA;\n"
                     "PROCEDURE MAIN USES D;\nPRINT n;\nn = n - 1;\nIF n > 0 THEN CALL MAIN;\n"
                     "ENDPROC;\n",
                     port)
                  .printed,
              (Lines{"3", "2", "1"}));
    EXPECT_EQ(fault("CALL MAIN;"),
              "a.stapl:3: CALL: there are more than 65536 calls, loops and values on the stack");
}

TEST(ControlTest, AnEndlessLoopIsEnded) {
    svf::RecordingPort port;
    HowToPlay how;
    how.reader.limits.max_idle_statements = 1000;
    EXPECT_EQ(played(with_body("a: GOTO a;"), port, how).error,
              "a.stapl:3: GOTO: 1000 statements have run without one that moves the TAP: does this "
              "loop come to its end?");
}

TEST(ControlTest, ExitEndsWithItsCode) {
    const Played result = played_body("PRINT \"before\";\nEXIT 11;\nPRINT \"behind\";");
    EXPECT_EQ(result.printed, (Lines{"before"}));
    EXPECT_EQ(result.code, 11);
    EXPECT_EQ(result.error, "a.stapl:4: EXIT 11: verifying failed");
    EXPECT_EQ(played_body("EXIT 0;").error, "");
    EXPECT_EQ(played_body("INTEGER i = 3; EXIT -i;").error,
              "a.stapl:3: EXIT -3: a code of the file's maker: its documents say what it means");
}

TEST(PrintTest, JoinsTextsNumbersAndCharacters) {
    EXPECT_EQ(
        played_body("BOOLEAN t = 1;\nPRINT \"id \", 12 + 3, CHR$(65), CHR$(200), t, \"; 'x'\";"
                    "\nPRINT;")
            .printed,
        (Lines{"id 15A\x7F"
               "1; 'x'",
               ""}));
}

TEST(LanguageTest, LettersAreTheSameCapitalOrSmallAndCommentsCountNothing) {
    EXPECT_EQ(played_body("integer Count = 3; ' a comment; with \"quotes\n"
                          "pRiNt cOUNT, \" kept As Is ' \"; 'end")
                  .printed,
              (Lines{"3 kept As Is ' "}));
}

TEST(LanguageTest, ValuesOfArraysGoOverLines) {
    EXPECT_EQ(played_body("BOOLEAN a[16] = $DE ' half\n AD\n;\nBOOLEAN b[8] = #1010\n0101;\n"
                          "EXPORT \"A\", a[]; EXPORT \"B\", b[];")
                  .printed,
              (Lines{"A = 16:DEAD", "B = 8:A5"}));
}

TEST(ActionTest, RunsItsProceduresAndThoseThatAreWanted) {
    const std::string text = "ACTION RUN = A, B OPTIONAL, C RECOMMENDED;\n"
                             "PROCEDURE A; PRINT \"a\"; ENDPROC;\n"
                             "PROCEDURE B; PRINT \"b\"; ENDPROC;\n"
                             "PROCEDURE C; INTEGER n = 1; PRINT \"c\", n; ENDPROC;\n";
    const auto with = [&](Choices choices) {
        svf::RecordingPort port;
        const Played result = played(text, port, {std::move(choices), {}});
        return result.error.empty() ? fmt::format("{}", fmt::join(result.printed, " "))
                                    : result.error;
    };
    EXPECT_EQ(with({}), "a c1");
    EXPECT_EQ(with({"run", {"b"}, {"C"}, {}}), "a b");
    EXPECT_EQ(with({"", {}, {}, {"B=1", "c=0"}}), "a b");
    EXPECT_EQ(with({"", {}, {}, {"N=$10"}}), "a c16");
    EXPECT_EQ(with({"", {}, {"a"}, {}}), "a: RUN cannot do without it");
    EXPECT_EQ(with({"", {"D"}, {}, {}}), "D: RUN has no such procedure");
    EXPECT_EQ(with({"", {}, {}, {"X=1"}}),
              "X: a.stapl has no such variable, and RUN no such procedure");
    EXPECT_EQ(with({"", {}, {}, {"N"}}), "N: is not NAME=VALUE with an integer of 32 bits");
    EXPECT_EQ(with({"", {}, {}, {"N=1x"}}), "N=1x: is not NAME=VALUE with an integer of 32 bits");
    EXPECT_EQ(with({"GO", {}, {}, {}}), "GO: a.stapl has no such action");
}

TEST(ActionTest, OneOfSeveralMustBeNamed) {
    svf::RecordingPort port;
    EXPECT_EQ(played("ACTION A = P; ACTION B = P; PROCEDURE P; ENDPROC;", port).error,
              "a.stapl: it has 2 actions");
}

} // namespace
} // namespace talvor::stapl
