// Operations that this controller does not offer: test-clock generation and measurement, pod
// features, self tests, serial-wire debug. None needs more than the handle.
#pragma once

#include "jsc_internal.h"

JTI_EXPORT int32_t jsc_ClockSupport(JSC_Inform* pJscInform, bool* pGenerateSupport,
                                    bool* pMeasureSupport);
JTI_EXPORT int32_t jsc_ClockConfig(JSC_Inform* pJscInform, bool force, uint32_t options,
                                   uint32_t coord);
JTI_EXPORT int32_t jsc_ClockMeasure(JSC_Inform* pJscInform, uint32_t* pFrequency);
JTI_EXPORT int32_t jsc_ClockSourceArchive(JSC_Inform* pJscInform, bool itsExternal);
JTI_EXPORT int32_t jsc_ClockSourceRetrieve(JSC_Inform* pJscInform, bool* pItsExternal);

JTI_EXPORT int32_t jsc_PodConfig(JSC_Inform* pJscInform, uint32_t featureId, bool querySupport,
                                 bool* pIsSupported, uint32_t command, bool alsoWait);
// What jsc_PodConfig does.
JTI_EXPORT int32_t tbc_PodConfig(JSC_Inform* pJscInform, uint32_t featureId, bool querySupport,
                                 bool* pIsSupported, uint32_t command, bool alsoWait);
JTI_EXPORT int32_t jsc_Test(JSC_Inform* pJscInform, JSC_LogFileId logFileId, bool* pLogFileKnown,
                            uint32_t testMajor, uint32_t testMinor);

JTI_EXPORT int32_t jsc_SwdRegRead(void* jscHandle, uint32_t index, uint32_t address,
                                  uint32_t* pData);
JTI_EXPORT int32_t jsc_SwdRegWrite(void* jscHandle, uint32_t index, uint32_t address,
                                   uint32_t* pData, bool flush);
