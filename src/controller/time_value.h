// The time values (microseconds) and what a command's time-out depends on.
//
// A null handle answers -122 and one without a controller block -116, unless told otherwise below.
#pragma once

#include "jsc_internal.h"

// Loads the defaults; the forever flags take the configuration's okStall. 0.
JTI_EXPORT int32_t TimeValueInitial(JSC_Inform* pJscInform);

// The values need no hardware: does nothing. Always 0.
JTI_EXPORT int32_t TimeValueApply(JSC_Inform* pJscInform);

// A time value in microseconds and its forever flag (false for the types 1 to 12, which have none).
// -122 a type outside 1 to 20, both outputs zeroed. With a null output: 0, and nothing is written;
// callers rely on the leniency.
JTI_EXPORT int32_t TimeValueQuery(JSC_Inform* pJscInform, JSC_TimeType type, uint32_t* pValue,
                                  bool* pForever);

// The same without the flag.
JTI_EXPORT int32_t TimeValueQuery(JSC_Inform* pJscInform, JSC_TimeType type, uint32_t* pValue);

// The time-out of the command in flight. 0 with a frequency of 0, which no caller leaves, and
// without a controller block.
JTI_EXPORT uint32_t TimeModifyTimeout(JSC_Inform* pJscInform);

// Moves the collected dependencies to the command in flight; the frequency and the clock modes also
// stay collected. 0.
JTI_EXPORT int32_t TimeModifyUpdate(JSC_Inform* pJscInform);
