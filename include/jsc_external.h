/*
 * jsc_external.h: records and enumerations that the operations of the table take and give.
 *
 * For hosts (C11 or C++20). jsc_export.h holds the table itself and the entry points.
 */
#ifndef JSC_EXTERNAL_H
#define JSC_EXTERNAL_H

#include "jti_typedef.h"

/* ---- the JTAG command -------------------------------------------------------------------------
 */

/* How a state is reached. A command that opens with QUICKEST issues no go-to of its own. */
JTI_ENUM(JSC_JtagTransit){
    eJSC_JTAG_TRANSIT_INVALID_FIRST = 0, /* no shift, when it opens a command */
    eJSC_JTAG_TRANSIT_QUICKEST = 1,      /* shortest path */
    eJSC_JTAG_TRANSIT_VIA_CAPTURE = 2,   /* through Capture-DR or Capture-IR */
    eJSC_JTAG_TRANSIT_VIA_IDLE = 3,      /* through Run-Test/Idle, spending test clocks there */
    eJSC_JTAG_TRANSIT_INVALID_LAST = 4,
};
typedef enum JSC_JtagTransit JSC_JtagTransit;
/* Test clocks that one move by way of Run-Test/Idle spends there. */
#define JSC_IDLE_TRANSIT_CLOCKS 7u

/* Which register path is shifted. */
JTI_ENUM(JSC_JtagShift){
    eJSC_JTAG_SHIFT_INVALID_FIRST = 0, /* none: a pure state move */
    eJSC_JTAG_SHIFT_IR = 1,            /* instruction path */
    eJSC_JTAG_SHIFT_DR = 2,            /* data path */
    eJSC_JTAG_SHIFT_INDEX = 3,         /* by index; scans refuse it */
    eJSC_JTAG_SHIFT_INVALID_LAST = 4,
};
typedef enum JSC_JtagShift JSC_JtagShift;

/* TAP controller states (IEEE 1149.1, clause 6.1). Commands end in RESET, IDLE, PAUSE_DR or
 * PAUSE_IR only. */
JTI_ENUM(JSC_JtagState){
    eJSC_JTAG_STATE_INVALID_FIRST = 0,  /* no state */
    eJSC_JTAG_STATE_RESET = 1,          /* Test-Logic-Reset */
    eJSC_JTAG_STATE_IDLE = 2,           /* Run-Test/Idle */
    eJSC_JTAG_STATE_SHIFT_DR = 3,       /* Shift-DR */
    eJSC_JTAG_STATE_SHIFT_IR = 4,       /* Shift-IR */
    eJSC_JTAG_STATE_PAUSE_DR = 5,       /* Pause-DR */
    eJSC_JTAG_STATE_PAUSE_IR = 6,       /* Pause-IR */
    eJSC_JTAG_STATE_INVALID_MIDDLE = 7, /* no state; refused like the sentinels */
    eJSC_JTAG_STATE_EXIT1_DR = 8,       /* Exit1-DR */
    eJSC_JTAG_STATE_EXIT1_IR = 9,       /* Exit1-IR */
    eJSC_JTAG_STATE_EXIT2_DR = 10,      /* Exit2-DR */
    eJSC_JTAG_STATE_EXIT2_IR = 11,      /* Exit2-IR */
    eJSC_JTAG_STATE_SELECT_DR = 12,     /* Select-DR-Scan */
    eJSC_JTAG_STATE_SELECT_IR = 13,     /* Select-IR-Scan */
    eJSC_JTAG_STATE_UPDATE_DR = 14,     /* Update-DR */
    eJSC_JTAG_STATE_UPDATE_IR = 15,     /* Update-IR */
    eJSC_JTAG_STATE_CAPTURE_DR = 16,    /* Capture-DR */
    eJSC_JTAG_STATE_CAPTURE_IR = 17,    /* Capture-IR */
    eJSC_JTAG_STATE_INVALID_LAST = 18,  /* end mark */
};
typedef enum JSC_JtagState JSC_JtagState;

/* Where extra delay clocks are spent. Carried in the command; the driver does not act on it. */
JTI_ENUM(JSC_JtagDelay){
    eJSC_JTAG_DELAY_INVALID_FIRST = 0,
    eJSC_JTAG_DELAY_USE_END = 1,
    eJSC_JTAG_DELAY_INDEX = 2,
    eJSC_JTAG_DELAY_INVALID_LAST = 3,
};
typedef enum JSC_JtagDelay JSC_JtagDelay;

/* Which of the amble bits (JSC_JtagAmbleDelay) go around a scan, always ones. */
JTI_ENUM(JSC_JtagAmble){
    eJSC_JTAG_AMBLE_INVALID_FIRST = 0, /* refused */
    eJSC_JTAG_AMBLE_NEITHER = 1,       /* none */
    eJSC_JTAG_AMBLE_PREAMBLE = 2,      /* those before the scan */
    eJSC_JTAG_AMBLE_POSTAMBLE = 3,     /* those behind it */
    eJSC_JTAG_AMBLE_BOTH = 4,          /* both */
    eJSC_JTAG_AMBLE_INVALID_LAST = 5,  /* refused */
};
typedef enum JSC_JtagAmble JSC_JtagAmble;

/* Whether the send buffer advances from one repeat to the next. */
JTI_ENUM(JSC_JtagUsage){
    eJSC_JTAG_USAGE_INVALID_FIRST = 0,
    eJSC_JTAG_USAGE_FRESH = 1, /* it advances */
    eJSC_JTAG_USAGE_REUSE = 2, /* the same words are sent again */
    eJSC_JTAG_USAGE_INVALID_LAST = 3,
};
typedef enum JSC_JtagUsage JSC_JtagUsage;

/* Width of the host's buffer words. Buffers are read as 16-bit words whatever it says; with
 * WIDTH_32 a repeat advances by whole 32-bit words. */
JTI_ENUM(JSC_JtagWidth){
    eJSC_JTAG_WIDTH_INVALID_FIRST = 0,
    eJSC_JTAG_WIDTH_1 = 1,
    eJSC_JTAG_WIDTH_8 = 2,
    eJSC_JTAG_WIDTH_16 = 3,
    eJSC_JTAG_WIDTH_32 = 4,
    eJSC_JTAG_WIDTH_64 = 5,
    eJSC_JTAG_WIDTH_INVALID_LAST = 6,
};
typedef enum JSC_JtagWidth JSC_JtagWidth;

/* Compensation of the return path. AUTO clocks one leading word and drops the first word back. */
JTI_ENUM(JSC_JtagAdjust){
    eJSC_JTAG_ADJUST_INVALID_FIRST = 0,
    eJSC_JTAG_ADJUST_AUTO = 1,
    eJSC_JTAG_ADJUST_USER = 2,
    eJSC_JTAG_ADJUST_INVALID_LAST = 3,
};
typedef enum JSC_JtagAdjust JSC_JtagAdjust;

