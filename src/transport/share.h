// Named shared-memory blocks that several handles, in one process or many, map together.
#pragma once

#include "jsc_internal.h"

// Maps a named block, creating it when nobody has.
//   pNames    in:  parts that the object's name is hashed from
//   pShare    in:  size in bytes; out: memory, descriptor, object name
//   pCreated  out: this call created the block; its memory is then zero
// -122 null pointer. -164 a size of 0, or the object could not be named, opened, sized or mapped,
// or stands there smaller than it must be (it is then left as it was); pMemory is null then.
JTI_EXPORT int32_t sys_ShareAlloc(ShareNames* pNames, ShareInform* pShare, bool* pCreated);

// Unmaps a block; the last user removes the object. A block that is not mapped is no error.
// -122 null pointer.
JTI_EXPORT int32_t sys_ShareFree(ShareInform* pShare);
