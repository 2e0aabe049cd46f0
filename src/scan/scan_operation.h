// The host's scans. Those of 16-bit buffers fill the scan slots of every width.
#pragma once

#include "jsc_internal.h"

JTI_EXPORT int32_t jsc_ScanFixed01(JSC_Inform* pJscInform, const JSC_JtagCommand* pCommand,
                                   const JSC_JtagParam01* pParam);
JTI_EXPORT int32_t jsc_ScanSend16(JSC_Inform* pJscInform, const JSC_JtagCommand* pCommand,
                                  const JSC_JtagParam16* pParam);
JTI_EXPORT int32_t jsc_ScanBoth16(JSC_Inform* pJscInform, const JSC_JtagCommand* pCommand,
                                  const JSC_JtagParam16* pParam);
JTI_EXPORT int32_t jsc_ScanRecv16(JSC_Inform* pJscInform, const JSC_JtagCommand* pCommand,
                                  const JSC_JtagParam16* pParam);

// The scans of the other widths are not offered: always -122, nothing is touched.
JTI_EXPORT int32_t jsc_ScanSend08(JSC_Inform* pJscInform, const JSC_JtagCommand* pCommand,
                                  const JSC_JtagParam08* pParam);
JTI_EXPORT int32_t jsc_ScanBoth08(JSC_Inform* pJscInform, const JSC_JtagCommand* pCommand,
                                  const JSC_JtagParam08* pParam);
JTI_EXPORT int32_t jsc_ScanRecv08(JSC_Inform* pJscInform, const JSC_JtagCommand* pCommand,
                                  const JSC_JtagParam08* pParam);
JTI_EXPORT int32_t jsc_ScanSend32(JSC_Inform* pJscInform, const JSC_JtagCommand* pCommand,
                                  const JSC_JtagParam32* pParam);
JTI_EXPORT int32_t jsc_ScanBoth32(JSC_Inform* pJscInform, const JSC_JtagCommand* pCommand,
                                  const JSC_JtagParam32* pParam);
JTI_EXPORT int32_t jsc_ScanRecv32(JSC_Inform* pJscInform, const JSC_JtagCommand* pCommand,
                                  const JSC_JtagParam32* pParam);
JTI_EXPORT int32_t jsc_ScanSend64(JSC_Inform* pJscInform, const JSC_JtagCommand* pCommand,
                                  const JSC_JtagParam64* pParam);
JTI_EXPORT int32_t jsc_ScanBoth64(JSC_Inform* pJscInform, const JSC_JtagCommand* pCommand,
                                  const JSC_JtagParam64* pParam);
JTI_EXPORT int32_t jsc_ScanRecv64(JSC_Inform* pJscInform, const JSC_JtagCommand* pCommand,
                                  const JSC_JtagParam64* pParam);
