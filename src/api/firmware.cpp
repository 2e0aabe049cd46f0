#include "api/firmware.h"

#include "sys/check.h"

int32_t jsc_FirmwareSupport(JSC_Inform* pJscInform, JSC_FirmwareId /*firmwareId*/,
                            bool* pFirmwareKnown, bool* pFirmwareSupport) {
    RETURN_IF(pJscInform == nullptr || pFirmwareKnown == nullptr || pFirmwareSupport == nullptr,
              eJTI_ERROR_BAD_ARGUMENT);
    *pFirmwareKnown = false;
    *pFirmwareSupport = false;
    return eJTI_ERROR_NONE;
}

int32_t jsc_FirmwareVersion(JSC_Inform* pJscInform, JSC_FirmwareId firmwareId, bool* pFirmwareKnown,
                            bool* pFirmwareSupport, uint32_t* pFirmwareVersion) {
    RETURN_IF(pFirmwareVersion == nullptr, eJTI_ERROR_BAD_ARGUMENT);
    RETURN_ON_ERROR(jsc_FirmwareSupport(pJscInform, firmwareId, pFirmwareKnown, pFirmwareSupport));
    *pFirmwareVersion = 0;
    return eJTI_ERROR_NONE;
}

int32_t jsc_FirmwareConfig(JSC_Inform* pJscInform, JSC_FirmwareId firmwareId, bool* pFirmwareKnown,
                           bool* pFirmwareSupport, JSC_FirmwareAction* pFirmwareAction,
                           uint32_t /*firmwareVersion*/, uint32_t /*firmwareCheckSum*/,
                           uint8_t* pFirmwareDataValue, uint32_t firmwareDataSize,
                           uint32_t* pFirmwareDataUsed) {
    RETURN_IF(pFirmwareAction == nullptr || pFirmwareDataUsed == nullptr, eJTI_ERROR_BAD_ARGUMENT);
    const bool needs_data = pFirmwareAction->firmwareExternal && pFirmwareAction->firmwareLoadData;
    RETURN_IF(needs_data && (pFirmwareDataValue == nullptr || firmwareDataSize == 0),
              eJTI_ERROR_BAD_ARGUMENT);
    RETURN_ON_ERROR(jsc_FirmwareSupport(pJscInform, firmwareId, pFirmwareKnown, pFirmwareSupport));
    *pFirmwareDataUsed = 0;
    return eJTI_ERROR_NONE;
}
