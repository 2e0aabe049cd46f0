// Every visible function that takes a handle, called with no handle and with one that has no
// controller block, as a failed connect leaves it.
#include "api/benchmark.h"
#include "api/connect.h"
#include "api/diagnose.h"
#include "api/feature_version.h"
#include "api/firmware.h"
#include "api/handle.h"
#include "api/log_file.h"
#include "api/mode.h"
#include "api/not_offered.h"
#include "api/pod_status.h"
#include "api/register_access.h"
#include "api/reset.h"
#include "controller/detect.h"
#include "controller/registers.h"
#include "controller/time_value.h"
#include "controller/utility.h"
#include "controller/wait.h"
#include "scan/amble_delay.h"
#include "scan/command.h"
#include "scan/link_delay.h"
#include "scan/scan_engine.h"
#include "scan/scan_operation.h"
#include "scan/state.h"
#include "scan/trst.h"
#include "support/instant_pod.h"
#include "support/recorded_sleeps.h"
#include "transport/batch.h"
#include "transport/port.h"
#include "transport/proxy_channel.h"

#include <gtest/gtest.h>

#include <algorithm>
#include <fstream>
#include <string>
#include <vector>

namespace {

using test_support::InstantPod;
using test_support::RecordedSleeps;

// Arguments in order, so that the handle is what is wrong.
struct Arguments {
    bool flag = false;
    bool flag2 = false;
    bool flag3 = false;
    bool flag4 = false;
    uint16_t word = 0;
    uint16_t words[64] = {};
    uint32_t number = 0;
    uint32_t number2 = 0;
    uint32_t number3 = 0;
    uint32_t numbers[64] = {};
    JSC_JtagState state = eJSC_JTAG_STATE_IDLE;
    JSC_JtagCommand command{
        eJSC_JTAG_TRANSIT_QUICKEST, eJSC_JTAG_SHIFT_DR,      eJSC_JTAG_TRANSIT_QUICKEST,
        eJSC_JTAG_STATE_IDLE,       eJSC_JTAG_DELAY_USE_END, eJSC_JTAG_AMBLE_BOTH,
        eJSC_JTAG_USAGE_FRESH,      eJSC_JTAG_WIDTH_16,      eJSC_JTAG_ADJUST_USER};
    JSC_JtagCommand move{};
    JSC_JtagParam param{1, 0, 16};
    JSC_JtagParam01 param01{1, 0, 16, true};
    JSC_JtagParam16 param16{1, 0, 16, words, words};
    JSC_JtagAmbleDelay amble{};
    JSC_ResetAction action{};
    JSC_PodStatus pod_status{true, true, true, true};
    JSC_OldStatus old_status{};
    JSC_AdjustStuff adjust{};
    JSC_FirmwareAction firmware{};
    LogFileInfo info{};

    Arguments() {
        move.jtagAfter = eJSC_JTAG_TRANSIT_QUICKEST;
        move.jtagEnd = eJSC_JTAG_STATE_IDLE;
    }
};

struct Row {
    const char* name;
    int64_t of_null;
    int64_t of_blockless;
    int64_t (*call)(JSC_Inform* handle, Arguments& with);
};

// For functions that return a status, and for those that return nothing.
#define STATUS(name, of_null, of_blockless, ...)                                                   \
    Row {                                                                                          \
#name, of_null, of_blockless,                                                              \
            [](JSC_Inform * handle,                                                                \
               [[maybe_unused]] Arguments &                                                        \
                   with) -> int64_t { return name(handle __VA_OPT__(, ) __VA_ARGS__); }            \
    }
#define NOTHING(name, ...)                                                                         \
    Row {                                                                                          \
#name, 0, 0, [](JSC_Inform * handle, [[maybe_unused]] Arguments & with) -> int64_t {       \
            name(handle __VA_OPT__(, ) __VA_ARGS__);                                               \
            return 0;                                                                              \
        }       \
    }

