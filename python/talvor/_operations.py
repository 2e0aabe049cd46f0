"""The driver's table for ctypes. Written by scripts/python-operations; do not edit."""
# fmt: off
# ruff: noqa

from __future__ import annotations

import enum
from ctypes import POINTER, Structure, c_bool, c_int32, c_uint8, c_uint16, c_uint32, c_uint64, c_void_p
from typing import Any, Final


class JTI_ErrorCode(enum.IntEnum):
    eJTI_ERROR_NONE = 0
    eJTI_ERROR_TRANSPORT = -1
    eJTI_ERROR_SCAN_OPTION = -115
    eJTI_ERROR_HANDLE_STATE = -116
    eJTI_ERROR_NOT_OFFERED = -120
    eJTI_ERROR_BAD_ARGUMENT = -122
    eJTI_ERROR_NO_MEMORY = -131
    eJTI_ERROR_NO_RELEASE = -132
    eJTI_ERROR_BATCH_FAILED = -140
    eJTI_ERROR_POD_OPEN = -141
    eJTI_ERROR_POD_SETUP = -157
    eJTI_ERROR_SHARED_BLOCK = -164
    eJTI_ERROR_REGISTER_RANGE = -170
    eJTI_ERROR_LOOP_CORRUPT = -171
    eJTI_ERROR_LOOP_HIGH_ONES = -173
    eJTI_ERROR_LOOP_LOW_ONES = -174
    eJTI_ERROR_LOOP_HIGH_ZEROS = -175
    eJTI_ERROR_LOOP_LOW_ZEROS = -176
    eJTI_ERROR_NO_POWER = -180
    eJTI_ERROR_NO_CLOCK = -181
    eJTI_ERROR_CABLE_NEAR = -182
    eJTI_ERROR_CABLE_FAR = -183
    eJTI_ERROR_SUPPORT_WRITE = -190
    eJTI_ERROR_CONTROLLER_KIND = -203
    eJTI_ERROR_JTAG_BOOT_MODE = -220
    eJTI_ERROR_JTAG_BOOT_VALUE = -221
    eJTI_ERROR_POWER_BOOT_MODE = -222
    eJTI_ERROR_POWER_BOOT_VALUE = -223
    eJTI_ERROR_EMU_OUTPUT_MODE = -224
    eJTI_ERROR_EMU_OUTPUT_VALUE = -225
    eJTI_ERROR_LOOP_BACK_MODE = -226
    eJTI_ERROR_LOOP_BACK_VALUE = -227
    eJTI_ERROR_BOOT_PIN_MAP = -228
    eJTI_ERROR_SCAN_BITS = -272
    eJTI_ERROR_IR_SIZE = -273
    eJTI_ERROR_DR_SIZE = -274
    eJTI_ERROR_TCLK_PROGRAM = -300
    eJTI_ERROR_TCLK_BEGINNING = -301
    eJTI_ERROR_TCLK_FREQUENCY = -302
    eJTI_ERROR_TCLK_ADVANCE = -303
    eJTI_ERROR_TCLK_RETREAT = -304
    eJTI_ERROR_TCLK_REFERENCE = -305
    eJTI_ERROR_TCLK_INITIAL = -306
    eJTI_ERROR_TCLK_TERMINAL = -307
    eJTI_ERROR_TCLK_TESTMODE = -308
    eJTI_ERROR_TCLK_OVERFLOW = -309
    eJTI_ERROR_POD_RANGE = -339
    eJTI_ERROR_PATH_LENGTH = -445
    eJTI_ERROR_CONTROLLER_VALUE = -448
    eJTI_ERROR_SEARCH_REQUEST = -502
    eJTI_ERROR_LOG_FULL = -520
    eJTI_ERROR_TABLE_DELETED = -601
    eJTI_ERROR_PROPERTY = -603


class JTI_Client(enum.IntEnum):
    eJTI_CLIENT_INVALID_FIRST = 0
    eJTI_CLIENT_ANONYMOUS = 1
    eJTI_CLIENT_TEST_LOOPBACK = 20
    eJTI_CLIENT_INVALID_LAST = 21


