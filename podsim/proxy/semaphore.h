// A named semaphore that this process made, or took over, and removes again.
#pragma once

#include "common/result.h"

#include <chrono>
#include <semaphore.h>
#include <string>

namespace talvor::podsim::proxy {

class Semaphore {
public:
    // Makes the semaphore `name` with `value` posts in it, mode 0666 whatever the umask. A
    // semaphore of that name is a failure.
    [[nodiscard]] static Result<Semaphore> create(const std::string& name, unsigned value);

    // Opens the semaphore `name`, or makes it, and takes all posts out of it: a host may have made
    // it first.
    [[nodiscard]] static Result<Semaphore> adopt(const std::string& name);

    Semaphore(Semaphore&& other) noexcept;
    Semaphore& operator=(Semaphore&&) = delete;
    ~Semaphore();

    void post() { sem_post(semaphore_); }
    // Takes a post if there is one.
    bool try_take() { return sem_trywait(semaphore_) == 0; }
    // Waits for a post.
    void take();
    // Waits for a post for a limited time; false when none came.
    bool take_within(std::chrono::microseconds limit);
    // Removes the name now; the semaphore stays while this object lives.
    void remove_name();
    // Posts that nobody has taken.
    int posts() const;

private:
    Semaphore(std::string name, sem_t* semaphore) : name_(std::move(name)), semaphore_(semaphore) {}

    std::string name_;
    sem_t* semaphore_;
};

} // namespace talvor::podsim::proxy
