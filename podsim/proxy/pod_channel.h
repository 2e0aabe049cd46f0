// One pod's side of the channel: its block and the two semaphores, and one exchange over them.
#pragma once

#include "podsim/proxy/backend.h"
#include "podsim/proxy/semaphore.h"
#include "podsim/proxy/shared_memory.h"
#include "podsim/proxy/spin.h"
#include "shm_structs.h"

#include <atomic>
#include <cstdint>
#include <memory>
#include <mutex>
#include <vector>

namespace talvor::podsim::proxy {

// The objects of one pod. Exchanges are served by one thread; stop() may be called from another.
class PodChannel {
public:
    // Makes the block, with an empty batch and the revision in it; a stale block of that name is
    // removed. Makes or opens the semaphores, with value 0. Only with the ownership taken.
    [[nodiscard]] static Result<PodChannel> create(uint32_t serial, uint16_t revision);

    // Waits for a host's post of the start semaphore: looks for it as `spin` has it, then sleeps.
    // False when stop() was called. A completion that a dead host left untaken is
    // taken back meanwhile, so that the next host does not mistake it for its own.
    bool await_start(Spin& spin, Backend& backend);

    // Executes the command in the block, answers and posts the complete semaphore. An exchange
    // whose host has been replaced by another while it ran is not answered.
    void serve(Backend& backend);

    // Wakes await_start for good.
    void stop();
    // After await_start has said that it is stopped: a host that has posted start meanwhile gets a
    // failure.
    void refuse_last();
    // For a worker that does not come back: fails the exchange in the host's eyes and removes the
    // names of the objects, which live on.
    void abandon();

private:
    PodChannel(SharedMemory memory, Semaphore start, Semaphore complete)
        : memory_(std::move(memory)), start_(std::move(start)), complete_(std::move(complete)) {}

    lcl_shm& block() const { return *static_cast<lcl_shm*>(memory_.data()); }
    void sleep_for_start(Backend& backend);
    void take_back_completion(Backend& backend);
    void fail_exchange();
    int32_t run_command(Backend& backend);
    // As run_command; a command that there is no memory for fails.
    int32_t answer(Backend& backend) noexcept;

    SharedMemory memory_;
    Semaphore start_;
    Semaphore complete_;
    std::vector<uint16_t> words_; // the batch under execution
    struct Stop {
        std::mutex mutex; // held by stop() until its own post of the start semaphore is made
        std::atomic<bool> asked{false};
    };
    std::unique_ptr<Stop> stop_ = std::make_unique<Stop>();
};

} // namespace talvor::podsim::proxy
