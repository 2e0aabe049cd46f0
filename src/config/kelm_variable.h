// Pod variables: remote host, cable, log file. Keys of the KELM namespace.
#pragma once

#include "config/key_reader.h"
#include "read_variable.h"

// A record on the heap, contents undefined; the caller owns it. True when ppKelmVariable is null or
// the heap is exhausted (*ppKelmVariable is then null), else false.
JTI_EXPORT bool READ_KelmCreate(KELM_Variable** ppKelmVariable);

// Frees the record; *ppKelmVariable is null before that happens. True when ppKelmVariable or
// *ppKelmVariable is null, else false.
JTI_EXPORT bool READ_KelmDelete(KELM_Variable** ppKelmVariable);

// Writes the default of every field. Does nothing for null.
JTI_EXPORT void READ_KelmInitial(KELM_Variable* pKelmVariable);

// Reads the pod variables from the host's configuration, in the order of kelm_keys().
//   cfgHandle      in: the host's handle, passed back to it unchanged
//   pCfgInterface  in: the host's operations
//   pKelmVariable   in, out: a record that READ_KelmInitial wrote. Without a global context only
//                  `found` is written, as false, and the result is 0. The first error ends the
//                  reading: fields of earlier keys keep what was read, those of later keys are
//                  not touched
// -122 null argument, or the global context is the invalid one.
// Any other code is the host's own, unchanged.
JTI_EXPORT int32_t READ_KelmVariable(CFG_Handle cfgHandle, CFG_Interface* pCfgInterface,
                                     KELM_Variable* pKelmVariable);

// The keys, in their order. For the reader, and for the test of the reference page.
std::span<const KeyRow> kelm_keys();
