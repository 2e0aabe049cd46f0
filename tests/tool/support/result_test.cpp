#include "support/result.h"

#include <gtest/gtest.h>
#include <memory>

namespace talvor {
namespace {

TEST(ResultTest, HoldsAValueOrAnError) {
    const Result<int> value = 7;
    ASSERT_TRUE(value.ok());
    EXPECT_EQ(*value, 7);

    const Result<int> error = Error{ErrorKind::Pod, -140, "pod", "it failed", "try again"};
    ASSERT_FALSE(error.ok());
    EXPECT_EQ(error.error().code, -140);
    EXPECT_EQ(error.error().next_step, "try again");
}

TEST(ResultTest, GivesAwayWhatCannotBeCopied) {
    Result<std::unique_ptr<int>> made = std::make_unique<int>(3);
    const std::unique_ptr<int> taken = std::move(made).value();
    EXPECT_EQ(*taken, 3);
}

TEST(ResultTest, StatusIsDoneUnlessItHoldsAnError) {
    EXPECT_TRUE(Status().ok());
    const Status status = Error{ErrorKind::Usage, 0, "", "no", ""};
    ASSERT_FALSE(status);
    EXPECT_EQ(status.error().reason, "no");
}

TEST(ErrorTest, ExitStatusTellsTheTargetFromTheUser) {
    const auto exit_status = [](ErrorKind kind) {
        return Error{kind, 0, "", "", ""}.exit_status();
    };
    EXPECT_EQ(exit_status(ErrorKind::Usage), 2);
    EXPECT_EQ(exit_status(ErrorKind::BadFile), 2);
    EXPECT_EQ(exit_status(ErrorKind::Refused), 1);
    EXPECT_EQ(exit_status(ErrorKind::Pod), 1);
    EXPECT_EQ(exit_status(ErrorKind::Target), 1);
}

TEST(ErrorTest, HeadlineNamesTheThingWhenThereIsOne) {
    EXPECT_EQ(headline({ErrorKind::Usage, 0, "a", "b", "c"}), "a: b");
    EXPECT_EQ(headline({ErrorKind::Usage, 0, "", "b", "c"}), "b");
}

} // namespace
} // namespace talvor
