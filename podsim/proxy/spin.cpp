#include "podsim/proxy/spin.h"

#include <algorithm>
#include <sched.h>

namespace talvor::podsim::proxy {
namespace {

using std::chrono::microseconds;
using std::chrono::nanoseconds;
using std::chrono::steady_clock;

// What a host usually takes from an answer to its next batch: for so long nothing but looks and
// pauses of the processor, no system call.
constexpr nanoseconds kUsualExchange{4'000};
// Looks between two offers of the processor to others, and as many looks at the clock.
constexpr int kLooksPerYield = 50;

// Who was away for longer while it offered the processor was not alone on it.
constexpr microseconds kLongestYield{300};

void relax() {
#if defined(__x86_64__)
    __builtin_ia32_pause();
#endif
}

// How long a pause takes on this processor: 3 to 50 nanoseconds, or what it is set to.
nanoseconds pause_time() {
    constexpr int kPauses = 64;
    nanoseconds least = kUsualExchange;
    for (int round = 0; round < 4; ++round) {
        const auto before = steady_clock::now();
        for (int i = 0; i < kPauses; ++i) {
            relax();
        }
        least = std::min(least, (steady_clock::now() - before) / kPauses);
    }
    return std::max(least, nanoseconds(1));
}

bool look_for(Semaphore& start, int looks) {
    for (; looks > 0; --looks) {
        if (start.try_take()) {
            return true;
        }
        relax();
    }
    return false;
}

} // namespace

void SpinPolicy::ended(End end) {
    if (end == End::Answered) {
        failures_ = 0;
        if (++answers_ >= kAnswersThatCount) {
            pause_ = kFirstPause;
        }
        quiet_answers_ += exchanges_without_offer_ == 0 ? 1 : 0;
        if (quiet_answers_ >= kAnswersOfAQuietMachine) {
            next_without_offer_ = kFewestWithoutOffer;
        }
        return;
    }
    answers_ = 0;
    if (end == End::Displaced) {
        quiet_answers_ = 0;
        exchanges_without_offer_ = next_without_offer_;
        next_without_offer_ = std::min(next_without_offer_ * 2, kMostWithoutOffer);
    }
    if (end == End::InVain && ++failures_ <= kFailuresForgiven) {
        return;
    }
    exchanges_to_skip_ = pause_;
    pause_ = std::min(pause_ * 2, kLongestPause);
}

Spin::Spin(microseconds limit) : limit_(limit) {
    static const nanoseconds pause = pause_time();
    first_looks_ = static_cast<int>(std::min<nanoseconds>(kUsualExchange, limit) / pause);
}

SpinPolicy::End Spin::look(Semaphore& start, SpinPolicy::Depth depth, bool& taken) const {
    taken = look_for(start, first_looks_);
    if (taken) {
        return SpinPolicy::End::Answered;
    }
    if (depth == SpinPolicy::Depth::Short) {
        return SpinPolicy::End::InVain;
    }
    const auto begin = steady_clock::now();
    for (auto before = begin; before - begin < limit_;) {
        sched_yield();
        taken = look_for(start, kLooksPerYield);
        const auto now = steady_clock::now();
        if (now - before > kLongestYield) {
            return SpinPolicy::End::Displaced;
        }
        if (taken) {
            return SpinPolicy::End::Answered;
        }
        before = now;
    }
    return SpinPolicy::End::InVain;
}

bool Spin::take(Semaphore& start) {
    const auto depth = limit_.count() <= 0 ? SpinPolicy::Depth::None : policy_.next();
    if (depth == SpinPolicy::Depth::None) {
        return start.try_take();
    }
    bool taken = false;
    policy_.ended(look(start, depth, taken));
    return taken;
}

} // namespace talvor::podsim::proxy
