/*
 * time_record.h: the time values, and what the time-out of a command depends on. C11 or C++20.
 *
 * Both records stand in the controller block, which several processes share: their layout is fixed.
 */
#ifndef TIME_RECORD_H
#define TIME_RECORD_H

#include "jti_typedef.h"

/* The names are those that the driver's documents give. */
/* NOLINTBEGIN(readability-identifier-naming) */

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
    eJSC_TIME_TYPE_EXTRA_FINISH = 20,         eJSC_TIME_TYPE_INVALID_LAST = 21,
};
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

/* NOLINTEND(readability-identifier-naming) */

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

#endif /* TIME_RECORD_H */
