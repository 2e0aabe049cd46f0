// Functions of the driver's names that are found before its own do not get its calls.
#include "support/podsim_process.h"

#include <gtest/gtest.h>

namespace endtoend {
namespace {

using test_support::built_program;
using test_support::PodsimProcess;
using test_support::ProgramResult;
using test_support::run_program;

void expect_idcode(const ProgramResult& result) {
    EXPECT_EQ(result.status, 0);
    EXPECT_EQ(result.output, "1a2b3c4d\n");
    EXPECT_EQ(result.errors, "");
}

TEST(InterpositionTest, APreloadedLibraryDoesNotGetTheDriversCalls) {
    if (TALVOR_SANITIZED) {
        GTEST_SKIP() << "the sanitizers want to be loaded first";
    }
    PodsimProcess simulator("", {"--strict"});
    expect_idcode(run_program({"env", std::string("LD_PRELOAD=") + TALVOR_INTERPOSER,
                               built_program("read_idcode"), TALVOR_LIBRARY}));
}

TEST(InterpositionTest, AHostThatShowsItsNamesDoesNotGetTheDriversCalls) {
    PodsimProcess simulator("", {"--strict"});
    expect_idcode(run_program({built_program("interposing_host"), TALVOR_LIBRARY}));
}

} // namespace
} // namespace endtoend
