#include "support/failing_os.h"
#include "support/leak_guard.h"
#include "transport/share.h"

#include <gtest/gtest.h>

#include <cerrno>
#include <cstring>
#include <fcntl.h>
#include <string>
#include <sys/mman.h>
#include <sys/wait.h>
#include <unistd.h>

namespace {

using test_support::LeakGuard;
using test_support::RestoredOs;

class ShareTest : public testing::Test {
protected:
    ShareTest() { share.size = 1000; }
    ~ShareTest() override {
        if (share.objectName[0] != '\0') {
            shm_unlink(share.objectName);
        }
    }
    off_t object_bytes() {
        const int fd = shm_open(share.objectName, O_RDONLY, 0);
        struct stat status {};
        const bool exists = fd >= 0 && fstat(fd, &status) == 0;
        if (fd >= 0) {
            close(fd);
        }
        return exists ? status.st_size : -1;
    }
    // A failed attach leaves nothing mapped and nothing open.
    void expect_failed(int32_t code) {
        share.pHandle = 99;
        share.pMemory = &share;
        bool created = true;
        EXPECT_EQ(sys_ShareAlloc(&names, &share, &created), code);
        EXPECT_EQ(share.pHandle, 0);
        EXPECT_EQ(share.pMemory, nullptr);
    }
    uint32_t attach_count(const ShareInform& block) {
        uint32_t count = 0;
        std::memcpy(&count, static_cast<const char*>(block.pMemory) - 4, sizeof count);
        return count;
    }

