// A mutex that can be waited for with a limit.
#pragma once

#include <chrono>
#include <condition_variable>
#include <mutex>

namespace talvor::podsim {

// As std::timed_mutex, made of what every tool that looks for data races understands: not all know
// the call that the C++ library's own waits with.
class PatientMutex {
public:
    void lock() {
        std::unique_lock guard(guard_);
        freed_.wait(guard, [this] { return !held_; });
        held_ = true;
    }

    bool try_lock_for(std::chrono::milliseconds patience) {
        std::unique_lock guard(guard_);
        if (!freed_.wait_for(guard, patience, [this] { return !held_; })) {
            return false;
        }
        held_ = true;
        return true;
    }

    void unlock() {
        const std::scoped_lock guard(guard_);
        held_ = false;
        freed_.notify_one();
    }

private:
    std::mutex guard_;
    std::condition_variable freed_;
    bool held_ = false;
};

} // namespace talvor::podsim