const std::vector<Row> rows = {
    // transport
    STATUS(OpenUsbDevice, -1, -1),
    STATUS(CloseUsbDevice, 0, 0),
    STATUS(wr_supp_reg, -190, -190, 1),
    NOTHING(qel_PostData, 1),
    NOTHING(qel_ReadIncrement),
    NOTHING(qel_PostReadOp, 1, &with.word),
    STATUS(qel_PerformIo, -122, -140),
    STATUS(PortRead, -122, -116, TBC_PORT_OUTPUT, &with.word),
    STATUS(PortReadNoCache, -122, 0, TBC_PORT_OUTPUT, &with.word),
    NOTHING(PortWrite, TBC_PORT_OUTPUT, 1),
    NOTHING(PortWriteNoCache, TBC_PORT_OUTPUT, 1),
    NOTHING(LoadZeroIntoCache),
    // controller
    STATUS(CheckCtlrExist, -122, -116),
    STATUS(CheckCtlrRegister, -122, -116, 0),
    STATUS(CheckCtlrVersion, eJTI_CONTROL_ID_OBSOLETE, eJTI_CONTROL_ID_OBSOLETE),
    STATUS(RegisterRead, -122, -116, true, true, 0, 1, with.words),
    STATUS(RegisterWrite, -122, -116, true, true, 0, 1, with.words),
    STATUS(RegisterPoll, -122, -116, eJSC_STATUS_TYPE_COMMAND_FINISH, 0),
    STATUS(TimeValueInitial, -122, -116),
    STATUS(TimeValueApply, 0, 0),
    STATUS(TimeValueQuery, -122, -116, eJSC_TIME_TYPE_PULSE_WIDTH, &with.number),
    STATUS(TimeValueQuery, -122, -116, eJSC_TIME_TYPE_PULSE_WIDTH, &with.number, &with.flag),
    STATUS(TimeModifyTimeout, 0, 0),
    STATUS(TimeModifyUpdate, -122, -116),
    STATUS(WaitForStatus, -122, -116, eJSC_STATUS_TYPE_RD_BUFFER1_ONE),
    STATUS(WaitForTbcDone, -122, -116),
    STATUS(WaitForExlDone, -122, -122),
    NOTHING(WaitAWhileTbc),
    NOTHING(WaitAWhileExl),
    STATUS(util_EventInform, -122, 0, &with.flag, &with.flag2, &with.flag3, &with.flag4),
    STATUS(util_PinsInform, -122, 0, &with.flag, &with.flag2, &with.flag3),
    STATUS(util_ModeConfig, -122, -116, true, true),
    STATUS(util_ResetStatus, -122, -116, &with.flag),
    STATUS(util_ResetConfig, -122, -116, true),
    STATUS(util_TrstStatus, -122, -116, &with.flag),
    STATUS(util_TrstConfig, -122, -116, true),
    STATUS(util_UtilityRevise, -122, -116, &with.number),
    STATUS(util_DelayInform, -122, 0, &with.number),
    STATUS(util_CableStatus, -122, -116, &with.pod_status),
    STATUS(util_CableClear, -122, -116, &with.pod_status),
    STATUS(util_TimingConfig, -122, -116, true, true),
    STATUS(util_OutputConfig, -122, 0, true),
    STATUS(util_DisconStatus, -122, -116, &with.flag),
    STATUS(util_DisconConfig, -122, -116, true),
    STATUS(util_EmuRead, -122, -116, &with.flag, &with.flag2),
    STATUS(util_BenchMarkConfig, -122, -116, true, true),
    STATUS(util_BenchMarkStatus, -122, -116, true, &with.number),
    // scan
    STATUS(DoLaunchGoTo, -122, -116, TBC_TRANSIT_VIA_IDLE, TBC_STATE_IDLE),
    STATUS(DoLaunchScan, -122, -116, TBC_STATE_IDLE, TBC_SCAN_ONES),
    STATUS(DoAmbleCommand, -122, -116, &with.command, 0, &with.number, &with.number2),
    STATUS(DoInterestCommand, -122, -116, &with.command, &with.param, &with.number),
    STATUS(TbcScan, -122, -116, &with.command, TBC_SCAN_BOTH, 16, false, false, false, 1,
           with.words, with.words),
    STATUS(TbcScanFixed, -122, -116, TBC_STATE_IDLE, 16, false, true),
    STATUS(TbcScanBypass, -122, -116, &with.command, TBC_STATE_IDLE, TBC_SCAN_ONES, 16, false, true,
           nullptr, nullptr),
    STATUS(TbcScanOldStyle2, -122, -116, &with.command, TBC_STATE_IDLE, TBC_SCAN_BOTH, 16, false,
           false, with.words, with.words),
    STATUS(TbcScanOldStyle8, -122, -116, &with.command, TBC_STATE_IDLE, TBC_SCAN_RECEIVE, 16, false,
           false, with.words, nullptr),
    STATUS(WriteLinkDelay, -122, -116, 3),
    STATUS(SaveVariableLinkDelay, -122, -116, 3),
    STATUS(SaveTimingLinkDelay, 0, 0, true, true),
    STATUS(ModifyActualLinkDelay, -122, -116, 31, &with.number),
    STATUS(jsc_StatusTrstn, -122, -116, &with.flag),
    STATUS(jsc_ModifyTrstn, -122, -116, eJSC_JTAG_PIN_SET_LEVEL, 0, 0),
    STATUS(tbc_TrstnStuff, -122, -116, true, true),
    STATUS(jsc_GetAmbleDelay, -122, -116, &with.amble),
    STATUS(jsc_PutAmbleDelay, -122, -116, &with.amble),
    STATUS(jsc_GetLinkDelay, -122, -116, &with.number, &with.number2, &with.number3),
    STATUS(jsc_PutLinkDelay, -122, -116, 1),
    STATUS(jsc_WaitForTclk, -122, -116, 1),
    STATUS(jsc_HoldFreeOuts, -122, -116, true, true, true, true),
    STATUS(jsc_TimingEdge, -122, -116, true, true),
    STATUS(jsc_GetState, -122, -116, &with.state),
    STATUS(jsc_PutState, -122, -116, &with.move, 0, 1),
    STATUS(jsc_ScanFixed01, -122, -116, &with.command, &with.param01),
    STATUS(jsc_ScanSend16, -122, -116, &with.command, &with.param16),
    STATUS(jsc_ScanBoth16, -122, -116, &with.command, &with.param16),
    STATUS(jsc_ScanRecv16, -122, -116, &with.command, &with.param16),
    STATUS(jsc_ScanSend08, -122, -122, &with.command, nullptr),
    STATUS(jsc_ScanBoth08, -122, -122, &with.command, nullptr),
    STATUS(jsc_ScanRecv08, -122, -122, &with.command, nullptr),
    STATUS(jsc_ScanSend32, -122, -122, &with.command, nullptr),
    STATUS(jsc_ScanBoth32, -122, -122, &with.command, nullptr),
    STATUS(jsc_ScanRecv32, -122, -122, &with.command, nullptr),
    STATUS(jsc_ScanSend64, -122, -122, &with.command, nullptr),
    STATUS(jsc_ScanBoth64, -122, -122, &with.command, nullptr),
    STATUS(jsc_ScanRecv64, -122, -122, &with.command, nullptr),
    // api
    STATUS(jsc_InitHandle, -122, -122, 0, eJTI_CLIENT_ANONYMOUS, nullptr, nullptr),
    STATUS(jsc_QuitHandle, -122, -116),
    STATUS(jsc_Connect, -122, -116, &with.flag),
    STATUS(jsc_Disconnect, -122, -116, &with.flag),
    STATUS(jsc_Reset, -122, -116, &with.action),
    STATUS(tbc_HardwareInit, -122, -116, &with.action),
    STATUS(tbc_InitLong, -122, -116, true, &with.info, &with.action),
    STATUS(tbc_InitShort, -122, -116),
    STATUS(tbc_StandardReset, -122, -116, true),
    STATUS(tbc_HardwareTerm, -122, -116),
    STATUS(jsc_Adjust, -122, -116, &with.adjust),
    STATUS(tbc_ModeConfig, -122, -116, &with.adjust),
    STATUS(jsc_Diagnose, -122, -116, 0),
    STATUS(jsc_PodStatus, -122, -116, &with.pod_status),
    STATUS(tbc_PodStatus, -122, -116, &with.pod_status),
    STATUS(jsc_OldStatus, -122, -116, &with.old_status),
    STATUS(jsc_MultipleVersion, -122, -116, eJSC_FEATURE_ID_TBC_VERSION, &with.flag, &with.number),
    STATUS(tbc_MultipleVersion, -122, -116, eJSC_FEATURE_ID_TBC_VERSION, &with.flag, &with.number),
    STATUS(jsc_Benchmark, -122, -116, 1, true, &with.number),
    STATUS(tbc_BenchMark, -122, -116, true, true, &with.number),
    STATUS(jsc_RegisterPoll, -122, -116, eJSC_STATUS_TYPE_COMMAND_FINISH, 0),
    STATUS(jsc_RegisterRead, -122, -116, true, true, 0, 1, with.words),
    STATUS(jsc_RegisterWrite, -122, -116, true, true, 0, 1, with.words),
    STATUS(jsc_PodConfig, -122, 0, 1, true, &with.flag, 2, true),
    STATUS(tbc_PodConfig, -122, 0, 1, true, &with.flag, 2, true),
    STATUS(jsc_Test, -122, 0, eJSC_LOGFILE_ID_TEST, &with.flag, 1, 2),
    STATUS(jsc_FirmwareSupport, -122, 0, eJSC_FIRMWARE_ID_CLIENT, &with.flag, &with.flag2),
    STATUS(jsc_FirmwareVersion, -122, 0, eJSC_FIRMWARE_ID_CLIENT, &with.flag, &with.flag2,
           &with.number),
    STATUS(jsc_FirmwareConfig, -122, 0, eJSC_FIRMWARE_ID_CLIENT, &with.flag, &with.flag2,
           &with.firmware, 1, 2, nullptr, 0, &with.number),
    STATUS(jsc_ClockSupport, -122, 0, &with.flag, &with.flag2),
    STATUS(jsc_ClockConfig, -122, -120, true, 1, 2),
    STATUS(jsc_ClockMeasure, -122, -120, &with.number),
    STATUS(jsc_ClockSourceArchive, -122, -120, true),
    STATUS(jsc_ClockSourceRetrieve, -122, -120, &with.flag),
    STATUS(jsc_LogFileCreate, -122, 0, eJSC_LOGFILE_ID_PLL, &with.flag, 8, &with.number),
    STATUS(jsc_LogFileDelete, -122, 0, eJSC_LOGFILE_ID_RESET, &with.flag),
    STATUS(jsc_LogFileErase, -122, 0, eJSC_LOGFILE_ID_RESET, &with.flag),
    STATUS(jsc_LogFileMode, -122, 0, eJSC_LOGFILE_ID_RESET, &with.flag, true),
    STATUS(jsc_LogFileRead, -122, 0, eJSC_LOGFILE_ID_RESET, &with.flag, 8, with.numbers,
           &with.number, &with.number2),
    STATUS(jsc_LogFileAppend, -122, 0, eJSC_LOGFILE_ID_RESET, &with.flag, 1),
};

