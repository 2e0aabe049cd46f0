#include "api/reset_log.h"

#include "log/store.h"
#include "sys/check.h"

namespace {

JTI_Error append(JSC_Inform* pJscInform, VexilResetLogIndex key) {
    return zdl_LogFileBasic(pJscInform->resetLogHandle, static_cast<uint32_t>(key));
}

VexilResetLogIndex clock_mode(const JSC_TimeDependancy& depend) {
    if (depend.slowMode) {
        return RSTLOG_USE_SLOWER_CLK_MODE;
    }
    return depend.fastMode ? RSTLOG_USE_FASTER_CLK_MODE : RSTLOG_USE_NORMAL_CLK_MODE;
}

// Clock, pins and edges, each as the one of its keys that holds.
JTI_Error append_settings(JSC_Inform* pJscInform, const LogFileInfo& info) {
    RETURN_ON_ERROR(append(pJscInform, clock_mode(pJscInform->pJscControl->timeDependNew)));
    RETURN_ON_ERROR(
        append(pJscInform, info.emuPin0 ? RSTLOG_EMU0_INPUT_IS_ONE : RSTLOG_EMU0_INPUT_IS_ZERO));
    RETURN_ON_ERROR(
        append(pJscInform, info.emuPin1 ? RSTLOG_EMU1_INPUT_IS_ONE : RSTLOG_EMU1_INPUT_IS_ZERO));
    RETURN_ON_ERROR(append(pJscInform, pJscInform->tbcVariable.tdoEdgeFall
                                           ? RSTLOG_USE_OUTPUT_EDGE_FALL
                                           : RSTLOG_USE_OUTPUT_EDGE_RISE));
    return append(pJscInform, RSTLOG_USE_INPUT_EDGE_NOSUPPORT);
}

JTI_Error append_power(JSC_Inform* pJscInform, const LogFileInfo& info) {
    RETURN_ON_ERROR(append(pJscInform, info.powerLossPrior ? RSTLOG_PRIOR_POWER_LOSS_YES
                                                           : RSTLOG_PRIOR_POWER_LOSS_NOT));
    return append(pJscInform, info.powerLossActive ? RSTLOG_CURRENT_POWER_LOSS_YES
                                                   : RSTLOG_CURRENT_POWER_LOSS_NOT);
}

} // namespace

int32_t reset_log_open(JSC_Inform* pJscInform) {
    RETURN_ON_ERROR(append(pJscInform, RSTLOG_USE_ONLY_TBC));
    uint32_t kind = static_cast<uint32_t>(RSTLOG_USE_ONLY_TBC);
    RETURN_ON_ERROR(zdl_LogFileXlatVersion(pJscInform->pJscControl->ctlrRevise, &kind));
    return zdl_LogFileBasic(pJscInform->resetLogHandle, kind);
}

int32_t reset_log_close(JSC_Inform* pJscInform, const LogFileInfo& info) {
    RETURN_ON_ERROR(append(pJscInform, RSTLOG_USE_ONLY_TBC));
    // Both resets are logged whether or not they were asked for: readers of the log count on the
    // entries. A controller that hung ends the log.
    RETURN_IF(info.hungResetHard, eJTI_ERROR_NONE);
    RETURN_ON_ERROR(append(pJscInform, RSTLOG_HARD_RST_VIA_SPRT));
    RETURN_IF(info.hungResetSoft, eJTI_ERROR_NONE);
    RETURN_ON_ERROR(append(pJscInform, RSTLOG_SOFT_RST_VIA_SPRT));
    RETURN_IF(info.hungNoReset, eJTI_ERROR_NONE);
    RETURN_ON_ERROR(append(pJscInform, RSTLOG_SUCCESSFUL_ACCESS));
    RETURN_ON_ERROR(append_settings(pJscInform, info));
    RETURN_ON_ERROR(zdl_LogFileUnsign(pJscInform->resetLogHandle,
                                      static_cast<uint32_t>(RSTLOG_LINK_DELAY_IS_SPECIFIC),
                                      info.linkDelay));
    return append_power(pJscInform, info);
}
