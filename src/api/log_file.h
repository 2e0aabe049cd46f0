// The host's view of the logs. Only the reset log exists.
#pragma once

#include "jsc_internal.h"

JTI_EXPORT int32_t jsc_LogFileCreate(JSC_Inform* pJscInform, JSC_LogFileId logFileId,
                                     bool* pLogFileKnown, uint32_t logFileSizeRequest,
                                     uint32_t* pLogFileSizeActual);
JTI_EXPORT int32_t jsc_LogFileDelete(JSC_Inform* pJscInform, JSC_LogFileId logFileId,
                                     bool* pLogFileKnown);
JTI_EXPORT int32_t jsc_LogFileErase(JSC_Inform* pJscInform, JSC_LogFileId logFileId,
                                    bool* pLogFileKnown);
JTI_EXPORT int32_t jsc_LogFileMode(JSC_Inform* pJscInform, JSC_LogFileId logFileId,
                                   bool* pLogFileKnown, bool silent);
JTI_EXPORT int32_t jsc_LogFileRead(JSC_Inform* pJscInform, JSC_LogFileId logFileId,
                                   bool* pLogFileKnown, uint32_t logFileSizeLimit,
                                   uint32_t* pLogFileValues, uint32_t* pLogFileSizeActual,
                                   uint32_t* pLogFileSizeTotal);
JTI_EXPORT int32_t jsc_LogFileAppend(JSC_Inform* pJscInform, JSC_LogFileId logFileId,
                                     bool* pLogFileKnown, uint32_t logFileValue);
