/*
 * jsc_internal.h: the driver's own records.
 *
 * Not for hosts: a host knows the handle as an opaque pointer. JSC_Control crosses a border all the
 * same: handles of several processes share it, so its layout is fixed.
 */
#ifndef JSC_INTERNAL_H
#define JSC_INTERNAL_H

#include <semaphore.h>

#include "cfg_export.h"
#include "jsc_export.h"
#include "read_variable.h"
#include "shm_structs.h"
#include "tbc_registers.h"

/* ---- build stamp ------------------------------------------------------------------------------
 */

/* Version of the library, one constant filled at build time. */
typedef struct Str0VersionInform {
    uint32_t valid;
    char date[32]; /* as in "May 23 2017" */
    char time[32]; /* as in "14:47:32" */
    char package[64];
    char component[64];
    uint32_t packageMajor;
    uint32_t packageMinor;
    uint32_t packageDefect;
    uint32_t packagePatch;
    uint32_t componentMajor;
    uint32_t componentMinor;
    uint32_t componentDefect;
    uint32_t componentPatch;
} Str0VersionInform;

/* ---- log --------------------------------------------------------------------------------------
 */

/* A word log. */
typedef struct LS_LOGFILE {
    uint32_t* pLogFileData;   /* the entries, logFileEntryMax words; owned */
    uint32_t logFileSize;     /* bytes of the array */
    uint32_t logFileIndex;    /* words written */
    uint32_t logFileEntryMax; /* capacity in words */
    bool logFileEnable;       /* entries are recorded only while true */
    bool logFileSilent;       /* a full log drops entries without an error */
} LS_LOGFILE;

/* A log to its users; null when there is none. Points to an LS_LOGFILE. */
typedef void* LOG_HANDLE;

/* ---- shared blocks ----------------------------------------------------------------------------
 */

/* "JTI-", eight hexadecimal digits, the NUL. */
#define SHARE_NAME_SIZE 13
/* Characters of an object name without the NUL. */
#define SHARE_NAME_LENGTH 12

/* Parts that the name of a shared block is hashed from. */
typedef struct ShareNames {
    const char* pName0; /* kind, "control" */
    const char* pName1; /* owner, "libjsctalvor.so" */
    char* pName2;       /* driver name */
    uint32_t port;
} ShareNames;

/* A mapped shared block. */
typedef struct ShareInform {
    uint32_t size;    /* bytes of the caller's memory */
    void* pMemory;    /* the caller's memory; null while not mapped */
    intptr_t pHandle; /* the object's descriptor; 0 while not open */
    char objectName[SHARE_NAME_SIZE];
} ShareInform;

/* The object begins with the attach count: 0 for the creator, one more for each later attacher. */
#define SHARE_HEADER_SIZE 4u
/* Bytes of the controller block: the record at the start, 1 MiB in reserve. */
#define SHARE_CONTROL_SIZE (0x100000u + (uint32_t)sizeof(JSC_Control))

/* ---- time values ------------------------------------------------------------------------------
 */

/* Numbers of the time values; all in microseconds. */
JTI_ENUM(JSC_TimeType){
    eJSC_TIME_TYPE_INVALID_FIRST = 0,         eJSC_TIME_TYPE_CONTROL_PROPAGATE = 1,
    eJSC_TIME_TYPE_CABLE_PROPAGATE = 2,       eJSC_TIME_TYPE_ERROR_PROPAGATE = 3,
    eJSC_TIME_TYPE_PULSE_WIDTH = 4,           eJSC_TIME_TYPE_PULSE_RECOVERY = 5,
    eJSC_TIME_TYPE_POD_PROGRAM_OPERATE = 6,   eJSC_TIME_TYPE_PLL_PROGRAM_OPERATE = 7,
    eJSC_TIME_TYPE_PLL_PROGRAM_SETTLE = 8,    eJSC_TIME_TYPE_TCLKO_PROGRAM_START = 9,
    eJSC_TIME_TYPE_TCLKO_PROGRAM_FINISH = 10, eJSC_TIME_TYPE_TCLKR_MEASURE_START = 11,
    eJSC_TIME_TYPE_TCLKR_MEASURE_FINISH = 12, eJSC_TIME_TYPE_TCLKO_PERIOD = 13,
    eJSC_TIME_TYPE_ACCESS_READY = 14,         eJSC_TIME_TYPE_BUFFER_ONE = 15,
    eJSC_TIME_TYPE_BUFFER_MANY = 16,          eJSC_TIME_TYPE_COMMAND_START = 17,
    eJSC_TIME_TYPE_COMMAND_FINISH = 18,       eJSC_TIME_TYPE_EXTRA_START = 19,
    eJSC_TIME_TYPE_EXTRA_FINISH = 20,         eJSC_TIME_TYPE_INVALID_LAST = 21};