/* How ModifyTrstn works on the pin. Only SET_LEVEL is offered. */
JTI_ENUM(JSC_JtagPin){
    eJSC_JTAG_PIN_INVALID_FIRST = 0,
    eJSC_JTAG_PIN_SET_LEVEL = 1,
    eJSC_JTAG_PIN_DO_PULSES = 2,
    eJSC_JTAG_PIN_INVALID_LAST = 3,
};
typedef enum JSC_JtagPin JSC_JtagPin;

/* What every state move and scan is told. */
typedef struct JSC_JtagCommand {
    JSC_JtagTransit jtagBefore; /* how to reach the Shift state; 0 for a pure state move */
    JSC_JtagShift jtagShift;    /* path to shift; 0 for a pure state move */
    JSC_JtagTransit jtagAfter;  /* how to leave the Shift state, 1 to 3 also for a state move */
    JSC_JtagState jtagEnd;      /* RESET, IDLE, PAUSE_DR or PAUSE_IR */
    JSC_JtagDelay jtagDelay;    /* carried, not acted on */
    JSC_JtagAmble jtagAmble;    /* scans only */
    JSC_JtagUsage jtagUsage;    /* scans that send, with a repeat count above 1 */
    JSC_JtagWidth jtagWidth;    /* scans with a repeat count above 1 */
    JSC_JtagAdjust jtagAdjust;  /* scans that send and receive, or receive */
} JSC_JtagCommand;

/* What all scan parameters begin with. */
typedef struct JSC_JtagParam {
    uint32_t repeatCount; /* how often the scan is made; 0 is refused */
    uint32_t delayCount;  /* carried, not acted on */
    uint32_t shiftCount;  /* bits of the main shift, ambles not counted; 0 is refused, but
                             for ones with ambles, which are one shift together */
} JSC_JtagParam;

/* Parameters of a scan of all ones or all zeros. */
typedef struct JSC_JtagParam01 {
    uint32_t repeatCount;
    uint32_t delayCount;
    uint32_t shiftCount;
    bool useOnes; /* shift ones instead of zeros */
} JSC_JtagParam01;

/* Parameters of a scan with data. The buffers are the host's, (shiftCount + 15) / 16 words for each
 * repeat that advances, least significant bit first, word 0 first. A receive buffer must stay valid
 * until a flush succeeded: after a failed scan the words may still arrive with the next one. */
typedef struct JSC_JtagParam08 {
    uint32_t repeatCount;
    uint32_t delayCount;
    uint32_t shiftCount;
    uint8_t* pOutBuffer; /* in: what is sent */
    uint8_t* pInBuffer;  /* out: what came back */
} JSC_JtagParam08;
typedef struct JSC_JtagParam16 {
    uint32_t repeatCount;
    uint32_t delayCount;
    uint32_t shiftCount;
    uint16_t* pOutBuffer; /* in: what is sent */
    uint16_t* pInBuffer;  /* out: what came back */
} JSC_JtagParam16;
typedef struct JSC_JtagParam32 {
    uint32_t repeatCount;
    uint32_t delayCount;
    uint32_t shiftCount;
    uint32_t* pOutBuffer; /* in: what is sent */
    uint32_t* pInBuffer;  /* out: what came back */
} JSC_JtagParam32;
typedef struct JSC_JtagParam64 {
    uint32_t repeatCount;
    uint32_t delayCount;
    uint32_t shiftCount;
    uint64_t* pOutBuffer; /* in: what is sent */
    uint64_t* pInBuffer;  /* out: what came back */
} JSC_JtagParam64;

/* Amble bits, main and end delays. Each `use` flag chooses whether its group is transferred. */
typedef struct JSC_JtagAmbleDelay {
    bool useMains;
    uint32_t mainIR; /* bits */
    uint32_t mainDR; /* bits */
    bool useAmbles;
    uint32_t preAmbleIR; /* ones shifted before an instruction scan, bits */
    uint32_t posAmbleIR; /* ones shifted after an instruction scan, bits */
    uint32_t preAmbleDR; /* ones shifted before a data scan, bits */
    uint32_t posAmbleDR; /* ones shifted after a data scan, bits */
    bool useDelays;
    uint32_t endDelay0; /* end delay of a single scan, test clocks */
    uint32_t endDelay1; /* end delay of repeated scans, test clocks */
    uint32_t endDelay2;
    uint32_t endDelay3;
} JSC_JtagAmbleDelay;

/* ---- reset, status and the other operations ---------------------------------------------------
 */

/* What a reset does. */
typedef struct JSC_ResetAction {
    bool resetSoft;   /* reset the controller by its control register */
    bool resetHard;   /* pulse the pod's reset line, twice */
    bool resetHidden; /* disconnect the outputs meanwhile and restore the TAP state afterwards */
    bool trstAssert;  /* with trstNegate: pulse TRSTn; the two must be equal */
    bool trstNegate;
    bool verbose; /* write the reset log */
} JSC_ResetAction;

/* Latched conditions of cable and target. */
typedef struct JSC_PodStatus {
    bool nearStatus;  /* cable break near the pod */
    bool farStatus;   /* cable break far from the pod */
    bool powerStatus; /* target power lost */
    bool clockStatus; /* test clock lost */
} JSC_PodStatus;

/* Status of old. */
typedef struct JSC_OldStatus {
    bool itsAlive; /* the controller answers */
    bool emuPin0;  /* level of EMU0 */
    bool emuPin1;  /* level of EMU1 */
} JSC_OldStatus;

/* A change of mode. */
typedef struct JSC_AdjustStuff {
    bool configModeFreqFresh;     /* a new test-clock frequency is given */
    uint32_t configModeFreqValue; /* hertz; never 0 */
} JSC_AdjustStuff;

/* What is to be done with firmware; this controller has none. */
typedef struct JSC_FirmwareAction {
    bool firmwareErase;
    bool firmwareForce;
    bool firmwareExternal;
    bool firmwareLoadBefore;
    bool firmwareLoadData;
    bool firmwareLoadAfter;
} JSC_FirmwareAction;

/* Which version MultipleVersion asks for. */
JTI_ENUM(JSC_FeatureId){
    eJSC_FEATURE_ID_INVALID_FIRST = 0,
    eJSC_FEATURE_ID_TBC_VERSION = 1, /* controller kind, JTI_ControlId */
    eJSC_FEATURE_ID_TBC_LENGTH = 2,  /* width of a data word: 16 */
    eJSC_FEATURE_ID_POD_VERSION = 3, /* utility revision, 1 to 8 */
    eJSC_FEATURE_ID_POD_CAPABLE = 4, /* not known to this controller */
    eJSC_FEATURE_ID_INVALID_LAST = 5,
};
typedef enum JSC_FeatureId JSC_FeatureId;

