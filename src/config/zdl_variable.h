// Emulator variables: the driver programs through which the emulator is reached.
#pragma once

#include "config/key_reader.h"
#include "read_variable.h"

// A record on the heap, contents undefined; the caller owns it. True when ppZdlVariable is null or
// the heap is exhausted (*ppZdlVariable is then null), else false.
JTI_EXPORT bool READ_ZdlCreate(ZDL_Variable** ppZdlVariable);

// Frees the record; *ppZdlVariable is null before that happens. True when ppZdlVariable or
// *ppZdlVariable is null, else false.
JTI_EXPORT bool READ_ZdlDelete(ZDL_Variable** ppZdlVariable);

// Writes the default of every field. Does nothing for null.
JTI_EXPORT void READ_ZdlInitial(ZDL_Variable* pZdlVariable);

// Reads the emulator variables from the host's configuration, in the order of zdl_keys().
//   cfgHandle      in: the host's handle, passed back to it unchanged
//   pCfgInterface  in: the host's operations
//   pZdlVariable   in, out: a record that READ_ZdlInitial wrote. Without a global context only
//                  `found` is written, as false, and the result is 0. The first error ends the
//                  reading: fields of earlier keys keep what was read, those of later keys are
//                  not touched
// -122 null argument, or the global context is the invalid one. -445 a driver path
// of 257 characters or more, or a serial name longer than 256. On failure only `found` is written.
// Any other code is the host's own, unchanged.
JTI_EXPORT int32_t READ_ZdlVariable(CFG_Handle cfgHandle, CFG_Interface* pCfgInterface,
                                    ZDL_Variable* pZdlVariable);

// The keys, in their order. For the reader, and for the test of the reference page.
std::span<const KeyRow> zdl_keys();

// Chooses the driver: the ECOM one when its key is there, else the pod's, else none (nothing
// changes then). Sets driverType and the two pointers, which point into *p: so p is the record that
// stays, and is not copied afterwards. 0; -122 for null.
JTI_EXPORT int32_t Make_ZdlPseudo(ZDL_Variable* p);
