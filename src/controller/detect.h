// Is a controller there, does it work, and of which kind is it.
//
// A null handle answers -122, a handle without a controller block -116.
#pragma once

#include "jsc_internal.h"

// The loop-back test: five words through the data path and back, compared bit-reversed.
// 0. -173 high byte stuck at ones, -174 low byte stuck at ones, -175 high byte reads zero, -176 low
// byte reads zero, -171 any other corruption, with the five pairs (read, expected) printed to the
// standard output. A failed flush ends the test at once with its code. After a verdict the writes
// that leave the loop-back are queued.
JTI_EXPORT int32_t CheckCtlrExist(JSC_Inform* pJscInform);

// The controller kind, low four bits of the version register, which may name no kind at all;
// eJTI_CONTROL_ID_OBSOLETE when it cannot be read. The write that deselects the version is queued.
JTI_EXPORT JTI_ControlId CheckCtlrVersion(JSC_Inform* pJscInform);
