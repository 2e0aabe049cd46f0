// Handles and the description of the library, for the host.
#include "api/handle.h"
#include "api/property.h"
#include "sys/check.h"

JTI_Error JSC_CreateHandle(JSC_Inform** ppHandle, JSC_Parameter* pParameter) {
    RETURN_IF(ppHandle == nullptr, eJTI_ERROR_BAD_ARGUMENT);
    *ppHandle = nullptr;
    RETURN_IF(pParameter == nullptr, eJTI_ERROR_BAD_ARGUMENT);
    RETURN_ON_ERROR(jsc_CreateHandle(ppHandle));
    // A handle that cannot be initialised stays with the host, which may look at it and deletes it
    // by jsc_DeleteHandle; JSC_DeleteHandle refuses it.
    return jsc_InitHandle(*ppHandle, pParameter->clientRecipe, pParameter->jtiClientType,
                          pParameter->pCfgInterface, pParameter->cfgHandle);
}

JTI_Error JSC_DeleteHandle(JSC_Inform** ppHandle) {
    RETURN_IF(ppHandle == nullptr, eJTI_ERROR_BAD_ARGUMENT);
    RETURN_ON_ERROR(jsc_QuitHandle(*ppHandle));
    return jsc_DeleteHandle(ppHandle);
}

JTI_Error JSC_CreateProperty(JTI_Property** ppProperty) {
    return zdl_PropertyCreate(ppProperty);
}

JTI_Error JSC_DeleteProperty(JTI_Property** ppProperty) {
    return zdl_PropertyDelete(ppProperty);
}
