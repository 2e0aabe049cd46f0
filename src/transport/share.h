// Named shared-memory blocks that several handles, in one process or many, map together.
#pragma once

#include "jsc_internal.h"

// Maps a named block, creating it when nobody has, with permission bits 0666 whatever the process's
// file mask is: the users of a pod share it. A controller block whose users were all killed
// is made as if it were fresh, and this call is its creator (transport/share_mark.h); one without
// the mark of this driver is taken as it stands. Waits while another handle of this driver attaches
// to the same controller block or releases it.
//   pNames    in:  parts that the object's name is hashed from
//   pShare    in:  size in bytes; out: memory, descriptor, object name
//   pCreated  out: this call created the block; its memory is then zero, but for the reserve of a
//                  controller block, which is the driver's
// -122 null pointer. -164 a size of 0, or the object could not be named, opened, sized or mapped,
// or has no memory because the file system is full, or stands there smaller than it must be (it is
// then left as it was). pMemory is null then, and an object that this call made is removed.
JTI_EXPORT int32_t sys_ShareAlloc(ShareNames* pNames, ShareInform* pShare, bool* pCreated);

// The same, for the state of a pod.
//   pod  in: that the caller has open; inode 0 when it has none
// A controller block that is in use for another pod, because a fresh proxy stands where the one was
// that its users know, does not fit: the register cache would keep back writes that the new pod has
// never seen, and the use counts would have this handle's connect find the hardware set up. Its
// users are mapped to the old proxy's blocks and reach no pod any more, so nothing is taken from
// them: the block loses its name and stays theirs, and this call creates a new one, whose first
// connect sets the hardware up. Where the name cannot be taken away, because the block is another
// user's, its record is cleared in place instead and *pCreated is true; the use counts then begin
// anew, and the old users' Disconnect and quit may answer -116. Blocks without the mark are taken
// as they stand.
int32_t share_attach(ShareNames* pNames, const PodIdentity& pod, ShareInform* pShare,
                     bool* pCreated);

// Unmaps a block; the last user removes the object: the last by the attach count, and, of a
// controller block that carries this driver's mark, the last that lives. An object that has lost
// its name is not looked for by it. A block that is not mapped is no error.
// -122 null pointer.
JTI_EXPORT int32_t sys_ShareFree(ShareInform* pShare);
