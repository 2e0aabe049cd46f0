// The channel to the pod proxy: choosing a pod, the handshake, the support register.
#pragma once

#include "jsc_internal.h"
#include "transport/channel_open.h"

// Chooses the pod that the configuration names (or the first) from the device table, maps its
// block, opens its semaphores and attaches. Fills ProxyShm, evStartSem, evCompleteSem, pod
// and emuRevision. 0, or -1 when there is no proxy or no such pod. A table or block of the wrong
// size and a semaphore that cannot be opened end the open early with 0 and nothing, or less,
// attached: hosts rely on the success, and every later flush answers -140.
JTI_EXPORT int32_t OpenUsbDevice(JSC_Inform* pJscInform);

// Detaches and releases what OpenUsbDevice made, without a handshake when not all of it is there or
// the proxy was given up.
// Always 0.
JTI_EXPORT int32_t CloseUsbDevice(JSC_Inform* pJscInform);

// Writes the pod's support register. 0, or -190 when the proxy refuses or there is no channel, or
// does not answer within the host's patience.
JTI_EXPORT int32_t wr_supp_reg(JSC_Inform* pJscInform, uint16_t value);

// Waits for one post of the semaphore, on the processor, without a limit.
JTI_EXPORT void my_wait(sem_t* pSemaphore);

// One exchange: leaves `command` in the block, posts start, waits for complete. The caller wrote
// the arguments; channel_is_open must hold. Returns the proxy's status, read once. When the
// host's patience is over first: -140, and the channel is not open any more, so that no later
// exchange waits again; so too when the start semaphore cannot be posted. A command that the proxy
// had not taken is withdrawn; one that it had is noted in the block, and the next handle that opens
// takes its answer before the first of its own.
int32_t channel_exchange(JSC_Inform* pJscInform, uint32_t command);