class JTI_ControlId(enum.IntEnum):
    eJTI_CONTROL_ID_OBSOLETE = 0
    eJTI_CONTROL_ID_TBC = 1
    eJTI_CONTROL_ID_EXL = 2
    eJTI_CONTROL_ID_DPM = 3
    eJTI_CONTROL_ID_FTDI_FT2232 = 4
    eJTI_CONTROL_ID_NANO_VHDL = 5
    eJTI_CONTROL_ID_NANO_CMODEL = 6
    eJTI_CONTROL_ID_PICO_VHDL = 7
    eJTI_CONTROL_ID_PICO_CMODEL = 8
    eJTI_CONTROL_ID_SERDES_VHDL = 9
    eJTI_CONTROL_ID_SERDES_CMODEL = 10
    eJTI_CONTROL_ID_BITIO_VHDL = 11
    eJTI_CONTROL_ID_BITIO_CMODEL = 12
    eJTI_CONTROL_ID_INVALID_LAST = 13


class JSC_JtagTransit(enum.IntEnum):
    eJSC_JTAG_TRANSIT_INVALID_FIRST = 0
    eJSC_JTAG_TRANSIT_QUICKEST = 1
    eJSC_JTAG_TRANSIT_VIA_CAPTURE = 2
    eJSC_JTAG_TRANSIT_VIA_IDLE = 3
    eJSC_JTAG_TRANSIT_INVALID_LAST = 4


class JSC_JtagShift(enum.IntEnum):
    eJSC_JTAG_SHIFT_INVALID_FIRST = 0
    eJSC_JTAG_SHIFT_IR = 1
    eJSC_JTAG_SHIFT_DR = 2
    eJSC_JTAG_SHIFT_INDEX = 3
    eJSC_JTAG_SHIFT_INVALID_LAST = 4


class JSC_JtagState(enum.IntEnum):
    eJSC_JTAG_STATE_INVALID_FIRST = 0
    eJSC_JTAG_STATE_RESET = 1
    eJSC_JTAG_STATE_IDLE = 2
    eJSC_JTAG_STATE_SHIFT_DR = 3
    eJSC_JTAG_STATE_SHIFT_IR = 4
    eJSC_JTAG_STATE_PAUSE_DR = 5
    eJSC_JTAG_STATE_PAUSE_IR = 6
    eJSC_JTAG_STATE_INVALID_MIDDLE = 7
    eJSC_JTAG_STATE_EXIT1_DR = 8
    eJSC_JTAG_STATE_EXIT1_IR = 9
    eJSC_JTAG_STATE_EXIT2_DR = 10
    eJSC_JTAG_STATE_EXIT2_IR = 11
    eJSC_JTAG_STATE_SELECT_DR = 12
    eJSC_JTAG_STATE_SELECT_IR = 13
    eJSC_JTAG_STATE_UPDATE_DR = 14
    eJSC_JTAG_STATE_UPDATE_IR = 15
    eJSC_JTAG_STATE_CAPTURE_DR = 16
    eJSC_JTAG_STATE_CAPTURE_IR = 17
    eJSC_JTAG_STATE_INVALID_LAST = 18


class JSC_JtagDelay(enum.IntEnum):
    eJSC_JTAG_DELAY_INVALID_FIRST = 0
    eJSC_JTAG_DELAY_USE_END = 1
    eJSC_JTAG_DELAY_INDEX = 2
    eJSC_JTAG_DELAY_INVALID_LAST = 3


class JSC_JtagAmble(enum.IntEnum):
    eJSC_JTAG_AMBLE_INVALID_FIRST = 0
    eJSC_JTAG_AMBLE_NEITHER = 1
    eJSC_JTAG_AMBLE_PREAMBLE = 2
    eJSC_JTAG_AMBLE_POSTAMBLE = 3
    eJSC_JTAG_AMBLE_BOTH = 4
    eJSC_JTAG_AMBLE_INVALID_LAST = 5


class JSC_JtagUsage(enum.IntEnum):
    eJSC_JTAG_USAGE_INVALID_FIRST = 0
    eJSC_JTAG_USAGE_FRESH = 1
    eJSC_JTAG_USAGE_REUSE = 2
    eJSC_JTAG_USAGE_INVALID_LAST = 3


