// The built library, loaded at run time as a host loads it.
#pragma once

#include "jsc_export.h"

namespace endtoend {

// The entry points that a host resolves, and the two functions with which a host lets go of a
// handle whose connect or initialisation failed: JSC_DeleteHandle refuses such a handle.
struct DriverLibrary {
    JTI_Error (*CreateInterface)(JSC_Interface** ppInterface);
    JTI_Error (*DeleteInterface)(JSC_Interface** ppInterface);
    JTI_Error (*CreateHandle)(JSC_Inform** ppHandle, JSC_Parameter* pParameter);
    JTI_Error (*DeleteHandle)(JSC_Inform** ppHandle);
    JTI_Error (*CreateProperty)(JTI_Property** ppProperty);
    JTI_Error (*DeleteProperty)(JTI_Property** ppProperty);

    int32_t (*close_pod)(JSC_Inform* pHandle);     // CloseUsbDevice
    int32_t (*free_handle)(JSC_Inform** ppHandle); // jsc_DeleteHandle
};

// Loads the library on the first call; it stays loaded. Ends the program when it cannot be loaded
// or lacks one of the names.
const DriverLibrary& driver_library();

} // namespace endtoend
