#include "api/not_offered.h"

#include "sys/check.h"

namespace {

// The answer of an operation that is declined, once its arguments are in order.
JTI_Error decline(bool arguments_are_there) {
    return arguments_are_there ? eJTI_ERROR_NOT_OFFERED : eJTI_ERROR_BAD_ARGUMENT;
}

} // namespace

int32_t jsc_ClockSupport(JSC_Inform* pJscInform, bool* pGenerateSupport, bool* pMeasureSupport) {
    RETURN_IF(pJscInform == nullptr || pGenerateSupport == nullptr || pMeasureSupport == nullptr,
              eJTI_ERROR_BAD_ARGUMENT);
    *pGenerateSupport = false;
    *pMeasureSupport = false;
    return eJTI_ERROR_NONE;
}

int32_t jsc_ClockConfig(JSC_Inform* pJscInform, bool /*force*/, uint32_t /*options*/,
                        uint32_t /*coord*/) {
    return decline(pJscInform != nullptr);
}

int32_t jsc_ClockMeasure(JSC_Inform* pJscInform, uint32_t* pFrequency) {
    return decline(pJscInform != nullptr && pFrequency != nullptr);
}

int32_t jsc_ClockSourceArchive(JSC_Inform* pJscInform, bool /*itsExternal*/) {
    return decline(pJscInform != nullptr);
}

int32_t jsc_ClockSourceRetrieve(JSC_Inform* pJscInform, bool* pItsExternal) {
    return decline(pJscInform != nullptr && pItsExternal != nullptr);
}

int32_t jsc_PodConfig(JSC_Inform* pJscInform, uint32_t featureId, bool querySupport,
                      bool* pIsSupported, uint32_t command, bool alsoWait) {
    return tbc_PodConfig(pJscInform, featureId, querySupport, pIsSupported, command, alsoWait);
}

int32_t tbc_PodConfig(JSC_Inform* pJscInform, uint32_t /*featureId*/, bool /*querySupport*/,
                      bool* pIsSupported, uint32_t /*command*/, bool /*alsoWait*/) {
    RETURN_IF(pJscInform == nullptr || pIsSupported == nullptr, eJTI_ERROR_BAD_ARGUMENT);
    *pIsSupported = false;
    return eJTI_ERROR_NONE;
}

int32_t jsc_Test(JSC_Inform* pJscInform, JSC_LogFileId /*logFileId*/, bool* pLogFileKnown,
                 uint32_t /*testMajor*/, uint32_t /*testMinor*/) {
    RETURN_IF(pJscInform == nullptr || pLogFileKnown == nullptr, eJTI_ERROR_BAD_ARGUMENT);
    *pLogFileKnown = false;
    return eJTI_ERROR_NONE;
}

int32_t jsc_SwdRegRead(void* /*jscHandle*/, uint32_t /*index*/, uint32_t /*address*/,
                       uint32_t* /*pData*/) {
    return eJTI_ERROR_NOT_OFFERED;
}

int32_t jsc_SwdRegWrite(void* /*jscHandle*/, uint32_t /*index*/, uint32_t /*address*/,
                        uint32_t* /*pData*/, bool /*flush*/) {
    return eJTI_ERROR_NOT_OFFERED;
}
