#include "transport/share.h"

#include "sys/check.h"
#include "sys/object_name.h"
#include "sys/os.h"

#include <fcntl.h>
#include <sys/mman.h>

namespace {

// A mapped object: the attach count, then the caller's memory.
uint8_t* object_start(const ShareInform* pShare) {
    return static_cast<uint8_t*>(pShare->pMemory) - SHARE_HEADER_SIZE;
}

uint32_t& attach_count(void* object) {
    return *static_cast<uint32_t*>(object);
}

size_t object_size(const ShareInform* pShare) {
    return size_t{pShare->size} + SHARE_HEADER_SIZE;
}

// Sees to it that the object has its size, extending one that nobody has sized yet.
bool size_object(int fd, size_t size, bool* pCreated) {
    struct stat status {};
    if (os_calls.fstat(fd, &status) != 0) {
        return false;
    }
    if (status.st_size != 0) {
        *pCreated = false;
        return status.st_size >= static_cast<off_t>(size);
    }
    *pCreated = true;
    return os_calls.ftruncate(fd, static_cast<off_t>(size)) == 0;
}

void* map_object(int fd, size_t size, bool* pCreated) {
    bool created = false;
    if (!size_object(fd, size, &created)) {
        return nullptr;
    }
    void* const object = os_calls.mmap(nullptr, size, PROT_READ | PROT_WRITE, MAP_SHARED, fd, 0);
    if (object == MAP_FAILED) {
        return nullptr;
    }
    *pCreated = created;
    return object;
}

} // namespace

int32_t sys_ShareAlloc(ShareNames* pNames, ShareInform* pShare, bool* pCreated) {
    RETURN_IF(pNames == nullptr || pShare == nullptr || pCreated == nullptr,
              eJTI_ERROR_BAD_ARGUMENT);
    pShare->pHandle = 0;
    pShare->pMemory = nullptr;
    RETURN_IF(pShare->size == 0, eJTI_ERROR_SHARED_BLOCK);
    RETURN_IF(sys_Str0GetObjectName(pShare->objectName, SHARE_NAME_LENGTH, "share", pNames->pName0,
                                    pNames->pName1, pNames->pName2, pNames->port) != 0,
              eJTI_ERROR_SHARED_BLOCK);
    const int fd = os_calls.shm_open(pShare->objectName, O_CREAT | O_RDWR, SHM_OBJECT_MODE);
    RETURN_IF(fd < 0, eJTI_ERROR_SHARED_BLOCK);
    void* const object = map_object(fd, object_size(pShare), pCreated);
    if (object == nullptr) {
        os_calls.close(fd);
        return eJTI_ERROR_SHARED_BLOCK;
    }
    // Plain increments, here and in the release: hosts serialise creation and release.
    attach_count(object) = *pCreated ? 0 : attach_count(object) + 1;
    pShare->pHandle = fd;
    pShare->pMemory = static_cast<uint8_t*>(object) + SHARE_HEADER_SIZE;
    return eJTI_ERROR_NONE;
}

int32_t sys_ShareFree(ShareInform* pShare) {
    RETURN_IF(pShare == nullptr, eJTI_ERROR_BAD_ARGUMENT);
    RETURN_IF(pShare->pMemory == nullptr, eJTI_ERROR_NONE);
    void* const object = object_start(pShare);
    const bool last = attach_count(object) == 0;
    if (!last) {
        --attach_count(object);
    }
    os_calls.munmap(object, object_size(pShare));
    os_calls.close(static_cast<int>(pShare->pHandle));
    if (last) {
        os_calls.shm_unlink(pShare->objectName);
    }
    pShare->pHandle = 0;
    pShare->pMemory = nullptr;
    pShare->size = 0;
    return eJTI_ERROR_NONE;
}
