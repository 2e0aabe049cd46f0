// The manual's commands do what the manual says.
#include "support/manual.h"
#include "support/podsim_process.h"

#include <gtest/gtest.h>

namespace talvor::podsim {
namespace {

using test_support::built_program;
using test_support::run_program;

TEST(ManualTest, EveryCommandInABoxWorksAndPrintsWhatThePageShows) {
    if (run_program({built_program("talvor-podsim"), "--private", "true"}).status != 0) {
        GTEST_SKIP() << "namespaces are not allowed here";
    }
    test_support::run_boxes_of(SOURCE_FOLDER "/docs/podsim.md", 7);
}

} // namespace
} // namespace talvor::podsim
