#include "api/log_file.h"

#include "log/store.h"
#include "sys/check.h"

namespace {

// Answers whether the id names a log, as every operation here begins.
JTI_Error know(const JSC_Inform* pJscInform, JSC_LogFileId id, bool* pKnown) {
    RETURN_IF(pJscInform == nullptr || pKnown == nullptr, eJTI_ERROR_BAD_ARGUMENT);
    *pKnown = id == eJSC_LOGFILE_ID_RESET;
    return eJTI_ERROR_NONE;
}

} // namespace

int32_t jsc_LogFileCreate(JSC_Inform* pJscInform, JSC_LogFileId logFileId, bool* pLogFileKnown,
                          uint32_t logFileSizeRequest, uint32_t* pLogFileSizeActual) {
    RETURN_IF(pLogFileSizeActual == nullptr, eJTI_ERROR_BAD_ARGUMENT);
    RETURN_ON_ERROR(know(pJscInform, logFileId, pLogFileKnown));
    *pLogFileSizeActual = 0;
    RETURN_IF(!*pLogFileKnown, eJTI_ERROR_NONE);
    *pLogFileSizeActual = logFileSizeRequest;
    LOG_HANDLE* log = &pJscInform->resetLogHandle;
    if (logFileSizeRequest != 0) { // a size that is refused leaves the old log
        (void)zdl_LogFileDelete(log);
    }
    (void)zdl_LogFileCreate(log, logFileSizeRequest);
    return eJTI_ERROR_NONE;
}

int32_t jsc_LogFileDelete(JSC_Inform* pJscInform, JSC_LogFileId logFileId, bool* pLogFileKnown) {
    RETURN_ON_ERROR(know(pJscInform, logFileId, pLogFileKnown));
    return *pLogFileKnown ? zdl_LogFileDelete(&pJscInform->resetLogHandle) : eJTI_ERROR_NONE;
}

int32_t jsc_LogFileErase(JSC_Inform* pJscInform, JSC_LogFileId logFileId, bool* pLogFileKnown) {
    RETURN_ON_ERROR(know(pJscInform, logFileId, pLogFileKnown));
    if (*pLogFileKnown) {
        zdl_LogFileErase(pJscInform->resetLogHandle, true);
    }
    return eJTI_ERROR_NONE;
}

int32_t jsc_LogFileMode(JSC_Inform* pJscInform, JSC_LogFileId logFileId, bool* pLogFileKnown,
                        bool silent) {
    RETURN_ON_ERROR(know(pJscInform, logFileId, pLogFileKnown));
    if (*pLogFileKnown) {
        zdl_LogFileMode(pJscInform->resetLogHandle, silent);
    }
    return eJTI_ERROR_NONE;
}

int32_t jsc_LogFileRead(JSC_Inform* pJscInform, JSC_LogFileId logFileId, bool* pLogFileKnown,
                        uint32_t logFileSizeLimit, uint32_t* pLogFileValues,
                        uint32_t* pLogFileSizeActual, uint32_t* pLogFileSizeTotal) {
    RETURN_IF(pLogFileValues == nullptr || pLogFileSizeActual == nullptr || logFileSizeLimit == 0,
              eJTI_ERROR_BAD_ARGUMENT);
    RETURN_ON_ERROR(know(pJscInform, logFileId, pLogFileKnown));
    *pLogFileSizeActual = 0;
    RETURN_IF(pLogFileSizeTotal == nullptr, eJTI_ERROR_NONE); // the one pointer that may be null
    *pLogFileSizeTotal = 0;
    if (*pLogFileKnown && pJscInform->resetLogHandle != nullptr) {
        zdl_LogFileRead(pJscInform->resetLogHandle, logFileSizeLimit, pLogFileValues,
                        pLogFileSizeActual, pLogFileSizeTotal);
    }
    return eJTI_ERROR_NONE;
}

int32_t jsc_LogFileAppend(JSC_Inform* pJscInform, JSC_LogFileId logFileId, bool* pLogFileKnown,
                          uint32_t logFileValue) {
    RETURN_ON_ERROR(know(pJscInform, logFileId, pLogFileKnown));
    if (*pLogFileKnown) {
        (void)zdl_LogFileBasic(pJscInform->resetLogHandle, logFileValue);
    }
    return eJTI_ERROR_NONE;
}
