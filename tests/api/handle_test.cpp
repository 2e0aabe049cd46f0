#include "api/handle.h"
#include "log/store.h"
#include "support/driver_session.h"
#include "transport/batch.h"
#include "transport/port.h"

#include <gtest/gtest.h>

#include <cstring>
#include <fcntl.h>
#include <sys/mman.h>
#include <unistd.h>

namespace {

using test_support::DriverHandle;
using test_support::DriverSession;
using test_support::FailingHeap;
using test_support::LeakGuard;
using test_support::RecordingConfig;
using test_support::RecordingProxy;
using Commands = std::vector<uint32_t>;

TEST(CreateHandleTest, GivesAZeroedRecordWithTheDefaultsOfEveryGroup) {
    JSC_Inform* handle = nullptr;
    ASSERT_EQ(jsc_CreateHandle(&handle), 0);
    ASSERT_NE(handle, nullptr);
    EXPECT_EQ(handle->tbcShare.size, 0U);
    EXPECT_EQ(handle->tbcShare.pMemory, nullptr);
    EXPECT_EQ(handle->tbcShare.pHandle, 0);
    EXPECT_STREQ(handle->tbcShare.objectName, "");
    EXPECT_EQ(handle->pJscControl, nullptr);
    EXPECT_FALSE(handle->ctlrSoftOpen);
    EXPECT_FALSE(handle->ctlrHardOpen);
    EXPECT_EQ(handle->clientRecipe, 0U);
    EXPECT_EQ(handle->jtiClientType, eJTI_CLIENT_INVALID_FIRST);
    EXPECT_EQ(handle->podError, 0);
    EXPECT_EQ(handle->cfgHandle, nullptr);
    EXPECT_EQ(handle->pCfgInterface, nullptr);
    EXPECT_EQ(handle->resetLogHandle, nullptr);
    EXPECT_EQ(handle->opList, nullptr);
    EXPECT_EQ(handle->opListTail, nullptr);
    EXPECT_EQ(handle->ProxyShm, nullptr);
    EXPECT_EQ(handle->evStartSem, nullptr);
    EXPECT_EQ(handle->evCompleteSem, nullptr);
    EXPECT_EQ(handle->emuRevision, 0U);
    EXPECT_EQ(handle->instance, 0);
    EXPECT_EQ(handle->tbcVariable.slowFreq, 20000U);
    EXPECT_EQ(handle->tbcVariable.bootPinMap, 1U);
    EXPECT_EQ(handle->pllVariable.tclkOverFlow, 1U);
    EXPECT_EQ(handle->qelVariable.version, 1U);
    EXPECT_EQ(handle->zdlVariable.pDriverName, nullptr);
    EXPECT_EQ(jsc_DeleteHandle(&handle), 0);
    EXPECT_EQ(handle, nullptr);
}

TEST(CreateHandleTest, ReportsANullPointerAndAnEmptyHeap) {
    EXPECT_EQ(jsc_CreateHandle(nullptr), -122);
    FailingHeap heap(0);
    auto* handle = reinterpret_cast<JSC_Inform*>(&heap);
    EXPECT_EQ(jsc_CreateHandle(&handle), -131);
    EXPECT_EQ(handle, nullptr);
}

TEST(InitHandleTest, RefusesBadArgumentsAndLeavesTheHandleUntouched) {
    DriverHandle handle;
    RecordingConfig& config = handle.config;
    const auto init = [&](JSC_Inform* inform, int type, CFG_Interface* table, void* host) {
        return jsc_InitHandle(inform, 7, static_cast<JTI_Client>(type), table, host);
    };
    for (const int type : {-1, 0, 21, 22}) {
        EXPECT_EQ(init(handle.get(), type, config.table(), config.handle()), -122) << type;
    }
    EXPECT_EQ(init(nullptr, 1, config.table(), config.handle()), -122);
    EXPECT_EQ(init(handle.get(), 1, nullptr, config.handle()), -122);
    EXPECT_EQ(init(handle.get(), 1, config.table(), nullptr), -122);
    EXPECT_EQ(handle.get()->clientRecipe, 0U);
    EXPECT_EQ(handle.get()->jtiClientType, eJTI_CLIENT_INVALID_FIRST);
    EXPECT_EQ(handle.get()->cfgHandle, nullptr);
    EXPECT_EQ(handle.get()->pCfgInterface, nullptr);
    EXPECT_FALSE(handle.get()->ctlrSoftOpen);
    EXPECT_TRUE(config.keys_asked().empty());
}

TEST(InitHandleTest, AcceptsEveryKindOfClient) {
    const LeakGuard leaks;
    RecordingProxy proxy;
    for (const int type : {1, 2, 19, 20}) {
        DriverHandle handle;
        EXPECT_EQ(jsc_InitHandle(handle.get(), 0, static_cast<JTI_Client>(type),
                                 handle.config.table(), handle.config.handle()),
                  0);
        EXPECT_EQ(handle.get()->jtiClientType, type);
        EXPECT_EQ(jsc_QuitHandle(handle.get()), 0);
    }
}

TEST(InitHandleTest, AttachesAndFillsTheBlockOfAPod) {
    DriverSession session;
    ASSERT_EQ(session.init_code, 0);
    EXPECT_TRUE(session.get()->ctlrSoftOpen);
    EXPECT_FALSE(session.get()->ctlrHardOpen);
    EXPECT_EQ(session.pod().commands(), Commands{SHM_CMD_ATTACH});
    EXPECT_EQ(session.get()->emuRevision, 0x0100U);
    EXPECT_EQ(session.get()->tbcShare.size, 1048892U);
    const JSC_Control& control = session.control();
    EXPECT_EQ(static_cast<void*>(session.get()->pJscControl), session.get()->tbcShare.pMemory);
    for (const uint16_t word : control.registerCache) {
        EXPECT_EQ(word, 0);
    }
    EXPECT_EQ(control.ctlrSoftUsed, 1U);
    EXPECT_EQ(control.ctlrHardUsed, 0U);
    EXPECT_EQ(control.ctlrRevise, 0);
    EXPECT_FALSE(control.powerLossActive);
    EXPECT_FALSE(control.powerLossErased);
    EXPECT_EQ(control.linkTiming, 0);
    EXPECT_EQ(control.linkDelta, 0);
    EXPECT_EQ(control.linkDelay, 0U);
    EXPECT_TRUE(control.priorTBC);
    EXPECT_EQ(control.priorState, 0);
    EXPECT_EQ(control.priorConfig, 0);
    const JSC_JtagAmbleDelay none{};
    EXPECT_EQ(std::memcmp(&control.ambleDelay, &none, sizeof none), 0);
    for (const JSC_TimeDependancy* depend : {&control.timeDependOld, &control.timeDependNew}) {
        EXPECT_FALSE(depend->noTimeOut);
        EXPECT_FALSE(depend->fastMode);
        EXPECT_TRUE(depend->slowMode);
        EXPECT_EQ(depend->tclkFreq, 20000U);
        EXPECT_FALSE(depend->useMain);
        EXPECT_FALSE(depend->useAmble);
        EXPECT_TRUE(depend->useIrPath);
        EXPECT_EQ(depend->mainCount, 1U);
        EXPECT_EQ(depend->commandRepeat, 1U);
    }
    EXPECT_EQ(control.StatusCache, 0);
    EXPECT_EQ(control.Status0Cache, 0);
    EXPECT_EQ(control.Status1Cache, 0);
    EXPECT_FALSE(control.slowMode);
    EXPECT_TRUE(control.fastMode);
    EXPECT_EQ(control.timeValue.controlPropagateValue, 500U);
    EXPECT_EQ(control.timeValue.extraFinishValue, 20000U);
    EXPECT_FALSE(control.timeValue.tclkoPeriodForever);
}

TEST(InitHandleTest, TimeValuesTakeTheStallOption) {
    DriverSession session(POD_REVISION_1, {{"VEXIL.OKSTALL", "yes"}});
    ASSERT_EQ(session.init_code, 0);
    EXPECT_TRUE(session.control().timeValue.tclkoPeriodForever);
    EXPECT_TRUE(session.control().timeValue.extraFinishForever);
}

TEST(InitHandleTest, ReadsTheGroupsInTheirOrder) {
    DriverSession session;
    const std::vector<std::string> keys = session.handle.config.keys_asked();
    const auto at = [&](const char* key) {
        return std::find(keys.begin(), keys.end(), key) - keys.begin();
    };
    EXPECT_LT(at("VEXIL.ECOM_DRVR"), at("VEXIL.NOAMBLE"));
    EXPECT_LT(at("VEXIL.NOAMBLE"), at("VEXIL.TCLK_PROGRAM"));
    EXPECT_LT(at("VEXIL.TCLK_PROGRAM"), at("KELM.RMT_HOST"));
    EXPECT_LT(at("KELM.RMT_HOST"), at("KELM.POD_SN"));
    EXPECT_LT(at("KELM.POD_SN"), static_cast<ptrdiff_t>(keys.size()));
    EXPECT_EQ(session.handle.config.context_questions(), "igigigigig");
    EXPECT_STREQ(session.get()->zdlVariable.pDriverName, "jscpod.so");
    EXPECT_EQ(session.get()->zdlVariable.pDriverName, session.get()->zdlVariable.driverNameKelm);
}

TEST(InitHandleTest, ASecondTimeIsRefusedButReplacesWhatTheHostGave) {
    DriverSession session;
    RecordingConfig other;
    EXPECT_EQ(jsc_InitHandle(session.get(), 0x1234, eJTI_CLIENT_TEST_LOOPBACK, other.table(),
                             other.handle()),
              -116);
    EXPECT_EQ(session.get()->clientRecipe, 0x1234U);
    EXPECT_EQ(session.get()->jtiClientType, eJTI_CLIENT_TEST_LOOPBACK);
    EXPECT_EQ(session.get()->cfgHandle, other.handle());
    EXPECT_EQ(session.get()->pCfgInterface, other.table());
    EXPECT_EQ(session.control().ctlrSoftUsed, 1U);
    session.get()->ctlrSoftOpen = false;
    session.get()->ctlrHardOpen = true;
    EXPECT_EQ(session.handle.init(), -116) << "connected, though not initialised";
    EXPECT_FALSE(session.get()->ctlrSoftOpen);
}

TEST(InitHandleTest, PassesTheCodesOfTheReadersOn) {
    struct Row {
        const char* key;
        const char* text;
        int32_t code;
    };
    const LeakGuard leaks;
    RecordingProxy proxy;
    for (const Row& row :
         {Row{"KELM.POD_PORT", "many", RecordingConfig::kNotANumber},
          Row{"VEXIL.TDOEDGE", "sideways", -448}, Row{"VEXIL.TCLK_PROGRAM", "perhaps", -300},
          Row{"KELM.POD_NO770CABLE", "some", RecordingConfig::kNotABoolean},
          Row{"KELM.POD_EMUVERSION", "9", -339}}) {
        FailingHeap heap;
        {
            DriverHandle handle(RecordingConfig::Keys{{row.key, row.text}});
            EXPECT_EQ(handle.init(), row.code) << row.key;
            EXPECT_TRUE(handle.get()->ctlrSoftOpen);
            EXPECT_EQ(handle.get()->pJscControl, nullptr);
            EXPECT_EQ(handle.init(), -116) << "it cannot be initialised again";
            EXPECT_EQ(jsc_QuitHandle(handle.get()), -116);
        }
        EXPECT_TRUE(heap.blocks().empty()) << row.key;
    }
    EXPECT_TRUE(proxy.pod().commands().empty());
}

TEST(InitHandleTest, PassesTheHostsOwnCodeOn) {
    DriverHandle handle;
    handle.config.fail_invalid_id(-4711);
    EXPECT_EQ(handle.init(), -4711);
}

TEST(InitHandleTest, SurvivesEveryAllocationThatFails) {
    const LeakGuard leaks;
    RecordingProxy proxy;
    int refused = 0;
    for (unsigned served = 0;; ++served) {
        DriverHandle handle;
        FailingHeap heap(served);
        const int32_t code = handle.init(JSC_RECIPE_RESET_LOG);
        if (code == 0) {
            EXPECT_EQ(refused, 7) << "five scratch records, the log and its words";
            break;
        }
        EXPECT_EQ(code, -131) << served;
        ASSERT_LT(++refused, 20);
        // What the handle holds is the handle's; a log's record without words is left by the store.
        EXPECT_EQ(heap.blocks().size(), refused == 7 ? 1U : 0U) << served;
        heap.serve(1000);
        for (void* block : std::vector<void*>(heap.blocks())) {
            os_calls.free(block);
        }
    }
}

TEST(InitHandleTest, MakesTheResetLogWhenTheClientAsksForIt) {
    DriverSession without;
    EXPECT_EQ(without.get()->resetLogHandle, nullptr);
}

TEST(InitHandleTest, TheResetLogHas256WordsAndIsDisabled) {
    DriverSession with(POD_REVISION_1, {}, JSC_RECIPE_RESET_LOG);
    const auto* log = static_cast<LS_LOGFILE*>(with.get()->resetLogHandle);
    ASSERT_NE(log, nullptr);
    EXPECT_EQ(log->logFileEntryMax, 256U);
    EXPECT_FALSE(log->logFileEnable);
}

TEST(InitHandleTest, ReportsAPodThatCannotBeOpened) {
    const LeakGuard leaks;
    {
        DriverHandle handle;
        EXPECT_EQ(handle.init(), -141) << "no proxy";
        EXPECT_EQ(jsc_QuitHandle(handle.get()), -116);
    }
    RecordingProxy proxy;
    DriverHandle handle(RecordingConfig::Keys{{"KELM.POD_SN", "4711"}});
    EXPECT_EQ(handle.init(), -141) << "no such pod";
}

TEST(InitHandleTest, ReportsABoardWithoutADriverName) {
    const LeakGuard leaks;
    RecordingProxy proxy;
    DriverHandle handle;
    handle.config.remove("KELM.POD_DRVR");
    EXPECT_EQ(handle.init(), -164);
    EXPECT_EQ(handle.get()->pJscControl, nullptr);
}

TEST(InitHandleTest, ReportsAControllerBlockOfTheWrongSizeAndLeavesIt) {
    const LeakGuard leaks;
    RecordingProxy proxy;
    std::string name;
    {
        DriverHandle handle;
        ASSERT_EQ(handle.init(), 0);
        name = std::string("/") + handle.get()->tbcShare.objectName;
        EXPECT_EQ(jsc_QuitHandle(handle.get()), 0);
    }
    const int fd = shm_open(name.c_str(), O_CREAT | O_EXCL | O_RDWR, 0666);
    ASSERT_GE(fd, 0) << "the last handle has removed the block";
    ASSERT_EQ(ftruncate(fd, 100), 0);
    {
        DriverHandle handle;
        EXPECT_EQ(handle.init(), -164);
        EXPECT_EQ(handle.get()->pJscControl, nullptr);
        EXPECT_EQ(jsc_QuitHandle(handle.get()), -116);
    }
    EXPECT_EQ(lseek(fd, 0, SEEK_END), 100);
    close(fd);
    EXPECT_EQ(shm_unlink(name.c_str()), 0) << "still there";
}

TEST(InitHandleTest, LaterHandlesFindTheBlockFilled) {
    DriverSession session;
    session.control().registerCache[5] = 0x1234;
    session.control().timeValue.pulseWidthValue = 77;
    DriverHandle second;
    ASSERT_EQ(second.init(), 0);
    EXPECT_EQ(second.control().registerCache[5], 0x1234);
    EXPECT_EQ(second.control().timeValue.pulseWidthValue, 77U);
    EXPECT_EQ(session.control().ctlrSoftUsed, 2U);
    EXPECT_EQ(jsc_QuitHandle(second.get()), 0);
    EXPECT_EQ(session.control().ctlrSoftUsed, 1U);
}

TEST(InitHandleTest, HandlesOfOtherPortsHaveBlocksOfTheirOwn) {
    DriverSession session;
    DriverHandle second(RecordingConfig::Keys{{"KELM.POD_PORT", "1"}});
    ASSERT_EQ(second.init(), 0);
    EXPECT_EQ(session.control().ctlrSoftUsed, 1U);
    EXPECT_EQ(second.control().ctlrSoftUsed, 1U);
}

TEST(InitHandleTest, RefusesCountersThatCannotBe) {
    DriverSession session;
    session.control().ctlrHardUsed = 2;
    DriverHandle second;
    EXPECT_EQ(second.init(), -116);
    EXPECT_EQ(session.control().ctlrSoftUsed, 1U);
    session.control().ctlrHardUsed = 0;
}

TEST(QuitHandleTest, DetachesFromPodAndBlock) {
    DriverSession session;
    EXPECT_EQ(jsc_QuitHandle(session.get()), 0);
    EXPECT_EQ(session.pod().commands(), (Commands{SHM_CMD_ATTACH, SHM_CMD_DETACH}));
    EXPECT_FALSE(session.get()->ctlrSoftOpen);
    EXPECT_EQ(session.get()->pJscControl, nullptr);
    EXPECT_EQ(session.get()->tbcShare.pMemory, nullptr);
    EXPECT_EQ(session.get()->ProxyShm, nullptr);
    EXPECT_EQ(jsc_QuitHandle(session.get()), -116) << "no longer initialised";
    EXPECT_EQ(session.handle.init(), 0) << "it can be initialised again";
}

TEST(QuitHandleTest, DropsReadsThatAreStillListed) {
    DriverSession session;
    session.pod().fail_batches(1);
    uint16_t word = 0;
    PortReadNoCache(session.get(), 16, &word);
    EXPECT_EQ(qel_PerformIo(session.get()), -140);
    EXPECT_NE(session.get()->opList, nullptr);
    EXPECT_EQ(jsc_QuitHandle(session.get()), 0);
    EXPECT_EQ(session.get()->opList, nullptr) << "some point into the block that is gone";
}

TEST(QuitHandleTest, RefusesInTheWrongState) {
    EXPECT_EQ(jsc_QuitHandle(nullptr), -122);
    DriverSession session;
    session.get()->ctlrHardOpen = true;
    EXPECT_EQ(jsc_QuitHandle(session.get()), -116);
    EXPECT_TRUE(session.get()->ctlrHardOpen);
    EXPECT_TRUE(session.get()->ctlrSoftOpen) << "it stays as it was";
    session.get()->ctlrHardOpen = false;
    EXPECT_EQ(jsc_QuitHandle(session.get()), 0);
}

TEST(QuitHandleTest, RefusesInconsistentCountersAndNoLongerCountsAsInitialised) {
    struct Row {
        uint32_t soft;
        uint32_t hard;
        int32_t code;
    };
    for (const Row& row : {Row{0, 0, -116}, Row{1, 1, -116}, Row{2, 2, -116}, Row{2, 1, 0}}) {
        DriverSession session;
        session.control().ctlrSoftUsed = row.soft;
        session.control().ctlrHardUsed = row.hard;
        EXPECT_EQ(jsc_QuitHandle(session.get()), row.code) << row.soft << ' ' << row.hard;
        EXPECT_FALSE(session.get()->ctlrSoftOpen);
        if (row.code != 0) {
            EXPECT_EQ(session.control().ctlrSoftUsed, row.soft);
            EXPECT_EQ(session.pod().commands(), Commands{SHM_CMD_ATTACH}) << "still attached";
        }
    }
}

TEST(DeleteHandleTest, FreesRecordLogAndNodes) {
    FailingHeap heap;
    JSC_Inform* handle = nullptr;
    ASSERT_EQ(jsc_CreateHandle(&handle), 0);
    ASSERT_EQ(zdl_LogFileCreate(&handle->resetLogHandle, 10), 0);
    ASSERT_TRUE(batch_reserve_nodes(handle, 5));
    EXPECT_EQ(heap.blocks().size(), 8U);
    EXPECT_EQ(jsc_DeleteHandle(&handle), 0);
    EXPECT_TRUE(heap.blocks().empty());
    EXPECT_EQ(handle, nullptr);
}

TEST(DeleteHandleTest, TakesNullHandlesButNoNullPointer) {
    JSC_Inform* none = nullptr;
    EXPECT_EQ(jsc_DeleteHandle(&none), 0);
    EXPECT_EQ(jsc_DeleteHandle(nullptr), -122);
}

} // namespace
