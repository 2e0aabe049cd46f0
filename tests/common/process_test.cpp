// What other processes are found to be.
#include "common/child_process.h"
#include "common/process.h"
#include "common/temporary.h"

#include <gtest/gtest.h>

#include <chrono>
#include <csignal>
#include <sstream>
#include <string>
#include <sys/file.h>
#include <sys/stat.h>
#include <sys/sysmacros.h>
#include <thread>
#include <unistd.h>

namespace talvor {
namespace {

using std::chrono::system_clock;
using namespace std::string_literals;

TEST(CommandTextTest, LeavesTheFolderAwayAndPutsBlanksBetween) {
    EXPECT_EQ(command_text("/usr/bin/talvor\0svf\0a.svf\0"s), "talvor svf a.svf");
    EXPECT_EQ(command_text("talvor\0"s), "talvor");
    EXPECT_EQ(command_text("/opt/a/b\0/c/d"s), "b /c/d");
    EXPECT_EQ(command_text(""), "");
}

TEST(CommandTextTest, PrintsNothingThatATerminalWouldObey) {
    EXPECT_EQ(command_text("host\0\x1B[2J\n\xC3\xA4\x7F"s), "host ?[2J????");
}

TEST(CommandTextTest, IsCutWhereItIsLong) {
    EXPECT_EQ(command_text(std::string(80, 'a')), std::string(80, 'a'));
    EXPECT_EQ(command_text(std::string(81, 'a')), std::string(77, 'a') + "...");
}

class SleeperTest : public testing::Test {
protected:
    ~SleeperTest() override {
        sleeper_.signal(SIGKILL);
        sleeper_.wait();
    }
    ChildProcess sleeper_ = ChildProcess::spawn({.arguments = {"/bin/sleep", "1000"}}).value();
};

TEST_F(SleeperTest, HasItsCommandAndItsStart) {
    // The kernel lets us go on before it has stored the arguments.
    while (process_command(sleeper_.pid()).empty()) {
        usleep(1000);
    }
    EXPECT_EQ(process_command(sleeper_.pid()), "sleep 1000");
    const auto started = process_start(sleeper_.pid());
    ASSERT_TRUE(started);
    const auto age = system_clock::now() - *started;
    EXPECT_GE(age, std::chrono::milliseconds(-20)) << "the kernel counts in ticks";
    EXPECT_LT(age, std::chrono::minutes(10));
    const auto own = process_start(getpid());
    ASSERT_TRUE(own);
    EXPECT_LE(*own, *started + std::chrono::milliseconds(20));
}

TEST_F(SleeperTest, HasOneStartHoweverOftenAndWhenItIsAsked) {
    constexpr auto kApart = std::chrono::milliseconds(350); // no part of a second
    const auto first = process_start(sleeper_.pid());
    ASSERT_TRUE(first);
    for (int i = 0; i < 3; ++i) {
        std::this_thread::sleep_for(kApart);
        const auto again = process_start(sleeper_.pid());
        ASSERT_TRUE(again);
        EXPECT_LT(std::chrono::abs(*again - *first), kApart / 2);
    }
}

TEST(ProcessTest, ThatIsNotThereHasNeither) {
    EXPECT_EQ(process_command(0), "");
    EXPECT_FALSE(process_start(0));
}

constexpr const char* kLocks = "1: FLOCK  ADVISORY  WRITE 4242 00:1b:77 0 EOF\n"
                               "1: -> FLOCK  ADVISORY  WRITE 4243 00:1b:77 0 EOF\n"
                               "2: POSIX  ADVISORY  WRITE 12 00:1b:78 0 EOF\n"
                               "3: FLOCK  ADVISORY  READ  13 00:1b:79 0 EOF\n"
                               "4: FLOCK  ADVISORY  WRITE 0 00:1b:80 0 EOF\n"
                               "5: OFDLCK ADVISORY  READ  -1 00:1b:81 120 120\n"
                               "6: FLOCK  ADVISORY  WRITE 14 08:100:82 0 EOF\n"
                               "7: FLOCK\n";

std::optional<pid_t> holder(dev_t device, ino_t inode) {
    std::istringstream locks(kLocks);
    return flock_holder(locks, device, inode);
}

TEST(FlockHolderTest, IsTheProcessOfTheExclusiveLock) {
    EXPECT_EQ(holder(makedev(0, 0x1B), 77), 4242);
    EXPECT_EQ(holder(makedev(8, 0x100), 82), 14);
}

TEST(FlockHolderTest, IsNobodyForOtherLocks) {
    for (const ino_t inode : {78U, 79U, 80U, 81U, 83U}) {
        EXPECT_FALSE(holder(makedev(0, 0x1B), inode)) << inode;
    }
    EXPECT_FALSE(holder(makedev(1, 0x1B), 77));
}

TEST(FlockHolderTest, IsFoundInTheKernelsOwnList) {
    const TemporaryFile file = TemporaryFile::create().value();
    EXPECT_FALSE(flock_holder(file.descriptor()));
    ASSERT_EQ(flock(file.descriptor(), LOCK_EX | LOCK_NB), 0);
    EXPECT_EQ(flock_holder(file.descriptor()), getpid());
    EXPECT_FALSE(flock_holder(-1));
}

TEST(TimeOfDayTest, HasADateOnlyForAnotherDay) {
    const auto noon = system_clock::from_time_t([] {
        std::tm day{};
        day.tm_year = 126;
        day.tm_mon = 2;
        day.tm_mday = 4;
        day.tm_hour = 12;
        day.tm_isdst = -1;
        return std::mktime(&day);
    }());
    EXPECT_EQ(time_of_day_text(noon, noon + std::chrono::hours(11)), "12:00:00");
    EXPECT_EQ(time_of_day_text(noon, noon + std::chrono::hours(13)), "2026-03-04 12:00:00");
}

} // namespace
} // namespace talvor
