// The life of a handle: create, initialise, quit, delete.
#pragma once

#include "jsc_internal.h"

// Makes a handle: zeroed, with the defaults of every configuration group.
//   ppHandle  out: the handle, the caller's until jsc_DeleteHandle; null on failure
// -122 null pointer. -131 no memory.
JTI_EXPORT int32_t jsc_CreateHandle(JSC_Inform** ppHandle);

// Initialises a handle: reads the configuration, makes the reset log when asked, opens the pod,
// attaches the controller block. Nothing is sent to the controller. What an earlier initialisation
// of the handle left (reset log, channel) is freed first.
//   clientRecipe   in: JSC_RECIPE_... bits
//   jtiClientType  in: 1 to 20
//   pCfgInterface  in: the host's configuration table; must live as long as the handle
//   cfgHandle      in: what goes with it; not null
// -122 null handle, client kind out of range, null configuration: nothing is touched. -116 the
// handle is initialised or connected already (the four arguments are stored all the same), or the
// use counters are inconsistent. -131, -132 scratch records. -141 the pod could not be opened.
// -164 the controller block could not be named or attached. Else the code of a reader or of the
// log. A failed handle counts as initialised and keeps what was made so far.
JTI_EXPORT int32_t jsc_InitHandle(JSC_Inform* pHandle, uint32_t clientRecipe,
                                  JTI_Client jtiClientType, CFG_Interface* pCfgInterface,
                                  void* cfgHandle);

// Closes the pod and releases the controller block. -122 null handle. -116 not initialised, still
// connected (the handle stays as it is), without controller block, or counters inconsistent (it
// then no longer counts as initialised).
JTI_EXPORT int32_t jsc_QuitHandle(JSC_Inform* pHandle);

// Frees a handle with its reset log and its read nodes; a pod that is still open is not closed.
//   ppHandle  in: the handle, or null; out: null
// -122 null pointer. Else the log's code; the record is then not freed.
JTI_EXPORT int32_t jsc_DeleteHandle(JSC_Inform** ppHandle);