class JSC_JtagWidth(enum.IntEnum):
    eJSC_JTAG_WIDTH_INVALID_FIRST = 0
    eJSC_JTAG_WIDTH_1 = 1
    eJSC_JTAG_WIDTH_8 = 2
    eJSC_JTAG_WIDTH_16 = 3
    eJSC_JTAG_WIDTH_32 = 4
    eJSC_JTAG_WIDTH_64 = 5
    eJSC_JTAG_WIDTH_INVALID_LAST = 6


class JSC_JtagAdjust(enum.IntEnum):
    eJSC_JTAG_ADJUST_INVALID_FIRST = 0
    eJSC_JTAG_ADJUST_AUTO = 1
    eJSC_JTAG_ADJUST_USER = 2
    eJSC_JTAG_ADJUST_INVALID_LAST = 3


class JSC_JtagPin(enum.IntEnum):
    eJSC_JTAG_PIN_INVALID_FIRST = 0
    eJSC_JTAG_PIN_SET_LEVEL = 1
    eJSC_JTAG_PIN_DO_PULSES = 2
    eJSC_JTAG_PIN_INVALID_LAST = 3


class JSC_FeatureId(enum.IntEnum):
    eJSC_FEATURE_ID_INVALID_FIRST = 0
    eJSC_FEATURE_ID_TBC_VERSION = 1
    eJSC_FEATURE_ID_TBC_LENGTH = 2
    eJSC_FEATURE_ID_POD_VERSION = 3
    eJSC_FEATURE_ID_POD_CAPABLE = 4
    eJSC_FEATURE_ID_INVALID_LAST = 5


class JSC_FirmwareId(enum.IntEnum):
    eJSC_FIRMWARE_ID_INVALID_FIRST = 0
    eJSC_FIRMWARE_ID_EMULATOR = 1
    eJSC_FIRMWARE_ID_MULTIPOD = 2
    eJSC_FIRMWARE_ID_CLIENT = 3
    eJSC_FIRMWARE_ID_SERVER = 4
    eJSC_FIRMWARE_ID_INVALID_LAST = 5


class JSC_LogFileId(enum.IntEnum):
    eJSC_LOGFILE_ID_INVALID_FIRST = 0
    eJSC_LOGFILE_ID_RESET = 1
    eJSC_LOGFILE_ID_PLL = 2
    eJSC_LOGFILE_ID_TEST = 3
    eJSC_LOGFILE_ID_INVALID_LAST = 4


class JSC_StatusType(enum.IntEnum):
    eJSC_STATUS_TYPE_INVALID_FIRST = 0
    eJSC_STATUS_TYPE_HARMLESS = 1
    eJSC_STATUS_TYPE_ACCESS_READY = 2
    eJSC_STATUS_TYPE_WR_BUFFER1_ONE = 3
    eJSC_STATUS_TYPE_WR_BUFFER1_MANY = 4
    eJSC_STATUS_TYPE_WR_BUFFER2_ONE = 5
    eJSC_STATUS_TYPE_WR_BUFFER2_MANY = 6
    eJSC_STATUS_TYPE_RD_BUFFER1_ONE = 7
    eJSC_STATUS_TYPE_RD_BUFFER1_MANY = 8
    eJSC_STATUS_TYPE_RD_BUFFER2_ONE = 9
    eJSC_STATUS_TYPE_RD_BUFFER2_MANY = 10
    eJSC_STATUS_TYPE_COMMAND_START = 11
    eJSC_STATUS_TYPE_COMMAND_FINISH = 12
    eJSC_STATUS_TYPE_EXTRA_START = 13
    eJSC_STATUS_TYPE_EXTRA_FINISH = 14
    eJSC_STATUS_TYPE_TCLKO_PROGRAM_START = 15
    eJSC_STATUS_TYPE_TCLKO_PROGRAM_FINISH = 16
    eJSC_STATUS_TYPE_TCLKR_MEASURE_START = 17
    eJSC_STATUS_TYPE_TCLKR_MEASURE_FINISH = 18
    eJSC_STATUS_TYPE_INVALID_LAST = 19


