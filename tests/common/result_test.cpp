#include "common/result.h"

#include <gtest/gtest.h>

#include <cerrno>
#include <memory>

namespace talvor {
namespace {

Result<int> number(bool good) {
    if (!good) {
        return pod_error("pod", "it failed", "try again");
    }
    return 7;
}

TEST(ResultTest, HoldsAValueOrAnError) {
    const Result<int> value = number(true);
    ASSERT_TRUE(value);
    EXPECT_EQ(*value, 7);
    const Result<int> error = number(false);
    ASSERT_FALSE(error);
    EXPECT_EQ(error.error(), (Error{ErrorKind::Pod, 0, "pod", "it failed", "try again"}));
}

TEST(ResultTest, StatusIsDoneUnlessItHoldsAnError) {
    EXPECT_TRUE(Status());
    const Status status = usage_error("", "no");
    ASSERT_FALSE(status);
    EXPECT_EQ(status.error().reason, "no");
}

TEST(ResultTest, EveryMakerNamesItsKind) {
    EXPECT_EQ(usage_error("a", "b", "c").value(), (Error{ErrorKind::Usage, 0, "a", "b", "c"}));
    EXPECT_EQ(file_error("a", "b", "c").value(), (Error{ErrorKind::BadFile, 0, "a", "b", "c"}));
    EXPECT_EQ(refused_error("a", "b", "c").value(), (Error{ErrorKind::Refused, 0, "a", "b", "c"}));
    EXPECT_EQ(pod_error("a", "b", "c").value(), (Error{ErrorKind::Pod, 0, "a", "b", "c"}));
    EXPECT_EQ(target_error("a", "b", "c").value(), (Error{ErrorKind::Target, 0, "a", "b", "c"}));
    EXPECT_EQ(failure("b").value(), (Error{ErrorKind::Pod, 0, "", "b", ""}));
}

TEST(ResultTest, ASystemFailureSaysWhatAndWhy) {
    errno = ENOENT;
    EXPECT_EQ(system_failure("opening x").value(),
              (Error{ErrorKind::Pod, 0, "opening x", "No such file or directory", ""}));
    EXPECT_EQ(errno, ENOENT);
}

TEST(ResultTest, ASystemFailureSaysWhatToDoWhereTheReasonDoesNot) {
    errno = EMFILE;
    EXPECT_EQ(system_failure("opening x").value().next_step,
              "raise the limit of open files (ulimit -n)");
    EXPECT_EQ(system_failure("opening x", "ask Ann").value().next_step, "ask Ann");
    for (const int error :
         {ENOSPC, EDQUOT, ENFILE, ENOMEM, ENOBUFS, EAGAIN, EACCES, EPERM, EROFS, EIO}) {
        errno = error;
        EXPECT_FALSE(system_failure("opening x").value().next_step.empty()) << error;
    }
}

Result<std::string> tried(bool good) {
    return "it is " + std::to_string(TRY(number(good)) + TRY(number(true)));
}

TEST(TryTest, GivesTheValue) {
    EXPECT_EQ(tried(true).value(), "it is 14");
}

TEST(TryTest, HandsTheErrorUpUnchanged) {
    EXPECT_EQ(tried(false).error(), number(false).error());
}

TEST(TryTest, LeavesBehindWhatFollowsAFailedStatus) {
    int steps = 0;
    const auto run = [&steps](bool good) -> Status {
        ++steps;
        TRY(good ? Status() : Status(failure("no")));
        ++steps;
        return {};
    };
    EXPECT_TRUE(run(true));
    EXPECT_EQ(steps, 2);
    EXPECT_FALSE(run(false));
    EXPECT_EQ(steps, 3);
}

TEST(TryTest, GivesAwayWhatCannotBeCopied) {
    const auto take = []() -> Result<int> {
        Result<std::unique_ptr<int>> made = std::make_unique<int>(3);
        const std::unique_ptr<int> taken = TRY(std::move(made));
        return *taken;
    };
    EXPECT_EQ(*take(), 3);
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

TEST(ErrorTest, HeadlineNamesTheThingWhereThereIsOne) {
    EXPECT_EQ(headline({ErrorKind::Pod, 0, "pod 5", "is gone", ""}), "pod 5: is gone");
    EXPECT_EQ(headline({ErrorKind::Pod, 0, "", "is gone", ""}), "is gone");
}

} // namespace
} // namespace talvor
