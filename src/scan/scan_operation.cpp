#include "scan/scan_operation.h"

#include "scan/command.h"
#include "scan/scan_engine.h"
#include "sys/check.h"
#include "transport/attached.h"

namespace {

// What tells the four scans apart.
struct ScanKind {
    uint16_t control; // TBC_SCAN_...
    bool send_only;
    bool send_fixed;
};

JTI_Error make_scan(JSC_Inform* pJscInform, const JSC_JtagCommand* pCommand, ScanKind kind,
                    const JSC_JtagParam& param, uint16_t* pBufferDst, uint16_t* pBufferSrc) {
    uint32_t count = 0;
    RETURN_ON_ERROR(DoCheckCommand(pCommand));
    RETURN_ON_ERROR(DoInterestCommand(pJscInform, pCommand, &param, &count));
    const bool adjust = pCommand->jtagAdjust == eJSC_JTAG_ADJUST_AUTO;
    return TbcScan(pJscInform, pCommand, kind.control, count, adjust, kind.send_only,
                   kind.send_fixed, param.repeatCount, pBufferDst, pBufferSrc);
}

JTI_Error make_scan16(JSC_Inform* pJscInform, const JSC_JtagCommand* pCommand, ScanKind kind,
                      const JSC_JtagParam16* pParam) {
    RETURN_ON_ERROR(check_attached(pJscInform));
    RETURN_IF(pParam == nullptr, eJTI_ERROR_BAD_ARGUMENT);
    const JSC_JtagParam param{pParam->repeatCount, pParam->delayCount, pParam->shiftCount};
    return make_scan(pJscInform, pCommand, kind, param,
                     kind.send_only ? nullptr : pParam->pInBuffer,
                     kind.send_fixed ? nullptr : pParam->pOutBuffer);
}

} // namespace

int32_t jsc_ScanFixed01(JSC_Inform* pJscInform, const JSC_JtagCommand* pCommand,
                        const JSC_JtagParam01* pParam) {
    RETURN_ON_ERROR(check_attached(pJscInform));
    RETURN_IF(pParam == nullptr, eJTI_ERROR_BAD_ARGUMENT);
    const JSC_JtagParam param{pParam->repeatCount, pParam->delayCount, pParam->shiftCount};
    const uint16_t control = pParam->useOnes ? TBC_SCAN_ONES : TBC_SCAN_ZEROS;
    return make_scan(pJscInform, pCommand, {control, true, true}, param, nullptr, nullptr);
}

int32_t jsc_ScanSend16(JSC_Inform* pJscInform, const JSC_JtagCommand* pCommand,
                       const JSC_JtagParam16* pParam) {
    return make_scan16(pJscInform, pCommand, {TBC_SCAN_SEND, true, false}, pParam);
}

int32_t jsc_ScanBoth16(JSC_Inform* pJscInform, const JSC_JtagCommand* pCommand,
                       const JSC_JtagParam16* pParam) {
    return make_scan16(pJscInform, pCommand, {TBC_SCAN_BOTH, false, false}, pParam);
}

int32_t jsc_ScanRecv16(JSC_Inform* pJscInform, const JSC_JtagCommand* pCommand,
                       const JSC_JtagParam16* pParam) {
    return make_scan16(pJscInform, pCommand, {TBC_SCAN_RECEIVE, false, true}, pParam);
}

// The table's slots of these widths hold the 16-bit scans instead. A host that takes one of these
// by its name is told that it is not offered, and relies on nothing being touched.
#define NOT_OFFERED(name, param)                                                                   \
    int32_t name(JSC_Inform* /*pJscInform*/, const JSC_JtagCommand* /*pCommand*/,                  \
                 const param* /*pParam*/) {                                                        \
        return eJTI_ERROR_BAD_ARGUMENT;                                                            \
    }

NOT_OFFERED(jsc_ScanSend08, JSC_JtagParam08)
NOT_OFFERED(jsc_ScanBoth08, JSC_JtagParam08)
NOT_OFFERED(jsc_ScanRecv08, JSC_JtagParam08)
NOT_OFFERED(jsc_ScanSend32, JSC_JtagParam32)
NOT_OFFERED(jsc_ScanBoth32, JSC_JtagParam32)
NOT_OFFERED(jsc_ScanRecv32, JSC_JtagParam32)
NOT_OFFERED(jsc_ScanSend64, JSC_JtagParam64)
NOT_OFFERED(jsc_ScanBoth64, JSC_JtagParam64)
NOT_OFFERED(jsc_ScanRecv64, JSC_JtagParam64)

#undef NOT_OFFERED
