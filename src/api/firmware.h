// Firmware operations: this controller has none.
#pragma once

#include "jsc_internal.h"

JTI_EXPORT int32_t jsc_FirmwareSupport(JSC_Inform* pJscInform, JSC_FirmwareId firmwareId,
                                       bool* pFirmwareKnown, bool* pFirmwareSupport);
JTI_EXPORT int32_t jsc_FirmwareVersion(JSC_Inform* pJscInform, JSC_FirmwareId firmwareId,
                                       bool* pFirmwareKnown, bool* pFirmwareSupport,
                                       uint32_t* pFirmwareVersion);
JTI_EXPORT int32_t jsc_FirmwareConfig(JSC_Inform* pJscInform, JSC_FirmwareId firmwareId,
                                      bool* pFirmwareKnown, bool* pFirmwareSupport,
                                      JSC_FirmwareAction* pFirmwareAction, uint32_t firmwareVersion,
                                      uint32_t firmwareCheckSum, uint8_t* pFirmwareDataValue,
                                      uint32_t firmwareDataSize, uint32_t* pFirmwareDataUsed);
