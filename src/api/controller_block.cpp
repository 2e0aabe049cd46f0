#include "api/controller_block.h"

#include "controller/time_value.h"
#include "sys/check.h"
#include "transport/batch.h"
#include "transport/port.h"
#include "transport/share.h"

namespace {

constexpr char kBlockKind[] = "control";
constexpr char kBlockOwner[] = "libjsctalvor.so";

JSC_TimeDependancy default_dependency() {
    JSC_TimeDependancy depend{};
    depend.slowMode = true;
    depend.tclkFreq = PLL_TCLK_F_TIMEOUT;
    depend.useIrPath = true;
    depend.mainCount = 1;
    depend.commandRepeat = 1;
    return depend;
}

// The block's own clock flags start opposite to those of the dependencies; hosts see both and it is
// meant so.
JTI_Error fill_defaults(JSC_Inform* pHandle) {
    *pHandle->pJscControl = JSC_Control{};
    LoadZeroIntoCache(pHandle);
    JSC_Control& control = *pHandle->pJscControl;
    control.priorTBC = true;
    control.timeDependOld = default_dependency();
    control.timeDependNew = default_dependency();
    control.slowMode = false;
    control.fastMode = true;
    RETURN_ON_ERROR(TimeValueInitial(pHandle));
    return TimeValueApply(pHandle);
}

} // namespace

int32_t controller_block_attach(JSC_Inform* pHandle) {
    const ZDL_Variable& emulator = pHandle->zdlVariable;
    RETURN_IF(emulator.pDriverName == nullptr || emulator.pPortAddress == nullptr,
              eJTI_ERROR_SHARED_BLOCK);
    ShareNames names{kBlockKind, kBlockOwner, emulator.pDriverName, *emulator.pPortAddress};
    bool created = true;
    pHandle->tbcShare.size = SHARE_CONTROL_SIZE;
    RETURN_ON_ERROR(share_attach(&names, pHandle->pod, &pHandle->tbcShare, &created));
    pHandle->pJscControl = static_cast<JSC_Control*>(pHandle->tbcShare.pMemory);
    return created ? fill_defaults(pHandle) : eJTI_ERROR_NONE;
}

int32_t controller_block_release(JSC_Inform* pHandle) {
    batch_drop_reads(pHandle);
    RETURN_ON_ERROR(sys_ShareFree(&pHandle->tbcShare));
    pHandle->pJscControl = nullptr;
    return eJTI_ERROR_NONE;
}