typedef enum JSC_TimeType JSC_TimeType;

/* The time values, microseconds; a `Forever` flag means to wait without limit. */
typedef struct JSC_TimeValueType {
    wallclock_t controlPropagateValue;
    wallclock_t cablePropagateValue;
    wallclock_t errorPropagateValue;
    wallclock_t pulseWidthValue;
    wallclock_t pulseRecoveryValue;
    wallclock_t podProgramOperateValue;
    wallclock_t pllProgramOperateValue;
    wallclock_t pllProgramSettleValue;
    wallclock_t tclkoProgramStartValue;
    wallclock_t tclkoProgramFinishValue;
    wallclock_t tclkrMeasureStartValue;
    wallclock_t tclkrMeasureFinishValue;
    wallclock_t tclkoPeriodValue;
    bool tclkoPeriodForever;
    wallclock_t accessReadyValue;
    bool accessReadyForever;
    wallclock_t bufferOneValue;
    bool bufferOneForever;
    wallclock_t bufferManyValue;
    bool bufferManyForever;
    wallclock_t commandStartValue;
    bool commandStartForever;
    wallclock_t commandFinishValue;
    bool commandFinishForever;
    wallclock_t extraStartValue;
    bool extraStartForever;
    wallclock_t extraFinishValue;
    bool extraFinishForever;
} JSC_TimeValueType;

/* What the time-out of a command depends on. */
typedef struct JSC_TimeDependancy {
    bool noTimeOut;
    bool fastMode;
    bool slowMode;
    uint32_t tclkFreq; /* test-clock frequency, hertz; never 0 */
    bool useMain;
    bool useAmble;
    bool useIrPath;
    uint32_t mainCount;     /* bits of the main scan */
    uint32_t commandRepeat; /* repeats of the command */
} JSC_TimeDependancy;

/* ---- controller block -------------------------------------------------------------------------
 */

/* State of one controller, common to all handles on its pod, in a named shared block. */
typedef struct JSC_Control {
    uint16_t registerCache[TBC_EXTENDED_PORTS]; /* last value of each port; 0 to 15 are kept */
    uint32_t ctlrSoftUsed;                      /* handles initialised on this block */
    uint32_t ctlrHardUsed;                      /* handles connected; at most ctlrSoftUsed */
    JTI_ControlId ctlrRevise;                   /* controller kind found at connect */
    bool powerLossActive;                       /* target power loss seen now */
    bool powerLossErased;                       /* a power loss was seen and cleared */
    int32_t linkTiming;                         /* link delay: timing-edge contribution */
    int32_t linkDelta;                          /* link delay: accumulated corrections */
    uint32_t linkDelay;                         /* link delay: base value */
    bool priorTBC;                              /* a scan has been started */
    uint16_t priorState;                        /* last launch's state word */
    uint16_t priorConfig;                       /* bits ORed into every scan launch */
    JSC_JtagAmbleDelay ambleDelay;
    JSC_TimeDependancy timeDependOld; /* of the command in flight */
    JSC_TimeDependancy timeDependNew; /* collected for the next command */
    JSC_TimeValueType timeValue;
    uint32_t emuRevision;  /* pod revision, copied from the handle at the first connect */
    bool slowMode;         /* slow clock mode in use */
    bool fastMode;         /* fast clock mode in use */
    uint16_t StatusCache;  /* support register, refreshed by every flush */
    uint16_t Status0Cache; /* status register 0, refreshed by every flush */
    uint16_t Status1Cache; /* status register 1, refreshed by every flush */
} JSC_Control;

