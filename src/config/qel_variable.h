// The pod's clocking, timing and pins, keys KELM.POD_... The pod's version decides which are read.
#pragma once

#include "config/key_reader.h"
#include "read_variable.h"

// A record on the heap, contents undefined; the caller owns it. True when ppQelVariable is null or
// the heap is exhausted (*ppQelVariable is then null), else false.
JTI_EXPORT bool READ_QelCreate(QEL_Variable** ppQelVariable);

// Frees the record; *ppQelVariable is null before that happens. True when ppQelVariable or
// *ppQelVariable is null, else false.
JTI_EXPORT bool READ_QelDelete(QEL_Variable** ppQelVariable);

// Writes the default of every field. Does nothing for null.
JTI_EXPORT void READ_QelInitial(QEL_Variable* pQelVariable);

// Reads the pod's clocking, timing and pins from the host's configuration, in the order of
// qel_keys().
//   cfgHandle      in: the host's handle, passed back to it unchanged
//   pCfgInterface  in: the host's operations
//   pQelVariable   in, out: a record that READ_QelInitial wrote. Without a global context only
//                  `found` is written, as false, and the result is 0. The first error ends the
//                  reading: fields of earlier keys keep what was read, those of later keys are
//                  not touched
// -122 null argument, or the global context is the invalid one. -339 a value out of
// its range; the field then holds it.
// Any other code is the host's own, unchanged.
JTI_EXPORT int32_t READ_QelVariable(CFG_Handle cfgHandle, CFG_Interface* pCfgInterface,
                                    QEL_Variable* pQelVariable);

// The keys, in their order. For the reader, and for the test of the reference page.
std::span<const KeyRow> qel_keys();
