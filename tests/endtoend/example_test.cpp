// The example program, as its reader runs it.
#include "description_text.h"
#include "support/podsim_process.h"

#include <gtest/gtest.h>

namespace endtoend {
namespace {

using test_support::built_program;
using test_support::PodsimProcess;

test_support::ProgramResult read_idcode() {
    return test_support::run_program({built_program("read_idcode"), TALVOR_LIBRARY});
}

TEST(ExampleTest, ReadsTheIdcodeOfTheBuiltInPod) {
    PodsimProcess simulator("", {"--strict"});
    for (int run = 0; run < 2; ++run) { // a fresh pod, and one that is ready
        const auto result = read_idcode();
        EXPECT_EQ(result.status, 0);
        EXPECT_EQ(result.output, "1a2b3c4d\n");
        EXPECT_EQ(result.errors, "");
    }
    EXPECT_EQ(simulator.log(), "");
}

TEST(ExampleTest, SaysThatThereIsNoPod) {
    const auto result = read_idcode();
    EXPECT_EQ(result.status, 1);
    EXPECT_EQ(result.output, "");
    EXPECT_EQ(result.errors, "read_idcode: opening the pod failed with code -141\n");
}

TEST(ExampleTest, SaysThatThereIsNoPower) {
    PodsimProcess simulator("", {"--strict"});
    EXPECT_EQ(simulator.ctl("power off"), "ok");
    const auto result = read_idcode();
    EXPECT_EQ(result.status, 1);
    EXPECT_EQ(result.output, "");
    EXPECT_EQ(result.errors, "read_idcode: connecting failed with code -180\n");
}

TEST(ExampleTest, SaysThatThereIsNoLibrary) {
    const auto result =
        test_support::run_program({built_program("read_idcode"), "/nowhere/library.so"});
    EXPECT_EQ(result.status, 1);
    EXPECT_EQ(result.errors.substr(0, 32), "read_idcode: /nowhere/library.so");
}

} // namespace
} // namespace endtoend