/* ---- handle -----------------------------------------------------------------------------------
 */

/* One pending read: where its words go. */
typedef struct JSC_qel_oplist {
    uint32_t op;    /* 0: read */
    uint32_t count; /* words */
    uint16_t* ptr;  /* destination; must stay valid until the flush */
    struct JSC_qel_oplist* next;
} JSC_qel_oplist;

/* Destinations of the driver's own reads. They live in the handle because a read that is still
 * listed after a failed flush is filled by the next one that succeeds. */
typedef struct OwnReads {
    uint16_t word;        /* the one-word reads of the controller and utility code */
    uint16_t second;      /* the upper half of a two-word read */
    uint16_t discard;     /* the leading word of an adjusted scan */
    uint16_t loopback[5]; /* the loop-back test */
} OwnReads;

/* One opened scan controller. */
struct JSC_Inform {
    ShareInform tbcShare;     /* the shared block with JSC_Control */
    JSC_Control* pJscControl; /* the controller state; null while there is none */
    bool ctlrSoftOpen;        /* initialised */
    bool ctlrHardOpen;        /* connected */
    uint32_t clientRecipe;    /* JSC_RECIPE_... */
    JTI_Client jtiClientType;
    JTI_Error podError; /* sticky transport error: accesses are dropped until Diagnose clears it */
    CFG_Handle cfgHandle;
    CFG_Interface* pCfgInterface;
    ZDL_Variable zdlVariable;
    TBC_Variable tbcVariable;
    PLL_Variable pllVariable;
    DOT7_Variable dot7Variable;
    KELM_Variable kelmVariable;
    LOG_HANDLE resetLogHandle; /* null when there is none */
    QEL_Variable qelVariable;
    JSC_qel_oplist* opList;     /* pending reads, oldest first */
    JSC_qel_oplist* opListTail; /* the newest of them */
    lcl_shm* ProxyShm;          /* the pod's block; null while detached */
    sem_t* evStartSem;
    sem_t* evCompleteSem;
    uint32_t emuRevision; /* pod revision from the device table */
    int32_t instance;     /* number of this handle's connect on the controller block */

    JSC_qel_oplist* opListFree; /* spent nodes, for reuse */
    JTI_Error batchError;       /* failure of a flush that made room; reported with podError */
    OwnReads ownReads;
};

/* Collected during the long initialisation, for the reset log. */
typedef struct LogFileInfo {
    bool requestResetHard;
    bool requestResetSoft;
    bool hungResetHard; /* the three hung flags end the log early; nothing sets them */
    bool hungResetSoft;
    bool hungNoReset;
    bool emuPin0;
    bool emuPin1;
    uint32_t linkDelay; /* test clocks */
    bool powerLossPrior;
    bool powerLossActive;
} LogFileInfo;

JTI_STATIC_ASSERT(offsetof(JSC_TimeValueType, controlPropagateValue) == 0,
                  "JSC_TimeValueType.controlPropagateValue");
JTI_STATIC_ASSERT(offsetof(JSC_TimeValueType, cablePropagateValue) == 4,
                  "JSC_TimeValueType.cablePropagateValue");
JTI_STATIC_ASSERT(offsetof(JSC_TimeValueType, errorPropagateValue) == 8,
                  "JSC_TimeValueType.errorPropagateValue");
JTI_STATIC_ASSERT(offsetof(JSC_TimeValueType, pulseWidthValue) == 12,
                  "JSC_TimeValueType.pulseWidthValue");
