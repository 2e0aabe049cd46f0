// Operating-system calls that fail on demand. For test programs that link the driver's objects.
#pragma once

#include "sys/os.h"

#include <cerrno>
#include <cstdlib>
#include <limits>
#include <vector>

namespace test_support {

// Restores the table of operating-system calls. Between, a test replaces the entries it wants.
class RestoredOs {
public:
    RestoredOs() = default;
    RestoredOs(const RestoredOs&) = delete;
    RestoredOs& operator=(const RestoredOs&) = delete;
    ~RestoredOs() { os_calls = saved_; }

private:
    OsCalls saved_ = os_calls;
};

// For os_calls.fcntl: a kernel or a file system that knows no locks of open file descriptions.
inline int no_locks(int /*fd*/, int /*command*/, ...) {
    errno = ENOLCK;
    return -1;
}

// Lets the heap serve a number of requests (malloc and realloc together) and refuse all later ones.
// Records the blocks that are handed out and still taken, so that a test can tell what leaked.
class FailingHeap {
public:
    explicit FailingHeap(unsigned served = std::numeric_limits<unsigned>::max()) {
        left = served;
        taken.clear();
        os_calls.malloc = serve_malloc;
        os_calls.realloc = serve_realloc;
        os_calls.free = release;
    }

    // The blocks that were handed out since and are not free yet, oldest first.
    const std::vector<void*>& blocks() const { return taken; }

    // Requests that will still be served.
    void serve(unsigned requests) { left = requests; }

private:
    static inline unsigned left;
    static inline std::vector<void*> taken;

    static bool serve_one() { return left != 0 && left-- != 0; }

    static void* serve_malloc(size_t size) {
        void* block = serve_one() ? std::malloc(size) : nullptr;
        if (block != nullptr) {
            taken.push_back(block);
        }
        return block;
    }

    static void* serve_realloc(void* block, size_t size) {
        if (!serve_one()) {
            return nullptr;
        }
        std::erase(taken, block);
        void* moved = std::realloc(block, size);
        taken.push_back(moved == nullptr ? block : moved);
        return moved;
    }

    static void release(void* block) {
        std::erase(taken, block);
        std::free(block);
    }

    RestoredOs restored_;
};

} // namespace test_support
