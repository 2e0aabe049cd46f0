// A handle without the floors above the transport: zeroed records, a controller state of its own
// that is not shared, a pod opened through the proxy. Declare it behind the proxy: it detaches when
// it goes, and waits for the answer. For test programs that link the driver's objects.
#pragma once

#include "hardware/pod_revision.h"
#include "transport/batch.h"
#include "transport/proxy_channel.h"

namespace test_support {

class BareHandle {
public:
    // A basic controller behind a pod of revision 1. Not open yet.
    BareHandle() {
        inform.pJscControl = &control;
        control.ctlrRevise = eJTI_CONTROL_ID_TBC;
        control.emuRevision = POD_REVISION_1;
        control.timeDependOld.tclkFreq = 20000;
        control.timeDependNew.tclkFreq = 20000;
    }
    BareHandle(const BareHandle&) = delete;
    BareHandle& operator=(const BareHandle&) = delete;
    ~BareHandle() { CloseUsbDevice(&inform); }

    // Attaches to the first pod, or to the one that inform.qelVariable.sn names.
    int32_t open() { return OpenUsbDevice(&inform); }

    // The handle as the driver's functions take it.
    JSC_Inform* get() { return &inform; }

    JSC_Inform inform{};
    JSC_Control control{};
};

} // namespace test_support