/* Which firmware is meant; none is known to this controller. */
JTI_ENUM(JSC_FirmwareId){
    eJSC_FIRMWARE_ID_INVALID_FIRST = 0, eJSC_FIRMWARE_ID_EMULATOR = 1,
    eJSC_FIRMWARE_ID_MULTIPOD = 2,      eJSC_FIRMWARE_ID_CLIENT = 3,
    eJSC_FIRMWARE_ID_SERVER = 4,        eJSC_FIRMWARE_ID_INVALID_LAST = 5,
};
typedef enum JSC_FirmwareId JSC_FirmwareId;

/* Which log is meant; only the reset log exists. */
JTI_ENUM(JSC_LogFileId){
    eJSC_LOGFILE_ID_INVALID_FIRST = 0, eJSC_LOGFILE_ID_RESET = 1,        eJSC_LOGFILE_ID_PLL = 2,
    eJSC_LOGFILE_ID_TEST = 3,          eJSC_LOGFILE_ID_INVALID_LAST = 4,
};
typedef enum JSC_LogFileId JSC_LogFileId;

/* What RegisterPoll waits for: ACCESS_READY, the BUFFER1 kinds and COMMAND_FINISH. */
JTI_ENUM(JSC_StatusType){
    eJSC_STATUS_TYPE_INVALID_FIRST = 0,
    eJSC_STATUS_TYPE_HARMLESS = 1,
    eJSC_STATUS_TYPE_ACCESS_READY = 2,
    eJSC_STATUS_TYPE_WR_BUFFER1_ONE = 3,  /* room to send one word */
    eJSC_STATUS_TYPE_WR_BUFFER1_MANY = 4, /* room to send many words */
    eJSC_STATUS_TYPE_WR_BUFFER2_ONE = 5,
    eJSC_STATUS_TYPE_WR_BUFFER2_MANY = 6,
    eJSC_STATUS_TYPE_RD_BUFFER1_ONE = 7,  /* one word received */
    eJSC_STATUS_TYPE_RD_BUFFER1_MANY = 8, /* many words received */
    eJSC_STATUS_TYPE_RD_BUFFER2_ONE = 9,
    eJSC_STATUS_TYPE_RD_BUFFER2_MANY = 10,
    eJSC_STATUS_TYPE_COMMAND_START = 11,
    eJSC_STATUS_TYPE_COMMAND_FINISH = 12, /* the controller is idle */
    eJSC_STATUS_TYPE_EXTRA_START = 13,
    eJSC_STATUS_TYPE_EXTRA_FINISH = 14, /* extended controllers; always refused */
    eJSC_STATUS_TYPE_TCLKO_PROGRAM_START = 15,
    eJSC_STATUS_TYPE_TCLKO_PROGRAM_FINISH = 16,
    eJSC_STATUS_TYPE_TCLKR_MEASURE_START = 17,
    eJSC_STATUS_TYPE_TCLKR_MEASURE_FINISH = 18,
    eJSC_STATUS_TYPE_INVALID_LAST = 19,
};
typedef enum JSC_StatusType JSC_StatusType;

/* ---- the reset log ----------------------------------------------------------------------------
 */

/* Markers within a log, as words. A basic entry is its key alone; a number entry is
 * LS_LOGFILE_ITSA_NUMBER, the number, the key; a string entry is LS_LOGFILE_ITSA_STRING, the count
 * of words, the words with the text and its NULs, the key. */
#define LS_LOGFILE_ITSA_FINISH 0    /* closes the list that a read returns */
#define LS_LOGFILE_ITSA_NUMBER (-1) /* 0xFFFFFFFF: a number entry follows */
#define LS_LOGFILE_ITSA_STRING (-2) /* 0xFFFFFFFE: a string entry follows */

/* Keys of the reset log. Codes that this driver does not write have no name here. */
JTI_ENUM(VexilResetLogIndex){
    RSTLOG_START_INDEX = 0,
    RSTLOG_HARD_RST_VIA_SPRT = 1, /* hard reset through the support register */
    RSTLOG_SOFT_RST_VIA_SPRT = 2, /* soft reset through the support register */
    RSTLOG_SUCCESSFUL_ACCESS = 5, /* the controller was reached */
    RSTLOG_USE_ONLY_TBC = 6,      /* only the controller is used */
    RSTLOG_USE_NORMAL_CLK_MODE = 18,
    RSTLOG_USE_SLOWER_CLK_MODE = 19,
    RSTLOG_USE_FASTER_CLK_MODE = 20,
    RSTLOG_USE_OUTPUT_EDGE_RISE = 22,
    RSTLOG_USE_OUTPUT_EDGE_FALL = 23,
    RSTLOG_USE_INPUT_EDGE_NOSUPPORT = 24, /* the input edge cannot be chosen */
    RSTLOG_EMU0_INPUT_IS_ONE = 28,
    RSTLOG_EMU0_INPUT_IS_ZERO = 29,
    RSTLOG_EMU1_INPUT_IS_ONE = 31,
    RSTLOG_EMU1_INPUT_IS_ZERO = 32,
    RSTLOG_PRIOR_POWER_LOSS_YES = 34, /* target power was lost before */
    RSTLOG_PRIOR_POWER_LOSS_NOT = 35,
    RSTLOG_CURRENT_POWER_LOSS_YES = 37, /* target power is lost now */
    RSTLOG_CURRENT_POWER_LOSS_NOT = 38,
    RSTLOG_LINK_DELAY_IS_SPECIFIC = 39, /* a number entry: the link delay in test clocks */
    RSTLOG_SCAN_PATH_TRST_TOGGLE = 41,  /* TRSTn was pulsed */
    RSTLOG_SCAN_PATH_TRST_NEGATE = 42,  /* TRSTn was found low and driven high */
    RSTLOG_CONTROL_PROTOTYPE_TBC = 52,  /* the controller kinds, by JTI_ControlId; of each pair the
                                           software model comes first here */
    RSTLOG_CONTROL_TBC = 53,
    RSTLOG_CONTROL_EXL = 54,
    RSTLOG_CONTROL_DPM = 55,
    RSTLOG_CONTROL_FTDI_FT2232 = 56,
    RSTLOG_CONTROL_NANO_CMODEL = 57,
    RSTLOG_CONTROL_NANO_VHDL = 58,
    RSTLOG_CONTROL_PICO_CMODEL = 59,
    RSTLOG_CONTROL_PICO_VHDL = 60,
    RSTLOG_CONTROL_SERDES_CMODEL = 61,
    RSTLOG_CONTROL_SERDES_VHDL = 62,
    RSTLOG_CONTROL_BITIO_CMODEL = 63,
    RSTLOG_CONTROL_BITIO_VHDL = 64,
    RSTLOG_CONTROL_UNKNOWN = 65,
    RSTLOG_FINISH_INDEX = 73,
};
typedef enum VexilResetLogIndex VexilResetLogIndex;

