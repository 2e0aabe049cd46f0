// Files whose statements are written alike, which are read by their form, and the same files in
// chunks of one byte, where no form can be learnt.
#include "host/play/source.h"
#include "host/svf/parser.h"
#include "host/svf/written_form.h"

#include <fmt/format.h>
#include <gtest/gtest.h>

#include <random>
#include <string>
#include <vector>

namespace talvor::svf {
namespace {

std::string value_text(const HexParameter& parameter) {
    return parameter.given ? fmt::format(" {}:{}", parameter.value.size(), parameter.value.to_hex())
                           : " -";
}

std::string count_text_of(const RunTestText& run) {
    return fmt::format(" {} {} {}", run.count ? std::to_string(*run.count) : "-",
                       run.min_time ? run.min_time->count() : -1,
                       run.end_state ? static_cast<int>(*run.end_state) : -1);
}

std::string plain(const Statement& statement, const Parser& parser) {
    std::string text = fmt::format("{}-{} {}", statement.line, parser.line(), name(statement.kind));
    if (statement.kind == StatementKind::RunTest) {
        return text + count_text_of(statement.run);
    }
    const ScanText& scan = statement.scan;
    return text + fmt::format(" {}", scan.length_bits) + value_text(scan.tdi) +
           value_text(scan.tdo) + value_text(scan.mask) + value_text(scan.smask);
}

std::vector<std::string> read(const std::string& text, size_t chunk_bytes) {
    play::TextSource source(text, "t.svf", chunk_bytes);
    Parser parser(source);
    Statement statement;
    std::vector<std::string> lines;
    while (true) {
        const Result<bool> more = parser.next(statement);
        if (!more) {
            lines.push_back(headline(more.error()));
            return lines;
        }
        if (!*more) {
            return lines;
        }
        lines.push_back(plain(statement, parser));
    }
}

// The same whether forms help or not.
void expect_no_difference(const std::string& text) {
    const std::vector<std::string> bare = read(text, 1);
    EXPECT_EQ(read(text, SIZE_MAX), bare) << text;
    EXPECT_EQ(read(text, 97), bare) << text;
}

std::string digits(std::mt19937& random, size_t count) {
    std::string text;
    for (size_t i = 0; i < count; ++i) {
        text += "0123456789abcdefABCDEF"[random() % 22];
    }
    return text;
}

TEST(WrittenFormTest, OfAScanGivesTheNextOneItsDigits) {
    Statement learnt;
    learnt.kind = StatementKind::Sdr;
    learnt.scan.length_bits = 10;
    const std::string text = "\nSDR 10 TDI (2A5) TDO(001);";
    const std::vector<WrittenValue> values{{13, 16, &ScanText::tdi}, {22, 25, &ScanText::tdo}};
    WrittenForm form;
    ASSERT_TRUE(form.learn({text, &values, 3, 1}, learnt));
    EXPECT_EQ(form.newlines(), 3U);
    EXPECT_EQ(form.newlines_before(), 1U);

    Statement read;
    read.scan.mask.given = true;
    EXPECT_EQ(form.read("\nSDR 10 TDI (155) TDO(3fF);\nSIR", read), text.size());
    EXPECT_EQ(read.kind, StatementKind::Sdr);
    EXPECT_EQ(read.scan.length_bits, 10U);
    EXPECT_TRUE(read.scan.tdi.given && read.scan.tdo.given);
    EXPECT_FALSE(read.scan.mask.given || read.scan.smask.given);
    EXPECT_EQ(read.scan.tdi.value.to_hex(), "155");
    EXPECT_EQ(read.scan.tdo.value.to_hex(), "3FF");
}

TEST(WrittenFormTest, KnowsNothingElse) {
    Statement learnt;
    learnt.kind = StatementKind::Sdr;
    learnt.scan.length_bits = 10;
    WrittenForm form;
    Statement read;
    EXPECT_EQ(form.read(" 10 TDI (2A5);", read), 0U) << "an empty form";
    const std::vector<WrittenValue> values{{9, 12, &ScanText::tdi}};
    ASSERT_TRUE(form.learn({" 10 TDI (2A5);", &values, 0, 0}, learnt));
    for (const char* other :
         {" 11 TDI (2A5);", " 10 TDO (2A5);", " 10 TDI (2A5) ;", " 10 TDI (2A5)", " 10 TDI (2A5",
          " 10 TDI (02A5);", " 10 TDI (2A);", " 10 TDI (2 A5);", " 10 TDI (2X5);", " 10 TDI (7FF);",
          " 10 TDI (", " 10 TDI", ""}) {
        EXPECT_EQ(form.read(other, read), 0U) << other;
    }
    EXPECT_EQ(form.read(" 10 TDI (3FF);", read), 14U);
}

TEST(WrittenFormTest, EachCharacterCountsHoweverLongThePieceIsAndWhereverTheTextEnds) {
    Statement learnt;
    learnt.kind = StatementKind::Sdr;
    learnt.scan.length_bits = 4;
    const std::vector<WrittenValue> none;
    for (size_t length = 1; length <= 40; ++length) {
        std::string text;
        for (size_t i = 0; i < length; ++i) {
            text += static_cast<char>('a' + i % 26);
        }
        WrittenForm form;
        Statement read;
        ASSERT_TRUE(form.learn({text, &none, 0, 0}, learnt));
        for (const size_t behind : {0, 1, 15, 16, 40}) {
            const std::string there = text + std::string(behind, '.');
            EXPECT_EQ(form.read(there, read), length) << length << " and " << behind;
            for (size_t i = 0; i < length; ++i) {
                std::string other = there;
                other[i] = '.';
                EXPECT_EQ(form.read(other, read), 0U) << length << " at " << i;
            }
        }
        EXPECT_EQ(form.read(text.substr(1), read), 0U);
        EXPECT_EQ(form.read(text.substr(0, length - 1), read), 0U);
    }
}

TEST(WrittenFormTest, IsNotLearntFromValuesInPieces) {
    Statement learnt;
    learnt.kind = StatementKind::Sdr;
    learnt.scan.length_bits = 10;
    WrittenForm form;
    Statement read;
    const std::vector<WrittenValue> whole{{9, 12, &ScanText::tdi}};
    ASSERT_TRUE(form.learn({" 10 TDI (2A5);", &whole, 0, 0}, learnt));
    const std::vector<WrittenValue> pieces{{9, 13, &ScanText::tdi}};
    EXPECT_FALSE(form.learn({" 10 TDI (2 A5);", &pieces, 0, 0}, learnt));
    EXPECT_EQ(form.read(" 10 TDI (2A5);", read), 0U) << "it is empty now";
    const std::string much(WrittenForm::kMaxText, ' ');
    const std::string more = much + ";";
    const std::vector<WrittenValue> none;
    EXPECT_FALSE(form.learn({more, &none, 0, 0}, learnt));
    EXPECT_TRUE(form.learn({std::string_view(more).substr(1), &none, 0, 0}, learnt));
}

TEST(WrittenFormTest, RunsAreRememberedWhole) {
    const std::string run = "RUNTEST 100 TCK 1E-3 SEC\n ENDSTATE IRPAUSE;\n";
    expect_no_difference(run + run + "RUNTEST 5 TCK;" + run + "runtest 5 TCK;RUNTEST IDLE 7 TCK;");
    EXPECT_EQ(read(run + run, SIZE_MAX)[1], "3-4 RUNTEST 100 1000000 3");
}

TEST(WrittenFormTest, AMistakeIsFoundWhereItIs) {
    const std::string scan = "SDR 12 TDI (A5C)\n TDO (FFF) ! (1)\n;\n";
    for (const char* bad : {"SDR 12 TDI (A5C)\n TDO (FXF) ! (1)\n;\n", "SDR 12 TDI (A5C)\n TDO",
                            "SDR 12 TDI (A5C)\n TDO (FFF) ! (1)\n TDI (1);",
                            "SDR 12 TDI (A5C)\n TDO (1FFF) ! (1)\n;\n", "SDR 12 TDI (A5C",
                            "SDR 12 TDI (A5C)\n TDO (FFF) ! (1)\n"}) {
        expect_no_difference(scan + scan + bad);
        EXPECT_EQ(read(scan + scan + bad, SIZE_MAX).size(), 3U) << bad;
    }
}

// More ways to write than are remembered, in any order.
TEST(WrittenFormTest, GeneratedFilesReadTheSameWithoutForms) {
    for (uint32_t seed = 1; seed <= 60; ++seed) {
        SCOPED_TRACE(seed);
        std::mt19937 random(seed);
        std::string text;
        for (int i = 0; i < 200; ++i) {
            const size_t length = std::vector<size_t>{1, 7, 8, 32, 64, 67}[random() % 6];
            const size_t wide = (length + 3) / 4;
            const std::string low = "0" + digits(random, wide - 1);
            switch (random() % 6) {
            case 0:
                text += fmt::format("SDR {} TDI ({});\n", length, low);
                break;
            case 1:
                text +=
                    fmt::format("SDR {} TDI ({})\n TDO ({})\n MASK ({});\n", length, low, low, low);
                break;
            case 2:
                text += fmt::format("sir {} tdi({}){};", length, low, random() % 2 ? "" : " ! x\n");
                break;
            case 3:
                text += fmt::format("RUNTEST {} TCK;\n", random() % 3);
                break;
            case 4:
                text += fmt::format("SDR {} SMASK ( {} ) TDI({});\n", length, low, low);
                break;
            default:
                text += fmt::format("HDR {} TDI ({});\n", length, low);
                break;
            }
        }
        expect_no_difference(text);
    }
}

} // namespace
} // namespace talvor::svf
