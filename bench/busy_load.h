// Other work for the processors: endless loops in processes of their own.
#pragma once

#include <csignal>
#include <cstdio>
#include <cstdlib>
#include <sys/prctl.h>
#include <sys/resource.h>
#include <sys/wait.h>
#include <unistd.h>
#include <vector>

namespace talvor::bench {

// Runs while it lives. Its processes end with the thread that made it, and in any case after
// kLongestSeconds.
class BusyLoad {
public:
    static constexpr unsigned kLongestSeconds = 30;

    BusyLoad(int loops, int nice_value) {
        const pid_t parent = getpid();
        for (int i = 0; i < loops; ++i) {
            const pid_t child = fork();
            if (child == 0) {
                run(parent, nice_value);
            }
            if (child < 0) {
                std::perror("fork");
                std::exit(1);
            }
            children_.push_back(child);
        }
    }
    BusyLoad(const BusyLoad&) = delete;
    BusyLoad& operator=(const BusyLoad&) = delete;
    ~BusyLoad() {
        for (const pid_t child : children_) {
            kill(child, SIGKILL);
            waitpid(child, nullptr, 0);
        }
    }

private:
    [[noreturn]] static void run(pid_t parent, int nice_value) {
        prctl(PR_SET_PDEATHSIG, SIGKILL);
        if (getppid() != parent || setpriority(PRIO_PROCESS, 0, nice_value) != 0) {
            _exit(1);
        }
        alarm(kLongestSeconds);
        for (;;) {
            asm volatile("");
        }
    }

    std::vector<pid_t> children_;
};

} // namespace talvor::bench