/* ---- test clock -------------------------------------------------------------------------------
 */

/* Positions of the two parts of a coordinate. */
#define PLL_TCLK_Y_SHIFT ((uint8_t)8)
#define PLL_TCLK_Z_SHIFT ((uint8_t)0)

/* A coordinate from its parts, as a constant. pll_RePack does the same at run time. */
#define PLL_TCLK_PACK(y, z) ((coord_t)((((uint32_t)(y) << 8) & 0xFF00u) | (uint32_t)(z)))

/* Named coordinates: exponent, mantissa in 64ths, both packed. */
#define PLL_TCLK_Y_ONE ((y_coord_t)0)
#define PLL_TCLK_Z_ONE ((z_coord_t)0)
#define PLL_TCLK_W_ONE PLL_TCLK_PACK(PLL_TCLK_Y_ONE, PLL_TCLK_Z_ONE) /* 1 MHz */
#define PLL_TCLK_Y_TWO ((y_coord_t)1)
#define PLL_TCLK_Z_TWO ((z_coord_t)0)
#define PLL_TCLK_W_TWO PLL_TCLK_PACK(PLL_TCLK_Y_TWO, PLL_TCLK_Z_TWO) /* 2 MHz */
#define PLL_TCLK_Y_FOUR ((y_coord_t)2)
#define PLL_TCLK_Z_FOUR ((z_coord_t)0)
#define PLL_TCLK_W_FOUR PLL_TCLK_PACK(PLL_TCLK_Y_FOUR, PLL_TCLK_Z_FOUR) /* 4 MHz */
#define PLL_TCLK_Y_FIVE ((y_coord_t)2)
#define PLL_TCLK_Z_FIVE ((z_coord_t)16)
#define PLL_TCLK_W_FIVE PLL_TCLK_PACK(PLL_TCLK_Y_FIVE, PLL_TCLK_Z_FIVE) /* 5 MHz */
#define PLL_TCLK_Y_TEN ((y_coord_t)3)
#define PLL_TCLK_Z_TEN ((z_coord_t)16)
#define PLL_TCLK_W_TEN PLL_TCLK_PACK(PLL_TCLK_Y_TEN, PLL_TCLK_Z_TEN) /* 10 MHz */
#define PLL_TCLK_Y_SUPERLOW ((y_coord_t)(-11))
#define PLL_TCLK_Z_SUPERLOW ((z_coord_t)0)
#define PLL_TCLK_W_SUPERLOW PLL_TCLK_PACK(PLL_TCLK_Y_SUPERLOW, PLL_TCLK_Z_SUPERLOW) /* 488 Hz */
#define PLL_TCLK_Y_MINIMUM ((y_coord_t)(-1))
#define PLL_TCLK_Z_MINIMUM ((z_coord_t)0)
#define PLL_TCLK_W_MINIMUM PLL_TCLK_PACK(PLL_TCLK_Y_MINIMUM, PLL_TCLK_Z_MINIMUM) /* 500 kHz */
#define PLL_TCLK_Y_LEGACY ((y_coord_t)3)
#define PLL_TCLK_Z_LEGACY ((z_coord_t)19)
#define PLL_TCLK_W_LEGACY PLL_TCLK_PACK(PLL_TCLK_Y_LEGACY, PLL_TCLK_Z_LEGACY) /* 10.375 MHz */
#define PLL_TCLK_Y_DEFAULT ((y_coord_t)3)
#define PLL_TCLK_Z_DEFAULT ((z_coord_t)19)
#define PLL_TCLK_W_DEFAULT PLL_TCLK_PACK(PLL_TCLK_Y_DEFAULT, PLL_TCLK_Z_DEFAULT) /* 10.375 MHz */
#define PLL_TCLK_Y_EXCHANGE ((y_coord_t)5)
#define PLL_TCLK_Z_EXCHANGE ((z_coord_t)6)
#define PLL_TCLK_W_EXCHANGE PLL_TCLK_PACK(PLL_TCLK_Y_EXCHANGE, PLL_TCLK_Z_EXCHANGE) /* 35 MHz */
#define PLL_TCLK_Y_ADAPTIVE ((y_coord_t)5)
#define PLL_TCLK_Z_ADAPTIVE ((z_coord_t)32)
#define PLL_TCLK_W_ADAPTIVE PLL_TCLK_PACK(PLL_TCLK_Y_ADAPTIVE, PLL_TCLK_Z_ADAPTIVE) /* 48 MHz */
#define PLL_TCLK_Y_MAXIMUM ((y_coord_t)6)
#define PLL_TCLK_Z_MAXIMUM ((z_coord_t)0)
#define PLL_TCLK_W_MAXIMUM PLL_TCLK_PACK(PLL_TCLK_Y_MAXIMUM, PLL_TCLK_Z_MAXIMUM) /* 64 MHz */
#define PLL_TCLK_Y_SUPERHIGH ((y_coord_t)7)
#define PLL_TCLK_Z_SUPERHIGH ((z_coord_t)0)
#define PLL_TCLK_W_SUPERHIGH                                                                       \
    PLL_TCLK_PACK(PLL_TCLK_Y_SUPERHIGH, PLL_TCLK_Z_SUPERHIGH) /* 128 MHz                           \
                                                               */
#define PLL_TCLK_Y_THOUSAND ((y_coord_t)9)
#define PLL_TCLK_Z_THOUSAND ((z_coord_t)61)
#define PLL_TCLK_W_THOUSAND                                                                        \
    PLL_TCLK_PACK(PLL_TCLK_Y_THOUSAND, PLL_TCLK_Z_THOUSAND) /* the factor 1000 */
#define PLL_TCLK_Y_MILLION ((y_coord_t)19)
#define PLL_TCLK_Z_MILLION ((z_coord_t)58)
#define PLL_TCLK_W_MILLION                                                                         \
    PLL_TCLK_PACK(PLL_TCLK_Y_MILLION, PLL_TCLK_Z_MILLION) /* the factor 999,424 */
#define PLL_TCLK_Y_JUSTONE ((y_coord_t)0)
#define PLL_TCLK_Z_JUSTONE ((z_coord_t)1)
#define PLL_TCLK_W_JUSTONE                                                                         \
    PLL_TCLK_PACK(PLL_TCLK_Y_JUSTONE, PLL_TCLK_Z_JUSTONE) /* one mantissa unit */
#define PLL_TCLK_Y_JUSTTWO ((y_coord_t)0)
#define PLL_TCLK_Z_JUSTTWO ((z_coord_t)2)
#define PLL_TCLK_W_JUSTTWO                                                                         \
    PLL_TCLK_PACK(PLL_TCLK_Y_JUSTTWO, PLL_TCLK_Z_JUSTTWO) /* two mantissa units */
