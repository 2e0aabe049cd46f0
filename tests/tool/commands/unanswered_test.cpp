#include "tool/commands/unanswered.h"

#include <gtest/gtest.h>

namespace talvor {
namespace {

TEST(UnansweredTest, SaysThatTheDataWentInAndWhatIsLeft) {
    const Error told = unanswered(target_error("TDO", "reads ones only", "check it").value());
    EXPECT_EQ(told.thing, "TDO");
    EXPECT_EQ(told.reason, "reads ones only; the data were shifted in all the same, the answer is "
                           "not certain");
    EXPECT_EQ(told.next_step, "check it; where the register streams or counts clocks instead of "
                              "shifting, take --fast");
    EXPECT_TRUE(unanswered(target_error("TDO", "x").value()).next_step.starts_with("where the"));
}

TEST(UnansweredTest, LeavesOtherErrorsAlone) {
    const Error pod = pod_error("pod", "is gone", "look").value();
    EXPECT_EQ(unanswered(pod), pod);
}

} // namespace
} // namespace talvor
