#include "host/waveform/sampler.h"

#include <algorithm>
#include <utility>

namespace talvor::waveform {

Sampler::Sampler(const Window& window, const ShiftSpan& span) : window_(window), span_(span) {
    values_.fill(1);
    values_[index_of(Signal::Tck)] = 0;
    values_[index_of(Signal::TargetReset)] = 0;
    values_[index_of(Signal::TapState)] = 0;
}

bool Sampler::begin_late(uint64_t clocks, uint64_t shifting) {
    if (started_ || !changes_.empty() || tcks_ != 0) {
        return false;
    }
    tcks_ = clocks;
    waveform_.missing_tcks = clocks;
    waveform_.first_shift_tck = shifting;
    shifts_ = shifting;
    span_begin_ = shifting == span_.first ? clocks : span_begin_;
    return true;
}

void Sampler::begin_moment(uint64_t time_ps) {
    end_moment();
    time_ps_ = time_ps;
}

std::optional<Window> Sampler::found() const {
    const bool lost = waveform_.first_shift_tck > span_.first ||
                      (waveform_.ends_early && span_end_ == UINT64_MAX);
    return lost ? std::nullopt
                : std::optional(Window{span_begin_, std::min(span_end_, tcks_) - span_begin_});
}

Waveform Sampler::waveform() && {
    waveform_.total_tcks = tcks_;
    waveform_.first_tck =
        std::clamp(window_.first_tck, waveform_.missing_tcks, waveform_.total_tcks);
    return std::move(waveform_);
}

void Sampler::end_moment() {
    for (const Change& change : changes_) {
        if (change.signal == Signal::Tck && change.value == 1 &&
            values_[index_of(Signal::Tck)] == 0 && started_) {
            sample();
            break;
        }
    }
    for (const Change& change : changes_) {
        apply(change.signal, change.value);
    }
    started_ = started_ || !changes_.empty();
    changes_.clear();
}

void Sampler::apply(Signal signal, unsigned value) {
    if (signal >= Signal::StateBit0) {
        const unsigned bit = 1U << (index_of(signal) - index_of(Signal::StateBit0));
        unsigned& state = values_[index_of(Signal::TapState)];
        state = value != 0 ? state | bit : state & ~bit;
        return;
    }
    unsigned& held = values_[index_of(signal)];
    const bool changed = held != value;
    held = value;
    if (index_of(signal) < index_of(Signal::TrstN)) {
        return;
    }
    if (signal == Signal::TrstN && value == 0) {
        followed_ = talvor::TapState::TestLogicReset;
    }
    const size_t pin = index_of(signal) - index_of(Signal::TrstN);
    if (!started_ || (changed && tcks_ < window_.first_tck)) {
        waveform_.pins_at_start[pin] = value != 0;
    } else if (changed && tcks_ - window_.first_tck <= window_.count) {
        waveform_.pin_changes.push_back(
            {time_ps_, waveform_.samples.size(), static_cast<Pin>(pin), value != 0});
    }
}

void Sampler::sample() {
    const bool tms = values_[index_of(Signal::Tms)] != 0;
    const talvor::TapState state =
        states_are_told_ ? static_cast<talvor::TapState>(values_[index_of(Signal::TapState)])
                         : followed_;
    followed_ = next_state(state, tms);
    if (is_shift(state)) {
        note_shift();
    }
    waveform_.first_shift_tck += tcks_ < window_.first_tck && is_shift(state) ? 1 : 0;
    if (tcks_ >= window_.first_tck && tcks_ - window_.first_tck < window_.count) {
        waveform_.samples.push_back({time_ps_, tms, values_[index_of(Signal::Tdi)] != 0,
                                     values_[index_of(Signal::Tdo)] != 0, state,
                                     values_[index_of(Signal::Tdo)] != kUnknown});
    }
    ++tcks_;
}

// The present TCK is a Shift clock.
void Sampler::note_shift() {
    if (shifts_ == span_.end) {
        span_end_ = tcks_;
    }
    ++shifts_;
    if (shifts_ == span_.first) {
        span_begin_ = tcks_ + 1;
    }
}

} // namespace talvor::waveform
