// The keyword tables of the board configuration, read-only data without start-up code.
// jsc_export.h declares them.
#include "config/scan_length.h"
#include "jsc_export.h"

namespace {

// Values of the repeat table: how often, 0 without end.
constexpr uint32_t kRepeatForever = 0;
constexpr uint32_t kRepeatOnce = 1;

} // namespace

// "default" is the falling edge for TDO but the rising edge for TDI: kept, as boards are written
// for it.
constinit const char* const gTdoEdgeTitle[] = {"default", "rise", "fall", nullptr};
constinit const uint32_t gTdoEdgeValue[] = {LS_SIGNAL_EDGE_FALL, LS_SIGNAL_EDGE_RISE,
                                            LS_SIGNAL_EDGE_FALL, LS_VALUE_NOTHING};

constinit const char* const gTdiEdgeTitle[] = {"default", "rise", "fall", nullptr};
constinit const uint32_t gTdiEdgeValue[] = {LS_SIGNAL_EDGE_RISE, LS_SIGNAL_EDGE_RISE,
                                            LS_SIGNAL_EDGE_FALL, LS_VALUE_NOTHING};

constinit const char* const gBootModeTitle[] = {"disable", "enable", nullptr};
constinit const uint32_t gBootModeValue[] = {LS_BOOT_MODE_DISABLE, LS_BOOT_MODE_ENABLE,
                                             LS_VALUE_NOTHING};

constinit const char* const gBootValueTitle[] = {"disable", "hiz", "00", "01", "10", "11", nullptr};
constinit const uint32_t gBootValueValue[] = {
    LS_BOOT_VALUE_HIZ, LS_BOOT_VALUE_HIZ, LS_BOOT_VALUE_00, LS_BOOT_VALUE_01,
    LS_BOOT_VALUE_10,  LS_BOOT_VALUE_11,  LS_VALUE_NOTHING};

constinit const char* const gLoopModeTitle[] = {"disable", "enable", nullptr};
constinit const uint32_t gLoopModeValue[] = {LS_LOOP_MODE_DISABLE, LS_LOOP_MODE_ENABLE,
                                             LS_VALUE_NOTHING};

constinit const char* const gLoopValueTitle[] = {"default", "disable", "data",
                                                 "clock",   "total",   nullptr};
constinit const uint32_t gLoopValueValue[] = {LS_LOOP_VALUE_DISABLE, LS_LOOP_VALUE_DISABLE,
                                              LS_LOOP_VALUE_DATA,    LS_LOOP_VALUE_CLOCK,
                                              LS_LOOP_VALUE_TOTAL,   LS_VALUE_NOTHING};

constinit const char* const gBootPinMapTitle[] = {"TRD01_TRD00", "TRD02_TRD01", "EXTF_EXTE",
                                                  nullptr};
constinit const uint32_t gBootPinMapValue[] = {LS_TRD01_TRD00, LS_TRD02_TRD01, LS_EXTF_EXTE,
                                               LS_VALUE_NOTHING};

constinit const char* const gJtagIsolateTitle[] = {"disable", "enable", nullptr};
constinit const uint32_t gJtagIsolateValue[] = {LS_ISOLATE_MODE_DISABLE, LS_ISOLATE_MODE_ENABLE,
                                                LS_VALUE_NOTHING};

constinit const char* const gLinkModeTitle[] = {"disable", "enable", nullptr};
constinit const uint32_t gLinkModeValue[] = {LS_LINK_MODE_DISABLE, LS_LINK_MODE_ENABLE,
                                             LS_VALUE_NOTHING};

constinit const char* const gLinkValueTitle[] = {"default", "disable", "automatic", nullptr};
constinit const uint32_t gLinkValueValue[] = {LS_LINK_VALUE_DISABLE, LS_LINK_VALUE_DISABLE,
                                              LS_LINK_VALUE_AUTOMATIC, LS_VALUE_NOTHING};

constinit const char* const gSignalTitle[] = {"LOW", "HIGH", "ACTIVE_LOW", "ACTIVE_HIGH", nullptr};
constinit const uint32_t gSignalValue[] = {LS_SIGNAL_ACTIVE_LOW, LS_SIGNAL_ACTIVE_HIGH,
                                           LS_SIGNAL_ACTIVE_LOW, LS_SIGNAL_ACTIVE_HIGH,
                                           LS_VALUE_NOTHING};

