#include "transport/share.h"

#include "sys/check.h"
#include "sys/object_name.h"
#include "sys/os.h"
#include "transport/share_mark.h"

#include <algorithm>
#include <atomic>
#include <cerrno>
#include <cstring>
#include <fcntl.h>
#include <sys/mman.h>

namespace {

// How often a name is looked up again: a file system that counts no links must not keep us.
constexpr int kAttempts = 100;

// An object between its opening and the end of the attach or the release.
struct OpenObject {
    int fd;          // negative: not open
    size_t size;     // what it must have
    bool gated;      // no other handle attaches or releases meanwhile
    bool fresh;      // nobody has sized it yet
    PodIdentity pod; // that the caller has open
};

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

// Whether the object has lost its name, so that the name, if there is one, is another object's.
bool is_nameless(const OpenObject& object) {
    struct stat status {};
    return object.gated && os_calls.fstat(object.fd, &status) == 0 && status.st_nlink == 0;
}

void close_object(const OpenObject& object) {
    if (object.gated) {
        share_let_go(object.fd);
    }
    os_calls.close(object.fd);
}

// Where a kernel protects files in a folder that everybody may write to, another user's object
// cannot be opened with O_CREAT, and can without.
int open_or_create(const char* name) {
    const int fd = os_calls.shm_open(name, O_CREAT | O_RDWR, SHM_OBJECT_MODE);
    return fd < 0 && errno == EACCES ? os_calls.shm_open(name, O_RDWR, SHM_OBJECT_MODE) : fd;
}

// Opens the object of the name, creating it when there is none, and enters its gate. The last user
// may remove it between the two: then the name is looked up again.
OpenObject open_object(const ShareInform* pShare, const PodIdentity& pod) {
    OpenObject object{
        .fd = -1, .size = object_size(pShare), .gated = false, .fresh = false, .pod = pod};
    for (int attempt = 1;; ++attempt) {
        object.fd = open_or_create(pShare->objectName);
        if (object.fd < 0) {
            return object;
        }
        object.gated = share_has_reserve(pShare->size) && share_enter_gate(object.fd);
        if (attempt == kAttempts || !is_nameless(object)) {
            return object;
        }
        close_object(object);
    }
}

// Gives an object that nobody has sized its size, and a mark where the locks are there for it. The
// users of one pod share it as they share the proxy's objects, whatever this process's file mask
// is; it need not be this user's object, so a mode that cannot be set is no error.
bool make_object(const OpenObject& object) {
    (void)os_calls.fchmod(object.fd, SHM_OBJECT_MODE);
    if (object.gated && share_hold(object.fd)) {
        return share_write_mark(object.fd, object.pod);
    }
    int result = 0;
    do {
        result = os_calls.ftruncate(object.fd, static_cast<off_t>(object.size));
    } while (result != 0 && errno == EINTR);
    return result == 0;
}

// Sees to it that the object has its size.
bool size_object(OpenObject* object) {
    struct stat status {};
    if (os_calls.fstat(object->fd, &status) != 0) {
        return false;
    }
    object->fresh = status.st_size == 0;
    return object->fresh ? make_object(*object)
                         : status.st_size >= static_cast<off_t>(object->size);
}

// Gets the memory for what the driver touches, which is not there before: a full /dev/shm is told
// here, and not by a signal at the first touch. What stands there stays.
bool allocate_touched(const OpenObject& object) {
    constexpr size_t kTouched = SHARE_HEADER_SIZE + sizeof(JSC_Control);
    const auto length = static_cast<off_t>(std::min(object.size, kTouched));
    int error = 0;
    do {
        error = os_calls.posix_fallocate(object.fd, 0, length);
    } while (error == EINTR);
    return error == 0;
}

void* map_object(OpenObject* object) {
    if (!size_object(object) || !allocate_touched(*object)) {
        return nullptr;
    }
    void* const memory =
        os_calls.mmap(nullptr, object->size, PROT_READ | PROT_WRITE, MAP_SHARED, object->fd, 0);
    return memory == MAP_FAILED ? nullptr : memory;
}

// ---- counting users ----

// Whoever is killed between two of these steps leaves a mark with more users than the count has,
// never fewer: fewer would mean that a host without marks is there. So the order of the stores
// counts, as it does for a signal handler.
void next_step() {
    std::atomic_signal_fence(std::memory_order_seq_cst);
}

// Makes the record of a block as if it were fresh, for another pod perhaps.
void clear_record(const OpenObject& object, void* memory) {
    std::memset(static_cast<uint8_t*>(memory) + SHARE_HEADER_SIZE, 0, sizeof(JSC_Control));
    share_mark(memory).pod = object.pod;
}

// Whether everybody that the marked block counts was killed.
bool is_left_behind(const OpenObject& object, void* memory) {
    return share_is_alone(object.fd) && !share_counts_others(memory, attach_count(memory));
}

void count_up(void* memory, bool marked) {
    if (marked) {
        ++share_mark(memory).users;
        next_step();
    }
    ++attach_count(memory);
}

void count_first(void* memory) {
    attach_count(memory) = 0;
    next_step();
    share_mark(memory).users = 1;
}

// Counts this handle in on a marked block that it holds. True when it is the creator anew.
bool count_in_marked(const OpenObject& object, void* memory) {
    if (is_left_behind(object, memory)) {
        clear_record(object, memory);
        count_first(memory);
        return true;
    }
    const bool other_pod = share_is_of_other_pod(memory, object.pod);
    if (other_pod) {
        clear_record(object, memory);
    } else if (share_mark(memory).pod.inode == 0) {
        share_mark(memory).pod = object.pod;
    }
    count_up(memory, true);
    return other_pod;
}

// Counts this handle in. True when it is the block's creator, or its creator anew.
bool count_in(const OpenObject& object, void* memory) {
    if (object.fresh) {
        attach_count(memory) = 0;
        return true;
    }
    if (object.gated && share_is_marked(memory) && share_hold(object.fd)) {
        return count_in_marked(object, memory);
    }
    count_up(memory, false);
    return false;
}

// Whether nobody is left when this handle goes: by the count, or because whoever it still counts
// was killed.
bool is_last(const OpenObject& object, bool marked, void* memory) {
    return attach_count(memory) == 0 || (marked && is_left_behind(object, memory));
}

// Counts this handle out. True when it is the last: then it stays counted, so that an object which
// this user may not remove is found like one that was left behind.
bool count_out(const OpenObject& object, void* memory) {
    const bool marked = object.gated && share_is_marked(memory);
    if (is_last(object, marked, memory)) {
        return true;
    }
    --attach_count(memory);
    next_step();
    if (marked && share_mark(memory).users != 0) {
        --share_mark(memory).users;
    }
    return false;
}

// ---- the two operations, from the name on ----

// Takes the name off a block that holds the state of a pod which is no longer there.
bool drop_other_pods_block(const ShareInform* pShare, const OpenObject& object, void* memory) {
    if (!object.gated || object.fresh || !share_is_marked(memory) ||
        !share_is_of_other_pod(memory, object.pod)) {
        return false;
    }
    return os_calls.shm_unlink(pShare->objectName) == 0;
}

int32_t give_up(const ShareInform* pShare, const OpenObject& object) {
    if (object.fresh) {
        os_calls.shm_unlink(pShare->objectName);
    }
    close_object(object);
    return eJTI_ERROR_SHARED_BLOCK;
}

// Plain increments, as hosts with other drivers make them: hosts serialise creation and release.
int32_t keep(ShareInform* pShare, const OpenObject& object, void* memory, bool* pCreated) {
    *pCreated = count_in(object, memory);
    if (object.gated) {
        share_leave_gate(object.fd);
    }
    pShare->pHandle = object.fd;
    pShare->pMemory = static_cast<uint8_t*>(memory) + SHARE_HEADER_SIZE;
    return eJTI_ERROR_NONE;
}

int32_t attach_named(ShareInform* pShare, const PodIdentity& pod, bool* pCreated) {
    for (int attempt = 1;; ++attempt) {
        OpenObject object = open_object(pShare, pod);
        RETURN_IF(object.fd < 0, eJTI_ERROR_SHARED_BLOCK);
        void* const memory = map_object(&object);
        RETURN_IF(memory == nullptr, give_up(pShare, object));
        if (attempt == kAttempts || !drop_other_pods_block(pShare, object, memory)) {
            return keep(pShare, object, memory, pCreated);
        }
        os_calls.munmap(memory, object.size);
        close_object(object);
    }
}

void release_object(const ShareInform* pShare) {
    const int fd = static_cast<int>(pShare->pHandle);
    const OpenObject object{.fd = fd,
                            .size = object_size(pShare),
                            .gated = share_has_reserve(pShare->size) && share_enter_gate(fd),
                            .fresh = false,
                            .pod = {}};
    void* const memory = object_start(pShare);
    const bool remove = count_out(object, memory);
    os_calls.munmap(memory, object.size);
    if (remove && !is_nameless(object)) {
        os_calls.shm_unlink(pShare->objectName);
    }
    // Only now the locks go: nobody attaches to an object that is about to lose its name.
    close_object(object);
}

} // namespace

