#include "common/private_shm.h"
#include "common/system_calls.h"

#include <gtest/gtest.h>

#include <cerrno>
#include <fcntl.h>
#include <filesystem>
#include <functional>
#include <sched.h>
#include <string_view>
#include <sys/mman.h>
#include <sys/mount.h>
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

// What a child's checks end with.
constexpr int kHeld = 0;
constexpr int kNotAllowed = 2;

// The status of a child that enters in the way that `prepare` makes it, then runs `check`.
int in_a_child(const std::function<void()>& prepare,
               const std::function<int(const Status&)>& check) {
    const pid_t child = fork();
    if (child == 0) {
        prepare();
        _exit(check(enter_private_shm()));
    }
    int status = 0;
    EXPECT_EQ(waitpid(child, &status, 0), child);
    EXPECT_TRUE(WIFEXITED(status));
    return WEXITSTATUS(status);
}

// As for a user who may not make a mount namespace alone.
int unshare_as_ordinary_user(int flags) {
    if (flags == CLONE_NEWNS) {
        errno = EPERM;
        return -1;
    }
    return unshare(flags);
}

std::string user_namespace() {
    return std::filesystem::read_symlink("/proc/self/ns/user");
}

TEST(PrivateShmTest, AnOrdinaryUserKeepsItsIds) {
    const uid_t user = getuid();
    const gid_t group = getgid();
    const int status =
        in_a_child([] { system_calls.unshare = unshare_as_ordinary_user; },
                   [=](const Status& entered) {
                       if (!entered) {
                           return kNotAllowed;
                       }
                       const bool same = getuid() == user && getgid() == group;
                       return same && std::filesystem::is_empty("/dev/shm") ? kHeld : 1;
                   });
    if (status == kNotAllowed) {
        GTEST_SKIP() << "user namespaces are not allowed here";
    }
    EXPECT_EQ(status, kHeld);
}

// A system that gives a user namespace and then refuses to map the user in it.
TEST(PrivateShmTest, HalfAUserNamespaceIsNotEntered) {
    const std::string before = user_namespace();
    const uid_t user = getuid();
    const int status = in_a_child(
        [] {
            system_calls.unshare = unshare_as_ordinary_user;
            system_calls.open = [](const char* path, int flags, mode_t mode) {
                if (std::string_view(path) == "/proc/self/uid_map") {
                    errno = EPERM;
                    return -1;
                }
                return open(path, flags, mode);
            };
        },
        [=](const Status& entered) {
            if (entered || user_namespace() != before || getuid() != user) {
                return 1;
            }
            const std::string reason = headline(entered.error());
            if (reason == "a mount namespace: Operation not permitted") {
                return kNotAllowed;
            }
            return reason == "/proc/self/uid_map: Operation not permitted" ? kHeld : 3;
        });
    if (status == kNotAllowed) {
        GTEST_SKIP() << "user namespaces are not allowed here";
    }
    EXPECT_EQ(status, kHeld);
}

// In a chroot the root may be no mount point.
int mount_as_in_a_chroot(const char* source, const char* target, const char* type,
                         unsigned long flags, const void* data) {
    if (std::string_view(target) == "/") {
        errno = EINVAL;
        return -1;
    }
    return mount(source, target, type, flags, data);
}

TEST(PrivateShmTest, AShmThatIsAMountPointIsEnoughInAChroot) {
    const int status =
        in_a_child([] { system_calls.mount = mount_as_in_a_chroot; },
                   [](const Status& entered) {
                       if (!entered) {
                           return headline(entered.error()).starts_with("a mount namespace: ")
                                      ? kNotAllowed
                                      : 1;
                       }
                       return std::filesystem::is_empty("/dev/shm") ? kHeld : 3;
                   });
    if (status == kNotAllowed) {
        GTEST_SKIP() << "namespaces are not allowed here";
    }
    EXPECT_EQ(status, kHeld);
}

} // namespace
} // namespace talvor
