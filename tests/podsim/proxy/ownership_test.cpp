#include "echo.h"
#include "host.h"
#include "podsim/proxy/ownership.h"

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <csignal>
#include <fcntl.h>
#include <fstream>
#include <string>
#include <sys/stat.h>
#include <sys/wait.h>
#include <unistd.h>

namespace talvor::podsim::proxy {
namespace {

using testing::ElementsAre;
using testing::IsEmpty;

TEST(OwnershipTest, RefusesToDisturbALiveOne) {
    Echo pod;
    const auto proxy = start({{{42, 0x0200, 0, 0}, &pod}});
    const auto before = shm_objects();
    Echo other;
    const auto second = Proxy::start({{{43, 0x0200, 0, 0}, &other}}, {});
    ASSERT_FALSE(second);
    EXPECT_EQ(reason_of(second), "a pod proxy already serves this machine (process " +
                                     std::to_string(getpid()) +
                                     "); stop it first, or use --private");
    EXPECT_EQ(shm_objects(), before);
    Host host(42);
    EXPECT_EQ(host.exchange(SHM_CMD_ATTACH), 0);
}

// What a proxy leaves that was killed while it held the mutex and a batch ran.
void leave_stale_objects() {
    const pid_t child = fork();
    if (child == 0) {
        Echo pod;
        auto proxy = Proxy::start({{{42, 0x0200, 0, 0}, &pod}, {{43, 0x0200, 0, 0}, &pod}}, {});
        sem_t* mutex = sem_open(SHM_GLOBAL_MUTEX_NAME, 0);
        sem_wait(mutex);
        Host host(42);
        host.queue("write 3 0");
        host.post_start();
        std::raise(SIGKILL);
    }
    int status = 0;
    ASSERT_EQ(waitpid(child, &status, 0), child);
    ASSERT_TRUE(WIFSIGNALED(status));
}

TEST(OwnershipTest, TakesOverWhatADeadOneLeft) {
    leave_stale_objects();
    ASSERT_EQ(shm_objects().size(), 9U);
    ASSERT_EQ(posts_of("/talvor_proxy_gbl_sem_object"), 0);
    Echo pod;
    auto proxy = start({{{42, 0x0300, 0, 0}, &pod}});
    ASSERT_TRUE(proxy);
    EXPECT_EQ(posts_of("/talvor_proxy_gbl_sem_object"), 1);
    EXPECT_EQ(read_table().max_instances, 1U);
    EXPECT_EQ(read_table().devs[0].devRev, 0x0300);
    Host host(42);
    EXPECT_EQ(host.block().tbcMblockPtr, 2U);
    EXPECT_EQ(host.exchange(SHM_CMD_ATTACH), 0);
    EXPECT_EQ(shm_objects().size(), 6U);
    proxy.reset();
    EXPECT_THAT(shm_objects(), IsEmpty());
}

TEST(OwnershipTest, OpensSemaphoresThatStandThereAndEmptiesThem) {
    sem_t* start_semaphore = sem_open("talvor_lcl_s_s_000042", O_CREAT, 0666, 3);
    sem_t* complete = sem_open("talvor_lcl_s_c_000042", O_CREAT, 0666, 2);
    ASSERT_NE(start_semaphore, SEM_FAILED);
    ASSERT_NE(complete, SEM_FAILED);
    {
        Echo pod;
        const auto proxy = start({{{42, 0x0200, 0, 0}, &pod}});
        EXPECT_EQ(posts_of("talvor_lcl_s_s_000042"), 0);
        EXPECT_EQ(posts_of("talvor_lcl_s_c_000042"), 0);
        Host host(42);
        host.block().cmd = SHM_CMD_ATTACH;
        sem_post(start_semaphore);
        EXPECT_TRUE(host.take_complete());
    }
    sem_close(start_semaphore);
    sem_close(complete);
    EXPECT_THAT(shm_objects(), IsEmpty());
}

TEST(OwnershipTest, ReplacesFilesThatAreNoSemaphoresBlocksOrTables) {
    for (const char* name : {"sem.talvor_lcl_s_s_000042", "talvor_lcl_shm_000042",
                             "talvor_proxy_gbl_shm_object", "sem.talvor_proxy_gbl_sem_object"}) {
        std::ofstream("/dev/shm/" + std::string(name)) << "x";
    }
    {
        Echo pod;
        const auto proxy = start({{{42, 0x0200, 0, 0}, &pod}});
        Host host(42);
        EXPECT_EQ(host.exchange(SHM_CMD_ATTACH), 0);
        EXPECT_EQ(size_of(kTablePath), 10'244);
    }
    EXPECT_THAT(shm_objects(), IsEmpty());
}

TEST(OwnershipTest, NeverRemovesAnObjectThatIsNotTheChannels) {
    // A stale table that names somebody else's memory as a pod's block.
    std::ofstream("/dev/shm/precious") << "x";
    {
        gbl_shm table{};
        table.max_instances = 1;
        table.devs[0].recUsed = 1;
        table.devs[0].devSN = 7;
        std::snprintf(table.devs[0].lcl_shm_name, SHM_POD_NAME_SIZE, "/precious");
        std::ofstream(kTablePath, std::ios::binary)
            .write(reinterpret_cast<const char*>(&table), sizeof(table));
    }
    Echo pod;
    start({{{42, 0x0200, 0, 0}, &pod}})->stop();
    EXPECT_THAT(shm_objects(), ElementsAre("precious"));
    unlink("/dev/shm/precious");
}

TEST(OwnershipTest, ALockFileWithoutALiveOwnerIsNoClaim) {
    std::ofstream(SHM_OWNER_LOCK_PATH) << "1\n";
    Echo pod;
    const auto proxy = start({{{42, 0x0200, 0, 0}, &pod}});
    ASSERT_TRUE(proxy);
    std::string owner;
    std::ifstream(SHM_OWNER_LOCK_PATH) >> owner;
    EXPECT_EQ(owner, std::to_string(getpid()));
}

} // namespace
} // namespace talvor::podsim::proxy
