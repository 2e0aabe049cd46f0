#include "api/register_access.h"
#include "common/notation.h"
#include "support/instant_pod.h"

#include <gtest/gtest.h>

namespace {

using test_support::InstantPod;

TEST(RegisterAccessTest, PollsByQueueingAWait) {
    struct Row {
        int type;
        int32_t code;
        const char* text;
    };
    for (const Row& row :
         {Row{-1, -122, ""}, Row{0, -122, ""}, Row{1, -122, ""}, Row{2, 0, ""},
          Row{3, 0, "wait send\n"}, Row{4, 0, "wait send many\n"}, Row{5, -122, ""},
          Row{6, -122, ""}, Row{7, 0, "wait recv\n"}, Row{8, 0, "wait recv many\n"},
          Row{9, -122, ""}, Row{10, -122, ""}, Row{11, -122, ""}, Row{12, 0, "wait done\n"},
          Row{13, -122, ""}, Row{14, -122, ""}, Row{15, -122, ""}, Row{18, -122, ""},
          Row{19, -122, ""}}) {
        InstantPod pod;
        EXPECT_EQ(jsc_RegisterPoll(pod.get(), static_cast<JSC_StatusType>(row.type), 5), row.code)
            << row.type;
        EXPECT_EQ(talvor::notation::text(pod.queued()), row.text) << row.type;
    }
}

TEST(RegisterAccessTest, ReadsFlush) {
    InstantPod pod;
    pod.give = [](uint16_t port) { return static_cast<uint16_t>(port * 3); };
    uint16_t data[4] = {};
    EXPECT_EQ(jsc_RegisterRead(pod.get(), true, true, 16, 3, data), 0);
    EXPECT_EQ(data[0], 48);
    EXPECT_EQ(data[1], 51);
    EXPECT_EQ(data[2], 54);
    EXPECT_EQ(pod.flushes, 1U);
    EXPECT_EQ(jsc_RegisterRead(pod.get(), false, true, 22, 2, data), 0);
    EXPECT_EQ(data[1], 66);
    EXPECT_EQ(jsc_RegisterRead(pod.get(), true, false, 16, 3, data), 0);
    EXPECT_EQ(data[0], 54) << "the last one stays";
    EXPECT_EQ(jsc_RegisterRead(pod.get(), true, true, 24, 1, data), -170);
    EXPECT_EQ(jsc_RegisterRead(pod.get(), true, true, 23, 4, data), 0)
        << "only the first is checked";
}

TEST(RegisterAccessTest, WritesStayQueued) {
    InstantPod pod;
    uint16_t data[3] = {1, 2, 3};
    EXPECT_EQ(jsc_RegisterWrite(pod.get(), true, true, 12, 2, data), 0);
    EXPECT_EQ(talvor::notation::text(pod.queued()), "write 12 0001\nwrite 13 0002\n");
    EXPECT_EQ(jsc_RegisterWrite(pod.get(), true, true, 32, 1, data), -170);
    EXPECT_EQ(pod.flushes, 0U);
}

TEST(RegisterAccessTest, ReturnsTheFailureOfAFlushThatMadeRoom) {
    InstantPod pod;
    pod.recording = false;
    std::vector<uint16_t> data(100'000, 5);
    pod.failing = 1;
    EXPECT_EQ(jsc_RegisterWrite(pod.get(), false, true, 23, 100'000, data.data()), -140);
    EXPECT_EQ(jsc_RegisterWrite(pod.get(), false, true, 23, 1, data.data()), -140);
    EXPECT_EQ(jsc_RegisterPoll(pod.get(), eJSC_STATUS_TYPE_COMMAND_FINISH, 0), -140);
    EXPECT_EQ(jsc_RegisterRead(pod.get(), true, true, 0, 1, data.data()), -140);
    EXPECT_EQ(pod.flushes, 1U);
    EXPECT_TRUE(pod.queued().empty());
}

TEST(RegisterAccessTest, ChecksItsArguments) {
    InstantPod pod;
    uint16_t data = 99;
    EXPECT_EQ(jsc_RegisterPoll(nullptr, eJSC_STATUS_TYPE_COMMAND_FINISH, 0), -122);
    EXPECT_EQ(jsc_RegisterRead(nullptr, true, true, 0, 1, &data), -122);
    EXPECT_EQ(jsc_RegisterRead(pod.get(), true, true, 0, 1, nullptr), -122);
    EXPECT_EQ(jsc_RegisterWrite(nullptr, true, true, 0, 1, &data), -122);
    EXPECT_EQ(jsc_RegisterWrite(pod.get(), true, true, 0, 1, nullptr), -122);
    pod.inform.pJscControl = nullptr;
    EXPECT_EQ(jsc_RegisterPoll(pod.get(), eJSC_STATUS_TYPE_COMMAND_FINISH, 0), -116);
    EXPECT_EQ(jsc_RegisterRead(pod.get(), true, true, 0, 1, &data), -116);
    EXPECT_EQ(jsc_RegisterWrite(pod.get(), true, true, 0, 1, &data), -116);
    EXPECT_EQ(data, 99);
    EXPECT_TRUE(pod.queued().empty());
}

} // namespace
