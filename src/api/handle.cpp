#include "api/handle.h"

#include "api/controller_block.h"
#include "api/variable_group.h"
#include "config/kelm_variable.h"
#include "config/qel_variable.h"
#include "config/tbc_variable.h"
#include "config/zdl_variable.h"
#include "log/store.h"
#include "pll/pll_variable.h"
#include "sys/check.h"
#include "sys/memory.h"
#include "transport/batch.h"
#include "transport/proxy_channel.h"

namespace {

constexpr VariableGroup kEmulatorGroup{READ_ZdlCreate, READ_ZdlInitial, READ_ZdlVariable,
                                       READ_ZdlDelete};
constexpr VariableGroup kControllerGroup{READ_TbcCreate, READ_TbcInitial, READ_TbcVariable,
                                         READ_TbcDelete};
constexpr VariableGroup kTestClockGroup{READ_PllCreate, READ_PllInitial, READ_PllVariable,
                                        READ_PllDelete};
constexpr VariableGroup kPodGroup{READ_KelmCreate, READ_KelmInitial, READ_KelmVariable,
                                  READ_KelmDelete};
constexpr VariableGroup kPodClockGroup{READ_QelCreate, READ_QelInitial, READ_QelVariable,
                                       READ_QelDelete};

// What an earlier initialisation left behind, when the handle was quit and is initialised anew.
JTI_Error free_remains(JSC_Inform* pHandle) {
    (void)CloseUsbDevice(pHandle);
    return zdl_LogFileDelete(&pHandle->resetLogHandle);
}

JTI_Error read_configuration(JSC_Inform* pHandle) {
    CFG_Handle host = pHandle->cfgHandle;
    CFG_Interface* table = pHandle->pCfgInterface;
    RETURN_ON_ERROR(read_group(kEmulatorGroup, host, table, &pHandle->zdlVariable));
    // Points into the copy, so it is made on the copy.
    RETURN_ON_ERROR(Make_ZdlPseudo(&pHandle->zdlVariable));
    RETURN_ON_ERROR(read_group(kControllerGroup, host, table, &pHandle->tbcVariable));
    RETURN_ON_ERROR(read_group(kTestClockGroup, host, table, &pHandle->pllVariable));
    RETURN_ON_ERROR(read_group(kPodGroup, host, table, &pHandle->kelmVariable));
    return read_group(kPodClockGroup, host, table, &pHandle->qelVariable);
}

JTI_Error make_reset_log(JSC_Inform* pHandle) {
    const bool wanted = (pHandle->clientRecipe & JSC_RECIPE_RESET_LOG) != 0;
    return wanted ? zdl_LogFileCreate(&pHandle->resetLogHandle, JSC_RESET_LOG_WORDS)
                  : eJTI_ERROR_NONE;
}

JTI_Error open_pod(JSC_Inform* pHandle) {
    return OpenUsbDevice(pHandle) < 0 ? eJTI_ERROR_POD_OPEN : eJTI_ERROR_NONE;
}

JTI_Error count_in(JSC_Inform* pHandle) {
    JSC_Control* control = pHandle->pJscControl;
    RETURN_IF(control == nullptr, eJTI_ERROR_HANDLE_STATE);
    RETURN_IF(control->ctlrSoftUsed < control->ctlrHardUsed, eJTI_ERROR_HANDLE_STATE);
    ++control->ctlrSoftUsed;
    return eJTI_ERROR_NONE;
}

JTI_Error count_out(JSC_Inform* pHandle) {
    JSC_Control* control = pHandle->pJscControl;
    RETURN_IF(control == nullptr || control->ctlrSoftUsed == 0, eJTI_ERROR_HANDLE_STATE);
    RETURN_IF(control->ctlrSoftUsed - 1 < control->ctlrHardUsed, eJTI_ERROR_HANDLE_STATE);
    --control->ctlrSoftUsed;
    return eJTI_ERROR_NONE;
}

using InitStep = JTI_Error (*)(JSC_Inform* pHandle);

constexpr InitStep kInitSteps[] = {
    free_remains, read_configuration, make_reset_log, open_pod, controller_block_attach, count_in,
};

} // namespace

int32_t jsc_CreateHandle(JSC_Inform** ppHandle) {
    RETURN_IF(ppHandle == nullptr, eJTI_ERROR_BAD_ARGUMENT);
    *ppHandle = nullptr;
    auto* handle = static_cast<JSC_Inform*>(sys_MemAlloc(sizeof(JSC_Inform)));
    RETURN_IF(handle == nullptr, eJTI_ERROR_NO_MEMORY);
    *handle = JSC_Inform{};
    READ_ZdlInitial(&handle->zdlVariable);
    READ_TbcInitial(&handle->tbcVariable);
    READ_PllInitial(&handle->pllVariable);
    READ_KelmInitial(&handle->kelmVariable);
    READ_QelInitial(&handle->qelVariable);
    *ppHandle = handle;
    return eJTI_ERROR_NONE;
}

int32_t jsc_InitHandle(JSC_Inform* pHandle, uint32_t clientRecipe, JTI_Client jtiClientType,
                       CFG_Interface* pCfgInterface, void* cfgHandle) {
    RETURN_IF(pHandle == nullptr || cfgHandle == nullptr || pCfgInterface == nullptr,
              eJTI_ERROR_BAD_ARGUMENT);
    RETURN_IF(jtiClientType <= eJTI_CLIENT_INVALID_FIRST ||
                  jtiClientType >= eJTI_CLIENT_INVALID_LAST,
              eJTI_ERROR_BAD_ARGUMENT);
    pHandle->clientRecipe = clientRecipe;
    pHandle->jtiClientType = jtiClientType;
    pHandle->cfgHandle = cfgHandle;
    pHandle->pCfgInterface = pCfgInterface;
    RETURN_IF(pHandle->ctlrSoftOpen || pHandle->ctlrHardOpen, eJTI_ERROR_HANDLE_STATE);
    pHandle->ctlrSoftOpen = true;
    for (const InitStep step : kInitSteps) {
        RETURN_ON_ERROR(step(pHandle));
    }
    return eJTI_ERROR_NONE;
}

int32_t jsc_QuitHandle(JSC_Inform* pHandle) {
    RETURN_IF(pHandle == nullptr, eJTI_ERROR_BAD_ARGUMENT);
    RETURN_IF(!pHandle->ctlrSoftOpen || pHandle->ctlrHardOpen, eJTI_ERROR_HANDLE_STATE);
    pHandle->ctlrSoftOpen = false;
    RETURN_ON_ERROR(count_out(pHandle));
    (void)CloseUsbDevice(pHandle);
    return controller_block_release(pHandle);
}

int32_t jsc_DeleteHandle(JSC_Inform** ppHandle) {
    RETURN_IF(ppHandle == nullptr, eJTI_ERROR_BAD_ARGUMENT);
    JSC_Inform* handle = *ppHandle;
    *ppHandle = nullptr;
    RETURN_IF(handle == nullptr, eJTI_ERROR_NONE);
    RETURN_ON_ERROR(zdl_LogFileDelete(&handle->resetLogHandle));
    batch_release(handle);
    void* record = handle;
    sys_MemFree(&record);
    return eJTI_ERROR_NONE;
}
