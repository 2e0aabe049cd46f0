#include "host/scan/exact_scan.h"

#include "common/interrupt.h"
#include "host/scan/broken_path.h"

#include <fmt/format.h>

#include <algorithm>
#include <bit>
#include <cassert>

namespace talvor {
namespace {

constexpr size_t kHeldBits = ShiftLine::kHeldBits;
// Bits that wait here for more before they are shifted.
constexpr size_t kMostPending = size_t{1} << 20U;
// A guess beyond this is not worth its clocks: the client may want a few bits only.
constexpr size_t kMostGuessedFill = 4096;
// How many bits follow a marker that does not come out: as many as went before, within these.
constexpr size_t kLeastFill = 256;
constexpr size_t kMostFill = 65536;
// Exchanges without a fill that many small pieces may take.
constexpr size_t kPatience = 4;

} // namespace

void ExactScan::begin(ScanPath path, Reading reading) {
    assert(!open_);
    open_ = true;
    path_ = path;
    ahead_ = reading == Reading::Ahead;
    touched_ = false;
    gave_up_ = false;
    held_back_ = 0;
    stage_ = Stage::Plain;
    length_.reset();
    pending_.clear();
    // The way there leaves Pause-IR through Update.
    if (instruction_rests_ && path == ScanPath::Dr) {
        instruction_ = next_instruction_;
    }
    instruction_rests_ = false;
    next_instruction_ = 1;
}

Status ExactScan::whole(ScanPath path, const Bits& bits, Bits* answer, StableState end) {
    begin(path);
    if (answer == nullptr) {
        note_instruction(bits);
        close(end);
        return send(bits, ShiftPurpose::Data, end);
    }
    if (Status done = piece(bits, answer); !done) {
        abandon();
        return done;
    }
    return finish(end);
}

Status ExactScan::piece(const Bits& bits, Bits* answer) {
    assert(open_);
    note_instruction(bits);
    touched_ = touched_ || !bits.empty();
    if (stage_ == Stage::Known) {
        return answer_known(bits, answer);
    }
    if (answer == nullptr) {
        return hold(bits);
    }
    if (bits.empty()) {
        answer->clear();
        return {};
    }
    if (!ahead_) {
        return answer_once(bits, *answer);
    }
    if (stage_ == Stage::Plain) {
        TRY(seek(bits));
    } else {
        data_.append(bits);
        pending_.append(bits);
        TRY(shift_on(fill_for_patience()));
    }
    return answer_sought(bits, *answer);
}

Result<bool> ExactScan::next() {
    assert(open_);
    if (!ahead_) {
        ++held_back_;
        return true;
    }
    touched_ = true;
    if (stage_ != Stage::Known) {
        TRY(look_further());
    }
    if (stage_ != Stage::Known) {
        return out_[kHeldBits + data_.size()];
    }
    // Without a register TDO is what TDI will be.
    return content_.size() == 0 || content_.front(1)[0];
}

// TDO has been seen for one bit behind the client's.
Status ExactScan::look_further() {
    if (stage_ == Stage::Plain) {
        TRY(seek({}));
    } else if (!pending_.empty()) {
        TRY(shift_on(fill_for_patience()));
    }
    if (const Echo echo = TRY(sure_echo()); echo.kind == Echo::Kind::Found) {
        learn(echo.at);
    }
    return {};
}

// Contents of the instruction path are told apart by a hash; two that share one only make a guess
// wrong.
void ExactScan::note_instruction(const Bits& bits) noexcept {
    if (path_ != ScanPath::Ir) {
        return;
    }
    constexpr uint64_t kPrime = 0x100000001B3;
    for (const uint16_t word : bits.words()) {
        next_instruction_ = (next_instruction_ ^ word) * kPrime;
    }
    next_instruction_ = (next_instruction_ ^ bits.size()) * kPrime;
}

Status ExactScan::hold(const Bits& bits) {
    pending_.append(bits);
    if (stage_ == Stage::Sought) {
        data_.append(bits);
        return {};
    }
    return spill();
}

// Too much need not wait.
Status ExactScan::spill() {
    return pending_.size() < kMostPending ? Status() : send_rest(pause_state(path_));
}

Status ExactScan::answer_once(const Bits& bits, Bits& answer) {
    const size_t count = bits.size();
    const size_t late = std::min(count, kHeldBits);
    const size_t before = pending_.size();
    held_back_ += late;
    pending_.append(bits);
    if (late == count) {
        answer = Bits::ones(count);
        return spill();
    }
    mark(ShiftPurpose::Data, pending_.size());
    Bits received;
    TRY(line_.exchange(path_, pending_, received, pause_state(path_)));
    pending_.clear();
    answer = received.slice(kHeldBits + before, count - late);
    answer.append(Bits::ones(late));
    return {};
}

// The marker goes in before whatever is pending.
Status ExactScan::seek(const Bits& bits) {
    stage_ = Stage::Sought;
    marker_ = random_.next_marker();
    data_.clear();
    data_.append(pending_);
    data_.append(bits);
    pending_.append(bits);
    in_.clear();
    out_.clear();
    echoed_bits_ = 0;
    tail_bits_ = 0;
    exchanges_ = 0;
    searched_ = 0;
    return shift_on(fill_for_guess());
}

// A register that is remembered to be longer than the client's bits so far gives its marker back
// with this one exchange, if it is still that long.
size_t ExactScan::fill_for_guess() const noexcept {
    const size_t guess = lengths_.recall(path_, instruction_).value_or(0);
    const size_t fill = guess > data_.size() ? guess - data_.size() : 0;
    return fill <= kMostGuessedFill ? fill : 0;
}

// Who asks in many small pieces pays an exchange for each until the marker comes out, so that now
// and then it is worth looking for it: at most as many clocks again as there have been.
size_t ExactScan::fill_for_patience() const noexcept {
    return exchanges_ >= kPatience && std::has_single_bit(exchanges_)
               ? std::clamp(in_.size(), kLeastFill, kMostFill)
               : 0;
}

// Everything that is pending and some fill, behind the marker the first time.
Status ExactScan::shift_on(size_t fill_bits) {
    const bool first = in_.empty();
    Bits more;
    Bits& out = first ? in_ : more;
    if (first) {
        in_.resize(kMarkerBits);
        for (size_t i = 0; i < in_.words().size(); ++i) {
            in_.words()[i] = static_cast<uint16_t>(marker_ >> (i * Bits::kWordBits));
        }
        mark(ShiftPurpose::Marker, kMarkerBits);
    }
    out.append(pending_);
    mark(ShiftPurpose::Data, pending_.size());
    tail_bits_ += pending_.size();
    echoed_bits_ += in_.size() == echoed_bits_ + kMarkerBits || first ? pending_.size() : 0;
    if (fill_bits != 0) {
        random_.append(out, fill_bits);
        mark(ShiftPurpose::Fill, fill_bits);
        tail_bits_ = 0;
    }
    pending_.clear();
    ++exchanges_;
    if (first) {
        return line_.exchange(path_, in_, out_, pause_state(path_));
    }
    Bits received;
    TRY(line_.exchange(path_, more, received, pause_state(path_)));
    in_.append(more);
    out_.append(received);
    return {};
}

EchoSearch ExactScan::echo_search() const noexcept {
    return {marker_, in_, out_, kHeldBits};
}

Echo ExactScan::find_echo() {
    const EchoSearch search = echo_search();
    if (const auto guess = lengths_.recall(path_, instruction_);
        guess && search.marker_at(*guess)) {
        return {Echo::Kind::Found, *guess};
    }
    const Echo echo = search.find(searched_);
    if (echo.kind == Echo::Kind::None && search.seen() >= kMarkerProofBits) {
        searched_ = search.seen() - kMarkerProofBits + 1;
    }
    return echo;
}

// The place of the marker, or none so far.
Result<Echo> ExactScan::sure_echo() {
    Echo echo = find_echo();
    while (echo.kind == Echo::Kind::Several) {
        TRY(shift_on(kLeastFill));
        echo = find_echo();
    }
    return echo;
}

// All bits of the client have been shifted, and TDO has been seen for all of them and for the proof
// of a marker behind them: either the marker has come out, or the register is longer.
Status ExactScan::answer_sought(const Bits& bits, Bits& answer) {
    const size_t first = data_.size() - bits.size();
    const Echo echo = TRY(sure_echo());
    if (echo.kind == Echo::Kind::None) {
        answer = answer_from(first, std::nullopt);
        return {};
    }
    answer = answer_from(first, echo.at);
    learn(echo.at);
    return {};
}

// What TDO gives for the client's bits from `first` on: what the register held, then what went in
// as many clocks before as it is long. Of that, what has really come out behind the marker.
Bits ExactScan::answer_from(size_t first, std::optional<size_t> length) const {
    const size_t end = data_.size();
    const size_t held = std::clamp(length.value_or(end), first, end);
    Bits answer = out_.slice(kHeldBits + first, held - first);
    if (held == end) {
        return answer;
    }
    const size_t echo = kHeldBits + *length + kMarkerBits; // in out_, of the client's first bit
    const size_t back = out_.size() > echo ? std::min(out_.size() - echo, echoed_bits_) : 0;
    const size_t from = held - *length; // of the client's bits
    const size_t to = end - *length;
    const size_t seen = std::clamp(back, from, to);
    if (seen > from) {
        answer.append(out_.slice(echo + from, seen - from));
    }
    answer.append(data_.slice(seen, to - seen));
    return answer;
}

// The marker has come out: what the register held at first is known as well.
void ExactScan::learn(size_t length) {
    const size_t bits = data_.size();
    if (bits >= length) {
        content_.assign(data_.slice(bits - length, length));
    } else {
        content_.assign(out_.slice(kHeldBits + bits, length - bits));
        content_.push(data_);
    }
    in_step_ = length <= tail_bits_;
    // What is still to be shifted stands in the content.
    assert(pending_.empty());
    stage_ = Stage::Known;
    length_ = length;
    lengths_.remember(path_, instruction_, length);
}

// What comes out of a register of known length is known, too.
Status ExactScan::answer_known(const Bits& bits, Bits* answer) {
    const size_t count = bits.size();
    content_.push(bits);
    if (in_step_) {
        pending_.append(bits);
    }
    if (answer != nullptr) {
        *answer = content_.front(count);
    }
    content_.pop(count);
    return spill();
}

// Nothing for as long as the marker may still come out.
Status ExactScan::check_hope() const {
    TRY(check_interrupt());
    const EchoSearch search = echo_search();
    const size_t seen = search.seen();
    if (const auto missing = search.missing_start(kHeldBits)) {
        return target_error("chain",
                            fmt::format("what goes in at TDI comes out {} test {} too early",
                                        *missing, *missing == 1 ? "clock" : "clocks"),
                            "the link delay is wrong: find the right one with 'talvor link find'");
    }
    const Bits received = out_.slice(kHeldBits, seen);
    if (seen > kLongestRegister || (seen > kLongestSilence && is_silent(received))) {
        return broken_path_error(path_, received);
    }
    return {};
}

Status ExactScan::shift_until_found() {
    Echo echo{};
    if (!pending_.empty()) {
        TRY(shift_on(0));
    }
    for (echo = find_echo(); echo.kind != Echo::Kind::Found; echo = find_echo()) {
        if (Status hope = check_hope(); !hope) {
            return give_up(std::move(hope).error());
        }
        TRY(shift_on(std::clamp(in_.size(), kLeastFill, kMostFill)));
    }
    learn(echo.at);
    return {};
}

// The client's bits, as many as there are: right unless the register is longer.
Status ExactScan::give_up(Error error) {
    stage_ = Stage::Plain;
    TRY(send(data_, ShiftPurpose::Repair, pause_state(path_)));
    gave_up_ = error.kind == ErrorKind::Target;
    return Failure(std::move(error));
}

// What the register still needs, on the way to `end`.
Status ExactScan::send_rest(StableState end) {
    if (stage_ == Stage::Known && !in_step_) {
        in_step_ = true;
        return send(content_.front(content_.size()), ShiftPurpose::Repair, end);
    }
    Status sent = send(pending_, ShiftPurpose::Data, end);
    pending_.clear();
    return sent;
}

bool ExactScan::has_rest() const noexcept {
    const bool repairs = stage_ == Stage::Known && !in_step_ && content_.size() != 0;
    return repairs || !pending_.empty();
}

Status ExactScan::settle() {
    assert(open_);
    if (stage_ == Stage::Sought) {
        TRY(shift_until_found());
    }
    return send_rest(pause_state(path_));
}

Status ExactScan::finish(StableState end) {
    assert(open_);
    Status found = stage_ == Stage::Sought ? shift_until_found() : Status();
    close(end);
    if (has_rest()) {
        TRY(send_rest(end));
    } else if (end != pause_state(path_)) {
        TRY(line_.move(end));
    }
    return found;
}

void ExactScan::close(StableState end) noexcept {
    open_ = false;
    instruction_rests_ = path_ == ScanPath::Ir && end == pause_state(path_);
    if (path_ == ScanPath::Ir && !instruction_rests_) {
        instruction_ = next_instruction_;
    }
    if (end == StableState::Reset) {
        note_reset();
    }
}

Status ExactScan::send(const Bits& bits, ShiftPurpose purpose, StableState end) {
    if (bits.empty()) {
        return {};
    }
    mark(purpose, bits.size());
    return line_.send(path_, bits, end);
}

void ExactScan::mark(ShiftPurpose purpose, size_t clocks) const {
    if (hook_ && clocks != 0) {
        hook_({path_, purpose, clocks});
    }
}

} // namespace talvor