// Names in the list of what the library exports whose first parameter is a handle, an overload as
// often as it is there.
std::vector<std::string> exported_with_a_handle() {
    std::ifstream file(TALVOR_EXPORTS);
    std::vector<std::string> names;
    for (std::string line; std::getline(file, line);) {
        const size_t parenthesis = line.find("(JSC_Inform*");
        if (parenthesis != line.npos && line.compare(parenthesis, 13, "(JSC_Inform**") != 0) {
            names.push_back(line.substr(2, parenthesis - 2));
        }
    }
    std::sort(names.begin(), names.end());
    return names;
}

TEST(HandleArgumentTest, EveryVisibleFunctionIsTried) {
    std::vector<std::string> tried;
    for (const Row& row : rows) {
        tried.emplace_back(row.name);
    }
    std::sort(tried.begin(), tried.end());
    EXPECT_EQ(tried, exported_with_a_handle());
}

TEST(HandleArgumentTest, NoHandleIsRefused) {
    const RecordedSleeps sleeps;
    for (const Row& row : rows) {
        SCOPED_TRACE(row.name);
        Arguments with;
        EXPECT_EQ(row.call(nullptr, with), row.of_null);
    }
}

TEST(HandleArgumentTest, AHandleWithoutControllerBlockIsRefused) {
    const RecordedSleeps sleeps;
    for (const Row& row : rows) {
        SCOPED_TRACE(row.name);
        Arguments with;
        JSC_Inform handle{};
        EXPECT_EQ(row.call(&handle, with), row.of_blockless);
    }
}

