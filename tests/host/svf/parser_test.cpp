#include "host/svf/keyword.h"
#include "host/svf/parser.h"

#include <fmt/format.h>
#include <gtest/gtest.h>

#include <string>
#include <vector>

namespace talvor::svf {
namespace {

std::string value_text(std::string_view name, const HexParameter& parameter) {
    return parameter.given ? fmt::format(" {}={}", name, parameter.value.to_hex()) : "";
}

std::string time_text(const std::optional<std::chrono::nanoseconds>& time) {
    return time ? fmt::format("{}ns", time->count()) : "-";
}

// One statement in a plain form that is easy to compare.
std::string plain(const Statement& statement) {
    const auto state = [](const std::optional<StableState>& value) {
        return value ? std::string(keyword(tap_state(*value))) : "-";
    };
    std::string text = fmt::format("{}:{}", statement.line, name(statement.kind));
    switch (statement.kind) {
    case StatementKind::State:
        for (const TapState on_path : statement.path) {
            text += fmt::format(" {}", keyword(on_path));
        }
        return text;
    case StatementKind::EndDr:
    case StatementKind::EndIr:
        return text + " " + state(statement.end_state);
    case StatementKind::RunTest: {
        const RunTestText& run = statement.run;
        return text + fmt::format(" {} {}{} {} {} {}", state(run.run_state),
                                  run.count ? std::to_string(*run.count) : "-",
                                  run.clock == ClockLine::Sck ? "SCK" : "", time_text(run.min_time),
                                  time_text(run.max_time), state(run.end_state));
    }
    case StatementKind::Frequency:
        return text + (statement.hertz ? fmt::format(" {}", *statement.hertz) : "");
    case StatementKind::Trst:
        return text + fmt::format(" {}", static_cast<int>(statement.trst));
    case StatementKind::Pio:
    case StatementKind::PioMap:
        return text;
    default:
        return text + fmt::format(" {}", statement.scan.length_bits) +
               value_text("TDI", statement.scan.tdi) + value_text("TDO", statement.scan.tdo) +
               value_text("MASK", statement.scan.mask) + value_text("SMASK", statement.scan.smask);
    }
}

// Every statement of `text`, and the error at the end if there is one.
std::vector<std::string> parse(std::string_view text, size_t chunk_bytes = SIZE_MAX,
                               ParserLimits limits = {}) {
    play::TextSource source(text, "t.svf", chunk_bytes);
    Parser parser(source, limits);
    Statement statement;
    std::vector<std::string> all;
    while (true) {
        const Result<bool> more = parser.next(statement);
        if (!more) {
            all.push_back(headline(more.error()));
            EXPECT_EQ(more.error().kind, ErrorKind::BadFile);
            return all;
        }
        if (!*more) {
            return all;
        }
        all.push_back(plain(statement));
    }
}

struct Case {
    const char* name;
    const char* text;
    std::vector<std::string> statements;
};

class ParserTest : public testing::TestWithParam<Case> {};

TEST_P(ParserTest, ReadsWholeAndInPiecesOfEverySmallSize) {
    EXPECT_EQ(parse(GetParam().text), GetParam().statements);
    for (const size_t chunk_bytes : std::initializer_list<size_t>{1, 2, 3, 7, 16, 17}) {
        EXPECT_EQ(parse(GetParam().text, chunk_bytes), GetParam().statements) << chunk_bytes;
    }
}

std::string case_name(const testing::TestParamInfo<Case>& info) {
    return info.param.name;
}

const Case kGood[] = {
    {"Nothing", "", {}},
    {"OnlyComments", "! a\n// b\n\n  ! SDR 8;", {}},
    {"EmptyStatements", ";; ;", {}},
    {"Scan", "SDR 12 TDI (abc);", {"1:SDR 12 TDI=ABC"}},
    {"NoBlanks", "SDR 8TDI(1)", {"t.svf:1: SDR: '8TDI' where the length in bits belongs"}},
    {"TightParentheses", "SIR 8 TDI(1F)TDO(01)MASK(03);", {"1:SIR 8 TDI=1F TDO=01 MASK=03"}},
    {"AnyOrder",
     "SDR 8 SMASK (1) MASK (2) TDO (3) TDI (4);",
     {"1:SDR 8 TDI=04 TDO=03 MASK=02 SMASK=01"}},
    {"AnyCase", "sDr 8 tDi (aB);", {"1:SDR 8 TDI=AB"}},
    {"Continuation",
     "SDR\n 8\n TDI\n (\n A\n B\n )\n ;SIR 1 TDI (1);",
     {"1:SDR 8 TDI=AB", "8:SIR 1 TDI=1"}},
    {"CommentsInsideValues", "SDR 16 TDI (12 ! CD\n 3 // )\n4);", {"1:SDR 16 TDI=1234"}},
    {"CommentBehindEverything", "SDR!\n8//x\nTDI!\n(1)!;\n;", {"1:SDR 8 TDI=01"}},
    {"CarriageReturns",
     "SDR 8 TDI (1\r\n2);\r\nSIR 4 TDI (1);\r\n",
     {"1:SDR 8 TDI=12", "3:SIR 4 TDI=1"}},
    {"HeadersAndTrailers",
     "HDR 1 TDI(1);HIR 2 TDI(2);TDR 3 TDI(3);TIR 0;",
     {"1:HDR 1 TDI=1", "1:HIR 2 TDI=2", "1:TDR 3 TDI=3", "1:TIR 0"}},
    {"ZeroBitsOfZero", "HDR 0 TDI (0) MASK (00);", {"1:HDR 0 TDI= MASK="}},
    {"LengthAsReal", "SDR 1.6E1 TDI (FFFF);", {"1:SDR 16 TDI=FFFF"}},
    {"NothingGiven", "SDR 8;", {"1:SDR 8"}},
    {"ShortValue", "SDR 64 TDI (1);", {"1:SDR 64 TDI=0000000000000001"}},
    {"LeadingZeros", "SDR 3 TDI (0000000000000000000007);", {"1:SDR 3 TDI=7"}},
    {"State", "STATE IDLE; STATE RESET;", {"1:STATE IDLE", "1:STATE RESET"}},
    {"StatePath",
     "STATE DRSELECT IRSELECT IRCAPTURE IREXIT1 IRPAUSE;",
     {"1:STATE DRSELECT IRSELECT IRCAPTURE IREXIT1 IRPAUSE"}},
    {"EveryState",
     "STATE DRCAPTURE DRSHIFT DREXIT1 DREXIT2 DRUPDATE IRSHIFT IREXIT2 IRUPDATE "
     "DRPAUSE;",
     {"1:STATE DRCAPTURE DRSHIFT DREXIT1 DREXIT2 DRUPDATE IRSHIFT IREXIT2 IRUPDATE DRPAUSE"}},
    {"EndStates",
     "ENDIR IRPAUSE; ENDDR DRPAUSE; ENDIR RESET; ENDDR IDLE;",
     {"1:ENDIR IRPAUSE", "1:ENDDR DRPAUSE", "1:ENDIR RESET", "1:ENDDR IDLE"}},
    {"RunCount", "RUNTEST 100 TCK;", {"1:RUNTEST - 100 - - -"}},
    {"RunSystemClock", "RUNTEST 7 SCK;", {"1:RUNTEST - 7SCK - - -"}},
    {"RunEverything",
     "RUNTEST DRPAUSE 1E3 TCK 1.00E-02 SEC MAXIMUM 2 SEC ENDSTATE IDLE;",
     {"1:RUNTEST DRPAUSE 1000 10000000ns 2000000000ns IDLE"}},
    {"RunTime", "RUNTEST 0.5 SEC;", {"1:RUNTEST - - 500000000ns - -"}},
    {"RunTimeMaximum",
     "RUNTEST IDLE 1 SEC MAXIMUM 1 SEC;",
     {"1:RUNTEST IDLE - 1000000000ns 1000000000ns -"}},
    {"RunEndState", "RUNTEST 1 TCK ENDSTATE IRPAUSE;", {"1:RUNTEST - 1 - - IRPAUSE"}},
    {"Frequency", "FREQUENCY 1.0E6 HZ; FREQUENCY;", {"1:FREQUENCY 1000000", "1:FREQUENCY"}},
    {"Trst",
     "TRST ON; TRST OFF; TRST Z; TRST ABSENT;",
     {"1:TRST 0", "1:TRST 1", "1:TRST 2", "1:TRST 3"}},
    {"ParallelVectorsAreReadOver",
     "PIOMAP (IN a[3] OUT b$ INOUT c);\nPIO (HLU\n!;\nDX); SDR 1;",
     {"1:PIOMAP", "2:PIO", "4:SDR 1"}},
};
INSTANTIATE_TEST_SUITE_P(Good, ParserTest, testing::ValuesIn(kGood), case_name);

const Case kBad[] = {
    {"UnknownStatement", "\n\nFOO 8;", {"t.svf:3: 'FOO' is no SVF statement"}},
    {"NoStatement", "( );", {"t.svf:1: '(' is no SVF statement"}},
    {"MissingSemicolon",
     "SDR 8 TDI (1)\nSIR 8 TDI (1);",
     {"t.svf:2: SDR: 'SIR' where TDI, TDO, MASK, SMASK or ';' belongs"}},
    {"EndsEarly",
     "SIR 1;\nSDR 8 TDI (1)\n\n",
     {"1:SIR 1", "t.svf:2: SDR: the statement does not end with ';'"}},
    {"EndsInValue", "\nSDR 8 TDI (1\n2", {"t.svf:2: the file ends inside the value of SDR TDI"}},
    {"EndsInParallelVector", "PIO (H", {"t.svf:1: the statement does not end with ';'"}},
    {"NoLength", "SDR TDI (1);", {"t.svf:1: SDR: 'TDI' where the length in bits belongs"}},
    {"LengthOfFraction", "SDR 1.5;", {"t.svf:1: SDR: '1.5' where the length in bits belongs"}},
    {"NegativeLength", "SDR -1;", {"t.svf:1: SDR: '-1' where the length in bits belongs"}},
    {"UnknownParameter",
     "SDR 8 TDQ (1);",
     {"t.svf:1: SDR: 'TDQ' where TDI, TDO, MASK, SMASK or ';' belongs"}},
    {"TwiceTheSame", "SDR 8 TDI (1)\n TDI (1);", {"t.svf:2: SDR: TDI stands twice"}},
    {"NoParenthesis", "SDR 8 TDI 1;", {"t.svf:1: SDR: '1' where the '(' of TDI belongs"}},
    {"NoClosingParenthesis",
     "SDR 8 TDI (1;",
     {"t.svf:1: the value of SDR TDI has no closing parenthesis"}},
    {"ParenthesisInValue", "SDR 8 TDI ((1));", {"t.svf:1: '(' means nothing here"}},
    {"EmptyValue", "SDR 8 TDI ( );", {"t.svf:1: the value of SDR TDI has no digit"}},
    {"NoHexDigit",
     "SDR 8\nMASK\n(1\nx);",
     {"t.svf:4: 'x' is no hexadecimal digit, in the value of SDR MASK"}},
    {"TooWide", "SIR 5\n TDO (3F);", {"t.svf:2: the value of SIR TDO is wider than its 5 bits"}},
    {"ZeroBitsOfOne", "HDR 0 TDI (1);", {"t.svf:1: the value of HDR TDI is wider than its 0 bits"}},
    {"SingleSlash", "SDR 8 / TDI (1);", {"t.svf:1: '/' means nothing here"}},
    {"SlashInValue", "SDR 8 TDI (1/);", {"t.svf:1: '/' means nothing here"}},
    {"BinaryFile",
     "\x7F"
     "ELF",
     {"t.svf:1: a byte of 0x7F means nothing here"}},
    {"LongWord",
     "SDRRRRRRRRRRRRRRRRRRRRRRRRRRRRRRRRRRRRRRRRRRRRRRRRRRRRRRRRRRRRRRRRRRRRRRRRRRRR;",
     {"t.svf:1: a word longer than 64 characters"}},
    {"UnstableState",
     "STATE IDLE\nDRSELECT;",
     {"t.svf:2: STATE: DRSELECT is not stable: a path ends in one of RESET, IDLE, DRPAUSE, "
      "IRPAUSE"}},
    {"ShiftIsUnstable",
     "STATE DRSHIFT;",
     {"t.svf:1: STATE: DRSHIFT is not stable: a path ends in one of RESET, IDLE, DRPAUSE, "
      "IRPAUSE"}},
    {"NoState", "STATE;", {"t.svf:1: STATE: there is no state"}},
    {"UnknownState", "STATE PAUSE;", {"t.svf:1: STATE: 'PAUSE' where a state or ';' belongs"}},
    {"UnstableEnd",
     "ENDDR DRSHIFT;",
     {"t.svf:1: ENDDR: 'DRSHIFT' where one of RESET, IDLE, DRPAUSE, IRPAUSE belongs"}},
    {"NoEnd", "ENDIR;", {"t.svf:1: ENDIR: ';' where one of RESET, IDLE, DRPAUSE, IRPAUSE belongs"}},
    {"TwoEnds", "ENDIR IDLE IDLE;", {"t.svf:1: ENDIR: 'IDLE' where ';' belongs"}},
    {"RunNothing", "RUNTEST;", {"t.svf:1: RUNTEST: ';' where a count of clocks or a time belongs"}},
    {"RunOnlyState",
     "RUNTEST IDLE ENDSTATE IDLE;",
     {"t.svf:1: RUNTEST: 'ENDSTATE' where a count of clocks or a time belongs"}},
    {"RunUnstable",
     "RUNTEST DRSHIFT 1 TCK;",
     {"t.svf:1: RUNTEST: 'DRSHIFT' where one of RESET, IDLE, DRPAUSE, IRPAUSE belongs"}},
    {"RunNoUnit", "RUNTEST 5;", {"t.svf:1: RUNTEST: ';' where TCK, SCK or SEC belongs"}},
    {"RunFraction", "RUNTEST 1.5 TCK;", {"t.svf:1: RUNTEST: 1.5 is no count of clocks"}},
    {"RunNegative", "RUNTEST -1 SEC;", {"t.svf:1: RUNTEST: -1 seconds are no time to wait"}},
    {"RunTimeNoUnit", "RUNTEST 1 TCK 1;", {"t.svf:1: RUNTEST: ';' where SEC belongs"}},
    {"RunMaximumBelowMinimum",
     "RUNTEST 2 SEC\nMAXIMUM 1.9 SEC;",
     {"t.svf:2: RUNTEST: the maximum time is below the minimum"}},
    {"RunMaximumWithoutMinimum",
     "RUNTEST 2 TCK MAXIMUM 1 SEC;",
     {"t.svf:1: RUNTEST: 'MAXIMUM' where ';' belongs"}},
    {"RunTwoTimes", "RUNTEST 2 SEC 3 SEC;", {"t.svf:1: RUNTEST: '3' where ';' belongs"}},
    {"RunUnstableEnd",
     "RUNTEST 2 SEC ENDSTATE DREXIT1;",
     {"t.svf:1: RUNTEST: 'DREXIT1' where one of RESET, IDLE, DRPAUSE, IRPAUSE belongs"}},
    {"FrequencyOfZero", "FREQUENCY 0 HZ;", {"t.svf:1: FREQUENCY: the frequency is not above 0"}},
    {"FrequencyNoUnit", "FREQUENCY 5;", {"t.svf:1: FREQUENCY: ';' where HZ belongs"}},
    {"FrequencyNoNumber",
     "FREQUENCY HZ;",
     {"t.svf:1: FREQUENCY: 'HZ' where a frequency or ';' belongs"}},
    {"TrstOther", "TRST HIGH;", {"t.svf:1: TRST: 'HIGH' where ON, OFF, Z or ABSENT belongs"}},
    {"TrstNothing", "TRST;", {"t.svf:1: TRST: ';' where ON, OFF, Z or ABSENT belongs"}},
};
INSTANTIATE_TEST_SUITE_P(Bad, ParserTest, testing::ValuesIn(kBad), case_name);

TEST(ParserLimitTest, RefusesAScanAboveTheLimitAndTakesOneAtIt) {
    const ParserLimits limits{64};
    EXPECT_EQ(parse("SDR 64;", SIZE_MAX, limits), std::vector<std::string>{"1:SDR 64"});
    EXPECT_EQ(parse("SDR 65;", SIZE_MAX, limits),
              std::vector<std::string>{
                  "t.svf:1: SDR: 65 bits are more than the 64 that this player takes"});
}

TEST(ParserLimitTest, BoundsAPath) {
    std::string text = "STATE";
    for (int i = 0; i < 65536; ++i) {
        text += " IDLE";
    }
    EXPECT_EQ(parse(text + ";").front().substr(0, 12), "1:STATE IDLE");
    EXPECT_EQ(parse(text + " IDLE;"),
              std::vector<std::string>{"t.svf:1: STATE: a path of more than 65536 states"});
}

TEST(ParserPositionTest, CountsBytesAndLines) {
    const std::string_view text = "SDR 8;\n! c\nSIR 8;\n";
    play::TextSource source(text, "t.svf", 4);
    Parser parser(source);
    Statement statement;
    ASSERT_TRUE(*parser.next(statement));
    EXPECT_EQ(parser.bytes_taken(), 6U);
    ASSERT_TRUE(*parser.next(statement));
    EXPECT_EQ(parser.bytes_taken(), 17U);
    ASSERT_FALSE(*parser.next(statement));
    EXPECT_EQ(parser.bytes_taken(), text.size());
    EXPECT_EQ(parser.line(), 4U);
}

TEST(ParserPositionTest, AHookStopsTheReadingBetweenChunks) {
    play::TextSource source("SDR 8;\nSIR 8;\n", "t.svf", 7);
    Parser parser(source);
    parser.on_chunk([] { return false; });
    Statement statement;
    EXPECT_TRUE(*parser.next(statement));
    const Result<bool> more = parser.next(statement);
    ASSERT_FALSE(more);
    EXPECT_EQ(headline(more.error()), "t.svf: stopped on request");
}

// Wherever a chunk ends: in a word, a number, a value, a comment or between them.
TEST(ParserPositionTest, WhoeverStopsTheReadingIsNotToldOfHalfAStatement) {
    const std::string_view text = "SDR 16 TDI (12aB);// c\n! d\nRUNTEST IDLE 10 TCK;\n";
    for (size_t stop = 1; stop < text.size(); ++stop) {
        SCOPED_TRACE(stop);
        play::TextSource source(text, "t.svf", stop);
        Parser parser(source);
        parser.on_chunk([] { return false; });
        Statement statement;
        Result<bool> more = parser.next(statement);
        while (more && *more) {
            more = parser.next(statement);
        }
        ASSERT_FALSE(more);
        EXPECT_EQ(headline(more.error()), "t.svf: stopped on request");
    }
}

} // namespace
} // namespace talvor::svf
