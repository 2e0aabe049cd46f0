#include "api/connect.h"

#include "api/controller_block.h"
#include "api/diagnose.h"
#include "api/mode.h"
#include "api/reset.h"
#include "controller/detect.h"
#include "controller/pod_setup.h"
#include "controller/registers.h"
#include "controller/time_value.h"
#include "controller/utility.h"
#include "controller/wait.h"
#include "scan/trst.h"
#include "sys/check.h"
#include "sys/clock.h"
#include "transport/batch.h"

namespace {

// What the steps of a connect hand on.
struct Connect {
    bool reset_released; // the target reset was found asserted
    bool latch_cleared;  // a latched condition was found
    bool long_init;      // the controller starts from a standard reset
};

JTI_Error sleep_time_value(JSC_Inform* pHandle, JSC_TimeType type) {
    uint32_t delay_us = 0;
    RETURN_ON_ERROR(TimeValueQuery(pHandle, type, &delay_us));
    sys_TimeWaitForTime(delay_us);
    return eJTI_ERROR_NONE;
}

// ---- the pod -----------------------------------------------------------------------------------

JTI_Error check_generation(JSC_Inform* pHandle, Connect& /*connect*/) {
    pHandle->pJscControl->emuRevision = pHandle->emuRevision;
    return check_pod_generation(pHandle);
}

JTI_Error set_up_pod(JSC_Inform* pHandle, Connect& /*connect*/) {
    write_pod_registers(pHandle);
    RETURN_IF(qel_PerformIo(pHandle) != eJTI_ERROR_NONE, eJTI_ERROR_POD_SETUP);
    WaitAWhileTbc(pHandle);
    return qel_PerformIo(pHandle);
}

JTI_Error connect_outputs(JSC_Inform* pHandle, Connect& /*connect*/) {
    bool disconnected = false;
    RETURN_ON_ERROR(util_DisconStatus(pHandle, &disconnected));
    return disconnected ? util_DisconConfig(pHandle, false) : eJTI_ERROR_NONE;
}

JTI_Error release_target_reset(JSC_Inform* pHandle, Connect& connect) {
    RETURN_ON_ERROR(util_ResetStatus(pHandle, &connect.reset_released));
    return connect.reset_released ? util_ResetConfig(pHandle, false) : eJTI_ERROR_NONE;
}

JTI_Error clear_all_latches(JSC_Inform* pHandle) {
    JSC_PodStatus all{true, true, true, true};
    return util_CableClear(pHandle, &all);
}

JTI_Error clear_latched_conditions(JSC_Inform* pHandle, Connect& connect) {
    JSC_Control& control = *pHandle->pJscControl;
    JSC_PodStatus status{};
    RETURN_ON_ERROR(util_CableStatus(pHandle, &status));
    control.powerLossActive = control.powerLossActive || status.powerStatus;
    connect.latch_cleared =
        status.nearStatus || status.farStatus || status.powerStatus || status.clockStatus;
    RETURN_IF(!connect.latch_cleared, eJTI_ERROR_NONE);
    RETURN_ON_ERROR(tbc_StandardReset(pHandle, false));
    RETURN_ON_ERROR(clear_all_latches(pHandle));
    control.powerLossActive = false;
    control.powerLossErased = true;
    return sleep_time_value(pHandle, eJSC_TIME_TYPE_PULSE_RECOVERY);
}

JTI_Error enable_outputs(JSC_Inform* pHandle, Connect& /*connect*/) {
    RETURN_ON_ERROR(util_OutputConfig(pHandle, true));
    RETURN_ON_ERROR(clear_all_latches(pHandle));
    return sleep_time_value(pHandle, eJSC_TIME_TYPE_ERROR_PROPAGATE);
}

JTI_Error check_pod(JSC_Inform* pHandle, Connect& /*connect*/) {
    RETURN_ON_ERROR(jsc_Diagnose(pHandle, eJTI_ERROR_NONE));
    WaitAWhileTbc(pHandle);
    return eJTI_ERROR_NONE;
}

// ---- the controller ----------------------------------------------------------------------------

JTI_Error find_controller(JSC_Inform* pHandle, Connect& /*connect*/) {
    RETURN_ON_ERROR(CheckCtlrExist(pHandle));
    const JTI_ControlId kind = CheckCtlrVersion(pHandle);
    pHandle->pJscControl->ctlrRevise = kind;
    const bool accepted =
        kind == eJTI_CONTROL_ID_TBC || kind == eJTI_CONTROL_ID_EXL || kind == eJTI_CONTROL_ID_DPM;
    return accepted ? eJTI_ERROR_NONE : eJTI_ERROR_CONTROLLER_KIND;
}

// The quick start, for a controller that is done and had nothing latched; else a standard reset and
// the long initialisation later.
JTI_Error start_controller(JSC_Inform* pHandle, Connect& connect) {
    const bool idle = WaitForTbcDone(pHandle) == eJTI_ERROR_NONE;
    connect.long_init = !idle || connect.latch_cleared || connect.reset_released;
    return connect.long_init ? tbc_StandardReset(pHandle, false) : tbc_InitShort(pHandle);
}

// Reads of these ports are answered from the cache itself, so this refreshes nothing but the status
// registers, by its flush. Kept: hosts see the exchange.
JTI_Error load_cache(JSC_Inform* pHandle, Connect& /*connect*/) {
    return RegisterRead(pHandle, true, true, 0, TBC_CACHED_PORTS,
                        pHandle->pJscControl->registerCache);
}

JTI_Error set_trstn(JSC_Inform* pHandle, Connect& connect) {
    return tbc_TrstnStuff(pHandle, connect.long_init, false);
}

JTI_Error initialise_long(JSC_Inform* pHandle, Connect& connect) {
    const bool asked = (pHandle->clientRecipe & JSC_RECIPE_LONG_INIT) != 0;
    RETURN_IF(!asked && !connect.long_init, eJTI_ERROR_NONE);
    LogFileInfo info{};
    JSC_ResetAction action{};
    return tbc_InitLong(pHandle, connect.long_init, &info, &action);
}

JTI_Error apply_mode(JSC_Inform* pHandle, Connect& /*connect*/) {
    RETURN_IF((pHandle->clientRecipe & JSC_RECIPE_MODE_CONFIG) == 0, eJTI_ERROR_NONE);
    RETURN_ON_ERROR(WaitForTbcDone(pHandle));
    JSC_AdjustStuff adjust{false, PLL_TCLK_F_TIMEOUT};
    return tbc_ModeConfig(pHandle, &adjust);
}

// Steps that may fail do not hide that the proxy was lost meanwhile.
JTI_Error check_queued(JSC_Inform* pHandle, Connect& /*connect*/) {
    RETURN_IF(pHandle->proxyLost, eJTI_ERROR_BATCH_FAILED);
    return batch_failure(pHandle);
}

using ConnectStep = JTI_Error (*)(JSC_Inform* pHandle, Connect& connect);

// Their failures go up as they are.
constexpr ConnectStep kPodSteps[] = {
    check_generation,         set_up_pod,     connect_outputs, release_target_reset,
    clear_latched_conditions, enable_outputs, check_pod,
};
// Their failures are diagnosed: a transport error or a cable condition says more.
constexpr ConnectStep kControllerSteps[] = {
    find_controller, start_controller, load_cache,   set_trstn,
    initialise_long, apply_mode,       check_queued,
};

JTI_Error bring_up(JSC_Inform* pHandle) {
    Connect connect{};
    for (const ConnectStep step : kPodSteps) {
        RETURN_ON_ERROR(step(pHandle, connect));
    }
    for (const ConnectStep step : kControllerSteps) {
        const JTI_Error error = step(pHandle, connect);
        if (error != eJTI_ERROR_NONE) {
            return jsc_Diagnose(pHandle, error);
        }
    }
    return eJTI_ERROR_NONE;
}

// A controller that failed is given up; the release's own code is not reported.
JTI_Error give_up(JSC_Inform* pHandle, JTI_Error error) {
    (void)controller_block_release(pHandle);
    return error;
}

} // namespace