#define PLL_TCLK_Y_JUSTFOUR ((y_coord_t)0)
#define PLL_TCLK_Z_JUSTFOUR ((z_coord_t)4)
#define PLL_TCLK_W_JUSTFOUR                                                                        \
    PLL_TCLK_PACK(PLL_TCLK_Y_JUSTFOUR, PLL_TCLK_Z_JUSTFOUR) /* four mantissa units */
#define PLL_TCLK_Y_JUSTEIGHT ((y_coord_t)0)
#define PLL_TCLK_Z_JUSTEIGHT ((z_coord_t)8)
#define PLL_TCLK_W_JUSTEIGHT                                                                       \
    PLL_TCLK_PACK(PLL_TCLK_Y_JUSTEIGHT, PLL_TCLK_Z_JUSTEIGHT) /* eight mantissa units */
/* No frequency is set. Its high bit is dropped wherever a coordinate is unpacked. */
#define PLL_TCLK_W_NOTHING ((coord_t)0x10000u)

/* Ordinary range of the parts: 500 kHz to 2^7 * 127/64 MHz. */
#define PLL_TCLK_Y_MIN ((y_coord_t)(-1))
#define PLL_TCLK_Y_MAX ((y_coord_t)7)
#define PLL_TCLK_Z_MIN ((z_coord_t)0)
#define PLL_TCLK_Z_MAX ((z_coord_t)63)

/* Margins in 64ths, for pll_AddMargin and pll_SubMargin. */
#define PLL_TCLK_MARGIN_MIN ((uint32_t)0)
#define PLL_TCLK_MARGIN_MAX ((uint32_t)63)
#define PLL_TCLK_MARGIN_ADVANCE ((uint32_t)12)
#define PLL_TCLK_MARGIN_RETREAT ((uint32_t)8)

/* Frequencies and factors in hertz. */
#define PLL_TCLK_KHZ_TO_HZ ((hertz_t)1000)
#define PLL_TCLK_MHZ_TO_HZ ((hertz_t)1000000)
#define PLL_TCLK_GHZ_TO_HZ ((hertz_t)1000000000)
#define PLL_TCLK_F_DEAD ((hertz_t)250)
#define PLL_TCLK_F_SUPERLOW ((hertz_t)488)
#define PLL_TCLK_F_TIMEOUT ((hertz_t)20000)
#define PLL_TCLK_F_SLOWCLK ((hertz_t)250000)
#define PLL_TCLK_F_MINIMUM ((hertz_t)500000)
/* The legacy fixed clock; not the 10,375,000 Hz of the coordinate of that name. */
#define PLL_TCLK_F_LEGACY ((hertz_t)10368000)
#define PLL_TCLK_F_MAX_RELY ((hertz_t)96000000)
#define PLL_TCLK_F_MAXIMUM ((hertz_t)128000000)
#define PLL_TCLK_F_SUPERHIGH ((hertz_t)128000000)

/* Divider selections: division by 1, 16, 256, 4096. */
#define PLL_TCLK_DIVIDE_IMPLICIT (-1)
#define PLL_TCLK_DIVIDE_2POWER0 0
#define PLL_TCLK_DIVIDE_2POWER4 1
#define PLL_TCLK_DIVIDE_2POWER8 2
#define PLL_TCLK_DIVIDE_2POWER12 3

/* Phases of the next-frequency search. */
JTI_ENUM_UNSIGNED(VexilPllStateAction){
    PLL_STATE_STEP_INIT = 0,   /* prepare the upward ramp */
    PLL_STATE_STEP = 1,        /* one step of it */
    PLL_STATE_POWER_INIT = 2,  /* bracket an octave below the last frequency */
    PLL_STATE_POWER = 3,       /* one step of the bisection */
    PLL_STATE_MARGIN_INIT = 4, /* first step back from what was found */
    PLL_STATE_MARGIN = 5,      /* further steps back */
};
typedef enum VexilPllStateAction VexilPllStateAction;

/* History of a next-frequency search; the host's, read and updated by pll_GetNextFrequency. */
typedef struct PLL_Next {
    coord_t start;    /* host: first frequency of the ramp */
    coord_t finish;   /* host: frequency that the ramp aims at */
    uint32_t advance; /* host: margin of a ramp step, 64ths */
    uint32_t retreat; /* host: margin of the steps back and of the ramp's overshoot, 64ths */
    coord_t minimum;  /* host: lowest frequency that the search may return */
    coord_t maximum;  /* host: highest frequency that the ramp may reach */
    coord_t lower;    /* search: lower bound; valid after PLL_STATE_POWER_INIT */
    coord_t higher;   /* search: upper bound; valid after PLL_STATE_POWER_INIT */
    coord_t expect;   /* search: clamped target of the ramp; valid after PLL_STATE_STEP_INIT */
    coord_t actual;   /* search: end point of the ramp; valid after PLL_STATE_STEP_INIT */
} PLL_Next;

/* ---- values of the keyword tables -------------------------------------------------------------
 */

/* Signal edge. */
JTI_ENUM_UNSIGNED(LsJtagSignalEdge){
    LS_SIGNAL_EDGE_RISE = 0,
    LS_SIGNAL_EDGE_FALL = 1,
};
typedef enum LsJtagSignalEdge LsJtagSignalEdge;

/* Mode of a boot-pin group. */
JTI_ENUM_UNSIGNED(LsBootModeCommand){
    LS_BOOT_MODE_DISABLE = 0,
    LS_BOOT_MODE_ENABLE = 1,
};
typedef enum LsBootModeCommand LsBootModeCommand;

/* Levels of a boot-pin group. */
JTI_ENUM_UNSIGNED(LsBootModeValue){
    LS_BOOT_VALUE_HIZ = 0, LS_BOOT_VALUE_00 = 1, LS_BOOT_VALUE_01 = 2,
    LS_BOOT_VALUE_10 = 3,  LS_BOOT_VALUE_11 = 4,
};
typedef enum LsBootModeValue LsBootModeValue;

/* Pod loop-back mode. */
JTI_ENUM_UNSIGNED(LsLoopBackCommand){
    LS_LOOP_MODE_DISABLE = 0,
    LS_LOOP_MODE_ENABLE = 1,
};
typedef enum LsLoopBackCommand LsLoopBackCommand;

/* What the pod loops back. */
JTI_ENUM_UNSIGNED(LsLoopBackValue){
    LS_LOOP_VALUE_DISABLE = 0,
    LS_LOOP_VALUE_DATA = 1,
    LS_LOOP_VALUE_CLOCK = 2,
    LS_LOOP_VALUE_TOTAL = 3,
};
typedef enum LsLoopBackValue LsLoopBackValue;

