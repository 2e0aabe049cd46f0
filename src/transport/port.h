// Access to the controller's registers, by port, through the batch and the register cache.
//
// Nothing is sent before the next flush (qel_PerformIo). With podError set accesses are dropped; a
// null handle, and ports 0 to 15 without a controller block, are left alone.
#pragma once

#include "jsc_internal.h"

// Queues a read; with podError set nothing is queued and *pValue stays as it was. 0.
//   pValue  out: filled by the next successful flush; must stay valid until then
// -122 null pointer.
JTI_EXPORT int32_t PortReadNoCache(JSC_Inform* pJscInform, uint16_t port, uint16_t* pValue);

// The same, but ports 0 to 15 are answered from the cache at once. -116 for those without a
// controller block.
JTI_EXPORT int32_t PortRead(JSC_Inform* pJscInform, uint16_t port, uint16_t* pValue);

// Queues a write; with podError set nothing is queued. On an old pod with a slow clock a write of
// 0 to port 16 follows one to port 23.
JTI_EXPORT void PortWriteNoCache(JSC_Inform* pJscInform, uint16_t port, uint16_t value);

// The same through the cache: ports 0 to 15 are sent only when they change, port 10 always; a
// controller reset written to port 10 zeroes the cache. A podError of the host's own making keeps
// the write away but not the cache's update; a write that the batch itself lost leaves the cache.
JTI_EXPORT void PortWrite(JSC_Inform* pJscInform, uint16_t port, uint16_t value);

// Zeroes the cache of ports 0 to 15; 16 to 31 keep their values.
JTI_EXPORT void LoadZeroIntoCache(JSC_Inform* pJscInform);
