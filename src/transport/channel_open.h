// Whether there is a channel to the proxy.
#pragma once

#include "jsc_internal.h"

// Whether block and both semaphores are there and the proxy was not given up.
[[nodiscard]] inline bool channel_is_open(const JSC_Inform* pJscInform) {
    return !pJscInform->proxyLost && pJscInform->ProxyShm != nullptr &&
           pJscInform->evStartSem != nullptr && pJscInform->evCompleteSem != nullptr;
}
