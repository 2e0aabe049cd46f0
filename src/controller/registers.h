// Blocks of controller registers: read, write, poll.
//
// A null handle or buffer answers -122, a handle without a controller block -116.
#pragma once

#include "jsc_internal.h"

// 0 when the controller has register `first`: 0 to 23, and 24 to 31 on all kinds but the basic one.
// Else -170.
JTI_EXPORT int32_t CheckCtlrRegister(JSC_Inform* pJscInform, uint32_t first);

// Reads `count` words and flushes.
//   incAddress  in:  advance the register with each word; only `first` is checked
//   incPointer  in:  advance the destination with each word
//   first       in:  register; 0 to 15 are answered from the cache
//   count       in:  words; 0 just flushes
//   pData       out: count words, or one without incPointer
// -170, or the flush's code; the words that a failed flush owed are delivered by the next one.
JTI_EXPORT int32_t RegisterRead(JSC_Inform* pJscInform, bool incAddress, bool incPointer,
                                uint32_t first, uint32_t count, uint16_t* pData);

// Queues writes of `count` words; nothing is flushed.
//   incAddress, incPointer, first, count  in: as for RegisterRead
//   pData                                 in: count words, or one without incPointer
// -170, or the code of a flush that had to make room and failed.
JTI_EXPORT int32_t RegisterWrite(JSC_Inform* pJscInform, bool incAddress, bool incPointer,
                                 uint32_t first, uint32_t count, const uint16_t* pData);

// Queues a wait; `timeout` is not used. Type 2 needs none. -122 for every type but 2, 3, 4, 7, 8
// and 12; or the code of a flush that had to make room and failed.
JTI_EXPORT int32_t RegisterPoll(JSC_Inform* pJscInform, JSC_StatusType status, uint32_t timeout);
