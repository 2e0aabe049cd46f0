#include "host/driver/block_error.h"
#include "jsc_internal.h"
#include "jti_typedef.h"
#include "tests/podsim/proxy/small_shm.h"

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <fcntl.h>
#include <filesystem>
#include <fstream>
#include <string>
#include <sys/stat.h>
#include <sys/wait.h>
#include <unistd.h>

namespace talvor {
namespace {

using testing::EndsWith;

constexpr const char* kPath = "/dev/shm/JTI-0123abcd";
constexpr const char* kOther = "/dev/shm/JTI-fedc9876";
constexpr const char* kLabel = " (-164 eJTI_ERROR_SHARED_BLOCK)";
constexpr uintmax_t kWholeBytes = SHARE_CONTROL_SIZE + 4;

// Objects in the /dev/shm of the test, gone with it.
class BlockErrorTest : public testing::Test {
protected:
    ~BlockErrorTest() override {
        std::filesystem::remove(kPath);
        std::filesystem::remove(kOther);
    }
    static void make(const char* path, uintmax_t bytes, mode_t mode = 0666) {
        std::ofstream(path).flush();
        std::filesystem::resize_file(path, bytes);
        ASSERT_EQ(chmod(path, mode), 0);
    }
};

TEST_F(BlockErrorTest, WithoutATraceIsToldAsTheCodeIs) {
    make(kPath, kWholeBytes);
    make(kOther, 0);
    const Error error = block_error("opening the pod").value();
    EXPECT_EQ(headline(error), std::string("opening the pod: the shared controller block could not "
                                           "be named, opened, sized or mapped") +
                                   kLabel);
    EXPECT_EQ(error.code, eJTI_ERROR_SHARED_BLOCK);
}

TEST_F(BlockErrorTest, AWrongSizeIsToldWithTheBlock) {
    make(kPath, kWholeBytes - 1);
    make(kOther, kWholeBytes);
    const Error error = block_error("opening the pod").value();
    EXPECT_EQ(headline(error), std::string("opening the pod: a controller block has a wrong size: "
                                           "/dev/shm/JTI-0123abcd has 1048895 bytes instead of "
                                           "1048896") +
                                   kLabel);
    EXPECT_EQ(error.next_step, "remove /dev/shm/JTI-0123abcd");
    EXPECT_EQ(error.code, eJTI_ERROR_SHARED_BLOCK);
    EXPECT_EQ(error.exit_status(), 1);
    make(kOther, 5);
    EXPECT_EQ(block_error("x").value().next_step,
              "remove /dev/shm/JTI-0123abcd and /dev/shm/JTI-fedc9876");
}

// What another user is told, as a child that becomes one.
TEST_F(BlockErrorTest, ABlockOfAnotherUserIsToldWithOwnerAndMode) {
    if (getuid() != 0) {
        GTEST_SKIP() << "this user may not become another one";
    }
    make(kPath, kWholeBytes, 0644);
    make(kOther, 5); // which is not the reason
    const pid_t child = fork();
    if (child == 0) {
        EXPECT_EQ(setgid(40001), 0);
        EXPECT_EQ(setuid(40001), 0);
        const Error error = block_error("opening the pod").value();
        EXPECT_EQ(headline(error),
                  std::string("opening the pod: the controller block is another user's: "
                              "/dev/shm/JTI-0123abcd belongs to user root (0) and has the mode "
                              "0644") +
                      kLabel);
        EXPECT_EQ(error.next_step, "have its owner or root remove /dev/shm/JTI-0123abcd, or make "
                                   "it 0666 (chmod 666 /dev/shm/JTI-0123abcd)");
        _exit(HasFailure() ? 1 : 0);
    }
    int status = 0;
    ASSERT_EQ(waitpid(child, &status, 0), child);
    EXPECT_EQ(status, 0);
}

TEST_F(BlockErrorTest, AFullShmIsToldWithWhatIsFree) {
    podsim::proxy::with_small_shm(4, [] {
        const std::string rest(4 * 4096, 'x');
        std::ofstream("/dev/shm/filler") << rest;
        const Error error = block_error("opening the pod").value();
        EXPECT_EQ(headline(error), std::string("opening the pod: /dev/shm is full: 4096 bytes are "
                                               "needed, 0 are free") +
                                       kLabel);
        EXPECT_THAT(error.next_step, EndsWith("(mount -o remount,size=64M /dev/shm)"));
    });
}

} // namespace
} // namespace talvor
