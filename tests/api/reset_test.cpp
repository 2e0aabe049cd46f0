#include "api/reset.h"
#include "log/store.h"
#include "support/driver_session.h"
#include "transport/port.h"

#include <gtest/gtest.h>

namespace {

using test_support::DriverSession;
using test_support::RecordingConfig;
using Words = std::vector<uint16_t>;
using Log = std::vector<uint32_t>;

const std::string settle = "write 16 0000\n";

std::string settles(int count) {
    std::string all;
    for (int done = 0; done < count; ++done) {
        all += settle;
    }
    return all;
}

// A connected handle on a pod of generation 2, with a reset log.
class ResetTest : public testing::Test {
protected:
    explicit ResetTest(const RecordingConfig::Keys& keys = {{"KELM.POD_EMUVERSION", "2"}})
        : session(POD_REVISION_2, keys, JSC_RECIPE_RESET_LOG) {
        connected = session.connect();
    }

    void SetUp() override { ASSERT_EQ(connected, 0); }

    int32_t reset() { return jsc_Reset(session.get(), &action); }

    std::vector<std::string> bodies() {
        std::vector<std::string> all;
        for (const auto& batch : session.pod().batches()) {
            all.push_back(batch.body());
        }
        return all;
    }

    Log logged() {
        const auto* log = static_cast<LS_LOGFILE*>(session.get()->resetLogHandle);
        return {log->pLogFileData, log->pLogFileData + log->logFileIndex};
    }

