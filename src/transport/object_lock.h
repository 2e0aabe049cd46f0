// Locks of the open file description on bytes of a shared object. The kernel lets them go when the
// last descriptor of the description is closed, however the process dies. They need not lie inside
// the object, and nothing that stands there is looked at.
#pragma once

#include <sys/types.h>

// Bytes of an object.
struct ObjectBytes {
    int fd;
    off_t first;
    off_t count;
};

enum class ObjectLock { Shared, Exclusive };

// Takes the lock if nobody else's stands in its way. False when one does (errno EAGAIN or EACCES),
// or when the kernel or the file system knows no such locks.
[[nodiscard]] bool object_try_lock(const ObjectBytes& bytes, ObjectLock kind);

// Takes the lock exclusively, and waits for it. False where there are no such locks.
[[nodiscard]] bool object_wait_lock(const ObjectBytes& bytes);

// Lets it go. A close alone would not, where a child of fork still has the descriptor.
void object_unlock(const ObjectBytes& bytes);

// Whether no other open file description has a lock there; false also when that cannot be told.
[[nodiscard]] bool object_is_free(const ObjectBytes& bytes);