/* Pins that the boot levels go to. */
JTI_ENUM_UNSIGNED(LsBootPinMapValue){
    LS_TRD01_TRD00 = 0,
    LS_TRD02_TRD01 = 1,
    LS_EXTF_EXTE = 2,
};
typedef enum LsBootPinMapValue LsBootPinMapValue;

/* JTAG isolation. */
JTI_ENUM_UNSIGNED(LsJtagIsolateValue){
    LS_ISOLATE_MODE_DISABLE = 0,
    LS_ISOLATE_MODE_ENABLE = 1,
};
typedef enum LsJtagIsolateValue LsJtagIsolateValue;

/* Link-delay mode. */
JTI_ENUM_UNSIGNED(LsLinkDelayCommand){
    LS_LINK_MODE_DISABLE = 0,
    LS_LINK_MODE_ENABLE = 1,
};
typedef enum LsLinkDelayCommand LsLinkDelayCommand;

/* Link-delay choice. */
JTI_ENUM_UNSIGNED(LsLinkDelayValue){
    LS_LINK_VALUE_DISABLE = 0,
    LS_LINK_VALUE_AUTOMATIC = 1,
};
typedef enum LsLinkDelayValue LsLinkDelayValue;

/* Active level of a signal. */
JTI_ENUM_UNSIGNED(LsVexilSignalTypes){
    LS_SIGNAL_ACTIVE_LOW = 0,
    LS_SIGNAL_ACTIVE_HIGH = 1,
};
typedef enum LsVexilSignalTypes LsVexilSignalTypes;

/* States of the state and go-to tables. */
JTI_ENUM_UNSIGNED(LsJtagTypes){
    LS_JTAG_STATE_RESET_AND_TRST = 0,
    LS_JTAG_STATE_RESET = 1,
    LS_JTAG_STATE_IDLE = 2,
    LS_JTAG_STATE_PAUSE_DR = 3,
    LS_JTAG_STATE_PAUSE_IR = 4,
    LS_JTAG_STATE_IDLE_TO_PAUSE_DR = 5,
    LS_JTAG_STATE_IDLE_TO_PAUSE_IR = 6,
};
typedef enum LsJtagTypes LsJtagTypes;

/* Form of an error file. */
JTI_ENUM_UNSIGNED(LsErrorFileType){
    LS_ERROR_FILETYPE_MODERN = 0,
    LS_ERROR_FILETYPE_DEFINE = 1,
    LS_ERROR_FILETYPE_ENUM = 2,
    LS_ERROR_FILETYPE_CONST = 3,
};
typedef enum LsErrorFileType LsErrorFileType;

/* What to do with the system reset. */
JTI_ENUM_UNSIGNED(LsSystemReset){
    LS_SYSTEM_RESET_NOTHING = 0,
    LS_SYSTEM_RESET_ASSERT = 1,
    LS_SYSTEM_RESET_NEGATE = 2,
    LS_SYSTEM_RESET_PULSE = 3,
};
typedef enum LsSystemReset LsSystemReset;

/* Order of devices. */
JTI_ENUM_UNSIGNED(LsReorderValue){
    LS_REORDER_FORWARD = 0, LS_REORDER_REVERSE = 1, LS_REORDER_COMBINE = 2,
    LS_REORDER_SHUFFLE = 3, LS_REORDER_PERMUTE = 4,
};
typedef enum LsReorderValue LsReorderValue;

/* One or several at a time. */
JTI_ENUM_UNSIGNED(LsMethodValue){
    LS_METHOD_PLURAL = 0,
    LS_METHOD_SINGLE = 1,
};
typedef enum LsMethodValue LsMethodValue;

/* Reach within the device tree. */
JTI_ENUM_UNSIGNED(LsHierarchyValue){
    LS_HIERARCHY_SIBLING = 0,
    LS_HIERARCHY_CHILDREN = 1,
    LS_HIERARCHY_DESCENDANTS = 2,
};
typedef enum LsHierarchyValue LsHierarchyValue;

/* How the test clock is programmed. */
JTI_ENUM_UNSIGNED(LsVexilProgTypes){
    LS_TCLK_PROG_NOTHING = 0,   LS_TCLK_PROG_EXTERNAL = 1, LS_TCLK_PROG_DEFAULT = 2,
    LS_TCLK_PROG_REFERENCE = 3, LS_TCLK_PROG_SPECIFIC = 4, LS_TCLK_PROG_AUTOMATIC = 5,
    LS_TCLK_PROG_ADAPTIVE = 6,  LS_TCLK_PROG_INVERTER = 7, LS_TCLK_PROG_SUPERLOW = 8,
    LS_TCLK_PROG_MINIMUM = 9,   LS_TCLK_PROG_LEGACY = 10,  LS_TCLK_PROG_EXCHANGE = 11,
    LS_TCLK_PROG_MAXIMUM = 12,
};
typedef enum LsVexilProgTypes LsVexilProgTypes;

/* What a clock test does. */
JTI_ENUM_UNSIGNED(LsVexilTestModeTypes){
    LS_TCLK_TESTMODE_DEFAULT = 0,
    LS_TCLK_TESTMODE_NOTHING = 1,
    LS_TCLK_TESTMODE_CONTINUE = 2,
    LS_TCLK_TESTMODE_SURRENDER = 3,
};
typedef enum LsVexilTestModeTypes LsVexilTestModeTypes;

/* What a clock overflow does. */
JTI_ENUM_UNSIGNED(LsVexilOverFlowTypes){
    LS_TCLK_OVERFLOW_DEFAULT = 0,
    LS_TCLK_OVERFLOW_FAILURE = 1,
    LS_TCLK_OVERFLOW_SILENT = 2,
};
typedef enum LsVexilOverFlowTypes LsVexilOverFlowTypes;

/* Kind of emulator driver. */
JTI_ENUM_UNSIGNED(VexilEmulatorTypes){
    SMG_EMULATE_UNKNOWN = 0,
    SMG_EMULATE_ADAPTER = 1,
    SMG_EMULATE_PROGRAM = 2,
};
typedef enum VexilEmulatorTypes VexilEmulatorTypes;

/* Patterns of the data table. */
#define LS_DATA_VALUE_ALLZERO 0x00000000u
#define LS_DATA_VALUE_ALLONES 0xFFFFFFFFu
#define LS_DATA_VALUE_SPEED 0x5533CCAAu
#define LS_DATA_VALUE_ALIGN 0xFE03E0E2u
/* Closes every Value table. */
#define LS_VALUE_NOTHING 0xFFFFFFFFu

