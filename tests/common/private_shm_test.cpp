#include "common/private_shm.h"

#include <gtest/gtest.h>

#include <fcntl.h>
#include <sys/mman.h>
#include <sys/wait.h>
#include <unistd.h>

namespace talvor {
namespace {

// Runs in a child that may fail to get a namespace: 2 then, 0 when all held, else the check's line.
int child_checks() {
    if (!enter_private_shm()) {
        return 2;
    }
    if (access("/dev/shm/talvor_outer", F_OK) == 0) {
        return 3;
    }
    const int fd = shm_open("/talvor_inner", O_RDWR | O_CREAT | O_EXCL, 0666);
    return fd >= 0 && access("/dev/shm/talvor_inner", F_OK) == 0 ? 0 : 4;
}

TEST(PrivateShmTest, IsEmptyAndWhatIsMadeInItStaysInIt) {
    const int fd = shm_open("/talvor_outer", O_RDWR | O_CREAT, 0666);
    ASSERT_GE(fd, 0);
    close(fd);
    const uid_t user = getuid();
    const pid_t child = fork();
    if (child == 0) {
        const int result = child_checks();
        _exit(result == 0 && getuid() != user ? 5 : result);
    }
    int status = 0;
    ASSERT_EQ(waitpid(child, &status, 0), child);
    shm_unlink("/talvor_outer");
    ASSERT_TRUE(WIFEXITED(status));
    if (WEXITSTATUS(status) == 2) {
        GTEST_SKIP() << "namespaces are not allowed here";
    }
    EXPECT_EQ(WEXITSTATUS(status), 0);
    EXPECT_NE(access("/dev/shm/talvor_inner", F_OK), 0);
}

} // namespace
} // namespace talvor