    LeakGuard leaks;
    char driver[16] = "driver";
    ShareNames names{"control", "libjsctalvor.so", driver, 7};
    ShareInform share{};
};

TEST_F(ShareTest, TheFirstCreates) {
    bool created = false;
    ASSERT_EQ(sys_ShareAlloc(&names, &share, &created), 0);
    EXPECT_TRUE(created);
    EXPECT_EQ(object_bytes(), 1004);
    EXPECT_EQ(attach_count(share), 0U);
    EXPECT_EQ(share.size, 1000U);
    EXPECT_GT(share.pHandle, 0);
    EXPECT_EQ(std::string(share.objectName).substr(0, 4), "JTI-");
    EXPECT_EQ(std::strlen(share.objectName), 12U);
    const std::string memory(static_cast<char*>(share.pMemory), 1000);
    EXPECT_EQ(memory, std::string(1000, '\0'));
    EXPECT_EQ(sys_ShareFree(&share), 0);
    EXPECT_EQ(object_bytes(), -1);
    EXPECT_EQ(share.pHandle, 0);
    EXPECT_EQ(share.pMemory, nullptr);
    EXPECT_EQ(share.size, 0U);
}

TEST_F(ShareTest, ALaterOneAttachesToWhatStandsThere) {
    bool created = false;
    ASSERT_EQ(sys_ShareAlloc(&names, &share, &created), 0);
    std::strcpy(static_cast<char*>(share.pMemory), "content");
    ShareInform second{};
    second.size = 1000;
    created = true;
    ASSERT_EQ(sys_ShareAlloc(&names, &second, &created), 0);
    EXPECT_FALSE(created);
    EXPECT_STREQ(static_cast<char*>(second.pMemory), "content");
    EXPECT_STREQ(second.objectName, share.objectName);
    EXPECT_EQ(attach_count(share), 1U);
    std::strcpy(static_cast<char*>(second.pMemory), "changed");
    EXPECT_STREQ(static_cast<char*>(share.pMemory), "changed");
    EXPECT_EQ(sys_ShareFree(&share), 0);
    EXPECT_EQ(object_bytes(), 1004);
    EXPECT_EQ(attach_count(second), 0U);
    EXPECT_EQ(sys_ShareFree(&second), 0);
    EXPECT_EQ(object_bytes(), -1);
}

TEST_F(ShareTest, AnotherProcessAttachesToIt) {
    bool created = false;
    ASSERT_EQ(sys_ShareAlloc(&names, &share, &created), 0);
    const pid_t child = fork();
    if (child == 0) {
        ShareInform second{};
        second.size = 1000;
        bool made = true;
        const bool attached = sys_ShareAlloc(&names, &second, &made) == 0 && !made;
        if (attached) {
            std::strcpy(static_cast<char*>(second.pMemory), "from the child");
        }
        _exit(attached && sys_ShareFree(&second) == 0 ? 0 : 1);
    }
    int status = -1;
    ASSERT_EQ(waitpid(child, &status, 0), child);
    EXPECT_EQ(status, 0);
    EXPECT_STREQ(static_cast<char*>(share.pMemory), "from the child");
    EXPECT_EQ(attach_count(share), 0U);
    EXPECT_EQ(sys_ShareFree(&share), 0);
    EXPECT_EQ(object_bytes(), -1);
}

TEST_F(ShareTest, TheNameDependsOnEachPart) {
    const auto name_of = [](const ShareNames& parts) {
        ShareNames copy = parts;
        ShareInform block{};
        block.size = 8;
        bool created = false;
        EXPECT_EQ(sys_ShareAlloc(&copy, &block, &created), 0);
        EXPECT_TRUE(created);
        const std::string name = block.objectName;
        EXPECT_EQ(sys_ShareFree(&block), 0);
        return name;
    };
    char other[] = "other";
    const std::string name = name_of(names);
    EXPECT_EQ(name_of(names), name);
    EXPECT_NE(name_of({"controk", "libjsctalvor.so", driver, 7}), name);
    EXPECT_NE(name_of({"control", "libjsctalvor", driver, 7}), name);
    EXPECT_NE(name_of({"control", "libjsctalvor.so", other, 7}), name);
    EXPECT_NE(name_of({"control", "libjsctalvor.so", driver, 8}), name);
}

TEST_F(ShareTest, RefusesNullPointers) {
    bool created = true;
    EXPECT_EQ(sys_ShareAlloc(nullptr, &share, &created), -122);
    EXPECT_EQ(sys_ShareAlloc(&names, nullptr, &created), -122);
    EXPECT_EQ(sys_ShareAlloc(&names, &share, nullptr), -122);
    EXPECT_EQ(sys_ShareFree(nullptr), -122);
}

TEST_F(ShareTest, RefusesASizeOfZero) {
    share.size = 0;
    expect_failed(-164);
}

TEST_F(ShareTest, RefusesMissingNames) {
    names.pName2 = nullptr;
    expect_failed(-164);
    names = {nullptr, "libjsctalvor.so", driver, 7};
    expect_failed(-164);
    names = {"control", nullptr, driver, 7};
    expect_failed(-164);
}

TEST_F(ShareTest, AnObjectThatCannotBeOpened) {
    const RestoredOs restored;
    os_calls.shm_open = [](const char*, int, mode_t) { return -1; };
    expect_failed(-164);
}

TEST_F(ShareTest, ASizeThatCannotBeQueried) {
    const RestoredOs restored;
    os_calls.fstat = [](int, struct stat*) { return -1; };
    expect_failed(-164);
}

TEST_F(ShareTest, AnObjectThatCannotBeExtended) {
    const RestoredOs restored;
    os_calls.ftruncate = [](int, off_t) { return -1; };
    expect_failed(-164);
}

TEST_F(ShareTest, AnObjectThatCannotBeMapped) {
    const RestoredOs restored;
    os_calls.mmap = [](void*, size_t, int, int, int, off_t) { return MAP_FAILED; };
    expect_failed(-164);
}

TEST_F(ShareTest, ASmallerBlockIsLeftAsItWas) {
    bool created = false;
    ASSERT_EQ(sys_ShareAlloc(&names, &share, &created), 0);
    std::memset(static_cast<char*>(share.pMemory) - 4, 0x5A, 1004);
    ShareInform larger{};
    larger.size = 1001;
    created = true;
    EXPECT_EQ(sys_ShareAlloc(&names, &larger, &created), -164);
    EXPECT_EQ(larger.pMemory, nullptr);
    EXPECT_EQ(larger.pHandle, 0);
    EXPECT_EQ(object_bytes(), 1004);
    EXPECT_EQ(std::string(static_cast<char*>(share.pMemory) - 4, 1004), std::string(1004, 0x5A));
    ShareInform smaller{};
    smaller.size = 999;
    EXPECT_EQ(sys_ShareAlloc(&names, &smaller, &created), 0);
    EXPECT_FALSE(created);
    EXPECT_EQ(sys_ShareFree(&smaller), 0);
    std::memset(static_cast<char*>(share.pMemory) - 4, 0, 4);
    EXPECT_EQ(sys_ShareFree(&share), 0);
}

TEST_F(ShareTest, FreeingWhatIsNotMappedIsNoError) {
    EXPECT_EQ(sys_ShareFree(&share), 0);
    EXPECT_EQ(share.size, 1000U);
    bool created = false;
    ASSERT_EQ(sys_ShareAlloc(&names, &share, &created), 0);
    EXPECT_EQ(sys_ShareFree(&share), 0);
    EXPECT_EQ(sys_ShareFree(&share), 0);
}

} // namespace
