// In a container that may neither mount nor make namespaces, and in a chroot.
#include "support/podsim_process.h"

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <csignal>
#include <unistd.h>

namespace talvor::podsim {
namespace {

using test_support::built_program;
using test_support::PodsimProcess;
using test_support::ProgramResult;
using test_support::run_program;
using testing::HasSubstr;
using testing::StartsWith;

ProgramResult contained(std::vector<std::string> arguments) {
    arguments.insert(arguments.begin(),
                     {built_program("no_namespaces"), built_program("talvor-podsim")});
    return run_program(arguments);
}

TEST(ContainerTest, APrivateCommandRunsInTheMachinesShmAndNothingIsLeft) {
    const std::string before = run_program({"ls", "/dev/shm"}).output;
    const ProgramResult result =
        contained({"--private", "sh", "-c", "ls /dev/shm; mount /proc /proc 2>/dev/null; exit 7"});
    EXPECT_EQ(result.status, 7) << result.errors;
    EXPECT_THAT(result.output, HasSubstr("talvor_lcl_shm_000001\n"));
    EXPECT_THAT(result.errors, StartsWith("talvor-podsim: no /dev/shm of its own can be had (a "
                                          "mount namespace: Operation not permitted): "));
    EXPECT_EQ(run_program({"ls", "/dev/shm"}).output, before);
}

TEST(ContainerTest, AProxyThatServesIsNamed) {
    const PodsimProcess podsim;
    ASSERT_TRUE(podsim.running());
    const ProgramResult result = contained({"--private", "echo", "never"});
    EXPECT_EQ(result.status, 1);
    EXPECT_EQ(result.output, "");
    EXPECT_THAT(result.errors,
                StartsWith("talvor-podsim: a /dev/shm of its own: a mount namespace: Operation not "
                           "permitted; and a pod proxy serves the machine's (process " +
                           std::to_string(podsim.pid()) + ": "));
    EXPECT_THAT(result.errors, HasSubstr("\n  next: "));
}

// A root folder that is no mount point, with what the simulator needs in it.
constexpr const char* kChroot = R"(set -e
mkdir top
mount -t tmpfs none top
mkdir -p top/root/dev/shm top/root/proc top/root/programs
for folder in bin lib lib64 usr; do
  if [ -L /$folder ]; then cp -P /$folder top/root/; continue; fi
  [ -d /$folder ] || continue
  mkdir top/root/$folder
  mount --bind /$folder top/root/$folder
done
mount --bind "$1" top/root/programs
mount --bind /proc top/root/proc
[ "$2" = plain ] || mount -t tmpfs none top/root/dev/shm
chroot top/root /programs/talvor-podsim --private sh -c 'ls /dev/shm | wc -l'
ls top/root/dev/shm | wc -l
)";

ProgramResult in_a_chroot(const std::string& shm) {
    const TemporaryFolder folder = TemporaryFolder::create().value();
    const std::string programs = built_program("talvor-podsim");
    return run_program({"unshare", "--mount", "sh", "-c", "cd \"$3\"; " + std::string(kChroot),
                        "chroot", programs.substr(0, programs.rfind('/')), shm, folder.path()});
}

TEST(ContainerTest, AChrootWhoseRootIsNoMountPointServes) {
    if (run_program({"unshare", "--mount", "true"}).status != 0) {
        GTEST_SKIP() << "only root may make a chroot for this";
    }
    // A plain folder is all that there is; what was made in it goes again.
    const ProgramResult plain = in_a_chroot("plain");
    EXPECT_EQ(plain.status, 0) << plain.errors;
    EXPECT_EQ(plain.output, "6\n0\n");
    EXPECT_THAT(plain.errors, HasSubstr("no /dev/shm of its own can be had (making the mounts "
                                        "private: Invalid argument): "));
    // A mount point is covered by a private one.
    const ProgramResult mounted = in_a_chroot("mounted");
    EXPECT_EQ(mounted.status, 0) << mounted.errors;
    EXPECT_EQ(mounted.output, "6\n0\n");
    EXPECT_EQ(mounted.errors.find("no /dev/shm of its own"), std::string::npos) << mounted.errors;
}

} // namespace
} // namespace talvor::podsim
