// The manual's commands do what the manual says.
#include "support/manual.h"
#include "support/podsim_process.h"

#include <gtest/gtest.h>

namespace test_support {
namespace {

TEST(Manual, every_command_in_a_box_works_and_prints_what_the_page_shows) {
    if (run_program({built_program("talvor-podsim"), "--private", "true"}).status != 0) {
        GTEST_SKIP() << "namespaces are not allowed here";
    }
    run_boxes_of(SOURCE_FOLDER "/docs/podsim.md", 6);
}

} // namespace
} // namespace test_support
