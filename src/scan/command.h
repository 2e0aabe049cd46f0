// The JTAG command descriptor: validation, translation, launches.
//
// Those that take a handle answer -122 for null and -116 without a controller block; every one
// answers -122 for another null pointer. Nothing is written then.
#pragma once

#include "jsc_internal.h"

// -122 for a descriptor that no operation takes.
JTI_EXPORT int32_t DoCheckCommand(const JSC_JtagCommand* pCommand);

// Transit words and state codes of a descriptor; all four 0 with -122.
JTI_EXPORT int32_t DoStateCommand(const JSC_JtagCommand* pCommand, bool validIndex,
                                  uint32_t shiftIndex, uint16_t* pBeforeCommand,
                                  uint16_t* pBeforeState, uint16_t* pAfterCommand,
                                  uint16_t* pAfterEndState);

// Launches a go-to. Callers pass the transit word first and the state code second, so that
// priorState holds the transit word afterwards; hosts see that and it is kept. 0.
JTI_EXPORT int32_t DoLaunchGoTo(JSC_Inform* pJscInform, uint16_t state, uint16_t command);

// Launches a scan whose bit count stands in registers 12 and 13. 0, or the time-out update's code.
JTI_EXPORT int32_t DoLaunchScan(JSC_Inform* pJscInform, uint16_t wakeEndState, uint16_t scanOption);

// Preamble and postamble of a scan, in bits; untouched on failure. -122 amble out of range.
JTI_EXPORT int32_t DoAmbleCommand(JSC_Inform* pJscInform, const JSC_JtagCommand* pCommand,
                                  uint16_t wakeState, uint32_t* pPreAmble, uint32_t* pPosAmble);

// Notes the scan for the time-outs and gives its bit count. -122 for a path that is not IR or DR.
JTI_EXPORT int32_t DoInterestCommand(JSC_Inform* pJscInform, const JSC_JtagCommand* pCommand,
                                     const JSC_JtagParam* pParam, uint32_t* pMainCount);

// Host words of one repeat; untouched for width 1 or none, and for a null command.
JTI_EXPORT void DoStepCalculate(const JSC_JtagCommand* pCommand, uint32_t shiftCount,
                                uint32_t* pRepeatStep);

// Advances a buffer pointer by that many host words; not for width 1 or none, nor for null.
JTI_EXPORT void DoModifyPointer(const JSC_JtagCommand* pCommand, void** ppData,
                                uint32_t repeatStep);
