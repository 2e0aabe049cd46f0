#include "podsim/proxy/spin.h"

#include "podsim/proxy/processor.h"

#include <algorithm>

namespace talvor::podsim::proxy {
namespace {

using std::chrono::microseconds;
using std::chrono::nanoseconds;
using std::chrono::steady_clock;

// What a host usually takes from an answer to its next batch: for so long nothing but looks and
// pauses of the processor.
constexpr nanoseconds kUsualExchange{4'000};
// Looks between two looks at the clock.
constexpr int kLooksPerTime = 50;

// Who could not look for longer had lost the processor.
constexpr microseconds kLongestTime{300};

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
    last_end_ = end;
    if (end == End::Answered) {
        failures_ = 0;
        short_sleeps_ = 0;
        if (++answers_ >= kAnswersThatCount) {
            pause_ = kFirstPause;
            between_moves_ = kFewestBetweenMoves;
        }
        return;
    }
    answers_ = 0;
    if (end == End::InVain && ++failures_ <= kFailuresForgiven) {
        return;
    }
    exchanges_to_skip_ = pause_;
    pause_ = std::min(pause_ * 2, kLongestPause);
}

bool SpinPolicy::slept(nanoseconds time, nanoseconds look) {
    sleeps_to_move_ -= sleeps_to_move_ == 0 ? 0 : 1;
    if (looks_ || last_end_ != End::InVain) {
        return false;
    }
    short_sleeps_ = time < look / 2 ? short_sleeps_ + 1 : 0;
    if (short_sleeps_ < kShortSleepsThatCount || sleeps_to_move_ != 0) {
        return false;
    }
    short_sleeps_ = 0;
    sleeps_to_move_ = between_moves_;
    between_moves_ = std::min(between_moves_ * 2, kMostBetweenMoves);
    // It is looked for at once there.
    exchanges_to_skip_ = 0;
    pause_ = kFirstPause;
    failures_ = 0;
    return true;
}

Spin::Spin(microseconds limit) : limit_(limit) {
    static const nanoseconds pause = pause_time();
    first_looks_ = static_cast<int>(std::min<nanoseconds>(kUsualExchange, limit) / pause);
}

SpinPolicy::End Spin::look(Semaphore& start, bool& taken) const {
    taken = look_for(start, first_looks_);
    if (taken) {
        return SpinPolicy::End::Answered;
    }
    const auto begin = steady_clock::now();
    for (auto before = begin; before - begin < limit_;) {
        taken = look_for(start, kLooksPerTime);
        if (taken) {
            return SpinPolicy::End::Answered;
        }
        const auto now = steady_clock::now();
        if (now - before > kLongestTime) {
            return SpinPolicy::End::Displaced;
        }
        before = now;
    }
    return SpinPolicy::End::InVain;
}

bool Spin::take(Semaphore& start) {
    if (limit_.count() <= 0 || !policy_.next()) {
        return start.try_take();
    }
    bool taken = false;
    policy_.ended(look(start, taken));
    return taken;
}

void Spin::slept(nanoseconds time) {
    if (limit_.count() > 0 && policy_.slept(time, limit_)) {
        leave_processor();
    }
}

} // namespace talvor::podsim::proxy
