#include "support/bare_handle.h"
#include "support/failing_os.h"
#include "support/leak_guard.h"
#include "support/recording_proxy.h"
#include "transport/batch.h"
#include "transport/port.h"
#include "transport/proxy_channel.h"

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <atomic>
#include <cerrno>
#include <chrono>
#include <cstring>
#include <fcntl.h>
#include <sys/mman.h>
#include <sys/wait.h>
#include <thread>
#include <unistd.h>

namespace {

using test_support::BareHandle;
using test_support::LeakGuard;
using test_support::PodSpec;
using test_support::RecordingProxy;
using test_support::RestoredOs;
using testing::ElementsAre;

// Whether a handle holds nothing of a channel.
void expect_detached(const BareHandle& handle) {
    EXPECT_EQ(handle.inform.ProxyShm, nullptr);
    EXPECT_EQ(handle.inform.evStartSem, nullptr);
    EXPECT_EQ(handle.inform.evCompleteSem, nullptr);
    EXPECT_FALSE(channel_is_open(&handle.inform));
}

// Operations on a handle whose open ended early answer an error and touch no memory.
void expect_useless(BareHandle& handle) {
    uint16_t word = 9;
    EXPECT_FALSE(channel_is_open(handle.get()));
    PortWrite(handle.get(), TBC_PORT_SEND, 1);
    EXPECT_EQ(PortRead(handle.get(), TBC_PORT_RECEIVE, &word), 0);
    EXPECT_EQ(word, 9);
    EXPECT_EQ(qel_PerformIo(handle.get()), -140);
    EXPECT_EQ(wr_supp_reg(handle.get(), 1), -190);
    EXPECT_EQ(CloseUsbDevice(handle.get()), 0);
    expect_detached(handle);
}

int value_of(sem_t* semaphore) {
    int value = -1;
    sem_getvalue(semaphore, &value);
    return value;
}

// Names of the pod semaphores that were opened.
std::string names_opened;

sem_t* note_sem_open(const char* name, int flags, ...) {
    if (std::strcmp(name, SHM_GLOBAL_MUTEX_NAME) == 0) {
        EXPECT_EQ(flags & O_CREAT, 0);
    } else {
        EXPECT_EQ(flags & (O_CREAT | O_EXCL), O_CREAT);
        names_opened += names_opened.empty() ? name : std::string(" ") + name;
    }
    return sem_open(name, flags, 0666, 0);
}

// A part of the names that cannot be opened.
const char* failing_semaphore;

sem_t* fail_sem_open(const char* name, int flags, ...) {
    return std::strstr(name, failing_semaphore) != nullptr ? SEM_FAILED
                                                           : sem_open(name, flags, 0666, 0);
}

// A handle is declared behind the proxy: it detaches when it goes, and that takes a proxy.
class ChannelTest : public testing::Test {
protected:
    LeakGuard leaks;
};

// ---- choosing a pod ----

TEST_F(ChannelTest, AttachesToTheOnlyPod) {
    RecordingProxy proxy({PodSpec{.serial = 42, .revision = 0x0302}});
    BareHandle handle;
    handle.inform.emuRevision = 7;
    ASSERT_EQ(handle.open(), 0);
    EXPECT_TRUE(channel_is_open(handle.get()));
    EXPECT_THAT(proxy.pod().commands(), ElementsAre(SHM_CMD_ATTACH));
    EXPECT_EQ(handle.inform.emuRevision, 0x0302U);
    EXPECT_EQ(value_of(proxy.mutex()), 1);
    EXPECT_EQ(CloseUsbDevice(handle.get()), 0);
    EXPECT_THAT(proxy.pod().commands(), ElementsAre(SHM_CMD_ATTACH, SHM_CMD_DETACH));
    expect_detached(handle);
}

TEST_F(ChannelTest, NamesTheSemaphoresAfterTheSerialNumber) {
    const std::pair<uint32_t, const char*> cases[] = {
        {42, "talvor_lcl_s_s_000042 talvor_lcl_s_c_000042"},
        {0, "talvor_lcl_s_s_000000 talvor_lcl_s_c_000000"},
        {1234567, "talvor_lcl_s_s_1234567 talvor_lcl_s_c_1234567"},
        {UINT32_MAX, "talvor_lcl_s_s_4294967295 talvor_lcl_s_c_4294967295"},
    };
    for (const auto& [serial, expected] : cases) {
        RecordingProxy proxy({PodSpec{.serial = serial}});
        BareHandle handle;
        const RestoredOs restored;
        names_opened.clear();
        os_calls.sem_open = note_sem_open;
        ASSERT_EQ(handle.open(), 0);
        EXPECT_EQ(names_opened, expected);
        CloseUsbDevice(handle.get());
    }
}

TEST_F(ChannelTest, TakesTheFirstUsedRecordWithoutASerialNumber) {
    RecordingProxy proxy({PodSpec{.serial = 9, .revision = 0x0100, .used = false},
                          PodSpec{.serial = 5, .revision = 0x0200},
                          PodSpec{.serial = 3, .revision = 0x0300}});
    BareHandle handle;
    ASSERT_EQ(handle.open(), 0);
    EXPECT_EQ(handle.inform.emuRevision, 0x0200U);
    EXPECT_THAT(proxy.pod(1).commands(), ElementsAre(SHM_CMD_ATTACH));
    EXPECT_TRUE(proxy.pod(2).commands().empty());
    CloseUsbDevice(handle.get());
}

TEST_F(ChannelTest, TakesTheRecordThatCarriesTheSerialNumber) {
    RecordingProxy proxy({PodSpec{.serial = 5}, PodSpec{.serial = 3, .revision = 0x0300}});
    BareHandle handle;
    handle.inform.qelVariable.sn = 3;
    ASSERT_EQ(handle.open(), 0);
    EXPECT_EQ(handle.inform.emuRevision, 0x0300U);
    EXPECT_TRUE(proxy.pod(0).commands().empty());
    CloseUsbDevice(handle.get());
}

TEST_F(ChannelTest, PassesOverUnusedRecordsWithTheSerialNumber) {
    RecordingProxy proxy({PodSpec{.serial = 3, .used = false}});
    BareHandle handle;
    handle.inform.qelVariable.sn = 3;
    EXPECT_EQ(handle.open(), -1);
    expect_detached(handle);
    EXPECT_EQ(value_of(proxy.mutex()), 1);
}

TEST_F(ChannelTest, ASerialNumberThatNoRecordCarries) {
    RecordingProxy proxy({PodSpec{.serial = 5}});
    BareHandle handle;
    handle.inform.qelVariable.sn = 6;
    EXPECT_EQ(handle.open(), -1);
    expect_detached(handle);
    EXPECT_EQ(value_of(proxy.mutex()), 1);
}

TEST_F(ChannelTest, AnEmptyTable) {
    RecordingProxy proxy;
    BareHandle handle;
    proxy.table().max_instances = 0;
    EXPECT_EQ(handle.open(), -1);
    expect_detached(handle);
    EXPECT_EQ(value_of(proxy.mutex()), 1);
}

TEST_F(ChannelTest, LooksAtNoRecordBehindTheCount) {
    RecordingProxy proxy({PodSpec{.serial = 5}, PodSpec{.serial = 6}});
    BareHandle handle;
    handle.inform.qelVariable.sn = 6;
    proxy.table().max_instances = 1;
    EXPECT_EQ(handle.open(), -1);
    proxy.table().max_instances = 2;
    EXPECT_EQ(handle.open(), 0);
    CloseUsbDevice(handle.get());
}

TEST_F(ChannelTest, ATableThatClaimsMoreThan128RecordsHas128) {
    RecordingProxy proxy;
    BareHandle handle;
    for (const uint32_t claimed : {129U, UINT32_MAX}) {
        proxy.table().max_instances = claimed;
        handle.inform.qelVariable.sn = 77;
        EXPECT_EQ(handle.open(), -1) << claimed;
        handle.inform.qelVariable.sn = 1;
        EXPECT_EQ(handle.open(), 0) << claimed;
        CloseUsbDevice(handle.get());
    }
}

TEST_F(ChannelTest, FindsTheLastRecord) {
    RecordingProxy proxy;
    BareHandle handle;
    gbl_shm& table = proxy.table();
    table.devs[127] = table.devs[0];
    table.devs[127].devRev = 0x0405;
    table.devs[0].recUsed = 0;
    table.max_instances = 128;
    ASSERT_EQ(handle.open(), 0);
    EXPECT_EQ(handle.inform.emuRevision, 0x0405U);
    CloseUsbDevice(handle.get());
}

TEST_F(ChannelTest, AnyNonZeroMarkMeansUsed) {
    RecordingProxy proxy;
    BareHandle handle;
    proxy.table().devs[0].recUsed = 0x8000;
    EXPECT_EQ(handle.open(), 0);
    CloseUsbDevice(handle.get());
}

TEST_F(ChannelTest, ABlockNameWithoutItsEndIsCutAt63Characters) {
    const std::string cut = "/" + std::string(62, 'p');
    RecordingProxy proxy({PodSpec{.block_name = cut + "x"}});
    BareHandle handle;
    ASSERT_EQ(proxy.table().devs[0].lcl_shm_name[63], 'x');
    EXPECT_EQ(handle.open(), 0);
    EXPECT_TRUE(channel_is_open(handle.get()));
    CloseUsbDevice(handle.get());
}

// ---- what is missing or cannot be opened ----

TEST_F(ChannelTest, NoProxyAtAll) {
    BareHandle handle;
    EXPECT_EQ(handle.open(), -1);
    expect_detached(handle);
}

TEST_F(ChannelTest, NoHandle) {
    EXPECT_EQ(OpenUsbDevice(nullptr), -1);
    EXPECT_EQ(CloseUsbDevice(nullptr), 0);
    EXPECT_EQ(wr_supp_reg(nullptr, 1), -190);
    my_wait(nullptr);
}

TEST_F(ChannelTest, TheTableIsMissing) {
    RecordingProxy proxy;
    BareHandle handle;
    const RestoredOs restored;
    os_calls.shm_open = [](const char* name, int flags, mode_t mode) {
        EXPECT_EQ(flags, O_RDWR);
        return std::strcmp(name, SHM_DEVICE_TABLE_NAME) == 0 ? -1 : shm_open(name, flags, mode);
    };
    EXPECT_EQ(handle.open(), -1);
    expect_detached(handle);
    EXPECT_EQ(value_of(proxy.mutex()), 1);
}

TEST_F(ChannelTest, ATableOfTheWrongSizeIsASilentSuccess) {
    RecordingProxy proxy;
    BareHandle handle;
    for (const off_t size : {off_t{0}, off_t{10243}, off_t{10245}}) {
        proxy.resize_table(size);
        EXPECT_EQ(handle.open(), 0) << size;
        expect_useless(handle);
        EXPECT_EQ(value_of(proxy.mutex()), 1);
    }
    proxy.resize_table(10244);
    EXPECT_TRUE(proxy.pod().commands().empty());
}

TEST_F(ChannelTest, APodBlockThatDoesNotExistIsASilentSuccess) {
    RecordingProxy proxy({PodSpec{.block_size = 0}});
    BareHandle handle;
    EXPECT_EQ(handle.open(), 0);
    expect_useless(handle);
    EXPECT_EQ(value_of(proxy.mutex()), 1);
}

TEST_F(ChannelTest, APodBlockOfTheWrongSizeIsASilentSuccess) {
    for (const off_t size : {1, 524327, 524329}) {
        RecordingProxy proxy({PodSpec{.block_size = size}});
        BareHandle handle;
        EXPECT_EQ(handle.open(), 0) << size;
        expect_useless(handle);
        EXPECT_EQ(value_of(proxy.mutex()), 1);
    }
}

// Lets a number of calls through and then fails one.
unsigned calls_before_failure;

TEST_F(ChannelTest, ASizeThatCannotBeQueried) {
    RecordingProxy proxy;
    BareHandle handle;
    const RestoredOs restored;
    os_calls.fstat = [](int fd, struct stat* status) {
        return calls_before_failure-- == 0 ? -1 : fstat(fd, status);
    };
    for (const unsigned call : {0U, 1U}) { // the table's, the block's
        calls_before_failure = call;
        EXPECT_EQ(handle.open(), -1) << call;
        expect_detached(handle);
        EXPECT_EQ(value_of(proxy.mutex()), 1);
    }
}

TEST_F(ChannelTest, AnObjectThatCannotBeMapped) {
    RecordingProxy proxy;
    BareHandle handle;
    const RestoredOs restored;
    os_calls.mmap = [](void* address, size_t size, int protection, int flags, int fd, off_t at) {
        return calls_before_failure-- == 0 ? MAP_FAILED
                                           : mmap(address, size, protection, flags, fd, at);
    };
    for (const unsigned call : {0U, 1U}) {
        calls_before_failure = call;
        EXPECT_EQ(handle.open(), -1) << call;
        expect_detached(handle);
        EXPECT_EQ(value_of(proxy.mutex()), 1);
    }
}

TEST_F(ChannelTest, AWaitOnTheMutexThatASignalInterruptsGoesOn) {
    RecordingProxy proxy;
    BareHandle handle;
    const RestoredOs restored;
    static int interrupted;
    interrupted = 0;
    os_calls.sem_wait = [](sem_t* semaphore) {
        if (interrupted++ < 2) {
            errno = EINTR;
            return -1;
        }
        return sem_wait(semaphore);
    };
    EXPECT_EQ(handle.open(), 0);
    EXPECT_EQ(interrupted, 3);
    EXPECT_EQ(value_of(proxy.mutex()), 1);
    CloseUsbDevice(handle.get());
}

TEST_F(ChannelTest, AWaitOnTheMutexThatFailsEndsTheOpen) {
    RecordingProxy proxy;
    BareHandle handle;
    const RestoredOs restored;
    static int closed;
    closed = 0;
    os_calls.sem_wait = [](sem_t*) {
        errno = EINVAL;
        return -1;
    };
    os_calls.sem_close = [](sem_t* semaphore) {
        ++closed;
        return sem_close(semaphore);
    };
    os_calls.sem_post = [](sem_t*) {
        ADD_FAILURE() << "a mutex that is not held was posted";
        return 0;
    };
    EXPECT_EQ(handle.open(), -1);
    EXPECT_EQ(closed, 1);
    expect_detached(handle);
}

TEST_F(ChannelTest, WaitsForTheMutex) {
    RecordingProxy proxy;
    BareHandle handle;
    sem_wait(proxy.mutex());
    const RestoredOs restored;
    static std::atomic<bool> waiting;
    waiting = false;
    os_calls.sem_wait = [](sem_t* semaphore) {
        waiting = true;
        waiting.notify_one();
        return ::sem_wait(semaphore);
    };
    std::thread holder([&proxy] {
        waiting.wait(false);
        EXPECT_TRUE(proxy.pod().commands().empty());
        sem_post(proxy.mutex());
    });
    EXPECT_EQ(handle.open(), 0);
    holder.join();
    CloseUsbDevice(handle.get());
}

TEST_F(ChannelTest, ASemaphoreThatCannotBeOpenedIsASilentSuccessWithAMessage) {
    RecordingProxy proxy;
    BareHandle handle;
    const RestoredOs restored;
    os_calls.sem_open = fail_sem_open;
    const std::pair<const char*, const char*> cases[] = {
        {"lcl_s_s", "failed to open local semaphore [s]\n"},
        {"lcl_s_c", "failed to open local semaphore [c]\n"},
    };
    for (const auto& [name, message] : cases) {
        failing_semaphore = name;
        testing::internal::CaptureStderr();
        EXPECT_EQ(handle.open(), 0);
        EXPECT_EQ(testing::internal::GetCapturedStderr(), message);
        EXPECT_NE(handle.inform.ProxyShm, nullptr);
        EXPECT_EQ(handle.inform.evStartSem == nullptr, failing_semaphore == cases[0].first);
        EXPECT_EQ(handle.inform.evCompleteSem, nullptr);
        EXPECT_EQ(value_of(proxy.mutex()), 1);
        expect_useless(handle);
    }
    EXPECT_TRUE(proxy.pod().commands().empty());
}

TEST_F(ChannelTest, PrintsNothingOtherwise) {
    RecordingProxy proxy;
    BareHandle handle;
    testing::internal::CaptureStderr();
    testing::internal::CaptureStdout();
    EXPECT_EQ(handle.open(), 0);
    CloseUsbDevice(handle.get());
    EXPECT_EQ(testing::internal::GetCapturedStderr(), "");
    EXPECT_EQ(testing::internal::GetCapturedStdout(), "");
}

// ---- the handshake ----

TEST_F(ChannelTest, TheMutexIsFreeDuringTheHandshake) {
    RecordingProxy proxy;
    BareHandle handle;
    int during = -1;
    proxy.pod().interfere([&](lcl_shm&) { during = value_of(proxy.mutex()); });
    EXPECT_EQ(handle.open(), 0);
    EXPECT_EQ(during, 1);
    CloseUsbDevice(handle.get());
}

TEST_F(ChannelTest, TheRevisionIsReadAfterTheHandshake) {
    RecordingProxy proxy;
    BareHandle handle;
    proxy.pod().interfere([&](lcl_shm&) { proxy.table().devs[0].devRev = 0x0401; });
    EXPECT_EQ(handle.open(), 0);
    EXPECT_EQ(handle.inform.emuRevision, 0x0401U);
    CloseUsbDevice(handle.get());
}

TEST_F(ChannelTest, ARecordThatVanishesDuringTheHandshake) {
    RecordingProxy proxy({PodSpec{.serial = 1}, PodSpec{.serial = 2}});
    BareHandle handle;
    handle.inform.qelVariable.sn = 2;
    proxy.pod(1).interfere([&](lcl_shm&) { proxy.table().max_instances = 1; });
    EXPECT_EQ(handle.open(), -1);
    expect_detached(handle);
    EXPECT_THAT(proxy.pod(1).commands(), ElementsAre(SHM_CMD_ATTACH));
}

TEST_F(ChannelTest, TheStatusOfAttachAndDetachIsNotLookedAt) {
    RecordingProxy proxy;
    BareHandle handle;
    proxy.pod().interfere([](lcl_shm& block) { block.status = -1; });
    EXPECT_EQ(handle.open(), 0);
    EXPECT_EQ(CloseUsbDevice(handle.get()), 0);
}

TEST_F(ChannelTest, ClosingTwiceIsOneDetach) {
    RecordingProxy proxy;
    BareHandle handle;
    ASSERT_EQ(handle.open(), 0);
    EXPECT_EQ(CloseUsbDevice(handle.get()), 0);
    EXPECT_EQ(CloseUsbDevice(handle.get()), 0);
    EXPECT_THAT(proxy.pod().commands(), ElementsAre(SHM_CMD_ATTACH, SHM_CMD_DETACH));
}

TEST_F(ChannelTest, ClosingLeavesTheSemaphoresInTheSystem) {
    RecordingProxy proxy;
    BareHandle handle;
    ASSERT_EQ(handle.open(), 0);
    CloseUsbDevice(handle.get());
    EXPECT_EQ(access("/dev/shm/sem.talvor_lcl_s_s_000001", F_OK), 0);
    EXPECT_EQ(access("/dev/shm/sem.talvor_lcl_s_c_000001", F_OK), 0);
}

// ---- the support register ----

TEST_F(ChannelTest, WritesTheSupportRegister) {
    RecordingProxy proxy;
    BareHandle handle;
    ASSERT_EQ(handle.open(), 0);
    EXPECT_EQ(wr_supp_reg(handle.get(), 0x0100), 0);
    EXPECT_EQ(wr_supp_reg(handle.get(), 0xFFFF), 0);
    EXPECT_THAT(proxy.pod().support_writes(), ElementsAre(0x0100, 0xFFFF));
    EXPECT_EQ(proxy.pod().block()->data, 0xFFFFU);
    EXPECT_THAT(proxy.pod().commands(),
                ElementsAre(SHM_CMD_ATTACH, SHM_CMD_SUPPORT_WRITE, SHM_CMD_SUPPORT_WRITE));
}

TEST_F(ChannelTest, ARefusedSupportWrite) {
    RecordingProxy proxy;
    BareHandle handle;
    ASSERT_EQ(handle.open(), 0);
    proxy.pod().refuse_support_writes(1);
    EXPECT_EQ(wr_supp_reg(handle.get(), 1), -190);
    EXPECT_EQ(wr_supp_reg(handle.get(), 1), 0);
    for (const int32_t status : {0, 1, INT32_MAX}) {
        proxy.pod().interfere([status](lcl_shm& block) { block.status = status; });
        EXPECT_EQ(wr_supp_reg(handle.get(), 1), 0) << status;
    }
    for (const int32_t status : {-1, INT32_MIN}) {
        proxy.pod().interfere([status](lcl_shm& block) { block.status = status; });
        EXPECT_EQ(wr_supp_reg(handle.get(), 1), -190) << status;
    }
    proxy.pod().interfere(nullptr);
}

TEST_F(ChannelTest, ASupportWriteLeavesTheBatchAlone) {
    RecordingProxy proxy;
    BareHandle handle;
    ASSERT_EQ(handle.open(), 0);
    PortWrite(handle.get(), TBC_PORT_SEND, 0x1234);
    EXPECT_EQ(wr_supp_reg(handle.get(), 1), 0);
    EXPECT_EQ(qel_PerformIo(handle.get()), 0);
    EXPECT_EQ(proxy.pod().text(), "write 23 1234\n");
}

// ---- the wait ----

TEST_F(ChannelTest, TheWaitSpinsWithADeadlineThatIsOver) {
    const RestoredOs restored;
    static int attempts;
    attempts = 0;
    os_calls.sched_yield = [] { return 0; };
    os_calls.sem_timedwait = [](sem_t*, const timespec* deadline) {
        EXPECT_EQ(deadline->tv_sec, 10);
        EXPECT_EQ(deadline->tv_nsec, 100'000'000);
        // Any failure is another attempt.
        errno = attempts % 2 == 0 ? ETIMEDOUT : EINTR;
        return ++attempts == 500 ? 0 : -1;
    };
    sem_t semaphore;
    sem_init(&semaphore, 0, 0);
    my_wait(&semaphore);
    EXPECT_EQ(attempts, 500);
    sem_destroy(&semaphore);
}

TEST_F(ChannelTest, TheWaitTakesOnePost) {
    BareHandle handle;
    sem_t semaphore;
    sem_init(&semaphore, 0, 2);
    my_wait(&semaphore);
    EXPECT_EQ(value_of(&semaphore), 1);
    my_wait(&semaphore);
    EXPECT_EQ(value_of(&semaphore), 0);
    // The post comes while the wait is under way.
    const RestoredOs restored;
    static std::atomic<bool> waiting;
    waiting = false;
    os_calls.sem_timedwait = [](sem_t* wanted, const timespec* deadline) {
        waiting = true;
        waiting.notify_one();
        return ::sem_timedwait(wanted, deadline);
    };
    std::thread poster([&semaphore] {
        waiting.wait(false);
        sem_post(&semaphore);
    });
    my_wait(&semaphore);
    poster.join();
    EXPECT_EQ(value_of(&semaphore), 0);
    sem_destroy(&semaphore);
}

// ---- several handles on one pod ----

TEST_F(ChannelTest, TwoHandlesOfOneProcessTakeTurns) {
    RecordingProxy proxy;
    BareHandle handle;
    BareHandle other;
    ASSERT_EQ(handle.open(), 0);
    ASSERT_EQ(other.open(), 0);
    proxy.pod().answer(TBC_PORT_RECEIVE, {1, 2, 3, 4});
    uint16_t words[4] = {};
    for (int turn = 0; turn < 4; ++turn) {
        BareHandle& user = turn % 2 == 0 ? handle : other;
        PortRead(user.get(), TBC_PORT_RECEIVE, &words[turn]);
        EXPECT_EQ(qel_PerformIo(user.get()), 0);
    }
    EXPECT_THAT(words, ElementsAre(1, 2, 3, 4));
    CloseUsbDevice(other.get());
    PortWrite(handle.get(), TBC_PORT_SEND, 1);
    EXPECT_EQ(qel_PerformIo(handle.get()), 0);
}

TEST_F(ChannelTest, TwoPodsOfOneProcessStandApart) {
    RecordingProxy proxy({PodSpec{.serial = 1}, PodSpec{.serial = 2}});
    BareHandle handle;
    BareHandle other;
    other.inform.qelVariable.sn = 2;
    ASSERT_EQ(handle.open(), 0);
    ASSERT_EQ(other.open(), 0);
    PortWrite(handle.get(), TBC_PORT_SEND, 1);
    PortWrite(other.get(), TBC_PORT_SEND, 2);
    EXPECT_EQ(qel_PerformIo(other.get()), 0);
    EXPECT_EQ(qel_PerformIo(handle.get()), 0);
    EXPECT_EQ(proxy.pod(0).text(), "write 23 0001\n");
    EXPECT_EQ(proxy.pod(1).text(), "write 23 0002\n");
}

TEST_F(ChannelTest, AHandleInAnotherProcessUsesTheSamePod) {
    RecordingProxy proxy;
    BareHandle handle;
    uint16_t next = 1;
    proxy.pod().answer_with(TBC_PORT_RECEIVE, [&next] { return next++; });
    ASSERT_EQ(handle.open(), 0);
    uint16_t word = 0;
    PortRead(handle.get(), TBC_PORT_RECEIVE, &word);
    EXPECT_EQ(qel_PerformIo(handle.get()), 0);
    EXPECT_EQ(word, 1);
    const pid_t child = fork();
    if (child == 0) {
        // A handle of its own; the parent's is never used here.
        BareHandle own;
        uint16_t read = 0;
        bool right = own.open() == 0;
        PortRead(own.get(), TBC_PORT_RECEIVE, &read);
        right = right && qel_PerformIo(own.get()) == 0 && read == 2;
        CloseUsbDevice(own.get());
        _exit(right ? 0 : 1);
    }
    int status = -1;
    ASSERT_EQ(waitpid(child, &status, 0), child);
    EXPECT_EQ(status, 0);
    PortRead(handle.get(), TBC_PORT_RECEIVE, &word);
    EXPECT_EQ(qel_PerformIo(handle.get()), 0);
    EXPECT_EQ(word, 3);
    EXPECT_THAT(proxy.pod().commands(),
                ElementsAre(SHM_CMD_ATTACH, SHM_CMD_EXECUTE, SHM_CMD_ATTACH, SHM_CMD_EXECUTE,
                            SHM_CMD_DETACH, SHM_CMD_EXECUTE));
}

} // namespace
