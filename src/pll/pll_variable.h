// Test-clock variables, keys VEXIL.TCLK_...
#pragma once

#include "config/key_reader.h"
#include "read_variable.h"

// A record on the heap, contents undefined; the caller owns it. 1 when ppPllVariable is null or
// the heap is exhausted (*ppPllVariable is then null), else 0.
JTI_EXPORT int READ_PllCreate(PLL_Variable** ppPllVariable);

// Frees the record; *ppPllVariable is null before that happens. 1 when ppPllVariable or
// *ppPllVariable is null, else 0.
JTI_EXPORT int READ_PllDelete(PLL_Variable** ppPllVariable);

// Writes the default of every field. Does nothing for null.
JTI_EXPORT void READ_PllInitial(PLL_Variable* pPllVariable);

// Reads the test-clock variables from the host's configuration, in the order of pll_keys().
//   cfgHandle      in: the host's handle, passed back to it unchanged
//   pCfgInterface  in: the host's operations
//   pPllVariable   in, out: a record that READ_PllInitial wrote. Without a global context only
//                  `found` is written, as false, and the result is 0. The first error ends the
//                  reading: fields of earlier keys keep what was read, those of later keys are
//                  not touched
// -122 null argument, or the global context is the invalid one. -272 to -274, -300
// to -309 and -448 as the rows say; the field of the key then keeps its value.
// Any other code is the host's own, unchanged.
JTI_EXPORT int READ_PllVariable(void* cfgHandle, CFG_Interface* pCfgInterface,
                                PLL_Variable* pPllVariable);

// The keys, in their order. For the reader, and for the test of the reference page.
std::span<const KeyRow> pll_keys();