int32_t share_attach(ShareNames* pNames, const PodIdentity& pod, ShareInform* pShare,
                     bool* pCreated) {
    RETURN_IF(pNames == nullptr || pShare == nullptr || pCreated == nullptr,
              eJTI_ERROR_BAD_ARGUMENT);
    pShare->pHandle = 0;
    pShare->pMemory = nullptr;
    RETURN_IF(pShare->size == 0, eJTI_ERROR_SHARED_BLOCK);
    RETURN_IF(sys_Str0GetObjectName(pShare->objectName, SHARE_NAME_LENGTH, "share", pNames->pName0,
                                    pNames->pName1, pNames->pName2, pNames->port) != 0,
              eJTI_ERROR_SHARED_BLOCK);
    return attach_named(pShare, pod, pCreated);
}

int32_t sys_ShareAlloc(ShareNames* pNames, ShareInform* pShare, bool* pCreated) {
    return share_attach(pNames, PodIdentity{}, pShare, pCreated);
}

int32_t sys_ShareFree(ShareInform* pShare) {
    RETURN_IF(pShare == nullptr, eJTI_ERROR_BAD_ARGUMENT);
    RETURN_IF(pShare->pMemory == nullptr, eJTI_ERROR_NONE);
    release_object(pShare);
    pShare->pHandle = 0;
    pShare->pMemory = nullptr;
    pShare->size = 0;
    return eJTI_ERROR_NONE;
}