JTI_STATIC_ASSERT(offsetof(JSC_TimeValueType, pulseRecoveryValue) == 16,
                  "JSC_TimeValueType.pulseRecoveryValue");
JTI_STATIC_ASSERT(offsetof(JSC_TimeValueType, podProgramOperateValue) == 20,
                  "JSC_TimeValueType.podProgramOperateValue");
JTI_STATIC_ASSERT(offsetof(JSC_TimeValueType, pllProgramOperateValue) == 24,
                  "JSC_TimeValueType.pllProgramOperateValue");
JTI_STATIC_ASSERT(offsetof(JSC_TimeValueType, pllProgramSettleValue) == 28,
                  "JSC_TimeValueType.pllProgramSettleValue");
JTI_STATIC_ASSERT(offsetof(JSC_TimeValueType, tclkoProgramStartValue) == 32,
                  "JSC_TimeValueType.tclkoProgramStartValue");
JTI_STATIC_ASSERT(offsetof(JSC_TimeValueType, tclkoProgramFinishValue) == 36,
                  "JSC_TimeValueType.tclkoProgramFinishValue");
JTI_STATIC_ASSERT(offsetof(JSC_TimeValueType, tclkrMeasureStartValue) == 40,
                  "JSC_TimeValueType.tclkrMeasureStartValue");
JTI_STATIC_ASSERT(offsetof(JSC_TimeValueType, tclkrMeasureFinishValue) == 44,
                  "JSC_TimeValueType.tclkrMeasureFinishValue");
JTI_STATIC_ASSERT(offsetof(JSC_TimeValueType, tclkoPeriodValue) == 48,
                  "JSC_TimeValueType.tclkoPeriodValue");
JTI_STATIC_ASSERT(offsetof(JSC_TimeValueType, tclkoPeriodForever) == 52,
                  "JSC_TimeValueType.tclkoPeriodForever");
JTI_STATIC_ASSERT(offsetof(JSC_TimeValueType, accessReadyValue) == 56,
                  "JSC_TimeValueType.accessReadyValue");
JTI_STATIC_ASSERT(offsetof(JSC_TimeValueType, accessReadyForever) == 60,
                  "JSC_TimeValueType.accessReadyForever");
JTI_STATIC_ASSERT(offsetof(JSC_TimeValueType, bufferOneValue) == 64,
                  "JSC_TimeValueType.bufferOneValue");
JTI_STATIC_ASSERT(offsetof(JSC_TimeValueType, bufferOneForever) == 68,
                  "JSC_TimeValueType.bufferOneForever");
JTI_STATIC_ASSERT(offsetof(JSC_TimeValueType, bufferManyValue) == 72,
                  "JSC_TimeValueType.bufferManyValue");
JTI_STATIC_ASSERT(offsetof(JSC_TimeValueType, bufferManyForever) == 76,
                  "JSC_TimeValueType.bufferManyForever");
JTI_STATIC_ASSERT(offsetof(JSC_TimeValueType, commandStartValue) == 80,
                  "JSC_TimeValueType.commandStartValue");
JTI_STATIC_ASSERT(offsetof(JSC_TimeValueType, commandStartForever) == 84,
                  "JSC_TimeValueType.commandStartForever");
JTI_STATIC_ASSERT(offsetof(JSC_TimeValueType, commandFinishValue) == 88,
                  "JSC_TimeValueType.commandFinishValue");
JTI_STATIC_ASSERT(offsetof(JSC_TimeValueType, commandFinishForever) == 92,
                  "JSC_TimeValueType.commandFinishForever");
JTI_STATIC_ASSERT(offsetof(JSC_TimeValueType, extraStartValue) == 96,
                  "JSC_TimeValueType.extraStartValue");
JTI_STATIC_ASSERT(offsetof(JSC_TimeValueType, extraStartForever) == 100,
                  "JSC_TimeValueType.extraStartForever");
JTI_STATIC_ASSERT(offsetof(JSC_TimeValueType, extraFinishValue) == 104,
                  "JSC_TimeValueType.extraFinishValue");
