#include "scan/amble_delay.h"

#include "controller/wait.h"
#include "sys/check.h"
#include "transport/attached.h"
#include "transport/batch.h"

namespace {

// The groups go across one by one: a flag chooses its group and stays where it is.
void copy_mains(JSC_JtagAmbleDelay& to, const JSC_JtagAmbleDelay& from) {
    to.mainIR = from.mainIR;
    to.mainDR = from.mainDR;
}

void copy_ambles(JSC_JtagAmbleDelay& to, const JSC_JtagAmbleDelay& from) {
    to.preAmbleIR = from.preAmbleIR;
    to.posAmbleIR = from.posAmbleIR;
    to.preAmbleDR = from.preAmbleDR;
    to.posAmbleDR = from.posAmbleDR;
}

void copy_delays(JSC_JtagAmbleDelay& to, const JSC_JtagAmbleDelay& from) {
    to.endDelay0 = from.endDelay0;
    to.endDelay1 = from.endDelay1;
    to.endDelay2 = from.endDelay2;
    to.endDelay3 = from.endDelay3;
}

void copy_chosen(JSC_JtagAmbleDelay& to, const JSC_JtagAmbleDelay& from,
                 const JSC_JtagAmbleDelay& choice) {
    if (choice.useMains) {
        copy_mains(to, from);
    }
    if (choice.useAmbles) {
        copy_ambles(to, from);
    }
    if (choice.useDelays) {
        copy_delays(to, from);
    }
}

} // namespace

int32_t jsc_GetAmbleDelay(JSC_Inform* pJscInform, JSC_JtagAmbleDelay* pAmbleDelay) {
    RETURN_ON_ERROR(check_attached(pJscInform));
    RETURN_IF(pAmbleDelay == nullptr, eJTI_ERROR_BAD_ARGUMENT);
    copy_chosen(*pAmbleDelay, pJscInform->pJscControl->ambleDelay, *pAmbleDelay);
    return eJTI_ERROR_NONE;
}

int32_t jsc_PutAmbleDelay(JSC_Inform* pJscInform, JSC_JtagAmbleDelay* pAmbleDelay) {
    RETURN_ON_ERROR(check_attached(pJscInform));
    RETURN_IF(pAmbleDelay == nullptr, eJTI_ERROR_BAD_ARGUMENT);
    (void)WaitForTbcDone(pJscInform); // the settings are the host's also when the wait fails
    JSC_JtagAmbleDelay& kept = pJscInform->pJscControl->ambleDelay;
    copy_chosen(kept, *pAmbleDelay, *pAmbleDelay);
    if (pAmbleDelay->useDelays) {
        const TBC_Variable& variable = pJscInform->tbcVariable;
        kept.endDelay0 = variable.useForceOnceEnd ? variable.forceOnceEnd : kept.endDelay0;
        kept.endDelay1 = variable.useForceManyEnd ? variable.forceManyEnd : kept.endDelay1;
    }
    return batch_failure(pJscInform);
}
