#include "common/file_descriptor.h"
#include "common/simulation_shm.h"
#include "common/system_calls.h"
#include "shm_structs.h"

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <cerrno>
#include <fcntl.h>
#include <sys/file.h>
#include <sys/mman.h>
#include <unistd.h>

namespace talvor {
namespace {

using testing::HasSubstr;

// A system that gives no namespaces: this process stays where it is.
class SimulationShmTest : public testing::Test {
protected:
    void SetUp() override {
        ASSERT_NE(access(SHM_OWNER_LOCK_PATH, F_OK), 0) << "a pod proxy serves this /dev/shm";
        system_calls.unshare = [](int) {
            errno = ENOSPC;
            return -1;
        };
    }
    void TearDown() override {
        system_calls.unshare = ::unshare;
        shm_unlink(SHM_DEVICE_TABLE_NAME);
        unlink(SHM_OWNER_LOCK_PATH);
    }

    static void make_table() {
        const FileDescriptor table(shm_open(SHM_DEVICE_TABLE_NAME, O_RDWR | O_CREAT, 0666));
        ASSERT_TRUE(table.is_open());
    }
    static FileDescriptor make_lock_file() {
        FileDescriptor lock(open(SHM_OWNER_LOCK_PATH, O_RDWR | O_CREAT | O_CLOEXEC, 0666));
        EXPECT_TRUE(lock.is_open() && write_all(lock.get(), std::to_string(getpid()) + "\n"));
        return lock;
    }
};

TEST_F(SimulationShmTest, TheMachinesHasToDoAndTheUserIsTold) {
    const auto note = enter_simulation_shm();
    ASSERT_TRUE(note) << headline(note.error());
    EXPECT_EQ(*note, "no /dev/shm of its own can be had (a mount namespace: No space left on "
                     "device): the simulated pod stands in the machine's, where other programs see "
                     "it");
}

TEST_F(SimulationShmTest, ALivingProxyIsInTheWayAndIsNamed) {
    make_table();
    const FileDescriptor lock = make_lock_file();
    ASSERT_EQ(flock(lock.get(), LOCK_EX | LOCK_NB), 0);
    const auto note = enter_simulation_shm();
    ASSERT_FALSE(note);
    EXPECT_EQ(note.error().kind, ErrorKind::Pod);
    EXPECT_EQ(note.error().thing, "a /dev/shm of its own");
    EXPECT_THAT(note.error().reason,
                HasSubstr("a mount namespace: No space left on device; and a pod proxy serves the "
                          "machine's (process " +
                          std::to_string(getpid()) + ": common_test"));
    EXPECT_THAT(note.error().next_step, HasSubstr("stop it"));
}

TEST_F(SimulationShmTest, ObjectsWithoutALockMayBelongToALivingProxy) {
    make_table();
    const auto note = enter_simulation_shm();
    ASSERT_FALSE(note);
    EXPECT_THAT(note.error().reason, HasSubstr("a pod proxy that keeps no lock"));
}

TEST_F(SimulationShmTest, WhatADeadProxyLeftIsNoHindrance) {
    make_table();
    make_lock_file();
    EXPECT_TRUE(enter_simulation_shm());
}

} // namespace
} // namespace talvor