JTI_STATIC_ASSERT(offsetof(JSC_JtagCommand, jtagBefore) == 0, "JSC_JtagCommand.jtagBefore");
JTI_STATIC_ASSERT(offsetof(JSC_JtagCommand, jtagShift) == 4, "JSC_JtagCommand.jtagShift");
JTI_STATIC_ASSERT(offsetof(JSC_JtagCommand, jtagAfter) == 8, "JSC_JtagCommand.jtagAfter");
JTI_STATIC_ASSERT(offsetof(JSC_JtagCommand, jtagEnd) == 12, "JSC_JtagCommand.jtagEnd");
JTI_STATIC_ASSERT(offsetof(JSC_JtagCommand, jtagDelay) == 16, "JSC_JtagCommand.jtagDelay");
JTI_STATIC_ASSERT(offsetof(JSC_JtagCommand, jtagAmble) == 20, "JSC_JtagCommand.jtagAmble");
JTI_STATIC_ASSERT(offsetof(JSC_JtagCommand, jtagUsage) == 24, "JSC_JtagCommand.jtagUsage");
JTI_STATIC_ASSERT(offsetof(JSC_JtagCommand, jtagWidth) == 28, "JSC_JtagCommand.jtagWidth");
JTI_STATIC_ASSERT(offsetof(JSC_JtagCommand, jtagAdjust) == 32, "JSC_JtagCommand.jtagAdjust");
JTI_STATIC_ASSERT(sizeof(JSC_JtagCommand) == 36, "JSC_JtagCommand");
JTI_STATIC_ASSERT(offsetof(JSC_JtagParam, repeatCount) == 0, "JSC_JtagParam.repeatCount");
JTI_STATIC_ASSERT(offsetof(JSC_JtagParam, delayCount) == 4, "JSC_JtagParam.delayCount");
JTI_STATIC_ASSERT(offsetof(JSC_JtagParam, shiftCount) == 8, "JSC_JtagParam.shiftCount");
JTI_STATIC_ASSERT(sizeof(JSC_JtagParam) == 12, "JSC_JtagParam");
JTI_STATIC_ASSERT(offsetof(JSC_JtagParam01, repeatCount) == 0, "JSC_JtagParam01.repeatCount");
JTI_STATIC_ASSERT(offsetof(JSC_JtagParam01, delayCount) == 4, "JSC_JtagParam01.delayCount");
JTI_STATIC_ASSERT(offsetof(JSC_JtagParam01, shiftCount) == 8, "JSC_JtagParam01.shiftCount");
JTI_STATIC_ASSERT(offsetof(JSC_JtagParam01, useOnes) == 12, "JSC_JtagParam01.useOnes");
JTI_STATIC_ASSERT(sizeof(JSC_JtagParam01) == 16, "JSC_JtagParam01");
JTI_STATIC_ASSERT(offsetof(JSC_JtagParam08, repeatCount) == 0, "JSC_JtagParam08.repeatCount");
JTI_STATIC_ASSERT(offsetof(JSC_JtagParam08, delayCount) == 4, "JSC_JtagParam08.delayCount");
JTI_STATIC_ASSERT(offsetof(JSC_JtagParam08, shiftCount) == 8, "JSC_JtagParam08.shiftCount");
JTI_STATIC_ASSERT(offsetof(JSC_JtagParam08, pOutBuffer) == 16, "JSC_JtagParam08.pOutBuffer");
JTI_STATIC_ASSERT(offsetof(JSC_JtagParam08, pInBuffer) == 24, "JSC_JtagParam08.pInBuffer");
JTI_STATIC_ASSERT(sizeof(JSC_JtagParam08) == 32, "JSC_JtagParam08");
JTI_STATIC_ASSERT(offsetof(JSC_JtagParam16, repeatCount) == 0, "JSC_JtagParam16.repeatCount");
JTI_STATIC_ASSERT(offsetof(JSC_JtagParam16, delayCount) == 4, "JSC_JtagParam16.delayCount");
JTI_STATIC_ASSERT(offsetof(JSC_JtagParam16, shiftCount) == 8, "JSC_JtagParam16.shiftCount");
JTI_STATIC_ASSERT(offsetof(JSC_JtagParam16, pOutBuffer) == 16, "JSC_JtagParam16.pOutBuffer");
JTI_STATIC_ASSERT(offsetof(JSC_JtagParam16, pInBuffer) == 24, "JSC_JtagParam16.pInBuffer");
JTI_STATIC_ASSERT(sizeof(JSC_JtagParam16) == 32, "JSC_JtagParam16");
JTI_STATIC_ASSERT(offsetof(JSC_JtagParam32, repeatCount) == 0, "JSC_JtagParam32.repeatCount");
JTI_STATIC_ASSERT(offsetof(JSC_JtagParam32, delayCount) == 4, "JSC_JtagParam32.delayCount");
JTI_STATIC_ASSERT(offsetof(JSC_JtagParam32, shiftCount) == 8, "JSC_JtagParam32.shiftCount");
JTI_STATIC_ASSERT(offsetof(JSC_JtagParam32, pOutBuffer) == 16, "JSC_JtagParam32.pOutBuffer");
JTI_STATIC_ASSERT(offsetof(JSC_JtagParam32, pInBuffer) == 24, "JSC_JtagParam32.pInBuffer");
JTI_STATIC_ASSERT(sizeof(JSC_JtagParam32) == 32, "JSC_JtagParam32");
JTI_STATIC_ASSERT(offsetof(JSC_JtagParam64, repeatCount) == 0, "JSC_JtagParam64.repeatCount");
JTI_STATIC_ASSERT(offsetof(JSC_JtagParam64, delayCount) == 4, "JSC_JtagParam64.delayCount");
JTI_STATIC_ASSERT(offsetof(JSC_JtagParam64, shiftCount) == 8, "JSC_JtagParam64.shiftCount");
JTI_STATIC_ASSERT(offsetof(JSC_JtagParam64, pOutBuffer) == 16, "JSC_JtagParam64.pOutBuffer");
JTI_STATIC_ASSERT(offsetof(JSC_JtagParam64, pInBuffer) == 24, "JSC_JtagParam64.pInBuffer");
JTI_STATIC_ASSERT(sizeof(JSC_JtagParam64) == 32, "JSC_JtagParam64");
JTI_STATIC_ASSERT(offsetof(JSC_JtagAmbleDelay, useMains) == 0, "JSC_JtagAmbleDelay.useMains");
JTI_STATIC_ASSERT(offsetof(JSC_JtagAmbleDelay, mainIR) == 4, "JSC_JtagAmbleDelay.mainIR");
JTI_STATIC_ASSERT(offsetof(JSC_JtagAmbleDelay, mainDR) == 8, "JSC_JtagAmbleDelay.mainDR");
JTI_STATIC_ASSERT(offsetof(JSC_JtagAmbleDelay, useAmbles) == 12, "JSC_JtagAmbleDelay.useAmbles");
JTI_STATIC_ASSERT(offsetof(JSC_JtagAmbleDelay, preAmbleIR) == 16, "JSC_JtagAmbleDelay.preAmbleIR");
JTI_STATIC_ASSERT(offsetof(JSC_JtagAmbleDelay, posAmbleIR) == 20, "JSC_JtagAmbleDelay.posAmbleIR");
JTI_STATIC_ASSERT(offsetof(JSC_JtagAmbleDelay, preAmbleDR) == 24, "JSC_JtagAmbleDelay.preAmbleDR");
JTI_STATIC_ASSERT(offsetof(JSC_JtagAmbleDelay, posAmbleDR) == 28, "JSC_JtagAmbleDelay.posAmbleDR");
JTI_STATIC_ASSERT(offsetof(JSC_JtagAmbleDelay, useDelays) == 32, "JSC_JtagAmbleDelay.useDelays");
JTI_STATIC_ASSERT(offsetof(JSC_JtagAmbleDelay, endDelay0) == 36, "JSC_JtagAmbleDelay.endDelay0");
JTI_STATIC_ASSERT(offsetof(JSC_JtagAmbleDelay, endDelay1) == 40, "JSC_JtagAmbleDelay.endDelay1");
JTI_STATIC_ASSERT(offsetof(JSC_JtagAmbleDelay, endDelay2) == 44, "JSC_JtagAmbleDelay.endDelay2");
JTI_STATIC_ASSERT(offsetof(JSC_JtagAmbleDelay, endDelay3) == 48, "JSC_JtagAmbleDelay.endDelay3");
JTI_STATIC_ASSERT(sizeof(JSC_JtagAmbleDelay) == 52, "JSC_JtagAmbleDelay");
JTI_STATIC_ASSERT(offsetof(JSC_ResetAction, resetSoft) == 0, "JSC_ResetAction.resetSoft");
JTI_STATIC_ASSERT(offsetof(JSC_ResetAction, resetHard) == 1, "JSC_ResetAction.resetHard");
JTI_STATIC_ASSERT(offsetof(JSC_ResetAction, resetHidden) == 2, "JSC_ResetAction.resetHidden");
JTI_STATIC_ASSERT(offsetof(JSC_ResetAction, trstAssert) == 3, "JSC_ResetAction.trstAssert");
JTI_STATIC_ASSERT(offsetof(JSC_ResetAction, trstNegate) == 4, "JSC_ResetAction.trstNegate");
JTI_STATIC_ASSERT(offsetof(JSC_ResetAction, verbose) == 5, "JSC_ResetAction.verbose");
JTI_STATIC_ASSERT(sizeof(JSC_ResetAction) == 6, "JSC_ResetAction");
JTI_STATIC_ASSERT(offsetof(JSC_PodStatus, nearStatus) == 0, "JSC_PodStatus.nearStatus");
JTI_STATIC_ASSERT(offsetof(JSC_PodStatus, farStatus) == 1, "JSC_PodStatus.farStatus");
JTI_STATIC_ASSERT(offsetof(JSC_PodStatus, powerStatus) == 2, "JSC_PodStatus.powerStatus");
JTI_STATIC_ASSERT(offsetof(JSC_PodStatus, clockStatus) == 3, "JSC_PodStatus.clockStatus");
JTI_STATIC_ASSERT(sizeof(JSC_PodStatus) == 4, "JSC_PodStatus");
JTI_STATIC_ASSERT(offsetof(JSC_OldStatus, itsAlive) == 0, "JSC_OldStatus.itsAlive");
JTI_STATIC_ASSERT(offsetof(JSC_OldStatus, emuPin0) == 1, "JSC_OldStatus.emuPin0");
JTI_STATIC_ASSERT(offsetof(JSC_OldStatus, emuPin1) == 2, "JSC_OldStatus.emuPin1");
JTI_STATIC_ASSERT(sizeof(JSC_OldStatus) == 3, "JSC_OldStatus");
JTI_STATIC_ASSERT(offsetof(JSC_AdjustStuff, configModeFreqFresh) == 0,
                  "JSC_AdjustStuff.configModeFreqFresh");
