#include "export/operations.h"

#include "api/benchmark.h"
#include "api/connect.h"
#include "api/diagnose.h"
#include "api/feature_version.h"
#include "api/firmware.h"
#include "api/log_file.h"
#include "api/mode.h"
#include "api/not_offered.h"
#include "api/pod_status.h"
#include "api/register_access.h"
#include "api/reset.h"
#include "scan/amble_delay.h"
#include "scan/link_delay.h"
#include "scan/scan_operation.h"
#include "scan/state.h"
#include "scan/trst.h"

// The scans of every width are those of 16-bit buffers: the parameter records have one layout, and
// hosts that fill the other slots' records pass 16-bit data in them.
const JSC_Interface operations = {
    .Connect = jsc_Connect,
    .Disconnect = jsc_Disconnect,
    .StatusTrstn = jsc_StatusTrstn,
    .ModifyTrstn = jsc_ModifyTrstn,
    .GetAmbleDelay = jsc_GetAmbleDelay,
    .PutAmbleDelay = jsc_PutAmbleDelay,
    .GetLinkDelay = jsc_GetLinkDelay,
    .PutLinkDelay = jsc_PutLinkDelay,
    .WaitForTclk = jsc_WaitForTclk,
    .HoldFreeOuts = jsc_HoldFreeOuts,
    .TimingEdge = jsc_TimingEdge,
    .GetState = jsc_GetState,
    .PutState = jsc_PutState,
    .ScanFixed01 = jsc_ScanFixed01,
    .ScanSend08 = reinterpret_cast<JSC_ScanSend08_t>(jsc_ScanSend16),
    .ScanSend16 = jsc_ScanSend16,
    .ScanSend32 = reinterpret_cast<JSC_ScanSend32_t>(jsc_ScanSend16),
    .ScanSend64 = reinterpret_cast<JSC_ScanSend64_t>(jsc_ScanSend16),
    .ScanBoth08 = reinterpret_cast<JSC_ScanBoth08_t>(jsc_ScanBoth16),
    .ScanBoth16 = jsc_ScanBoth16,
    .ScanBoth32 = reinterpret_cast<JSC_ScanBoth32_t>(jsc_ScanBoth16),
    .ScanBoth64 = reinterpret_cast<JSC_ScanBoth64_t>(jsc_ScanBoth16),
    .ScanRecv08 = reinterpret_cast<JSC_ScanRecv08_t>(jsc_ScanRecv16),
    .ScanRecv16 = jsc_ScanRecv16,
    .ScanRecv32 = reinterpret_cast<JSC_ScanRecv32_t>(jsc_ScanRecv16),
    .ScanRecv64 = reinterpret_cast<JSC_ScanRecv64_t>(jsc_ScanRecv16),
    .SwdRegRead = jsc_SwdRegRead,
    .SwdRegWrite = jsc_SwdRegWrite,
    .LogFileCreate = jsc_LogFileCreate,
    .LogFileDelete = jsc_LogFileDelete,
    .LogFileErase = jsc_LogFileErase,
    .LogFileMode = jsc_LogFileMode,
    .LogFileRead = jsc_LogFileRead,
    .LogFileAppend = jsc_LogFileAppend,
    .Reset = jsc_Reset,
    .Diagnose = jsc_Diagnose,
    .Adjust = jsc_Adjust,
    .PodConfig = jsc_PodConfig,
    .PodStatus = jsc_PodStatus,
    .OldStatus = jsc_OldStatus,
    .Test = jsc_Test,
    .MultipleVersion = jsc_MultipleVersion,
    .Benchmark = jsc_Benchmark,
    .FirmwareSupport = jsc_FirmwareSupport,
    .FirmwareVersion = jsc_FirmwareVersion,
    .FirmwareConfig = jsc_FirmwareConfig,
    .ClockSupport = jsc_ClockSupport,
    .ClockConfig = jsc_ClockConfig,
    .ClockMeasure = jsc_ClockMeasure,
    .ClockSourceArchive = jsc_ClockSourceArchive,
    .ClockSourceRetrieve = jsc_ClockSourceRetrieve,
    .RegisterPoll = jsc_RegisterPoll,
    .RegisterRead = jsc_RegisterRead,
    .RegisterWrite = jsc_RegisterWrite,
};
