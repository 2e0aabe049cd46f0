#include "host/svf/recorder.h"

#include "common/text.h"

#include <fmt/format.h>

#include <algorithm>

namespace talvor::svf {

namespace {

using play::Leg;
using play::Step;

constexpr size_t kBody = 1; // of the three parts of a scan

} // namespace

Status Recorder::comment(std::string_view text) {
    std::string line = fmt::format("! {}\n", text);
    std::replace_if(
        line.begin(), line.end() - 1,
        [](char c) { return static_cast<unsigned char>(c) < ' ' || c == '\x7F'; }, ' ');
    return sink_(line);
}

Status Recorder::finish(const Status& done) {
    if (!done && !incomplete_) {
        incomplete_ = headline(done.error());
    }
    return comment(incomplete_ ? fmt::format("INCOMPLETE: {}", *incomplete_)
                               : fmt::format("Complete: {} of {}, {} with answers.",
                                             count_text(count_.scans, "scan"),
                                             count_text(count_.bits, "bit"), count_.answered));
}

Status Recorder::write(Step::Kind kind) {
    step_.kind = kind;
    text_.clear();
    // Recorded steps have no part that the writer would lack words for.
    (void)writer_.add(step_, text_);
    return sink_(text_);
}

Status Recorder::write_leg(Leg::Kind kind, StableState to) {
    step_.legs.assign(1, Leg{kind, to, 0});
    at_ = to;
    return write(Step::Kind::Path);
}

Status Recorder::found(StableState state) {
    if (at_ == state) {
        return {};
    }
    // A TAP that is found reset was reset, by who asked or before that.
    const bool moved_by_another = at_ && state != StableState::Reset;
    if (moved_by_another) {
        TRY(other("a TAP that something else has moved"));
    }
    if (!at_ && state != StableState::Reset) {
        TRY(comment(fmt::format("The TAP was found in {}: what the instruction registers held is "
                                "not known.",
                                name_of(state))));
    }
    TRY(write_leg(Leg::Kind::Reset, StableState::Reset));
    return state == StableState::Reset ? Status() : write_leg(Leg::Kind::Move, state);
}

Status Recorder::was_reset() {
    return write_leg(Leg::Kind::Reset, StableState::Reset);
}

Status Recorder::moved(StableState to) {
    if (at_ == to && (to == StableState::Reset || to == StableState::Idle)) {
        return {};
    }
    return write_leg(Leg::Kind::Move, to);
}

Status Recorder::scanned(ScanPath path, const Bits& out, const Bits* in, StableState end) {
    Bits tdo;
    Bits mask;
    const size_t known = in == nullptr ? 0 : in->size();
    if (known != 0 && known < out.size()) {
        tdo = *in;
        tdo.resize(out.size());
        mask = Bits::ones(known);
        mask.resize(out.size());
    }
    play::ScanStep& scan = step_.scan;
    scan = {};
    scan.path = path;
    scan.end = end;
    scan.total_bits = out.size();
    play::ScanPart& body = scan.parts[kBody];
    body.length_bits = out.size();
    body.tdi = out.words().data();
    if (known != 0) {
        body.tdo = mask.empty() ? in->words().data() : tdo.words().data();
        body.mask = mask.empty() ? nullptr : mask.words().data();
    }
    ++count_.scans;
    count_.bits += out.size();
    count_.answered += known != 0 ? 1 : 0;
    at_ = end;
    Status written = write(Step::Kind::Scan);
    body = {}; // the values are the caller's
    return written;
}

Status Recorder::ran(StableState state, uint64_t clocks, std::chrono::nanoseconds at_least) {
    if (clocks == 0 && at_least.count() <= 0) {
        return at_ == state ? Status() : write_leg(Leg::Kind::Move, state);
    }
    step_.run = {state, clocks, at_least, std::nullopt, state};
    at_ = state;
    return write(Step::Kind::Run);
}

Status Recorder::set_trst(TrstLevel level) {
    step_.trst = level;
    return write(Step::Kind::Trst);
}

// What TRST does to the TAP a reset by TMS does again, so that both ends know it.
Status Recorder::pulsed_trst() {
    TRY(write(Step::Kind::PulseTrst));
    return write_leg(Leg::Kind::Reset, StableState::Reset);
}

Status Recorder::set_clock(double hertz) {
    step_.hertz = hertz;
    return write(Step::Kind::Frequency);
}

Status Recorder::other(std::string_view what) {
    ++losses_[std::string(what)];
    return comment(fmt::format("Not in this file: {}", what));
}

Status Recorder::failed(const Error& error) {
    incomplete_ = incomplete_.value_or(headline(error));
    return comment(fmt::format("Here something failed: {}", headline(error)));
}

} // namespace talvor::svf
