// Controller blocks, and processes that are killed while they use them.
#pragma once

#include "transport/share.h"
#include "transport/share_mark.h"

#include <gtest/gtest.h>

#include <array>
#include <csignal>
#include <fcntl.h>
#include <functional>
#include <sys/mman.h>
#include <sys/wait.h>
#include <unistd.h>

namespace transport_test {

inline char driver[] = "driver";

// A controller block as a handle attaches it. What goes with a pod knows that pod.
struct Block {
    explicit Block(uint32_t port = 7) : names{"control", "libjsctalvor.so", driver, port} {}
    int32_t attach() {
        share.size = SHARE_CONTROL_SIZE; // a release clears it
        return sys_ShareAlloc(&names, &share, &created);
    }
    int32_t attach_for(const PodIdentity& pod) {
        share.size = SHARE_CONTROL_SIZE;
        return share_attach(&names, pod, &share, &created);
    }
    int32_t release() { return sys_ShareFree(&share); }
    JSC_Control& control() const { return *static_cast<JSC_Control*>(share.pMemory); }
    uint8_t* object() const { return static_cast<uint8_t*>(share.pMemory) - SHARE_HEADER_SIZE; }
    uint32_t& count() const { return *reinterpret_cast<uint32_t*>(object()); }
    ShareMark& mark() const { return share_mark(object()); }

    ShareNames names;
    ShareInform share{};
    bool created = false;
};

// A process that does its work, says so, and then stays until it is killed.
class Victim {
public:
    explicit Victim(const std::function<bool()>& work) {
        std::array<int, 2> ready{};
        EXPECT_EQ(pipe(ready.data()), 0);
        pid_ = fork();
        if (pid_ == 0) {
            const char answer = work() ? 'y' : 'n';
            (void)!write(ready[1], &answer, 1);
            for (;;) {
                pause();
            }
        }
        close(ready[1]);
        char answer = 0;
        EXPECT_EQ(read(ready[0], &answer, 1), 1);
        EXPECT_EQ(answer, 'y');
        close(ready[0]);
    }
    Victim(const Victim&) = delete;
    Victim& operator=(const Victim&) = delete;
    ~Victim() { die(); }

    void die() {
        if (pid_ > 0) {
            kill(pid_, SIGKILL);
            EXPECT_EQ(waitpid(pid_, nullptr, 0), pid_);
            pid_ = -1;
        }
    }
    pid_t pid() const { return pid_; }

private:
    pid_t pid_ = -1;
};

// Whether an object of the block's name is there.
inline bool name_stands(const Block& block) {
    const int fd = shm_open(block.share.objectName, O_RDONLY, 0);
    if (fd >= 0) {
        close(fd);
    }
    return fd >= 0;
}

} // namespace transport_test
