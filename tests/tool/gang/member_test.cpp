#include "tool/gang/member.h"

#include <gtest/gtest.h>

namespace talvor {
namespace {

std::string devices(const Json& document) {
    return *document.find("devices")->scalar_text() + " devices";
}

Member at_work(uint32_t serial) {
    Member member;
    member.serial = serial;
    member.revision = "3.2";
    member.state = MemberState::Running;
    member.attempts = 1;
    return member;
}

TEST(MemberTest, PassesWithItsDocumentInAFewWords) {
    Member member = at_work(5);
    take_end(member, {0, "ended with status 0", R"({"devices": 3})", 0.5}, devices);
    EXPECT_EQ(member.state, MemberState::Passed);
    EXPECT_EQ(member.what, "3 devices");
    EXPECT_EQ(to_json(member).line(),
              R"({"pod":5,"revision":"3.2","result":"passed","attempts":1,"seconds":0.5,)"
              R"("exit_status":0,"summary":"3 devices","document":{"devices":3}})");
}

TEST(MemberTest, FailsWithItsErrorAndKeepsTheDocumentThatHasMore) {
    Member member = at_work(5);
    take_end(member,
             {1, "ended with status 1",
              R"({"error": {"kind": "pod", "thing": "pod 5", "reason": "it is gone"}})", 0.5},
             devices);
    EXPECT_EQ(member.state, MemberState::Failed);
    EXPECT_TRUE(member.may_do_better());
    EXPECT_EQ(member.what, "it is gone");
    EXPECT_FALSE(member.document);
    take_end(member,
             {1, "",
              R"({"file": "x", "error": {"kind": "target", "thing": "x:3", "reason": "no"}})",
              0.25},
             devices);
    EXPECT_EQ(member.what, "x:3: no");
    EXPECT_TRUE(member.document);
    EXPECT_EQ(member.seconds, 0.75);
}

TEST(MemberTest, ABadFileGetsNoBetter) {
    Member member = at_work(5);
    take_end(member, {2, "ended with status 2", "", 0.5}, devices);
    EXPECT_FALSE(member.may_do_better());
    EXPECT_EQ(member.what, "ended with status 2");
}

TEST(MemberTest, ASignalIsAFailureUnlessItWasAskedFor) {
    Member member = at_work(5);
    take_end(member, {128 + 9, "was ended by signal 9 (Killed)", "", 0.5}, devices);
    EXPECT_EQ(member.state, MemberState::Failed);
    EXPECT_EQ(member.what, "was ended by signal 9 (Killed)");
    take_end(member, {128 + 15, "", "", 0.5, true}, devices);
    EXPECT_EQ(member.state, MemberState::Stopped);
    take_end(member, {124, "", "", 0.5, true}, devices);
    EXPECT_EQ(member.state, MemberState::Stopped);
    // What came to its own end before it heard of it.
    take_end(member, {1, "", "", 0.5, true}, devices);
    EXPECT_EQ(member.state, MemberState::Failed);
    take_end(member, {0, "", R"({"devices": 1})", 0.5, true}, devices);
    EXPECT_EQ(member.state, MemberState::Passed);
}

TEST(MemberTest, IsACaseOfJunit) {
    Member member = at_work(5);
    const auto outcome = [&member] { return junit_case(member, "svf x").outcome; };
    take_end(member, {0, "", "{}", 0.5}, [](const Json&) { return std::string(); });
    EXPECT_EQ(outcome(), JunitCase::Outcome::Passed);
    take_end(member, {1, "", R"({"error": {"kind": "target", "thing": "a", "reason": "b"}})", 0.5},
             devices);
    EXPECT_EQ(outcome(), JunitCase::Outcome::Failed);
    EXPECT_EQ(junit_case(member, "svf x").message, "a: b");
    EXPECT_EQ(junit_case(member, "svf x").name, "pod 5");
    EXPECT_EQ(junit_case(member, "svf x").class_name, "svf x");
    take_end(member, {1, "", R"({"error": {"kind": "pod", "thing": "a", "reason": "b"}})", 0.5},
             devices);
    EXPECT_EQ(outcome(), JunitCase::Outcome::Error);
    member.state = MemberState::Stopped;
    EXPECT_EQ(outcome(), JunitCase::Outcome::Skipped);
}

} // namespace
} // namespace talvor