int32_t jsc_Connect(JSC_Inform* pHandle, bool* pFirst) {
    RETURN_IF(pHandle == nullptr || pFirst == nullptr, eJTI_ERROR_BAD_ARGUMENT);
    *pFirst = true;
    RETURN_IF(!pHandle->ctlrSoftOpen || pHandle->ctlrHardOpen, eJTI_ERROR_HANDLE_STATE);
    pHandle->ctlrHardOpen = true; // and it stays so when a later step fails: hosts tell by it
    JSC_Control* control = pHandle->pJscControl;
    RETURN_IF(control == nullptr, eJTI_ERROR_HANDLE_STATE);
    RETURN_IF(control->ctlrSoftUsed - 1 < control->ctlrHardUsed, eJTI_ERROR_HANDLE_STATE);
    const bool first = control->ctlrHardUsed == 0;
    ++control->ctlrHardUsed;
    pHandle->instance = static_cast<int32_t>(control->ctlrHardUsed);
    if (first) {
        const JTI_Error error = bring_up(pHandle);
        RETURN_IF(error != eJTI_ERROR_NONE, give_up(pHandle, error));
    }
    *pFirst = first;
    return eJTI_ERROR_NONE;
}

int32_t jsc_Disconnect(JSC_Inform* pHandle, bool* pLast) {
    RETURN_IF(pHandle == nullptr || pLast == nullptr, eJTI_ERROR_BAD_ARGUMENT);
    *pLast = true;
    RETURN_IF(!pHandle->ctlrSoftOpen || !pHandle->ctlrHardOpen, eJTI_ERROR_HANDLE_STATE);
    pHandle->ctlrHardOpen = false;
    JSC_Control* control = pHandle->pJscControl;
    RETURN_IF(control == nullptr, eJTI_ERROR_HANDLE_STATE);
    RETURN_IF(control->ctlrHardUsed == 0 || control->ctlrHardUsed > control->ctlrSoftUsed,
              eJTI_ERROR_HANDLE_STATE);
    const bool last = control->ctlrHardUsed == 1;
    --control->ctlrHardUsed;
    if (last) {
        const JTI_Error error = tbc_HardwareTerm(pHandle);
        RETURN_IF(error != eJTI_ERROR_NONE, give_up(pHandle, jsc_Diagnose(pHandle, error)));
    }
    *pLast = last;
    return eJTI_ERROR_NONE;
}
