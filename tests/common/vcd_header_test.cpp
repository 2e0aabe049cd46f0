#include "common/vcd_header.h"

#include <gtest/gtest.h>

#include <set>
#include <utility>

namespace talvor {
namespace {

TEST(VcdHeaderTest, DeclaresSignalsInModules) {
    VcdHeader header("a program", "1 us");
    header.begin_module("u 1");
    header.wire("!", "PA(3)");
    header.text("\"", "state name");
    header.end_module();
    EXPECT_EQ(std::move(header).finish(), "$version a program $end\n"
                                          "$timescale 1 us $end\n"
                                          "$scope module u_1 $end\n"
                                          "$var wire 1 ! PA(3) $end\n"
                                          "$var string 1 \" state_name $end\n"
                                          "$upscope $end\n"
                                          "$enddefinitions $end\n");
}

TEST(VcdCodeTest, IsShortAndPrintable) {
    EXPECT_EQ(vcd_code(0), "!");
    EXPECT_EQ(vcd_code(93), "~");
    EXPECT_EQ(vcd_code(94), "!!");
    EXPECT_EQ(vcd_code(94 + 94 * 94 - 1), "~~");
    EXPECT_EQ(vcd_code(94 + 94 * 94).size(), 3u);
}

TEST(VcdCodeTest, IsEachSignalsOwn) {
    std::set<std::string> codes;
    for (size_t i = 0; i < 20000; ++i) {
        codes.insert(vcd_code(i));
    }
    EXPECT_EQ(codes.size(), 20000u);
}

} // namespace
} // namespace talvor