JTI_STATIC_ASSERT(offsetof(JSC_AdjustStuff, configModeFreqValue) == 4,
                  "JSC_AdjustStuff.configModeFreqValue");
JTI_STATIC_ASSERT(sizeof(JSC_AdjustStuff) == 8, "JSC_AdjustStuff");
JTI_STATIC_ASSERT(offsetof(JSC_FirmwareAction, firmwareErase) == 0,
                  "JSC_FirmwareAction.firmwareErase");
JTI_STATIC_ASSERT(offsetof(JSC_FirmwareAction, firmwareForce) == 1,
                  "JSC_FirmwareAction.firmwareForce");
JTI_STATIC_ASSERT(offsetof(JSC_FirmwareAction, firmwareExternal) == 2,
                  "JSC_FirmwareAction.firmwareExternal");
JTI_STATIC_ASSERT(offsetof(JSC_FirmwareAction, firmwareLoadBefore) == 3,
                  "JSC_FirmwareAction.firmwareLoadBefore");
JTI_STATIC_ASSERT(offsetof(JSC_FirmwareAction, firmwareLoadData) == 4,
                  "JSC_FirmwareAction.firmwareLoadData");
JTI_STATIC_ASSERT(offsetof(JSC_FirmwareAction, firmwareLoadAfter) == 5,
                  "JSC_FirmwareAction.firmwareLoadAfter");
JTI_STATIC_ASSERT(sizeof(JSC_FirmwareAction) == 6, "JSC_FirmwareAction");
JTI_STATIC_ASSERT(offsetof(PLL_Next, start) == 0, "PLL_Next.start");
JTI_STATIC_ASSERT(offsetof(PLL_Next, finish) == 4, "PLL_Next.finish");
JTI_STATIC_ASSERT(offsetof(PLL_Next, advance) == 8, "PLL_Next.advance");
JTI_STATIC_ASSERT(offsetof(PLL_Next, retreat) == 12, "PLL_Next.retreat");
JTI_STATIC_ASSERT(offsetof(PLL_Next, minimum) == 16, "PLL_Next.minimum");
JTI_STATIC_ASSERT(offsetof(PLL_Next, maximum) == 20, "PLL_Next.maximum");
JTI_STATIC_ASSERT(offsetof(PLL_Next, lower) == 24, "PLL_Next.lower");
JTI_STATIC_ASSERT(offsetof(PLL_Next, higher) == 28, "PLL_Next.higher");
JTI_STATIC_ASSERT(offsetof(PLL_Next, expect) == 32, "PLL_Next.expect");
JTI_STATIC_ASSERT(offsetof(PLL_Next, actual) == 36, "PLL_Next.actual");
JTI_STATIC_ASSERT(sizeof(PLL_Next) == 40, "PLL_Next");

#endif /* JSC_EXTERNAL_H */
