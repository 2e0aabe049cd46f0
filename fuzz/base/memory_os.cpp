#include "fuzz/base/memory_os.h"

#include "fuzz/base/check.h"

#include <algorithm>
#include <cerrno>
#include <cstdarg>
#include <cstdlib>
#include <cstring>
#include <fcntl.h>
#include <sys/mman.h>

namespace talvor::fuzz {
namespace {

MemoryOs* active = nullptr;
constexpr size_t kMostHeapBytes = size_t{1} << 20; // no single block of the driver is larger

// One of each size.
std::map<size_t, std::unique_ptr<uint8_t[]>>& spare_memory() {
    static std::map<size_t, std::unique_ptr<uint8_t[]>> spare;
    return spare;
}

int fails(int error) {
    errno = error;
    return -1;
}

} // namespace

MemoryOs::Memory::Memory(size_t bytes) : size_(bytes) {
    std::unique_ptr<uint8_t[]>& spare = spare_memory()[bytes];
    if (spare != nullptr) {
        bytes_ = std::move(spare);
        std::memset(bytes_.get(), 0, bytes);
    } else {
        bytes_ = std::make_unique<uint8_t[]>(bytes);
    }
}

MemoryOs::Memory::~Memory() {
    spare_memory()[size_] = std::move(bytes_);
}

uint8_t* MemoryOs::memory_of(const Object& object) {
    return object.memory != nullptr ? object.memory->get() : nullptr;
}

MemoryOs::Semaphore::Semaphore(std::string title, unsigned value) : name(std::move(title)) {
    sem_init(&semaphore, 0, value);
}

MemoryOs::Semaphore::~Semaphore() {
    sem_destroy(&semaphore);
}

// The calls, with the signatures of the table.
struct MemoryCalls {
    static void* count_in(void* block) {
        active->heap_blocks_ += block != nullptr ? 1 : 0;
        return block;
    }
    static void* allocate(size_t bytes) {
        FUZZ_CHECK(bytes <= kMostHeapBytes, "a block of the heap is bounded");
        if (active->on_allocation) {
            active->on_allocation();
        }
        return count_in(std::malloc(bytes));
    }
    static void* reallocate(void* block, size_t bytes) {
        FUZZ_CHECK(bytes <= kMostHeapBytes, "a block of the heap is bounded");
        active->heap_blocks_ -= block != nullptr ? 1 : 0;
        return count_in(std::realloc(block, bytes));
    }
    static void release(void* block) {
        active->heap_blocks_ -= block != nullptr ? 1 : 0;
        std::free(block);
    }

    static std::shared_ptr<MemoryOs::Object>* at(int fd) {
        const auto found = active->descriptors_.find(fd);
        FUZZ_CHECK(found != active->descriptors_.end(), "a descriptor is an open one");
        return &found->second;
    }
    static int open(const char* name, int flags, mode_t /*mode*/) {
        std::shared_ptr<MemoryOs::Object> object = active->find(name);
        if (object == nullptr) {
            if ((flags & O_CREAT) == 0) {
                return fails(ENOENT);
            }
            active->make_object(name, 0);
            object = active->find(name);
        }
        active->descriptors_[++active->next_descriptor_] = object;
        return active->next_descriptor_;
    }
    static int unlink(const char* name) {
        const std::shared_ptr<MemoryOs::Object> object = active->find(name);
        if (object == nullptr) {
            return fails(ENOENT);
        }
        object->named = false;
        active->objects_.erase(name);
        return 0;
    }
    static void resize(MemoryOs::Object& object, size_t bytes) {
        FUZZ_CHECK(object.bytes == 0 || object.bytes == bytes, "an object is sized once");
        if (object.bytes == 0) {
            object.memory = std::make_unique<MemoryOs::Memory>(bytes);
            object.bytes = bytes;
        }
    }
    static int truncate(int fd, off_t length) {
        resize(**at(fd), static_cast<size_t>(length));
        return 0;
    }
    static int stat(int fd, struct stat* status) {
        const MemoryOs::Object& object = **at(fd);
        *status = {};
        status->st_size = static_cast<off_t>(object.bytes);
        status->st_ino = object.inode;
        status->st_dev = 1;
        status->st_nlink = object.named ? 1 : 0;
        return 0;
    }
    static void* map(void* /*address*/, size_t length, int /*protection*/, int /*flags*/, int fd,
                     off_t offset) {
        const std::shared_ptr<MemoryOs::Object>& object = *at(fd);
        FUZZ_CHECK(offset == 0 && length <= object->bytes, "nothing is mapped beyond its object");
        uint8_t* const memory = MemoryOs::memory_of(*object);
        FUZZ_CHECK(active->mappings_.emplace(memory, object).second, "an object is mapped once");
        return memory;
    }
    static int unmap(void* address, size_t /*length*/) {
        FUZZ_CHECK(active->mappings_.erase(address) == 1, "what is unmapped was mapped");
        return 0;
    }
    static int close(int fd) {
        (void)at(fd);
        active->descriptors_.erase(fd);
        return 0;
    }

