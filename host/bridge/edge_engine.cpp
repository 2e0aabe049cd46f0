#include "host/bridge/edge_engine.h"

#include <algorithm>
#include <bit>
#include <cassert>
#include <limits>
#include <utility>

namespace talvor {
namespace {

// Ones in a row that reach Test-Logic-Reset from every state.
constexpr uint64_t kSureReset = kResetPath.count;
// Idle clocks that are not left for the end of the stay.
constexpr uint64_t kManyIdleClocks = uint64_t{1} << 14U;
// Passes through Run-Test/Idle to queue at once.
constexpr uint64_t kIdlePassesAtOnce = uint64_t{1} << 16U;

constexpr ScanPath path_of(TapState state) {
    return index_of(state) >= index_of(TapState::SelectIrScan) ? ScanPath::Ir : ScanPath::Dr;
}

// How many bits from `at` on are `level`.
size_t run_length(const Bits& bits, size_t at, bool level) {
    size_t count = 0;
    while (at + count < bits.size()) {
        const uint64_t word = bits.to_uint(at + count);
        const auto same =
            static_cast<size_t>(level ? std::countr_one(word) : std::countr_zero(word));
        count += same;
        if (same < 64) {
            break;
        }
    }
    return std::min(count, bits.size() - at);
}

size_t count_ones(const Bits& bits, size_t at, size_t count) {
    size_t ones = 0;
    for (size_t done = 0; done < count; done += 64) {
        ones += static_cast<size_t>(
            std::popcount(bits.to_uint(at + done, std::min<size_t>(64, count - done))));
    }
    return ones;
}

// The bits from `at` on, and no copy where that is all of them.
const Bits& part_of(const Bits& bits, size_t at, size_t count, Bits& room) {
    if (at == 0 && count == bits.size()) {
        return bits;
    }
    room = bits.slice(at, count);
    return room;
}

} // namespace

EdgeEngine::EdgeEngine(EdgeLine& line, EdgeEngineOptions options, InexactHook note)
    : line_(line), scan_(line), counts_(options.strict, std::move(note)),
      no_lookahead_(std::move(options.no_lookahead)) {}

Status EdgeEngine::open() {
    known_ = false;
    scan_.abandon();
    scan_.note_reset();
    parked_ = TRY(line_.ask_state());
    client_ = tap_state(parked_);
    trst_ = false;
    srst_ = false;
    srst_due_ = false;
    doubtful_ = true;
    unsettled_ = false;
    runs_ahead_ = runs_ahead_ || parked_ == StableState::Reset; // an instruction outlives an error
    ones_ = 0;
    idle_wanted_ = 0;
    idle_given_ = 0;
    if (parked_ == StableState::PauseDr || parked_ == StableState::PauseIr) {
        scan_.begin(path_of(client_));
        captured_ = true;
    }
    known_ = true;
    return {};
}

Status EdgeEngine::ready() {
    return known_ ? Status() : open();
}

// What a call answers: behind an error of the line nothing is known any more.
Status EdgeEngine::done(Status status) {
    known_ = status.has_value() || status.error().kind == ErrorKind::Refused;
    if (const auto complaint = std::exchange(complaint_, std::nullopt); status && complaint) {
        return Failure(*complaint);
    }
    return status;
}

// ---- the client's clocks ------------------------------------------------------------------------

Status EdgeEngine::clock(const Bits& tms, const Bits& tdi, Bits* tdo, const Bits* asked) {
    assert(tms.size() == tdi.size() && (asked == nullptr || asked->size() == tms.size()));
    assert(tdo != &tms && tdo != &tdi && (tdo == nullptr || tdo != asked));
    TRY(ready());
    if (tdo != nullptr) {
        tdo->clear();
    }
    return done(walk({tms, tdi, tdo, asked}));
}

Status EdgeEngine::walk(const Edges& edges) {
    for (size_t at = 0; at < edges.tms.size();) {
        at += TRY(advance(edges, at));
    }
    if (edges.tdo != nullptr) {
        edges.tdo->resize(edges.tms.size(), true);
    }
    return {};
}

// Does as many clocks as can be done in one piece, at least one, and says how many.
Result<size_t> EdgeEngine::advance(const Edges& edges, size_t at) {
    if (trst_) {
        const size_t rest = edges.tms.size() - at;
        TRY(ask_outside(edges, at, rest));
        return rest;
    }
    if (is_shift(client_)) {
        return shift(edges, at);
    }
    const bool holds = next_state(client_, true) == client_;
    const size_t same = is_stable(client_) ? run_length(edges.tms, at, holds) : 0;
    const size_t count = std::max<size_t>(same, 1);
    TRY(ask_outside(edges, at, count));
    TRY(same != 0 ? stay(same) : step(edges.tms[at]));
    return count;
}

// Asked or not, TDO reads 1 there.
Status EdgeEngine::ask_outside(const Edges& edges, size_t at, size_t count) {
    if (edges.asked == nullptr || edges.tdo == nullptr) {
        return {};
    }
    return counts_.add(Inexact::TdoOutsideShift, count_ones(*edges.asked, at, count));
}

// A stay in a Shift state, up to the clock that leaves it.
Result<size_t> EdgeEngine::shift(const Edges& edges, size_t at) {
    const size_t zeros = run_length(edges.tms, at, false);
    const bool leaves = at + zeros < edges.tms.size();
    const size_t count = zeros + (leaves ? 1 : 0);
    const bool wanted = edges.tdo != nullptr &&
                        (edges.asked == nullptr || count_ones(*edges.asked, at, count) != 0);
    Bits room;
    const Bits& bits = part_of(edges.tdi, at, count, room);
    note_instruction(bits);
    unsettled_ = true;
    const uint64_t held_back = scan_.held_back();
    TRY(scan_.piece(bits, wanted ? &answer_ : nullptr));
    if (wanted) {
        edges.tdo->resize(at, true);
        edges.tdo->append(answer_);
    }
    ones_ = leaves ? 1 : 0;
    client_ = next_state(client_, leaves);
    TRY(counts_.add(Inexact::HeldBack, scan_.held_back() - held_back));
    return count;
}

// Clocks that stay in a stable state.
Status EdgeEngine::stay(uint64_t clocks) {
    if (client_ == TapState::TestLogicReset) {
        const uint64_t before = std::max(ones_, kResetClocks);
        ones_ += clocks;
        TRY(reset_if_doubtful());
        return counts_.add(Inexact::ResetClocks, ones_ > before ? ones_ - before : 0);
    }
    ones_ = 0;
    if (client_ != TapState::RunTestIdle) {
        return counts_.add(Inexact::PauseClocks, clocks);
    }
    idle_wanted_ += clocks;
    unsettled_ = true;
    return idle_wanted_ - std::min(idle_wanted_, idle_given_) < kManyIdleClocks ? Status()
                                                                                : spend_idle(false);
}

Status EdgeEngine::step(bool tms) {
    const TapState next = next_state(client_, tms);
    if (client_ == TapState::RunTestIdle) {
        TRY(leave_idle());
    }
    ones_ = tms ? ones_ + 1 : 0;
    TRY(enter(next));
    return client_ == TapState::TestLogicReset ? reset_if_doubtful() : Status();
}

// What happens on the way into `next`, and only there.
Status EdgeEngine::enter(TapState next) {
    client_ = next;
    switch (next) {
    case TapState::TestLogicReset:
        return leave(StableState::Reset);
    case TapState::RunTestIdle:
        return leave(StableState::Idle);
    case TapState::CaptureDr:
    case TapState::CaptureIr:
        return capture(path_of(next));
    case TapState::UpdateIr:
        read_instruction();
        return {};
    default:
        return {};
    }
}

Result<bool> EdgeEngine::tdo() {
    TRY(ready());
    if (trst_ || !is_shift(client_)) {
        TRY(counts_.add(Inexact::TdoOutsideShift, 1));
        return true;
    }
    unsettled_ = true;
    const uint64_t held_back = scan_.held_back();
    Result<bool> level = scan_.next();
    TRY(done(level.map([](bool) { return Done{}; })));
    TRY(counts_.add(Inexact::HeldBack, scan_.held_back() - held_back));
    return level;
}

// ---- what the target sees -----------------------------------------------------------------------

// A scan that is still open has been left for Update.
Status EdgeEngine::capture(ScanPath path) {
    if (scan_.open()) {
        TRY(end_scan(pause_state(scan_.path())));
    }
    captured_ = parked_ == pause_state(path);
    if (captured_) {
        TRY(line_.move(parked_));
    }
    const bool once = path == ScanPath::Dr && !runs_ahead_;
    scan_.begin(path, once ? ExactScan::Reading::Once : ExactScan::Reading::Ahead);
    instruction_.clear();
    unsettled_ = true;
    return {};
}

// A scan without a bit does not capture by itself.
Status EdgeEngine::capture_now() {
    if (!captured_ && !scan_.touched()) {
        TRY(line_.move(pause_state(scan_.path())));
    }
    captured_ = true;
    return {};
}

Status EdgeEngine::end_scan(StableState end) {
    TRY(capture_now());
    parked_ = end;
    return judge(scan_.finish(end));
}

// To Test-Logic-Reset or Run-Test/Idle, through Update where that is due.
Status EdgeEngine::leave(StableState to) {
    unsettled_ = true;
    idle_wanted_ = 0;
    idle_given_ = 0;
    if (to == StableState::Reset) {
        runs_ahead_ = true;
    }
    if (to == StableState::Reset) {
        scan_.note_reset();
    }
    if (scan_.open()) {
        TRY(end_scan(to));
    } else {
        TRY(line_.move(to));
        parked_ = to;
    }
    return pulse_srst();
}

Status EdgeEngine::reset_if_doubtful() {
    if (!doubtful_ || ones_ < kSureReset) {
        return {};
    }
    doubtful_ = false;
    unsettled_ = true;
    return line_.reset_tap();
}

// The clocks of this stay that the target has not had: all of them, or what makes whole passes.
Status EdgeEngine::spend_idle(bool to_the_end) {
    const uint64_t missing = idle_wanted_ - std::min(idle_wanted_, idle_given_);
    const uint64_t round = to_the_end ? EdgeLine::kIdleClocks - 1 : 0;
    uint64_t passes = (missing + round) / EdgeLine::kIdleClocks;
    while (passes != 0) {
        const uint64_t now = std::min(passes, kIdlePassesAtOnce);
        TRY(line_.idle(static_cast<uint32_t>(now)));
        idle_given_ += now * EdgeLine::kIdleClocks;
        passes -= now;
    }
    return {};
}

// The stay is over: how many clocks it had is certain.
Status EdgeEngine::leave_idle() {
    if (!counts_.strict()) {
        TRY(spend_idle(true));
        return counts_.add(Inexact::IdleClocks, idle_given_ - std::min(idle_wanted_, idle_given_));
    }
    TRY(spend_idle(false));
    const uint64_t missing = idle_wanted_ - std::min(idle_wanted_, idle_given_);
    idle_given_ = idle_wanted_;
    return counts_.add(Inexact::IdleClocks, missing == 0 ? 0 : EdgeLine::kIdleClocks - missing);
}

void EdgeEngine::note_instruction(const Bits& bits) {
    if (no_lookahead_.empty() || client_ != TapState::ShiftIr) {
        return;
    }
    instruction_.append(bits);
    if (instruction_.size() > 2 * InstructionList::kMostBits) {
        instruction_ = instruction_.slice(instruction_.size() - InstructionList::kMostBits,
                                          InstructionList::kMostBits);
    }
}

// The instruction path is about to be updated with what the client shifted; of more bits than it is
// long, with the last ones.
void EdgeEngine::read_instruction() {
    if (no_lookahead_.empty()) {
        return;
    }
    const size_t length = scan_.register_bits().value_or(instruction_.size());
    const size_t size = instruction_.size();
    runs_ahead_ =
        size == 0 || !no_lookahead_.finds(length < size ? instruction_.slice(size - length, length)
                                                        : instruction_);
}

// A register whose length is not found is no end of the client's work: under strict the call says
// so when it has done everything.
Status EdgeEngine::judge(Status done) {
    if (done || !scan_.gave_up() || done.error().kind != ErrorKind::Target) {
        return done;
    }
    Status judged = counts_.add(Inexact::LengthUnknown, 1, headline(done.error()));
    if (!judged) {
        complaint_ = std::move(judged).error();
    }
    return {};
}

Status EdgeEngine::settle() {
    TRY(ready());
    return unsettled_ ? done(settle_all()) : Status();
}

// An Update that is due waits for where the client goes: every way there does something else, too.
Status EdgeEngine::settle_all() {
    if (scan_.open()) {
        TRY(capture_now());
        TRY(judge(scan_.settle()));
    }
    TRY(spend_idle(!counts_.strict()));
    TRY(line_.flush());
    unsettled_ = false;
    return {};
}

// ---- pins and clock -----------------------------------------------------------------------------

// The client has passed Update, and the pod has not.
bool EdgeEngine::update_is_due() const noexcept {
    return scan_.open() && (client_ == TapState::UpdateDr || client_ == TapState::UpdateIr ||
                            client_ == TapState::SelectDrScan || client_ == TapState::SelectIrScan);
}

Status EdgeEngine::set_trst(bool asserted) {
    TRY(ready());
    if (asserted == trst_) {
        return {};
    }
    if (asserted) {
        TRY(counts_.add(Inexact::TrstHeld, 1));
        TRY(done(pulse_trst()));
    }
    trst_ = asserted;
    return {};
}

// A target without such a pin is reset by TMS, through Update: a register that the client has not
// left yet should hold what the client has shifted.
Status EdgeEngine::pulse_trst() {
    if (scan_.open()) {
        TRY(end_scan(update_is_due() ? StableState::Idle : pause_state(scan_.path())));
    }
    TRY(spend_idle(!counts_.strict()));
    TRY(line_.pulse_trst());
    scan_.note_reset();
    client_ = TapState::TestLogicReset;
    parked_ = StableState::Reset;
    runs_ahead_ = true;
    ones_ = 0;
    idle_wanted_ = 0;
    idle_given_ = 0;
    unsettled_ = true;
    return {};
}

Status EdgeEngine::set_srst(bool asserted) {
    TRY(ready());
    if (asserted == srst_) {
        return {};
    }
    if (asserted) {
        TRY(counts_.add(Inexact::SrstHeld, 1));
        srst_due_ = true;
        TRY(done(pulse_srst()));
    }
    srst_ = asserted;
    return {};
}

// A pulse that is due, once no scan is open: a pod that resets its target loses what stands in a
// register. Where the reset has moved the TAP, it goes back.
Status EdgeEngine::pulse_srst() {
    if (!srst_due_ || scan_.open()) {
        return {};
    }
    srst_due_ = false;
    TRY(settle_all());
    TRY(line_.pulse_srst());
    if (TRY(line_.ask_state()) != parked_) {
        unsettled_ = true;
        TRY(line_.move(parked_));
    }
    return {};
}

Status EdgeEngine::set_max_frequency(double hertz) {
    TRY(ready());
    TRY(done(settle_all()));
    return done(line_.set_max_frequency(hertz));
}

} // namespace talvor
