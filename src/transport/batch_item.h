// One item on the batch: a write with its value, a read with the marker that it may close, a wait.
//
// An item is never torn: when the block has no room for it and for what a flush adds, the batch is
// flushed first. A flush that fails sets podError and batchError, and this item and all later ones
// are dropped until Diagnose. Without a channel everything is dropped.
#pragma once

#include "jsc_internal.h"
#include "transport/batch_failure.h"
#include "transport/proxy_channel.h"

// Queues a write of `value` to a port, past the register cache; nothing with podError set. On an
// old pod with a slow clock a write of 0 to port 16 follows one to port 23.
void batch_write(JSC_Inform* pJscInform, uint16_t port, uint16_t value);

// Queues a read of a port, past the register cache; nothing with podError set.
//   pValue  out: filled by the next successful flush; must stay valid until then
void batch_read(JSC_Inform* pJscInform, uint16_t port, uint16_t* pValue);

// Queues a wait word (SHM_WAIT_...). A podError that the batch did not set itself does not keep
// waits away. Null handle: nothing.
void batch_wait(JSC_Inform* pJscInform, uint16_t wait_word);

// Whether reads and writes are queued: there is a channel, and no podError, whoever set it.
[[nodiscard]] inline bool batch_takes_accesses(const JSC_Inform* pJscInform) {
    return pJscInform->podError == eJTI_ERROR_NONE && channel_is_open(pJscInform);
}

// An old pod with a slow clock: a settle delay goes behind each word sent.
[[nodiscard]] bool batch_settles_sends(const JSC_Inform* pJscInform);
