#include "echo.h"
#include "host.h"
#include "podsim/proxy/proxy.h"
#include "tests/podsim/reason.h"

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <array>
#include <atomic>
#include <csignal>
#include <fcntl.h>
#include <filesystem>
#include <sys/resource.h>
#include <sys/stat.h>
#include <sys/wait.h>
#include <thread>
#include <unistd.h>

namespace talvor::podsim::proxy {
namespace {

using testing::ElementsAre;
using testing::HasSubstr;
using testing::IsEmpty;
using namespace std::chrono_literals;

// Threads of this process.
ptrdiff_t threads() {
    return std::distance(std::filesystem::directory_iterator("/proc/self/task"), {});
}

mode_t mode_of(const std::string& path) {
    struct stat file {};
    EXPECT_EQ(stat(path.c_str(), &file), 0) << path;
    return file.st_mode & 07777;
}

TEST(ProxyTest, PublishesWhatAHostLooksFor) {
    Echo one;
    Echo two;
    umask(077); // the objects are everybody's all the same
    const auto proxy = start({{{42, 0x0200, 3, 7}, &one}, {{1234567, 0x0302, 0, 0}, &two}});
    umask(022);
    ASSERT_THAT(shm_objects(),
                ElementsAre("sem.talvor_lcl_s_c_000042", "sem.talvor_lcl_s_c_1234567",
                            "sem.talvor_lcl_s_s_000042", "sem.talvor_lcl_s_s_1234567",
                            "sem.talvor_proxy_gbl_sem_object", "talvor_lcl_shm_000042",
                            "talvor_lcl_shm_1234567", "talvor_proxy_gbl_owner.lock",
                            "talvor_proxy_gbl_shm_object"));
    for (const std::string& name : shm_objects()) {
        EXPECT_EQ(mode_of("/dev/shm/" + name), 0666U) << name;
    }
    EXPECT_EQ(size_of(kTablePath), 10'244);
    EXPECT_EQ(size_of("/dev/shm/talvor_lcl_shm_000042"), 524'328);
    EXPECT_EQ(posts_of("/talvor_proxy_gbl_sem_object"), 1);
    EXPECT_EQ(posts_of("talvor_lcl_s_s_000042"), 0);
    EXPECT_EQ(posts_of("talvor_lcl_s_c_000042"), 0);

    const gbl_shm table = read_table();
    EXPECT_EQ(table.max_instances, 2U);
    EXPECT_NE(table.devs[0].recUsed, 0);
    EXPECT_EQ(table.devs[0].devSN, 42U);
    EXPECT_EQ(table.devs[0].devRev, 0x0200);
    EXPECT_EQ(table.devs[0].nBus, 3U);
    EXPECT_EQ(table.devs[0].nDev, 7U);
    EXPECT_STREQ(table.devs[0].lcl_shm_name, "/talvor_lcl_shm_000042");
    EXPECT_EQ(table.devs[1].devSN, 1234567U);
    EXPECT_EQ(table.devs[1].devRev, 0x0302);
    EXPECT_EQ(table.devs[2].recUsed, 0);
    Host host(1234567);
    EXPECT_EQ(host.block().devRev, 0x0302U);
}

TEST(ProxyTest, ServesTheFourCommands) {
    Echo pod;
    const auto proxy = start({{{42, 0x0200, 0, 0}, &pod}});
    Host host(42);
    host.queue("write 1 1");
    EXPECT_EQ(host.exchange(SHM_CMD_ATTACH), 0);
    EXPECT_EQ(pod.attached, 1);
    EXPECT_EQ(host.block().tbcMblockPtr, 2U);

    host.queue("read 16; read 17");
    EXPECT_EQ(host.exchange(SHM_CMD_EXECUTE), 4);
    EXPECT_EQ(host.block().tbcIMblock[0], 0x1010);
    EXPECT_EQ(host.block().tbcIMblock[1], 0x1011);
    EXPECT_EQ(host.block().tbcMblockPtr, 2U);
    EXPECT_EQ(host.block().rdCntrGbl, 0U);
    EXPECT_EQ(host.exchange(SHM_CMD_EXECUTE), 0);

    host.block().data = 0xABCD0101;
    EXPECT_EQ(host.exchange(SHM_CMD_SUPPORT_WRITE), 0);
    EXPECT_EQ(pod.support, 0x0101);
    host.block().data = 0xDEAD;
    EXPECT_LT(host.exchange(SHM_CMD_SUPPORT_WRITE), 0);

    EXPECT_EQ(host.exchange(SHM_CMD_DETACH), 0);
    EXPECT_EQ(pod.detached, 1);
    EXPECT_EQ(pod.executed, 2);
    EXPECT_THAT(pod.notes_now(), IsEmpty());
}

TEST(ProxyTest, AnUnknownCommandFailsAndLeavesTheBatch) {
    Echo pod;
    const auto proxy = start({{{42, 0x0200, 0, 0}, &pod}});
    Host host(42);
    host.queue("write 1 1");
    EXPECT_LT(host.exchange(4), 0);
    EXPECT_LT(host.exchange(0xFFFFFFFF), 0);
    EXPECT_EQ(host.block().tbcMblockPtr, 4U);
    EXPECT_EQ(pod.executed, 0);
    EXPECT_THAT(pod.notes_now(), ElementsAre("an unknown command", "an unknown command"));
}

TEST(ProxyTest, AFailedBatchIsEmptiedTooAndTheNextOneWorks) {
    Echo pod;
    const auto proxy = start({{{42, 0x0200, 0, 0}, &pod}});
    Host host(42);
    for (const char* broken : {"control 9999", "read 32", "write 1 ?", "marker"}) {
        host.queue(broken);
        EXPECT_LT(host.exchange(SHM_CMD_EXECUTE), 0) << broken;
        EXPECT_EQ(host.block().tbcMblockPtr, 2U);
        EXPECT_EQ(host.block().lastWCNTR, 1U);
        EXPECT_EQ(host.block().rdCntrLcl, 0U);
        EXPECT_EQ(host.block().rdCntrGbl, 0U);
        EXPECT_EQ(host.block().tbcOMblock[1], 0xC000);
        host.queue("read 19");
        EXPECT_EQ(host.exchange(SHM_CMD_EXECUTE), 2) << broken;
        EXPECT_EQ(host.block().tbcIMblock[0], 0x1013);
    }
    host.block().tbcMblockPtr = 0xFFFFFFFF;
    EXPECT_LT(host.exchange(SHM_CMD_EXECUTE), 0);
    EXPECT_EQ(host.block().tbcMblockPtr, 2U);
}

TEST(ProxyTest, AHundredStartsAndStopsLeaveNothingBehind) {
    for (int cycle = 0; cycle < 100; ++cycle) {
        Echo one;
        Echo two;
        const auto proxy = start({{{1, 0x0100, 0, 0}, &one}, {{2, 0x0400, 0, 0}, &two}});
        Host host(2);
        EXPECT_EQ(host.exchange(SHM_CMD_ATTACH), 0);
        EXPECT_TRUE(proxy->stop());
        ASSERT_THAT(shm_objects(), IsEmpty()) << cycle;
    }
}

TEST(ProxyTest, TwoPodsNeedTwoSerialNumbersAndNoMoreThan128Fit) {
    Echo pod;
    const auto twice = Proxy::start({{{42, 0, 0, 0}, &pod}, {{42, 0, 0, 0}, &pod}}, {});
    ASSERT_FALSE(twice);
    EXPECT_EQ(reason_of(twice), "two pods with the serial number 42");
    std::vector<Pod> many;
    for (uint32_t serial = 0; serial < 129; ++serial) {
        many.push_back({{serial, 0, 0, 0}, &pod});
    }
    const auto full = Proxy::start(many, {});
    ASSERT_FALSE(full);
    EXPECT_EQ(reason_of(full), "129 pods: the device table has room for 128");
    EXPECT_THAT(shm_objects(), IsEmpty());
    many.pop_back();
    const auto proxy = start(many);
    EXPECT_EQ(read_table().max_instances, 128U);
}

TEST(ProxyTest, APodThatIsBusyKeepsNoOtherWaiting) {
    Echo busy;
    std::array<Echo, 3> idle;
    const auto proxy = start({{{42, 0x0200, 0, 0}, &busy},
                              {{43, 0x0200, 0, 1}, &idle[0]},
                              {{44, 0x0200, 0, 2}, &idle[1]},
                              {{45, 0x0200, 0, 3}, &idle[2]}});
    Host first(42);
    first.queue("write 4 0");
    first.block().cmd = SHM_CMD_EXECUTE;
    first.post_start();
    wait_until(busy.running);
    for (uint32_t serial = 43; serial <= 45; ++serial) {
        Host other(serial);
        for (int i = 0; i < 20; ++i) {
            EXPECT_EQ(other.exchange(SHM_CMD_ATTACH), 0);
            other.queue("read 18");
            EXPECT_EQ(other.exchange(SHM_CMD_EXECUTE), 2);
        }
    }
    busy.go_on = true;
    EXPECT_TRUE(first.take_complete());
}

TEST(ProxyTest, StopsWhileABatchRunsAndTheHostGetsAFailure) {
    Echo pod;
    const auto proxy = start({{{42, 0x0200, 0, 0}, &pod}});
    Host host(42);
    host.queue("write 3 0; write 1 1");
    host.block().cmd = SHM_CMD_EXECUTE;
    host.post_start();
    wait_until(pod.running);
    EXPECT_TRUE(proxy->stop());
    EXPECT_TRUE(host.take_complete());
    EXPECT_LT(host.block().status, 0);
    EXPECT_THAT(shm_objects(), IsEmpty());
}

TEST(ProxyTest, AHostThatComesDuringTheStopGetsAFailure) {
    for (int round = 0; round < 50; ++round) {
        Echo pod;
        const auto proxy = start({{{42, 0x0200, 0, 0}, &pod}},
                                 {.spin = std::chrono::microseconds(round % 2 == 0 ? 0 : 100)});
        Host host(42);
        host.queue("write 3 0; write 1 1"); // runs until the stop, should it still be begun
        host.block().cmd = SHM_CMD_EXECUTE;
        host.post_start();
        EXPECT_TRUE(proxy->stop());
        ASSERT_TRUE(host.take_complete()) << round;
        EXPECT_LT(host.block().status, 0);
    }
}

TEST(ProxyTest, GivesUpAPodThatDoesNotStopAndAnswersItsHost) {
    const ptrdiff_t before = threads();
    static Echo pod; // its thread outlives the test
    pod.deaf = true;
    const auto proxy = start({{{42, 0x0200, 0, 0}, &pod}});
    Host host(42);
    host.queue("write 3 0");
    host.block().cmd = SHM_CMD_EXECUTE;
    host.post_start();
    wait_until(pod.running);
    EXPECT_FALSE(proxy->stop(50ms));
    EXPECT_TRUE(host.take_complete());
    EXPECT_LT(host.block().status, 0);
    EXPECT_THAT(shm_objects(), IsEmpty());
    pod.deaf = false;
    while (threads() > before) { // the thread ends on its own
        std::this_thread::sleep_for(1ms);
    }
}

TEST(ProxyTest, AnUnpluggedPodLeavesTheTableAndComesBack) {
    Echo one;
    Echo two;
    const auto proxy = start({{{1, 0x0200, 0, 0}, &one}, {{2, 0x0200, 0, 0}, &two}});
    proxy->unplug(1);
    EXPECT_EQ(read_table().max_instances, 1U);
    EXPECT_EQ(read_table().devs[1].recUsed, 0);
    proxy->plug(1);
    EXPECT_EQ(read_table().max_instances, 2U);
    EXPECT_EQ(read_table().devs[1].devSN, 2U);
    proxy->unplug(0);
    EXPECT_EQ(read_table().max_instances, 2U);
    EXPECT_EQ(read_table().devs[0].recUsed, 0);
    EXPECT_NE(read_table().devs[1].recUsed, 0);
    EXPECT_EQ(posts_of("/talvor_proxy_gbl_sem_object"), 1);
}

TEST(ProxyTest, TheTableIsNotChangedWhileAHostHoldsTheMutex) {
    Echo pod;
    const auto proxy = start({{{1, 0x0200, 0, 0}, &pod}});
    sem_t* mutex = sem_open(SHM_GLOBAL_MUTEX_NAME, 0);
    ASSERT_EQ(sem_wait(mutex), 0);
    std::atomic<bool> done{false};
    std::thread unplugging([&] {
        proxy->unplug(0);
        done = true;
    });
    std::this_thread::sleep_for(50ms);
    EXPECT_FALSE(done);
    EXPECT_EQ(read_table().max_instances, 1U);
    sem_post(mutex);
    unplugging.join();
    EXPECT_EQ(read_table().max_instances, 0U);
    sem_close(mutex);
}

// A child process that attaches, starts a batch and dies at once.
void host_that_dies_in_a_batch(const char* batch) {
    const pid_t child = fork();
    if (child == 0) {
        Host host(42);
        host.exchange(SHM_CMD_ATTACH);
        host.queue(batch);
        host.block().cmd = SHM_CMD_EXECUTE;
        host.post_start();
        std::raise(SIGKILL);
    }
    int status = 0;
    ASSERT_EQ(waitpid(child, &status, 0), child);
}

TEST(ProxyTest, SurvivesAHostThatDiesInTheMiddleOfABatch) {
    Echo pod;
    const auto proxy = start({{{42, 0x0200, 0, 0}, &pod}});
    for (int death = 0; death < 5; ++death) {
        host_that_dies_in_a_batch("read 16");
        // The answer that nobody takes is taken back.
        for (int i = 0;
             i < 1000 && (pod.executed <= 2 * death || posts_of("talvor_lcl_s_c_000042") > 0);
             ++i) {
            std::this_thread::sleep_for(1ms);
        }
        ASSERT_EQ(posts_of("talvor_lcl_s_c_000042"), 0);
        // The next host meets an empty batch, and each answer is that of its own exchange.
        Host host(42);
        EXPECT_EQ(host.exchange(SHM_CMD_ATTACH), 0);
        EXPECT_EQ(host.block().tbcMblockPtr, 2U);
        host.queue("read 17; read 18");
        EXPECT_EQ(host.exchange(SHM_CMD_EXECUTE), 4);
        EXPECT_EQ(host.block().tbcIMblock[0], 0x1011);
        EXPECT_EQ(posts_of("talvor_lcl_s_c_000042"), 0);
    }
}

TEST(ProxyTest, AHostThatComesWhileADeadOnesBatchRunsGetsItsOwnAnswer) {
    Echo pod;
    const auto proxy = start({{{42, 0x0200, 0, 0}, &pod}});
    host_that_dies_in_a_batch("write 4 0; read 16");
    wait_until(pod.running);
    Host host(42);
    std::thread release([&] {
        while (posts_of("talvor_lcl_s_s_000042") == 0) { // until the new host has come
            std::this_thread::sleep_for(1ms);
        }
        pod.go_on = true;
    });
    EXPECT_EQ(host.exchange(SHM_CMD_ATTACH), 0);
    EXPECT_EQ(pod.attached, 2);
    EXPECT_EQ(posts_of("talvor_lcl_s_c_000042"), 0);
    EXPECT_THAT(pod.notes_now(), ElementsAre("another host came while a batch of a dead one ran"));
    release.join();
}

TEST(ProxyTest, AnAnswerWaitsForAHostThatIsOnlySlow) {
    Echo pod;
    const auto proxy = start({{{42, 0x0200, 0, 0}, &pod}});
    Host host(42);
    host.block().cmd = SHM_CMD_ATTACH;
    host.post_start();
    std::this_thread::sleep_for(200ms);
    EXPECT_EQ(posts_of("talvor_lcl_s_c_000042"), 1);
    EXPECT_TRUE(host.take_complete());
    EXPECT_THAT(pod.notes_now(), IsEmpty());
}

TEST(ProxyTest, AnIdleProxyUsesNoProcessorTime) {
    Echo pod;
    const auto proxy = start({{{42, 0x0200, 0, 0}, &pod}}, {.spin = 10'000us});
    Host host(42);
    EXPECT_EQ(host.exchange(SHM_CMD_ATTACH), 0);
    std::this_thread::sleep_for(100ms); // the spin after the exchange is over
    rusage before{};
    rusage after{};
    getrusage(RUSAGE_SELF, &before);
    std::this_thread::sleep_for(500ms);
    getrusage(RUSAGE_SELF, &after);
    const auto microseconds = [](const rusage& usage) {
        return (usage.ru_utime.tv_sec + usage.ru_stime.tv_sec) * 1'000'000 +
               usage.ru_utime.tv_usec + usage.ru_stime.tv_usec;
    };
    EXPECT_LT(microseconds(after) - microseconds(before), 5'000);
    EXPECT_EQ(host.exchange(SHM_CMD_DETACH), 0);
}

TEST(ProxyTest, ServesWithEveryLengthOfSpin) {
    for (const auto spin : {0us, 1us, 1000us}) {
        Echo pod;
        const auto proxy = start({{{42, 0x0200, 0, 0}, &pod}}, {.spin = spin});
        Host host(42);
        for (int i = 0; i < 200; ++i) {
            host.queue("read 16");
            ASSERT_EQ(host.exchange(SHM_CMD_EXECUTE), 2);
        }
        EXPECT_EQ(pod.executed, 200);
    }
}

} // namespace
} // namespace talvor::podsim::proxy