JTI_STATIC_ASSERT(offsetof(JSC_TimeValueType, extraFinishForever) == 108,
                  "JSC_TimeValueType.extraFinishForever");
JTI_STATIC_ASSERT(sizeof(JSC_TimeValueType) == 112, "JSC_TimeValueType");
JTI_STATIC_ASSERT(offsetof(JSC_TimeDependancy, noTimeOut) == 0, "JSC_TimeDependancy.noTimeOut");
JTI_STATIC_ASSERT(offsetof(JSC_TimeDependancy, fastMode) == 1, "JSC_TimeDependancy.fastMode");
JTI_STATIC_ASSERT(offsetof(JSC_TimeDependancy, slowMode) == 2, "JSC_TimeDependancy.slowMode");
JTI_STATIC_ASSERT(offsetof(JSC_TimeDependancy, tclkFreq) == 4, "JSC_TimeDependancy.tclkFreq");
JTI_STATIC_ASSERT(offsetof(JSC_TimeDependancy, useMain) == 8, "JSC_TimeDependancy.useMain");
JTI_STATIC_ASSERT(offsetof(JSC_TimeDependancy, useAmble) == 9, "JSC_TimeDependancy.useAmble");
JTI_STATIC_ASSERT(offsetof(JSC_TimeDependancy, useIrPath) == 10, "JSC_TimeDependancy.useIrPath");
JTI_STATIC_ASSERT(offsetof(JSC_TimeDependancy, mainCount) == 12, "JSC_TimeDependancy.mainCount");
JTI_STATIC_ASSERT(offsetof(JSC_TimeDependancy, commandRepeat) == 16,
                  "JSC_TimeDependancy.commandRepeat");