// The repeated words are kept: hosts index this table by position as well as by word.
constinit const char* const gStateTitle[] = {"reset",   "reset",   "idle",    "pausedr",
                                             "pauseir", "pausedr", "pauseir", nullptr};
constinit const uint32_t gStateValue[] = {
    LS_JTAG_STATE_RESET,    LS_JTAG_STATE_RESET,    LS_JTAG_STATE_IDLE,     LS_JTAG_STATE_PAUSE_DR,
    LS_JTAG_STATE_PAUSE_IR, LS_JTAG_STATE_PAUSE_DR, LS_JTAG_STATE_PAUSE_IR, LS_VALUE_NOTHING};

constinit const char* const gGotoTitle[] = {"trstpin", "reset",        "idle",         "pausedr",
                                            "pauseir", "idle2pausedr", "idle2pauseir", nullptr};
constinit const uint32_t gGotoValue[] = {
    LS_JTAG_STATE_RESET_AND_TRST,   LS_JTAG_STATE_RESET,    LS_JTAG_STATE_IDLE,
    LS_JTAG_STATE_PAUSE_DR,         LS_JTAG_STATE_PAUSE_IR, LS_JTAG_STATE_IDLE_TO_PAUSE_DR,
    LS_JTAG_STATE_IDLE_TO_PAUSE_IR, LS_VALUE_NOTHING};

constinit const char* const gErrorFileTypeTitle[] = {"default", "config", "modern", "define",
                                                     "enum",    "const",  nullptr};
constinit const uint32_t gErrorFileTypeValue[] = {
    LS_ERROR_FILETYPE_MODERN, LS_ERROR_FILETYPE_MODERN, LS_ERROR_FILETYPE_MODERN,
    LS_ERROR_FILETYPE_DEFINE, LS_ERROR_FILETYPE_ENUM,   LS_ERROR_FILETYPE_CONST,
    LS_VALUE_NOTHING};

constinit const char* const gSystemResetTitle[] = {"nothing", "assert", "negate", "pulse", nullptr};
constinit const uint32_t gSystemResetValue[] = {LS_SYSTEM_RESET_NOTHING, LS_SYSTEM_RESET_ASSERT,
                                                LS_SYSTEM_RESET_NEGATE, LS_SYSTEM_RESET_PULSE,
                                                LS_VALUE_NOTHING};

constinit const char* const gReorderTitle[] = {"forward", "reverse", "combine",
                                               "shuffle", "permute", nullptr};
constinit const uint32_t gReorderValue[] = {LS_REORDER_FORWARD, LS_REORDER_REVERSE,
                                            LS_REORDER_COMBINE, LS_REORDER_SHUFFLE,
                                            LS_REORDER_PERMUTE, LS_VALUE_NOTHING};

constinit const char* const gMethodTitle[] = {"plural", "single", nullptr};
constinit const uint32_t gMethodValue[] = {LS_METHOD_PLURAL, LS_METHOD_SINGLE, LS_VALUE_NOTHING};

constinit const char* const gHierarchyTitle[] = {"sibling", "children", "descendant", nullptr};
constinit const uint32_t gHierarchyValue[] = {LS_HIERARCHY_SIBLING, LS_HIERARCHY_CHILDREN,
                                              LS_HIERARCHY_DESCENDANTS, LS_VALUE_NOTHING};

constinit const char* const gRepeatTitle[] = {"default", "single", "forever", nullptr};
constinit const uint32_t gRepeatValue[] = {kRepeatOnce, kRepeatOnce, kRepeatForever,
                                           LS_VALUE_NOTHING};

constinit const char* const gDataTitle[] = {"default", "zeros-only", "ones-only", "speed",
                                            "align",   "~speed",     "~align",    nullptr};
constinit const uint32_t gDataValue[] = {
    LS_DATA_VALUE_SPEED, LS_DATA_VALUE_ALLZERO, LS_DATA_VALUE_ALLONES, LS_DATA_VALUE_SPEED,
    LS_DATA_VALUE_ALIGN, ~LS_DATA_VALUE_SPEED,  ~LS_DATA_VALUE_ALIGN,  LS_VALUE_NOTHING};

constinit const char* const gBitsTitle[] = {"none", "default", "shortest", "longest", nullptr};
constinit const uint32_t gBitsValue[] = {0, kScanBitsDefault, kScanBitsShortest, kScanBitsLongest,
                                         LS_VALUE_NOTHING};
constinit const char* const gPathTitle[] = {"default", "measure", nullptr};