// The channel outlives the block when a connect fails.
TEST(HandleArgumentTest, WithoutControllerBlockNothingReachesAnOpenChannel) {
    const RecordedSleeps sleeps;
    for (const Row& row : rows) {
        if (row.of_blockless != eJTI_ERROR_HANDLE_STATE) {
            continue;
        }
        SCOPED_TRACE(row.name);
        InstantPod pod;
        pod.inform.pJscControl = nullptr;
        pod.inform.ctlrSoftOpen = true;
        pod.inform.ctlrHardOpen = true;
        Arguments with;
        EXPECT_EQ(row.call(pod.get(), with), eJTI_ERROR_HANDLE_STATE);
        EXPECT_TRUE(pod.queued().empty());
        EXPECT_EQ(pod.flushes, 0U);
    }
}

TEST(HandleArgumentTest, FunctionsThatMakeAndDeleteHandlesNeedTheirPointers) {
    EXPECT_EQ(jsc_CreateHandle(nullptr), -122);
    EXPECT_EQ(jsc_DeleteHandle(nullptr), -122);
    EXPECT_EQ(JSC_DeleteHandle(nullptr), -122);
    JSC_Parameter parameter{};
    EXPECT_EQ(JSC_CreateHandle(nullptr, &parameter), -122);
    EXPECT_EQ(JSC_CreateHandle(nullptr, nullptr), -122);
    JSC_Inform stale{};
    JSC_Inform* handle = &stale;
    EXPECT_EQ(JSC_CreateHandle(&handle, nullptr), -122);
    EXPECT_EQ(handle, nullptr) << "nothing was made";
    EXPECT_EQ(JSC_DeleteHandle(&handle), -122);
    EXPECT_EQ(jsc_DeleteHandle(&handle), 0);
}