    static sem_t* open_semaphore(const char* name, int flags, ...) {
        auto& semaphore = active->semaphores_[name];
        if (semaphore == nullptr) {
            if ((flags & O_CREAT) == 0) {
                active->semaphores_.erase(name);
                errno = ENOENT;
                return SEM_FAILED;
            }
            semaphore = std::make_unique<MemoryOs::Semaphore>(name, 0);
        }
        ++active->open_semaphores_;
        return &semaphore->semaphore;
    }
    static int close_semaphore(sem_t* /*semaphore*/) {
        FUZZ_CHECK(active->open_semaphores_ != 0, "a semaphore is closed once");
        --active->open_semaphores_;
        return 0;
    }
    static int wait(sem_t* semaphore) {
        FUZZ_CHECK(::sem_trywait(semaphore) == 0, "nobody waits without an end");
        return 0;
    }
    static int wait_until(sem_t* semaphore, const timespec* /*deadline*/) {
        FUZZ_CHECK(::sem_trywait(semaphore) == 0, "an exchange that was begun is answered");
        return 0;
    }
    static int post(sem_t* semaphore) {
        ::sem_post(semaphore);
        for (const auto& [name, one] : active->semaphores_) {
            if (&one->semaphore == semaphore && active->on_post) {
                active->on_post(name);
                break;
            }
        }
        return 0;
    }

    static int time(clockid_t /*clock*/, timespec* now) {
        active->now_ms_ += 50; // so that what waits for a time does not wait long
        *now = {.tv_sec = active->now_ms_ / 1000, .tv_nsec = active->now_ms_ % 1000 * 1'000'000};
        return 0;
    }
    static int sleep(useconds_t /*delay_us*/) { return 0; }

    // Locks: nobody else holds one.
    static int control(int fd, int command, ...) {
        (void)at(fd);
        if (command == F_OFD_GETLK) {
            va_list arguments;
            va_start(arguments, command);
            va_arg(arguments, struct flock*)->l_type = F_UNLCK;
            va_end(arguments);
        }
        return 0;
    }
    static ssize_t write(int fd, const void* bytes, size_t count, off_t offset) {
        MemoryOs::Object& object = **at(fd);
        resize(object, static_cast<size_t>(offset) + count);
        std::memcpy(MemoryOs::memory_of(object) + offset, bytes, count);
        return static_cast<ssize_t>(count);
    }
    static int reserve(int fd, off_t offset, off_t length) {
        FUZZ_CHECK(static_cast<size_t>(offset + length) <= (*at(fd))->bytes,
                   "nothing is reserved beyond an object");
        return 0;
    }
    static int change_mode(int fd, mode_t /*mode*/) {
        (void)at(fd);
        return 0;
    }
};

MemoryOs::MemoryOs() : before_(os_calls) {
    FUZZ_CHECK(active == nullptr, "there is one operating system");
    active = this;
    os_calls = {.malloc = MemoryCalls::allocate,
                .realloc = MemoryCalls::reallocate,
                .free = MemoryCalls::release,
                .shm_open = MemoryCalls::open,
                .shm_unlink = MemoryCalls::unlink,
                .ftruncate = MemoryCalls::truncate,
                .fstat = MemoryCalls::stat,
                .mmap = MemoryCalls::map,
                .munmap = MemoryCalls::unmap,
                .close = MemoryCalls::close,
                .sem_open = MemoryCalls::open_semaphore,
                .sem_close = MemoryCalls::close_semaphore,
                .sem_wait = MemoryCalls::wait,
                .sem_timedwait = MemoryCalls::wait_until,
                .sem_post = MemoryCalls::post,
                .sched_yield = [] { return 0; }, // nobody else runs
                .clock_gettime = MemoryCalls::time,
                .usleep = MemoryCalls::sleep,
                .fcntl = MemoryCalls::control,
                .pwrite = MemoryCalls::write,
                .posix_fallocate = MemoryCalls::reserve,
                .fchmod = MemoryCalls::change_mode};
}

MemoryOs::~MemoryOs() {
    os_calls = before_;
    active = nullptr;
}

std::shared_ptr<MemoryOs::Object> MemoryOs::find(const std::string& name) const {
    const auto found = objects_.find(name);
    return found == objects_.end() ? nullptr : found->second;
}

uint8_t* MemoryOs::make_object(const std::string& name, size_t bytes) {
    auto object = std::make_shared<Object>();
    object->inode = ++inodes_;
    object->bytes = bytes;
    object->memory = bytes != 0 ? std::make_unique<Memory>(bytes) : nullptr;
    uint8_t* const memory = memory_of(*object);
    objects_[name] = std::move(object);
    return memory;
}

void MemoryOs::make_semaphore(const std::string& name, unsigned value) {
    semaphores_[name] = std::make_unique<Semaphore>(name, value);
}

void MemoryOs::post(const std::string& name) {
    const auto found = semaphores_.find(name);
    FUZZ_CHECK(found != semaphores_.end(), "a semaphore is there: " + name);
    ::sem_post(&found->second->semaphore);
}

void MemoryOs::check_nothing_left() const {
    FUZZ_CHECK(mappings_.empty(), "what was mapped is unmapped");
    FUZZ_CHECK(descriptors_.empty(), "what was opened is closed");
    FUZZ_CHECK(open_semaphores_ == 0, "semaphores are closed");
    FUZZ_CHECK(heap_blocks_ == 0, std::to_string(heap_blocks_) + " blocks of the heap are left");
    FUZZ_CHECK(std::none_of(objects_.begin(), objects_.end(),
                            [](const auto& one) { return one.first.starts_with("JTI-"); }),
               "the last handle removes the controller block");
}

} // namespace talvor::fuzz