    DriverSession session;
    int32_t connected;
    JSC_ResetAction action{};
};

const std::string version_read = "write 1 0001\n" + settle + "read 19\n";
// What a long initialisation leaves queued, when the link delay is new and when it is not.
const std::string rest = "write 1 0004\nwrite 10 7002\nwait done\nwrite 10 7004\n";
const std::string first_rest = rest + "write 4 0080\nwrite 4 0083\n";

TEST_F(ResetTest, WithoutARequestInitialisesAtLength) {
    EXPECT_EQ(reset(), 0);
    EXPECT_EQ(bodies(),
              (std::vector<std::string>{settles(9) + "write 10 6040\nread 17\n",
                                        "write 5 0c0c\nwait done\n", settle + version_read}));
    EXPECT_EQ(session.queued(), first_rest);
    EXPECT_TRUE(session.pod().support_writes().empty());
    EXPECT_TRUE(logged().empty());
    EXPECT_EQ(session.control().priorConfig, 0x0083);
}

TEST_F(ResetTest, ASoftRequestResetsTheController) {
    action.resetSoft = true;
    EXPECT_EQ(reset(), 0);
    const std::vector<std::string> sent = bodies();
    ASSERT_EQ(sent.size(), 3U);
    EXPECT_EQ(sent[0], "write 10 7001\n" + settles(8) + "write 10 6040\nread 17\n");
    EXPECT_EQ(session.queued(), "write 1 0004\nwrite 10 7002\nwrite 9 0600\nwait done\n"
                                "write 10 7004\nwrite 2 0001\nwrite 4 0080\nwrite 4 0083\n")
        << "the cache was emptied, so all is written anew";
}

TEST_F(ResetTest, AHardRequestPulsesTheResetLineTwice) {
    action.resetHard = true;
    EXPECT_EQ(reset(), 0);
    EXPECT_EQ(session.pod().support_writes(), (Words{0x01E0, 0x00E0, 0x01E0, 0x00E0}));
    const std::vector<std::string> sent = bodies();
    ASSERT_EQ(sent.size(), 3U);
    EXPECT_EQ(sent[0], settles(8) + "write 10 6040\nread 17\n") << "no settle in front";
}

TEST_F(ResetTest, AResetThatIsFoundAssertedIsReleased) {
    session.control().StatusCache |= SUPPORT_RESET;
    session.control().registerCache[9] = 0x1234;
    EXPECT_EQ(reset(), 0);
    EXPECT_EQ(session.pod().support_writes(), Words{0x00E0});
    EXPECT_EQ(bodies()[0], settles(8) + "write 10 6040\nread 17\n");
}

TEST_F(ResetTest, AHiddenRequestTakesTheOutputsOffAndRestoresTheTap) {
    action.resetHidden = true;
    session.pod().answer(TBC_PORT_TAP_STATE, {6});
    EXPECT_EQ(reset(), 0);
    const std::vector<std::string> sent = bodies();
    ASSERT_EQ(sent.size(), 5U);
    EXPECT_EQ(sent[0], "wait done\nwait done\nread 18\n");
    EXPECT_EQ(sent[1], "write 2 0000\n" + settles(9) + "write 10 6040\nread 17\n");
    EXPECT_EQ(sent[2], "write 5 0c0c\nwait done\n");
    EXPECT_EQ(sent[3], settle + version_read);
    EXPECT_EQ(sent[4], rest + "write 2 0001\nwrite 4 0080\nwrite 4 0083\n"
                              "wait done\nwait done\nwrite 11 1006\nwrite 10 4080\nwait done\n");
    EXPECT_EQ(session.queued(), "") << "the outputs are connected by the pins already";
}

TEST_F(ResetTest, AHiddenRequestLeavesOutputsThatAreOffAlone) {
    action.resetHidden = true;
    PortWrite(session.get(), TBC_PORT_OUTPUT, 0);
    ASSERT_EQ(qel_PerformIo(session.get()), 0);
    session.pod().forget();
    EXPECT_EQ(reset(), 0);
    EXPECT_EQ(bodies()[1], settles(9) + "write 10 6040\nread 17\n");
}

TEST_F(ResetTest, AFailedHiddenRequestLeavesTheOutputsDisconnected) {
    action.resetHidden = true;
    action.resetHard = true;
    session.pod().refuse_support_writes(1);
    EXPECT_EQ(reset(), -190);
    EXPECT_EQ(session.control().registerCache[2] & TBC_OUTPUT_CONNECTED, 0);
}

TEST_F(ResetTest, ATrstPulseTakesTheTapToReset) {
    action.trstAssert = action.trstNegate = true;
    EXPECT_EQ(reset(), 0);
    const std::vector<std::string> sent = bodies();
    // Low: nothing, the condition is not latched. High: the clear pulse.
    ASSERT_GE(sent.size(), 5U);
    EXPECT_EQ(sent[0], "wait done\n");
    EXPECT_EQ(sent[1], "wait done\n");
    EXPECT_EQ(sent[2], "write 5 0c00\nwrite 5 0c04\n");
    EXPECT_EQ(sent[3], settles(9) + "write 10 6040\nread 17\n");
    EXPECT_EQ(sent[4], "write 5 0c0c\nwait done\n");
    EXPECT_EQ(sent[5],
              "wait done\nwait done\nwrite 11 1000\nwrite 10 4080\n" + settle + version_read);
}

TEST_F(ResetTest, ResetsThatAreAskedForSaveTheTapReset) {
    action.trstAssert = action.trstNegate = action.resetSoft = true;
    EXPECT_EQ(reset(), 0);
    EXPECT_EQ(session.pod().text().find("write 11 1000"), std::string::npos);
}

TEST_F(ResetTest, UnequalTrstRequestsAreRefusedBeforeAnything) {
    zdl_LogFileErase(session.get()->resetLogHandle, true);
    zdl_LogFileBasic(session.get()->resetLogHandle, 77);
    for (const bool assert : {false, true}) {
        action.trstAssert = assert;
        action.trstNegate = !assert;
        EXPECT_EQ(reset(), -122);
    }
    EXPECT_EQ(logged(), Log{77});
    EXPECT_EQ(session.queued(), "");
    EXPECT_TRUE(session.pod().commands().empty());
}

TEST_F(ResetTest, AQuietOneErasesTheLogAllTheSame) {
    zdl_LogFileErase(session.get()->resetLogHandle, true);
    zdl_LogFileBasic(session.get()->resetLogHandle, 77);
    EXPECT_EQ(reset(), 0);
    EXPECT_TRUE(logged().empty());
    EXPECT_EQ(zdl_LogFileBasic(session.get()->resetLogHandle, 1), 0);
    EXPECT_TRUE(logged().empty()) << "and it is disabled";
}

TEST_F(ResetTest, AVerboseOneWritesTheLog) {
    action.verbose = true;
    session.control().timeDependNew.slowMode = false;
    session.control().timeDependNew.fastMode = false;
    EXPECT_EQ(reset(), 0);
    EXPECT_EQ(logged(), (Log{6, 53, 6, 1, 2, 5, 18, 28, 31, 22, 24, 0xFFFFFFFF, 3, 39, 35, 38}));
}

TEST_F(ResetTest, TheLogSaysWhatWasFound) {
    action.verbose = true;
    action.trstAssert = action.trstNegate = true;
    session.control().timeDependNew.slowMode = true;
    session.control().timeDependNew.fastMode = true;
    session.control().ctlrRevise = eJTI_CONTROL_ID_DPM;
    session.get()->tbcVariable.tdoEdgeFall = true;
    session.get()->tbcVariable.useLinkDelay = true;
    session.get()->tbcVariable.linkDelay = 9;
    session.control().powerLossErased = true;
    session.pod().answer_always(TBC_PORT_STATUS1, 0x8000);
    EXPECT_EQ(reset(), 0);
    EXPECT_EQ(logged(),
              (Log{41, 6, 55, 6, 1, 2, 5, 19, 29, 32, 23, 24, 0xFFFFFFFF, 9, 39, 34, 38}));
    EXPECT_FALSE(session.control().powerLossErased)
        << "forgotten by an initialisation that succeeds";
    session.control().timeDependNew.slowMode = false;
    session.pod().answer_always(TBC_PORT_STATUS1, 0x8001);
    action.trstAssert = action.trstNegate = false;
    EXPECT_EQ(reset(), 0);
    EXPECT_EQ(logged(), (Log{6, 55, 6, 1, 2, 5, 20, 28, 32, 23, 24, 0xFFFFFFFF, 9, 39, 35, 38}));
}

TEST_F(ResetTest, PowerThatWasLostIsClearedAndTheTapIsReset) {
    session.control().StatusCache |= SUPPORT_CONDITION;
    unsigned clears = 0;
    session.pod().watch_writes([&](uint16_t port, uint16_t value) {
        clears += port == TBC_PORT_POD_CONTROL && (value & TBC_POD_CLEAR) == 0;
    });
    session.pod().answer_with(TBC_PORT_SUPPORT,
                              [&] { return static_cast<uint16_t>(clears > 0 ? 0x00E0 : 0x00E1); });
    action.verbose = true;
    EXPECT_EQ(reset(), 0);
    EXPECT_FALSE(session.control().powerLossActive);
    EXPECT_FALSE(session.control().powerLossErased);
    EXPECT_NE(session.pod().text().find("write 11 1000\nwrite 10 4080\n"), std::string::npos);
    const Log log = logged();
    EXPECT_EQ(log[0], 42U) << "TRSTn was low, by the condition";
    EXPECT_EQ(log[log.size() - 2], 34U);
    EXPECT_EQ(log.back(), 38U);
}

TEST_F(ResetTest, PowerThatStaysLostIsReported) {
    session.control().StatusCache |= SUPPORT_CONDITION;
    session.pod().answer_always(TBC_PORT_SUPPORT, 0x00E1);
    action.verbose = true;
    EXPECT_EQ(reset(), -180);
    EXPECT_TRUE(session.control().powerLossActive);
    EXPECT_TRUE(session.control().powerLossErased);
    EXPECT_EQ(logged(), (Log{42, 6, 53})) << "the log ends where the initialisation did";
    // Seen once, it is cleared by the next initialisation, which remembers it.
    session.pod().answer_always(TBC_PORT_SUPPORT, 0x00E0);
    EXPECT_EQ(reset(), 0);
    EXPECT_FALSE(session.control().powerLossActive);
}

TEST_F(ResetTest, EveryInitialisationAddsTheConfiguredDelta) {
    session.get()->tbcVariable.useLinkDelta = true;
    session.get()->tbcVariable.linkDelta = 2;
    EXPECT_EQ(reset(), 0);
    EXPECT_EQ(reset(), 0);
    EXPECT_EQ(session.control().linkDelta, 4);
    EXPECT_EQ(session.control().priorConfig, 0x0087);
}

TEST_F(ResetTest, ALogThatIsFullEndsTheReset) {
    auto* log = static_cast<LS_LOGFILE*>(session.get()->resetLogHandle);
    action.verbose = true;
    log->logFileEntryMax = 1;
    EXPECT_EQ(reset(), -520);
    EXPECT_TRUE(session.pod().commands().empty()) << "in front of the initialisation";
    log->logFileEntryMax = 16;
    EXPECT_EQ(reset(), 0);
    const Log whole = logged();
    EXPECT_EQ(whole.size(), 16U);
    for (uint32_t room = 1; room < whole.size(); ++room) {
        log->logFileEntryMax = room;
        EXPECT_EQ(reset(), -520) << room;
        EXPECT_EQ(logged(), Log(whole.begin(), whole.begin() + room));
    }
    log->logFileEntryMax = 0;
    action.trstAssert = action.trstNegate = true;
    EXPECT_EQ(reset(), -520) << "before TRSTn";
    log->logFileEntryMax = 256;
}

TEST_F(ResetTest, EveryFlushThatFailsIsReturned) {
    // The fourth reads the version, to tell the extended controller; unread, it is another.
    const std::vector<int32_t> codes{-140, -140, -140, 0, -140};
    action.resetHidden = true;
    for (size_t failing = 0; failing < codes.size(); ++failing) {
        ASSERT_EQ(qel_PerformIo(session.get()), 0);
        session.control().registerCache[TBC_PORT_OUTPUT] = TBC_OUTPUT_CONNECTED;
        size_t batch = 0;
        session.pod().interfere([&](lcl_shm& block) {
            if (block.cmd == SHM_CMD_EXECUTE && batch++ == failing) {
                block.status = -1;
            }
        });
        EXPECT_EQ(reset(), codes[failing]) << failing;
        session.pod().interfere(nullptr);
        batch_drop_reads(session.get());
    }
}

TEST_F(ResetTest, ChecksItsArguments) {
    EXPECT_EQ(jsc_Reset(nullptr, &action), -122);
    EXPECT_EQ(jsc_Reset(session.get(), nullptr), -122);
    LogFileInfo info{};
    EXPECT_EQ(tbc_InitLong(session.get(), false, nullptr, &action), -122);
    EXPECT_EQ(tbc_InitLong(session.get(), false, &info, nullptr), -122);
    EXPECT_EQ(tbc_InitLong(nullptr, false, &info, &action), -122);
    EXPECT_EQ(tbc_InitShort(nullptr), -122);
    EXPECT_EQ(tbc_StandardReset(nullptr, false), -122);
    EXPECT_EQ(tbc_HardwareTerm(nullptr), -122);
    JSC_Control* control = session.get()->pJscControl;
    session.get()->pJscControl = nullptr;
    EXPECT_EQ(jsc_Reset(session.get(), &action), -116);
    EXPECT_EQ(tbc_InitLong(session.get(), false, &info, &action), -116);
    EXPECT_EQ(tbc_InitShort(session.get()), -116);
    EXPECT_EQ(tbc_StandardReset(session.get(), false), -116);
    EXPECT_EQ(tbc_HardwareTerm(session.get()), -116);
    session.get()->pJscControl = control;
}

TEST_F(ResetTest, TheExtendedControllerIsWokenAndRefused) {
    session.pod().answer_always(TBC_PORT_VERSION, 2);
    EXPECT_EQ(tbc_InitShort(session.get()), -122);
    EXPECT_EQ(session.queued(), "write 1 0004\nwrite 28 f001\nwrite 28 8030\nwrite 28 9030\n");
}

} // namespace
