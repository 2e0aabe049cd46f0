// An operating system in memory for the driver: shared objects, semaphores and time of one process,
// through the table of src/sys/os.h. Nothing blocks, sleeps or reaches the machine's /dev/shm, and
// each object is exactly as large as it says, so that the sanitizer sees every step beside it.
#pragma once

#include "src/sys/os.h"

#include <cstddef>
#include <cstdint>
#include <functional>
#include <map>
#include <memory>
#include <string>

namespace talvor::fuzz {

// One at a time. Holds that memory, mappings, descriptors and semaphores come back; heap blocks of
// the driver are bounded as well.
class MemoryOs {
public:
    MemoryOs();
    MemoryOs(const MemoryOs&) = delete;
    MemoryOs& operator=(const MemoryOs&) = delete;
    ~MemoryOs();

    // Makes a shared object of so many bytes, all 0, and gives its memory.
    uint8_t* make_object(const std::string& name, size_t bytes);
    void make_semaphore(const std::string& name, unsigned value);

    // Is told each post, by the semaphore's name.
    std::function<void(const std::string&)> on_post;
    // Is told each allocation, which stands between two looks at what a proxy may change.
    std::function<void()> on_allocation;

    void post(const std::string& name);
    // Ends the process unless the driver has given everything back.
    void check_nothing_left() const;

private:
    // Memory that is 0 at first. Large pieces are kept for the next one: fresh pages cost more than
    // all the rest of a run.
    class Memory {
    public:
        explicit Memory(size_t bytes);
        ~Memory();
        Memory(const Memory&) = delete;
        Memory& operator=(const Memory&) = delete;
        uint8_t* get() const { return bytes_.get(); }

    private:
        std::unique_ptr<uint8_t[]> bytes_;
        size_t size_;
    };
    struct Object {
        std::unique_ptr<Memory> memory;
        size_t bytes = 0;
        uint64_t inode = 0;
        bool named = true;
    };
    struct Semaphore {
        Semaphore(std::string title, unsigned value);
        Semaphore(const Semaphore&) = delete;
        Semaphore& operator=(const Semaphore&) = delete;
        ~Semaphore();
        std::string name;
        sem_t semaphore{};
    };
    friend struct MemoryCalls;

    static uint8_t* memory_of(const Object& object);
    std::shared_ptr<Object> find(const std::string& name) const;

    OsCalls before_;
    std::map<std::string, std::shared_ptr<Object>> objects_;
    std::map<int, std::shared_ptr<Object>> descriptors_;
    std::map<void*, std::shared_ptr<Object>> mappings_;
    std::map<std::string, std::unique_ptr<Semaphore>> semaphores_;
    size_t open_semaphores_ = 0;
    size_t heap_blocks_ = 0;
    uint64_t inodes_ = 0;
    int64_t now_ms_ = 0;
    int next_descriptor_ = 1000; // none of the process's own
};

} // namespace talvor::fuzz
