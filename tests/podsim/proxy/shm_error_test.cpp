// A /dev/shm that is full, or that holds what belongs to somebody else: told before anything is
// served, and nothing is left behind.
#include "common/file_descriptor.h"
#include "host.h"
#include "podsim/proxy/proxy.h"
#include "podsim/proxy/semaphore.h"
#include "small_shm.h"
#include "tests/podsim/reason.h"

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <cstring>
#include <fcntl.h>
#include <sys/stat.h>

namespace talvor::podsim::proxy {
namespace {

using testing::ElementsAre;
using testing::HasSubstr;
using testing::IsEmpty;

class Idle : public Backend {
public:
    void attach() override {}
    void detach() override {}
    Status write_support(uint16_t) override { return {}; }
    batch::Outcome execute(const batch::Batch&, std::span<uint16_t>) override { return {}; }
    void request_stop() override {}
    void note(std::string_view) override {}
};

constexpr PodRecord kRecord{.serial = 42, .revision = 0x0200, .bus = 0, .device = 0};
// What one pod takes: 129 pages of block, three of table, three semaphores, the lock's text.
constexpr unsigned kEnough = 129 + 3 + 3 + 1;

void start_in_small_shm(unsigned pages, bool expected) {
    with_small_shm(pages, [=] {
        Idle pod;
        auto proxy = Proxy::start({{kRecord, &pod}}, {});
        EXPECT_EQ(proxy.has_value(), expected) << reason_of(proxy);
        if (!proxy) {
            EXPECT_THAT(reason_of(proxy), HasSubstr(": /dev/shm is full: "));
            EXPECT_THAT(proxy.error().next_step, HasSubstr("or make it larger"));
        } else {
            Host host(kRecord.serial);
            std::memset(static_cast<void*>(&host.block()), 0x55, sizeof(lcl_shm));
            EXPECT_EQ(host.exchange(SHM_CMD_ATTACH), 0);
            EXPECT_TRUE((*proxy)->stop());
        }
        EXPECT_THAT(shm_objects(), IsEmpty());
    });
}

TEST(FullShmTest, IsAnErrorHoweverMuchIsMissingAndNothingIsLeft) {
    for (const unsigned pages : {1U, 2U, 3U, 100U, 129U, 130U, 131U, 132U, 133U, 134U, 135U}) {
        start_in_small_shm(pages, false);
    }
}

TEST(FullShmTest, WhatIsServedIsAllocatedToTheLastPage) {
    start_in_small_shm(kEnough, true);
}

TEST(FullShmTest, SaysWhatIsNeededAndWhatIsFree) {
    with_small_shm(100, [] {
        Idle pod;
        const auto proxy = Proxy::start({{kRecord, &pod}}, {});
        EXPECT_EQ(reason_of(proxy), "making shared memory /talvor_lcl_shm_000042: /dev/shm is "
                                    "full: 524328 bytes are needed, 405504 are free");
        EXPECT_EQ(proxy.error().next_step,
                  "remove what nobody uses from /dev/shm, or make it larger "
                  "(mount -o remount,size=64M /dev/shm)");
    });
}

TEST(FullShmTest, ASemaphoreWithoutMemoryBehindItIsMadeAnew) {
    with_small_shm(1, [] {
        constexpr const char* kHole = "/dev/shm/sem.hole";
        const FileDescriptor hole = open_file(kHole, O_RDWR | O_CREAT, 0666);
        ASSERT_EQ(ftruncate(hole.get(), sizeof(sem_t)), 0);
        const FileDescriptor filler = open_file("/dev/shm/filler", O_RDWR | O_CREAT, 0666);
        ASSERT_TRUE(write_all(filler.get(), "x"));
        const auto semaphore = Semaphore::adopt("hole"); // which would be read past the memory
        EXPECT_THAT(reason_of(semaphore), HasSubstr("/dev/shm is full"));
        ASSERT_EQ(unlink("/dev/shm/filler"), 0);
        ASSERT_EQ(ftruncate(filler.get(), 0), 0);
        EXPECT_TRUE(Semaphore::adopt("hole"));
        EXPECT_THAT(shm_objects(), IsEmpty());
    });
}

// Has a user without rights start a proxy where an object of root's stands.
void start_as_nobody(const std::string& file, const std::string& reason) {
    with_small_shm(1000, [&] {
        constexpr uid_t kNobody = 65534;
        close(open(file.c_str(), O_RDWR | O_CREAT | O_CLOEXEC, 0600));
        chmod(file.c_str(), 0640);
        if (setresuid(kNobody, kNobody, kNobody) != 0) {
            return;
        }
        Idle pod;
        const auto proxy = Proxy::start({{kRecord, &pod}}, {});
        EXPECT_EQ(reason_of(proxy),
                  reason + ": " + file + " belongs to user root (0) and has the mode 0640");
        EXPECT_EQ(proxy.error().next_step, "have its owner or root remove " + file);
        EXPECT_THAT(shm_objects(), ElementsAre(file.substr(strlen("/dev/shm/"))));
    });
}

TEST(ForeignObjectTest, IsNamedWithItsOwnerAndItsMode) {
    if (getuid() != 0) {
        GTEST_SKIP() << "only root can leave what belongs to somebody else";
    }
    start_as_nobody("/dev/shm/talvor_lcl_shm_000042",
                    "making shared memory /talvor_lcl_shm_000042: File exists");
    start_as_nobody("/dev/shm/sem.talvor_lcl_s_s_000042",
                    "making semaphore talvor_lcl_s_s_000042: File exists");
    start_as_nobody("/dev/shm/talvor_proxy_gbl_shm_object",
                    "removing the stale object /talvor_proxy_gbl_shm_object: Permission denied");
    start_as_nobody("/dev/shm/sem.talvor_proxy_gbl_sem_object",
                    "removing the stale object /talvor_proxy_gbl_sem_object: Permission denied");
    start_as_nobody(SHM_OWNER_LOCK_PATH, "opening " SHM_OWNER_LOCK_PATH ": Permission denied");
}

} // namespace
} // namespace talvor::podsim::proxy
