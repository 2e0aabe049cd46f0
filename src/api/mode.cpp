#include "api/mode.h"

#include "controller/utility.h"
#include "controller/wait.h"
#include "sys/check.h"
#include "transport/attached.h"
#include "transport/batch.h"

int32_t jsc_Adjust(JSC_Inform* pJscInform, JSC_AdjustStuff* pAdjustStuff) {
    return tbc_ModeConfig(pJscInform, pAdjustStuff);
}

int32_t tbc_ModeConfig(JSC_Inform* pJscInform, JSC_AdjustStuff* pAdjustStuff) {
    RETURN_IF(pJscInform == nullptr || pAdjustStuff == nullptr, eJTI_ERROR_BAD_ARGUMENT);
    RETURN_ON_ERROR(check_attached(pJscInform));
    const bool slow = pJscInform->tbcVariable.slowClock;
    const bool fast = pJscInform->tbcVariable.fastClock;
    RETURN_ON_ERROR(WaitForTbcDone(pJscInform));
    JSC_Control& control = *pJscInform->pJscControl;
    if (pAdjustStuff->configModeFreqFresh) {
        control.timeDependNew.tclkFreq = pAdjustStuff->configModeFreqValue;
    }
    control.timeDependNew.slowMode = slow;
    control.timeDependNew.fastMode = fast;
    control.timeDependOld.slowMode = slow;
    RETURN_ON_ERROR(util_ModeConfig(pJscInform, slow, fast));
    return batch_failure(pJscInform);
}
