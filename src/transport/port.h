// Access to the controller's registers, by port, through the batch and the register cache.
#pragma once

#include "jsc_internal.h"

// Queues a read. Always 0; with podError set nothing is queued and *pValue stays as it was.
//   pValue  out: filled by the next successful flush; must stay valid until then
JTI_EXPORT int32_t PortReadNoCache(JSC_Inform* pJscInform, uint16_t port, uint16_t* pValue);

// The same, but ports 0 to 15 are answered from the cache at once.
JTI_EXPORT int32_t PortRead(JSC_Inform* pJscInform, uint16_t port, uint16_t* pValue);

// Queues a write; with podError set nothing is queued.
JTI_EXPORT void PortWriteNoCache(JSC_Inform* pJscInform, uint16_t port, uint16_t value);

// The same through the cache: ports 0 to 15 are sent only when they change, port 10 always; a
// controller reset written to port 10 zeroes the cache.
JTI_EXPORT void PortWrite(JSC_Inform* pJscInform, uint16_t port, uint16_t value);

// Zeroes the cache of ports 0 to 15; 16 to 31 keep their values.
JTI_EXPORT void LoadZeroIntoCache(JSC_Inform* pJscInform);
