// The example program that is made of the tool's pieces.
#include "program.h"

#include <gtest/gtest.h>

namespace talvor::cli {
namespace {

TEST(ListChainTest, ListsTheDevicesOfABoard) {
    const PodsimProcess simulator(five());
    const auto outcome = test_support::run_program(
        {test_support::built_program("list_chain"), source_file("examples/board.toml")});
    EXPECT_EQ(outcome.status, 0) << outcome.errors;
    EXPECT_EQ(outcome.output, "0x2C0DE7E3, 6 instruction bits, gate\n"
                              "0x1A2B3C4D, 4 instruction bits, cpu\n"
                              "no IDCODE, 5 instruction bits, switch\n"
                              "0x3D5A07E3, 8 instruction bits, dsp\n"
                              "0x05707E35, 10 instruction bits, store\n");
}

TEST(ListChainTest, SaysWhatIsWrong) {
    const auto outcome = test_support::run_program({test_support::built_program("list_chain")});
    EXPECT_EQ(outcome.status, 1);
    EXPECT_EQ(outcome.errors, "list_chain: pod proxy: no pod proxy is running on this machine\n");
}

} // namespace
} // namespace talvor::cli