TEST(HandleArgumentTest, FunctionsThatMakeAndDeleteRecordsNeedTheirPointers) {
    EXPECT_EQ(JSC_CreateInterface(nullptr), -122);
    EXPECT_EQ(JSC_DeleteInterface(nullptr), -122);
    JSC_Interface* table = nullptr;
    EXPECT_EQ(JSC_DeleteInterface(&table), -122);
    EXPECT_EQ(JSC_CreateProperty(nullptr), -122);
    EXPECT_EQ(JSC_DeleteProperty(nullptr), -122);
    JTI_Property* property = nullptr;
    EXPECT_EQ(JSC_DeleteProperty(&property), -122);
}

TEST(HandleArgumentTest, TheBufferStepsNeedTheirPointers) {
    JSC_JtagCommand command{};
    command.jtagWidth = eJSC_JTAG_WIDTH_16;
    uint32_t step = 99;
    DoStepCalculate(nullptr, 16, &step);
    DoStepCalculate(&command, 16, nullptr);
    EXPECT_EQ(step, 99U);
    uint16_t words[2] = {};
    void* data = words;
    DoModifyPointer(nullptr, &data, 1);
    DoModifyPointer(&command, nullptr, 1);
    EXPECT_EQ(data, words);
    DoModifyPointer(&command, &data, 1);
    EXPECT_EQ(data, words + 1);
}

} // namespace
