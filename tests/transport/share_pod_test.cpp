// A controller block whose pod was replaced: the handles of the old pod and those of the new one.
#include "share_fixture.h"
#include "support/failing_os.h"
#include "support/leak_guard.h"

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <cerrno>
#include <cstring>

namespace {

using test_support::LeakGuard;
using test_support::RestoredOs;
using transport_test::Block;
using transport_test::name_stands;
using transport_test::Victim;

constexpr PodIdentity kPod{.device = 1, .inode = 100, .serial = 5, .revision = 0x200};
constexpr PodIdentity kFreshPod{.device = 1, .inode = 101, .serial = 5, .revision = 0x200};

bool equal(const PodIdentity& one, const PodIdentity& other) {
    return std::memcmp(&one, &other, sizeof one) == 0;
}

bool is_clear(const JSC_Control& control) {
    const JSC_Control zero{};
    return std::memcmp(&control, &zero, sizeof zero) == 0;
}

// A block of the pod, in use.
class SharePodTest : public testing::Test {
protected:
    SharePodTest() {
        EXPECT_EQ(block.attach_for(kPod), 0);
        EXPECT_TRUE(block.created);
        block.control().registerCache[5] = 0x1234;
        block.control().ctlrSoftUsed = 1;
        block.control().ctlrHardUsed = 1;
    }
    ~SharePodTest() override {
        EXPECT_EQ(block.release(), 0);
        EXPECT_FALSE(name_stands(block));
    }
    LeakGuard leaks;
    Block block;
};

TEST_F(SharePodTest, TheBlockSaysWhosePodItIs) {
    EXPECT_TRUE(equal(block.mark().pod, kPod));
    EXPECT_FALSE(share_is_of_other_pod(block.object(), kPod));
    PodIdentity other = kPod;
    other.device = 2;
    EXPECT_TRUE(share_is_of_other_pod(block.object(), other));
    other = kPod;
    other.inode = 2;
    EXPECT_TRUE(share_is_of_other_pod(block.object(), other));
    other = kPod;
    other.serial = 2;
    EXPECT_TRUE(share_is_of_other_pod(block.object(), other));
    other = kPod;
    other.revision = 2;
    EXPECT_TRUE(share_is_of_other_pod(block.object(), other));
    EXPECT_FALSE(share_is_of_other_pod(block.object(), PodIdentity{}));
}

TEST_F(SharePodTest, HandlesOfThePodShareIt) {
    Block other;
    ASSERT_EQ(other.attach_for(kPod), 0);
    EXPECT_FALSE(other.created);
    EXPECT_EQ(block.count(), 1U);
    EXPECT_EQ(other.control().registerCache[5], 0x1234);
    EXPECT_EQ(other.release(), 0);
    EXPECT_TRUE(name_stands(block));
}

TEST_F(SharePodTest, AHandleThatKnowsNoPodSharesIt) {
    Block other;
    ASSERT_EQ(other.attach(), 0);
    EXPECT_FALSE(other.created);
    EXPECT_TRUE(equal(block.mark().pod, kPod));
    EXPECT_EQ(other.release(), 0);
}

TEST_F(SharePodTest, AHandleOfAFreshPodHasABlockOfItsOwn) {
    Block fresh;
    ASSERT_EQ(fresh.attach_for(kFreshPod), 0);
    EXPECT_TRUE(fresh.created);
    EXPECT_TRUE(is_clear(fresh.control()));
    EXPECT_TRUE(equal(fresh.mark().pod, kFreshPod));
    EXPECT_EQ(fresh.count(), 0U);
    // Nothing is taken from the old handle.
    EXPECT_EQ(block.control().registerCache[5], 0x1234);
    EXPECT_EQ(block.control().ctlrHardUsed, 1U);
    EXPECT_EQ(block.count(), 0U);
    // Those that come later meet under the name.
    Block second;
    ASSERT_EQ(second.attach_for(kFreshPod), 0);
    EXPECT_FALSE(second.created);
    EXPECT_EQ(fresh.count(), 1U);
    EXPECT_EQ(second.release(), 0);
    EXPECT_EQ(fresh.release(), 0);
    EXPECT_FALSE(name_stands(block));
}

TEST_F(SharePodTest, TheOldHandlesLeaveTheNewBlockAlone) {
    Block fresh;
    ASSERT_EQ(fresh.attach_for(kFreshPod), 0);
    EXPECT_EQ(block.release(), 0);
    EXPECT_TRUE(name_stands(fresh));
    EXPECT_EQ(fresh.release(), 0);
    EXPECT_FALSE(name_stands(fresh));
}

// The folder lets only its owner remove a block.
TEST_F(SharePodTest, ABlockThatKeepsItsNameIsClearedInPlace) {
    const RestoredOs restored;
    os_calls.shm_unlink = [](const char*) {
        errno = EPERM;
        return -1;
    };
    Block fresh;
    ASSERT_EQ(fresh.attach_for(kFreshPod), 0);
    os_calls.shm_unlink = ::shm_unlink;
    EXPECT_TRUE(fresh.created);
    EXPECT_TRUE(is_clear(block.control()));
    EXPECT_TRUE(equal(block.mark().pod, kFreshPod));
    EXPECT_EQ(block.count(), 1U);
    EXPECT_EQ(block.mark().users, 2U);
    EXPECT_EQ(fresh.release(), 0);
    EXPECT_TRUE(name_stands(block));
}

TEST_F(SharePodTest, AnUnmarkedBlockIsTakenWhateverItsPod) {
    block.mark().text = 0;
    Block fresh;
    ASSERT_EQ(fresh.attach_for(kFreshPod), 0);
    EXPECT_FALSE(fresh.created);
    EXPECT_EQ(fresh.control().registerCache[5], 0x1234);
    EXPECT_EQ(fresh.release(), 0);
}

TEST(SharePodUnknownTest, TheFirstThatKnowsThePodSaysIt) {
    const LeakGuard leaks;
    Block block;
    ASSERT_EQ(block.attach(), 0);
    Block other;
    ASSERT_EQ(other.attach_for(kPod), 0);
    EXPECT_FALSE(other.created);
    EXPECT_TRUE(equal(block.mark().pod, kPod));
    EXPECT_EQ(other.release(), 0);
    EXPECT_EQ(block.release(), 0);
}

TEST(SharePodUnknownTest, ABlockOfTheDeadBelongsToThePodOfWhoMakesItAnew) {
    const LeakGuard leaks;
    Victim([] {
        static Block own;
        return own.attach_for(kPod) == 0;
    }).die();
    Block block;
    ASSERT_EQ(block.attach_for(kFreshPod), 0);
    EXPECT_TRUE(block.created);
    EXPECT_TRUE(equal(block.mark().pod, kFreshPod));
    EXPECT_EQ(block.release(), 0);
    EXPECT_FALSE(name_stands(block));
}

} // namespace
