#include "transport/exchange_note.h"

#include "sys/os.h"
#include "transport/object_lock.h"

namespace {

ObjectBytes hold_bytes(int fd) {
    return {.fd = fd, .first = kExchangeHoldByte, .count = 1};
}

} // namespace

void exchange_hold(JSC_Inform* pJscInform, int fd, bool* pOrphaned) {
    *pOrphaned = false;
    if (!object_try_lock(hold_bytes(fd), ObjectLock::Shared)) {
        os_calls.close(fd);
        return;
    }
    pJscInform->podHold = {.held = true, .fd = fd};
    *pOrphaned =
        exchange_note(pJscInform->ProxyShm) == kNoteUnderWay && object_is_free(hold_bytes(fd));
}

void exchange_let_go(JSC_Inform* pJscInform) {
    if (pJscInform->podHold.held) {
        object_unlock(hold_bytes(pJscInform->podHold.fd));
        os_calls.close(pJscInform->podHold.fd);
        pJscInform->podHold = {};
    }
}