class VexilResetLogIndex(enum.IntEnum):
    RSTLOG_START_INDEX = 0
    RSTLOG_HARD_RST_VIA_SPRT = 1
    RSTLOG_SOFT_RST_VIA_SPRT = 2
    RSTLOG_SUCCESSFUL_ACCESS = 5
    RSTLOG_USE_ONLY_TBC = 6
    RSTLOG_USE_NORMAL_CLK_MODE = 18
    RSTLOG_USE_SLOWER_CLK_MODE = 19
    RSTLOG_USE_FASTER_CLK_MODE = 20
    RSTLOG_USE_OUTPUT_EDGE_RISE = 22
    RSTLOG_USE_OUTPUT_EDGE_FALL = 23
    RSTLOG_USE_INPUT_EDGE_NOSUPPORT = 24
    RSTLOG_EMU0_INPUT_IS_ONE = 28
    RSTLOG_EMU0_INPUT_IS_ZERO = 29
    RSTLOG_EMU1_INPUT_IS_ONE = 31
    RSTLOG_EMU1_INPUT_IS_ZERO = 32
    RSTLOG_PRIOR_POWER_LOSS_YES = 34
    RSTLOG_PRIOR_POWER_LOSS_NOT = 35
    RSTLOG_CURRENT_POWER_LOSS_YES = 37
    RSTLOG_CURRENT_POWER_LOSS_NOT = 38
    RSTLOG_LINK_DELAY_IS_SPECIFIC = 39
    RSTLOG_SCAN_PATH_TRST_TOGGLE = 41
    RSTLOG_SCAN_PATH_TRST_NEGATE = 42
    RSTLOG_CONTROL_PROTOTYPE_TBC = 52
    RSTLOG_CONTROL_TBC = 53
    RSTLOG_CONTROL_EXL = 54
    RSTLOG_CONTROL_DPM = 55
    RSTLOG_CONTROL_FTDI_FT2232 = 56
    RSTLOG_CONTROL_NANO_CMODEL = 57
    RSTLOG_CONTROL_NANO_VHDL = 58
    RSTLOG_CONTROL_PICO_CMODEL = 59
    RSTLOG_CONTROL_PICO_VHDL = 60
    RSTLOG_CONTROL_SERDES_CMODEL = 61
    RSTLOG_CONTROL_SERDES_VHDL = 62
    RSTLOG_CONTROL_BITIO_CMODEL = 63
    RSTLOG_CONTROL_BITIO_VHDL = 64
    RSTLOG_CONTROL_UNKNOWN = 65
    RSTLOG_FINISH_INDEX = 73


class JSC_JtagCommand(Structure):
    _fields_ = [
        ("jtagBefore", c_int32),
        ("jtagShift", c_int32),
        ("jtagAfter", c_int32),
        ("jtagEnd", c_int32),
        ("jtagDelay", c_int32),
        ("jtagAmble", c_int32),
        ("jtagUsage", c_int32),
        ("jtagWidth", c_int32),
        ("jtagAdjust", c_int32),
    ]


class JSC_JtagParam(Structure):
    _fields_ = [
        ("repeatCount", c_uint32),
        ("delayCount", c_uint32),
        ("shiftCount", c_uint32),
    ]


class JSC_JtagParam01(Structure):
    _fields_ = [
        ("repeatCount", c_uint32),
        ("delayCount", c_uint32),
        ("shiftCount", c_uint32),
        ("useOnes", c_bool),
    ]


class JSC_JtagParam08(Structure):
    _fields_ = [
        ("repeatCount", c_uint32),
        ("delayCount", c_uint32),
        ("shiftCount", c_uint32),
        ("pOutBuffer", POINTER(c_uint8)),
        ("pInBuffer", POINTER(c_uint8)),
    ]


class JSC_JtagParam16(Structure):
    _fields_ = [
        ("repeatCount", c_uint32),
        ("delayCount", c_uint32),
        ("shiftCount", c_uint32),
        ("pOutBuffer", POINTER(c_uint16)),
        ("pInBuffer", POINTER(c_uint16)),
    ]


class JSC_JtagParam32(Structure):
    _fields_ = [
        ("repeatCount", c_uint32),
        ("delayCount", c_uint32),
        ("shiftCount", c_uint32),
        ("pOutBuffer", POINTER(c_uint32)),
        ("pInBuffer", POINTER(c_uint32)),
    ]


