#include "transport/port.h"

#include "sys/check.h"
#include "transport/batch_item.h"

#include <algorithm>

namespace {

bool resets_controller(uint16_t port, uint16_t value) {
    return port == TBC_PORT_CONTROL && (value & TBC_CONTROL_RESET) == TBC_CONTROL_RESET;
}

void write_through_cache(JSC_Inform* pJscInform, uint16_t port, uint16_t value) {
    uint16_t& cached = pJscInform->pJscControl->registerCache[port];
    if (cached == value && port != TBC_PORT_CONTROL) {
        return;
    }
    batch_write(pJscInform, port, value);
    if (batch_failure(pJscInform) != eJTI_ERROR_NONE) {
        return;
    }
    if (resets_controller(port, value)) {
        LoadZeroIntoCache(pJscInform);
    } else {
        cached = value;
    }
}

} // namespace

int32_t PortReadNoCache(JSC_Inform* pJscInform, uint16_t port, uint16_t* pValue) {
    RETURN_IF(pJscInform == nullptr || pValue == nullptr, eJTI_ERROR_BAD_ARGUMENT);
    batch_read(pJscInform, port, pValue);
    return eJTI_ERROR_NONE;
}

int32_t PortRead(JSC_Inform* pJscInform, uint16_t port, uint16_t* pValue) {
    RETURN_IF(pJscInform == nullptr || pValue == nullptr, eJTI_ERROR_BAD_ARGUMENT);
    if (port >= TBC_CACHED_PORTS) {
        return PortReadNoCache(pJscInform, port, pValue);
    }
    RETURN_IF(pJscInform->pJscControl == nullptr, eJTI_ERROR_HANDLE_STATE);
    *pValue = pJscInform->pJscControl->registerCache[port];
    return eJTI_ERROR_NONE;
}

void PortWriteNoCache(JSC_Inform* pJscInform, uint16_t port, uint16_t value) {
    if (pJscInform != nullptr) {
        batch_write(pJscInform, port, value);
    }
}

void PortWrite(JSC_Inform* pJscInform, uint16_t port, uint16_t value) {
    if (port >= TBC_CACHED_PORTS) {
        PortWriteNoCache(pJscInform, port, value);
    } else if (pJscInform != nullptr && pJscInform->pJscControl != nullptr) {
        write_through_cache(pJscInform, port, value);
    }
}

void LoadZeroIntoCache(JSC_Inform* pJscInform) {
    if (pJscInform != nullptr && pJscInform->pJscControl != nullptr) {
        std::fill_n(pJscInform->pJscControl->registerCache, TBC_CACHED_PORTS, uint16_t{0});
    }
}
