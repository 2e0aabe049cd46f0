#include "host/format/format.h"
#include "host/jtag/null_port.h"

#include <gtest/gtest.h>

#include <string>

namespace talvor {
namespace {

FileFormat of(const std::string& text) {
    play::TextSource source(text, "a");
    const Result<FileFormat> format = format_by_content(source);
    EXPECT_TRUE(format);
    EXPECT_EQ(source.next_chunk().value().size(), text.size()) << "it is at its start again";
    return format.value_or(FileFormat::Svf);
}

TEST(FileFormatTest, IsSeenInTheFirstBytes) {
    for (const char* text : {"SDR 4 TDI (5);", "! made by hand\n", " \r\n\tsir", "//",
                             "\xEF\xBB\xBFSIR", "nonsense", "  \n"}) {
        EXPECT_EQ(of(text), FileFormat::Svf) << text;
    }
    for (const std::string& bytes :
         {std::string{'\x07', '\x00'}, std::string{'\x00'}, std::string{'\x12', '\x00'},
          std::string{'\x16', 'S', 'D', 'R'}, std::string{'\x08', '\0', '\0'}}) {
        EXPECT_EQ(of(bytes), FileFormat::Xsvf);
    }
    for (const char* text : {"NOTE \"A\" \"B\";", "' made by hand\n",
                             "\xEF\xBB\xBF"
                             "Action A = P;",
                             " procedure P;", "data D;", "BOOLEAN B;", "LET A = 1;"}) {
        EXPECT_EQ(of(text), FileFormat::Stapl) << text;
    }
    EXPECT_EQ(of("NOTES"), FileFormat::Svf);
    play::TextSource empty("", "a.svf");
    EXPECT_EQ(headline(format_by_content(empty).error()), "a.svf: is empty");
}

TEST(FileFormatTest, IsSeenInTheName) {
    EXPECT_EQ(format_by_name("a.svf"), FileFormat::Svf);
    EXPECT_EQ(format_by_name("A.SVF"), FileFormat::Svf);
    EXPECT_EQ(format_by_name("dir.svf/b.XSVF"), FileFormat::Xsvf);
    for (const char* other : {"a.svf.gz", "svf", "", "xsvf", "a.jam"}) {
        EXPECT_EQ(format_by_name(other), std::nullopt) << other;
    }
    EXPECT_EQ(name_of(FileFormat::Svf), "SVF");
    EXPECT_EQ(name_of(FileFormat::Xsvf), "XSVF");
}

TEST(FileFormatTest, IsCalledByItsName) {
    EXPECT_EQ(format_called("svf"), FileFormat::Svf);
    EXPECT_EQ(format_called("Xsvf"), FileFormat::Xsvf);
    EXPECT_EQ(format_called("STAPL"), FileFormat::Stapl);
    EXPECT_EQ(format_called("STAPLE"), std::nullopt);
    EXPECT_EQ(format_called(""), std::nullopt);
}

TEST(FileFormatTest, OpensTheReaderOfEach) {
    NullPort port;
    play::TextSource text("SIR 4 TDI (5);", "a");
    play::TextSource bytes(std::string_view("\x02\x04\x05\x00", 4), "b");
    play::Step step;
    const auto svf = open_steps(FileFormat::Svf, text, port, false);
    ASSERT_TRUE(svf->next(step).value());
    EXPECT_EQ(svf->statements()[step.statement], "SIR");
    const auto xsvf = open_steps(FileFormat::Xsvf, bytes, port, false);
    ASSERT_TRUE(xsvf->next(step).value());
    EXPECT_EQ(xsvf->statements()[step.statement], "XSIR");
}

} // namespace
} // namespace talvor