class JSC_JtagParam64(Structure):
    _fields_ = [
        ("repeatCount", c_uint32),
        ("delayCount", c_uint32),
        ("shiftCount", c_uint32),
        ("pOutBuffer", POINTER(c_uint64)),
        ("pInBuffer", POINTER(c_uint64)),
    ]


class JSC_JtagAmbleDelay(Structure):
    _fields_ = [
        ("useMains", c_bool),
        ("mainIR", c_uint32),
        ("mainDR", c_uint32),
        ("useAmbles", c_bool),
        ("preAmbleIR", c_uint32),
        ("posAmbleIR", c_uint32),
        ("preAmbleDR", c_uint32),
        ("posAmbleDR", c_uint32),
        ("useDelays", c_bool),
        ("endDelay0", c_uint32),
        ("endDelay1", c_uint32),
        ("endDelay2", c_uint32),
        ("endDelay3", c_uint32),
    ]


class JSC_ResetAction(Structure):
    _fields_ = [
        ("resetSoft", c_bool),
        ("resetHard", c_bool),
        ("resetHidden", c_bool),
        ("trstAssert", c_bool),
        ("trstNegate", c_bool),
        ("verbose", c_bool),
    ]


class JSC_PodStatus(Structure):
    _fields_ = [
        ("nearStatus", c_bool),
        ("farStatus", c_bool),
        ("powerStatus", c_bool),
        ("clockStatus", c_bool),
    ]


class JSC_OldStatus(Structure):
    _fields_ = [
        ("itsAlive", c_bool),
        ("emuPin0", c_bool),
        ("emuPin1", c_bool),
    ]


class JSC_AdjustStuff(Structure):
    _fields_ = [
        ("configModeFreqFresh", c_bool),
        ("configModeFreqValue", c_uint32),
    ]


class JSC_FirmwareAction(Structure):
    _fields_ = [
        ("firmwareErase", c_bool),
        ("firmwareForce", c_bool),
        ("firmwareExternal", c_bool),
        ("firmwareLoadBefore", c_bool),
        ("firmwareLoadData", c_bool),
        ("firmwareLoadAfter", c_bool),
    ]


