// Scan-controller variables, keys of the VEXIL namespace.
#pragma once

#include "config/key_reader.h"
#include "read_variable.h"

// A record on the heap, contents undefined; the caller owns it. True when ppTbcVariable is null or
// the heap is exhausted (*ppTbcVariable is then null), else false.
JTI_EXPORT bool READ_TbcCreate(TBC_Variable** ppTbcVariable);

// Frees the record; *ppTbcVariable is null before that happens. True when ppTbcVariable or
// *ppTbcVariable is null, else false.
JTI_EXPORT bool READ_TbcDelete(TBC_Variable** ppTbcVariable);

// Writes the default of every field. Does nothing for null.
JTI_EXPORT void READ_TbcInitial(TBC_Variable* pTbcVariable);

// Reads the scan-controller variables from the host's configuration, in the order of tbc_keys().
//   cfgHandle      in: the host's handle, passed back to it unchanged
//   pCfgInterface  in: the host's operations
//   pTbcVariable   in, out: a record that READ_TbcInitial wrote. Without a global context only
//                  `found` is written, as false, and the result is 0. The first error ends the
//                  reading: fields of earlier keys keep what was read, those of later keys are
//                  not touched
// -122 null argument, or the global context is the invalid one. -220 to -228
// and -448 as the rows say.
// Any other code is the host's own, unchanged.
JTI_EXPORT int32_t READ_TbcVariable(CFG_Handle cfgHandle, CFG_Interface* pCfgInterface,
                                    TBC_Variable* pTbcVariable);

// The keys, in their order. For the reader, and for the test of the reference page.
std::span<const KeyRow> tbc_keys();
