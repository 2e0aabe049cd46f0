#include "podsim/proxy/pod_channel.h"

#include "common/system_calls.h"
#include "podsim/proxy/names.h"

#include <algorithm>
#include <new>
#include <span>

namespace talvor::podsim::proxy {
namespace {

using std::chrono::microseconds;

// How long a completion may stay untaken before we ask whether its host still lives, and the
// longest pause between two such questions.
constexpr microseconds kFirstDoubt{2'000};
constexpr microseconds kLongestDoubt{1'000'000};

// A note that there is no memory for is lost, and nothing else.
void tell(Backend& backend, std::string_view text) noexcept {
    try {
        backend.note(text);
    } catch (const std::bad_alloc&) {
    }
}

} // namespace

Result<PodChannel> PodChannel::create(uint32_t serial, uint16_t revision) {
    system_calls.shm_unlink(block_name(serial).c_str());
    SharedMemory memory = TRY(SharedMemory::create(block_name(serial), sizeof(lcl_shm)));
    Semaphore start = TRY(Semaphore::adopt(start_name(serial)));
    Semaphore complete = TRY(Semaphore::adopt(complete_name(serial)));
    PodChannel channel(std::move(memory), std::move(start), std::move(complete));
    batch::empty(channel.block());
    channel.block().devRev = revision;
    return channel;
}

void PodChannel::sleep_for_start(Backend& backend) {
    for (microseconds doubt = kFirstDoubt; complete_.posts() > 0;
         doubt = std::min(doubt * 2, kLongestDoubt)) {
        if (start_.take_within(doubt)) {
            return;
        }
        if (!memory_.used_by_others()) {
            take_back_completion(backend);
        }
    }
    start_.take();
}

void PodChannel::take_back_completion(Backend& backend) {
    while (complete_.try_take()) {
        tell(backend, "a host went away without taking its answer");
    }
}

bool PodChannel::await_start(Spin& spin, Backend& backend) {
    if (!spin.take(start_)) {
        const auto begin = std::chrono::steady_clock::now();
        sleep_for_start(backend);
        spin.slept(std::chrono::steady_clock::now() - begin);
    }
    return !stop_->asked;
}

int32_t PodChannel::run_command(Backend& backend) {
    lcl_shm& shared = block();
    switch (__atomic_load_n(&shared.cmd, __ATOMIC_RELAXED)) {
    case SHM_CMD_ATTACH:
        batch::empty(shared);
        backend.attach();
        return 0;
    case SHM_CMD_DETACH:
        backend.detach();
        return 0;
    case SHM_CMD_SUPPORT_WRITE: {
        const uint32_t data = __atomic_load_n(&shared.data, __ATOMIC_RELAXED);
        return backend.write_support(static_cast<uint16_t>(data)) ? 0 : batch::kFailedStatus;
    }
    case SHM_CMD_EXECUTE: {
        const auto outcome =
            backend.execute(batch::take(shared, words_), std::span(shared.tbcIMblock));
        batch::empty(shared);
        return batch::status_of(outcome);
    }
    default:
        tell(backend, "an unknown command");
        return batch::kFailedStatus;
    }
}

int32_t PodChannel::answer(Backend& backend) noexcept {
    try {
        return run_command(backend);
    } catch (const std::bad_alloc&) {
        batch::empty(block());
        tell(backend, "out of memory");
        return batch::kFailedStatus;
    }
}

void PodChannel::serve(Backend& backend) {
    // A host that posts start has taken its last answer: one that is still there is a dead host's.
    take_back_completion(backend);
    const int32_t status = answer(backend);
    __atomic_store_n(&block().status, status, __ATOMIC_RELEASE);
    // One exchange is outstanding at a time: a second start is another host's, who came while the
    // first one died, and must not take this answer for its own.
    if (start_.posts() > 0 && !stop_->asked) {
        tell(backend, "another host came while a batch of a dead one ran");
        return;
    }
    complete_.post();
}

void PodChannel::stop() {
    const std::scoped_lock lock(stop_->mutex);
    stop_->asked = true;
    start_.post();
}

void PodChannel::refuse_last() {
    // One post has been taken, and stop() has made one: another one is a host's.
    const std::scoped_lock lock(stop_->mutex);
    if (start_.try_take()) {
        fail_exchange();
    }
}

void PodChannel::fail_exchange() {
    __atomic_store_n(&block().status, batch::kFailedStatus, __ATOMIC_RELEASE);
    complete_.post();
}

void PodChannel::abandon() {
    fail_exchange();
    memory_.remove_name();
    start_.remove_name();
    complete_.remove_name();
}

} // namespace talvor::podsim::proxy