# Each operation in the order of the table: its name, and what it takes.
OPERATIONS: Final[list[tuple[str, list[Any]]]] = [
    ("Connect", [c_void_p, POINTER(c_bool)]),
    ("Disconnect", [c_void_p, POINTER(c_bool)]),
    ("StatusTrstn", [c_void_p, POINTER(c_bool)]),
    ("ModifyTrstn", [c_void_p, c_int32, c_uint32, c_uint32]),
    ("GetAmbleDelay", [c_void_p, POINTER(JSC_JtagAmbleDelay)]),
    ("PutAmbleDelay", [c_void_p, POINTER(JSC_JtagAmbleDelay)]),
    ("GetLinkDelay", [c_void_p, POINTER(c_uint32), POINTER(c_uint32), POINTER(c_uint32)]),
    ("PutLinkDelay", [c_void_p, c_int32]),
    ("WaitForTclk", [c_void_p, c_uint32]),
    ("HoldFreeOuts", [c_void_p, c_bool, c_bool, c_bool, c_bool]),
    ("TimingEdge", [c_void_p, c_bool, c_bool]),
    ("GetState", [c_void_p, POINTER(c_int32)]),
    ("PutState", [c_void_p, POINTER(JSC_JtagCommand), c_uint32, c_uint32]),
    ("ScanFixed01", [c_void_p, POINTER(JSC_JtagCommand), POINTER(JSC_JtagParam01)]),
    ("ScanSend08", [c_void_p, POINTER(JSC_JtagCommand), POINTER(JSC_JtagParam08)]),
    ("ScanSend16", [c_void_p, POINTER(JSC_JtagCommand), POINTER(JSC_JtagParam16)]),
    ("ScanSend32", [c_void_p, POINTER(JSC_JtagCommand), POINTER(JSC_JtagParam32)]),
    ("ScanSend64", [c_void_p, POINTER(JSC_JtagCommand), POINTER(JSC_JtagParam64)]),
    ("ScanBoth08", [c_void_p, POINTER(JSC_JtagCommand), POINTER(JSC_JtagParam08)]),
    ("ScanBoth16", [c_void_p, POINTER(JSC_JtagCommand), POINTER(JSC_JtagParam16)]),
    ("ScanBoth32", [c_void_p, POINTER(JSC_JtagCommand), POINTER(JSC_JtagParam32)]),
    ("ScanBoth64", [c_void_p, POINTER(JSC_JtagCommand), POINTER(JSC_JtagParam64)]),
    ("ScanRecv08", [c_void_p, POINTER(JSC_JtagCommand), POINTER(JSC_JtagParam08)]),
    ("ScanRecv16", [c_void_p, POINTER(JSC_JtagCommand), POINTER(JSC_JtagParam16)]),
    ("ScanRecv32", [c_void_p, POINTER(JSC_JtagCommand), POINTER(JSC_JtagParam32)]),
    ("ScanRecv64", [c_void_p, POINTER(JSC_JtagCommand), POINTER(JSC_JtagParam64)]),
    ("SwdRegRead", [c_void_p, c_uint32, c_uint32, POINTER(c_uint32)]),
    ("SwdRegWrite", [c_void_p, c_uint32, c_uint32, POINTER(c_uint32), c_bool]),
    ("LogFileCreate", [c_void_p, c_int32, POINTER(c_bool), c_uint32, POINTER(c_uint32)]),
    ("LogFileDelete", [c_void_p, c_int32, POINTER(c_bool)]),
    ("LogFileErase", [c_void_p, c_int32, POINTER(c_bool)]),
    ("LogFileMode", [c_void_p, c_int32, POINTER(c_bool), c_bool]),
    ("LogFileRead", [c_void_p, c_int32, POINTER(c_bool), c_uint32, POINTER(c_uint32), POINTER(c_uint32), POINTER(c_uint32)]),
    ("LogFileAppend", [c_void_p, c_int32, POINTER(c_bool), c_uint32]),
    ("Reset", [c_void_p, POINTER(JSC_ResetAction)]),
    ("Diagnose", [c_void_p, c_int32]),
    ("Adjust", [c_void_p, POINTER(JSC_AdjustStuff)]),
    ("PodConfig", [c_void_p, c_uint32, c_bool, POINTER(c_bool), c_uint32, c_bool]),
    ("PodStatus", [c_void_p, POINTER(JSC_PodStatus)]),
    ("OldStatus", [c_void_p, POINTER(JSC_OldStatus)]),
    ("Test", [c_void_p, c_int32, POINTER(c_bool), c_uint32, c_uint32]),
    ("MultipleVersion", [c_void_p, c_int32, POINTER(c_bool), POINTER(c_uint32)]),
    ("Benchmark", [c_void_p, c_uint32, c_bool, POINTER(c_uint32)]),
    ("FirmwareSupport", [c_void_p, c_int32, POINTER(c_bool), POINTER(c_bool)]),
    ("FirmwareVersion", [c_void_p, c_int32, POINTER(c_bool), POINTER(c_bool), POINTER(c_uint32)]),
    ("FirmwareConfig", [c_void_p, c_int32, POINTER(c_bool), POINTER(c_bool), POINTER(JSC_FirmwareAction), c_uint32, c_uint32, POINTER(c_uint8), c_uint32, POINTER(c_uint32)]),
    ("ClockSupport", [c_void_p, POINTER(c_bool), POINTER(c_bool)]),
    ("ClockConfig", [c_void_p, c_bool, c_uint32, c_uint32]),
    ("ClockMeasure", [c_void_p, POINTER(c_uint32)]),
    ("ClockSourceArchive", [c_void_p, c_bool]),
    ("ClockSourceRetrieve", [c_void_p, POINTER(c_bool)]),
    ("RegisterPoll", [c_void_p, c_int32, c_uint32]),
    ("RegisterRead", [c_void_p, c_bool, c_bool, c_uint32, c_uint32, POINTER(c_uint16)]),
    ("RegisterWrite", [c_void_p, c_bool, c_bool, c_uint32, c_uint32, POINTER(c_uint16)]),
]