JTI_STATIC_ASSERT(sizeof(JSC_TimeDependancy) == 20, "JSC_TimeDependancy");
JTI_STATIC_ASSERT(offsetof(JSC_Control, registerCache) == 0, "JSC_Control.registerCache");
JTI_STATIC_ASSERT(offsetof(JSC_Control, ctlrSoftUsed) == 64, "JSC_Control.ctlrSoftUsed");
JTI_STATIC_ASSERT(offsetof(JSC_Control, ctlrHardUsed) == 68, "JSC_Control.ctlrHardUsed");
JTI_STATIC_ASSERT(offsetof(JSC_Control, ctlrRevise) == 72, "JSC_Control.ctlrRevise");
JTI_STATIC_ASSERT(offsetof(JSC_Control, powerLossActive) == 76, "JSC_Control.powerLossActive");
JTI_STATIC_ASSERT(offsetof(JSC_Control, powerLossErased) == 77, "JSC_Control.powerLossErased");
JTI_STATIC_ASSERT(offsetof(JSC_Control, linkTiming) == 80, "JSC_Control.linkTiming");
JTI_STATIC_ASSERT(offsetof(JSC_Control, linkDelta) == 84, "JSC_Control.linkDelta");
JTI_STATIC_ASSERT(offsetof(JSC_Control, linkDelay) == 88, "JSC_Control.linkDelay");
JTI_STATIC_ASSERT(offsetof(JSC_Control, priorTBC) == 92, "JSC_Control.priorTBC");
JTI_STATIC_ASSERT(offsetof(JSC_Control, priorState) == 94, "JSC_Control.priorState");
JTI_STATIC_ASSERT(offsetof(JSC_Control, priorConfig) == 96, "JSC_Control.priorConfig");
JTI_STATIC_ASSERT(offsetof(JSC_Control, ambleDelay) == 100, "JSC_Control.ambleDelay");
JTI_STATIC_ASSERT(offsetof(JSC_Control, timeDependOld) == 152, "JSC_Control.timeDependOld");
JTI_STATIC_ASSERT(offsetof(JSC_Control, timeDependNew) == 172, "JSC_Control.timeDependNew");
JTI_STATIC_ASSERT(offsetof(JSC_Control, timeValue) == 192, "JSC_Control.timeValue");
JTI_STATIC_ASSERT(offsetof(JSC_Control, emuRevision) == 304, "JSC_Control.emuRevision");
JTI_STATIC_ASSERT(offsetof(JSC_Control, slowMode) == 308, "JSC_Control.slowMode");
JTI_STATIC_ASSERT(offsetof(JSC_Control, fastMode) == 309, "JSC_Control.fastMode");
JTI_STATIC_ASSERT(offsetof(JSC_Control, StatusCache) == 310, "JSC_Control.StatusCache");
JTI_STATIC_ASSERT(offsetof(JSC_Control, Status0Cache) == 312, "JSC_Control.Status0Cache");
JTI_STATIC_ASSERT(offsetof(JSC_Control, Status1Cache) == 314, "JSC_Control.Status1Cache");
JTI_STATIC_ASSERT(sizeof(JSC_Control) == 316, "JSC_Control");
JTI_STATIC_ASSERT(SHARE_CONTROL_SIZE == 1048892u, "the controller block");
JTI_STATIC_ASSERT(offsetof(ShareInform, size) == 0, "ShareInform.size");
JTI_STATIC_ASSERT(offsetof(ShareInform, pMemory) == 8, "ShareInform.pMemory");
JTI_STATIC_ASSERT(offsetof(ShareInform, pHandle) == 16, "ShareInform.pHandle");
JTI_STATIC_ASSERT(offsetof(ShareInform, objectName) == 24, "ShareInform.objectName");
JTI_STATIC_ASSERT(sizeof(ShareInform) == 40, "ShareInform");
JTI_STATIC_ASSERT(offsetof(ShareNames, pName0) == 0, "ShareNames.pName0");
JTI_STATIC_ASSERT(offsetof(ShareNames, pName1) == 8, "ShareNames.pName1");
JTI_STATIC_ASSERT(offsetof(ShareNames, pName2) == 16, "ShareNames.pName2");
JTI_STATIC_ASSERT(offsetof(ShareNames, port) == 24, "ShareNames.port");
JTI_STATIC_ASSERT(sizeof(ShareNames) == 32, "ShareNames");
JTI_STATIC_ASSERT(offsetof(LS_LOGFILE, pLogFileData) == 0, "LS_LOGFILE.pLogFileData");
JTI_STATIC_ASSERT(offsetof(LS_LOGFILE, logFileSize) == 8, "LS_LOGFILE.logFileSize");
JTI_STATIC_ASSERT(offsetof(LS_LOGFILE, logFileIndex) == 12, "LS_LOGFILE.logFileIndex");
JTI_STATIC_ASSERT(offsetof(LS_LOGFILE, logFileEntryMax) == 16, "LS_LOGFILE.logFileEntryMax");
JTI_STATIC_ASSERT(offsetof(LS_LOGFILE, logFileEnable) == 20, "LS_LOGFILE.logFileEnable");
JTI_STATIC_ASSERT(offsetof(LS_LOGFILE, logFileSilent) == 21, "LS_LOGFILE.logFileSilent");
JTI_STATIC_ASSERT(sizeof(LS_LOGFILE) == 24, "LS_LOGFILE");
JTI_STATIC_ASSERT(offsetof(JSC_qel_oplist, op) == 0, "JSC_qel_oplist.op");
JTI_STATIC_ASSERT(offsetof(JSC_qel_oplist, count) == 4, "JSC_qel_oplist.count");
JTI_STATIC_ASSERT(offsetof(JSC_qel_oplist, ptr) == 8, "JSC_qel_oplist.ptr");
JTI_STATIC_ASSERT(offsetof(JSC_qel_oplist, next) == 16, "JSC_qel_oplist.next");
JTI_STATIC_ASSERT(sizeof(JSC_qel_oplist) == 24, "JSC_qel_oplist");
JTI_STATIC_ASSERT(sizeof(sem_t) == 32,
                  "semaphores are shared with the proxy as the C library lays them out");

#endif /* JSC_INTERNAL_H */
