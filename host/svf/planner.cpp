#include "host/svf/planner.h"

#include "host/play/clocks.h"
#include "host/play/road.h"
#include "host/play/step_source.h"
#include "host/svf/keyword.h"
#include "host/svf/number.h"

#include <fmt/format.h>

#include <algorithm>
#include <utility>

namespace talvor::svf {

namespace {

using play::Leg;
using play::NoteKind;
using play::ScanPart;
using play::ScanStep;
using play::Step;

constexpr size_t index_of(StatementKind kind) noexcept {
    return static_cast<size_t>(kind);
}

// The statements whose values make up one scan, in the order in which they are shifted.
struct ScanFamily {
    ScanPath path;
    std::array<StatementKind, 3> kinds;
};
constexpr ScanFamily kDrFamily{ScanPath::Dr,
                               {StatementKind::Hdr, StatementKind::Sdr, StatementKind::Tdr}};
constexpr ScanFamily kIrFamily{ScanPath::Ir,
                               {StatementKind::Hir, StatementKind::Sir, StatementKind::Tir}};

std::string joined(const std::vector<TapState>& path) {
    std::string text;
    for (const TapState state : path) {
        text += text.empty() ? "" : " ";
        text += keyword(state);
    }
    return text;
}

void note(Step& step, NoteKind kind, std::string text) {
    step.notes.push_back({kind, std::move(text)});
}

// Not std::popcount over all of it: most masks that are all ones are short.
bool is_all_ones(const Bits& bits) {
    const std::span<const uint16_t> words = bits.words();
    const size_t last = words.size() - 1;
    unsigned all = 0xFFFF;
    for (size_t i = 0; i < last; ++i) {
        all &= words[i];
    }
    const unsigned used = bits.size() % Bits::kWordBits;
    return all == 0xFFFF && words[last] == (used == 0 ? 0xFFFFU : (1U << used) - 1);
}

// Stays one after the other are one.
void add_leg(std::vector<Leg>& legs, const Leg& leg) {
    if (leg.kind == Leg::Kind::Stay && !legs.empty() && legs.back().kind == Leg::Kind::Stay) {
        legs.back().clocks += leg.clocks;
    } else {
        legs.push_back(leg);
    }
}

} // namespace

Failure Planner::at(const Statement& statement, Failure failure) const {
    return play::at_statement(source_name_, statement.line, name(statement.kind),
                              std::move(failure).value());
}

Failure Planner::bad(const Statement& statement, std::string reason, std::string next_step) const {
    return at(statement, file_error("", std::move(reason), std::move(next_step)));
}

Status Planner::allowed(const Statement& statement, const Status& answer) const {
    return answer ? Status() : at(statement, Failure(answer.error()));
}

Status Planner::plan(Statement& statement, Step& step) {
    step.kind = Step::Kind::Nothing;
    step.statement = static_cast<play::StatementId>(statement.kind);
    step.line = statement.line;
    switch (statement.kind) {
    case StatementKind::Sdr:
    case StatementKind::Sir:
        return plan_scan(statement, step);
    case StatementKind::Hdr:
    case StatementKind::Hir:
    case StatementKind::Tdr:
    case StatementKind::Tir:
        return remember(statement);
    case StatementKind::State:
        return plan_state(statement, step);
    case StatementKind::EndDr:
        end_dr_ = statement.end_state;
        return {};
    case StatementKind::EndIr:
        end_ir_ = statement.end_state;
        return {};
    case StatementKind::RunTest:
        return plan_run(statement, step);
    case StatementKind::Frequency:
        return plan_frequency(statement, step);
    case StatementKind::Trst:
        return plan_trst(statement, step);
    case StatementKind::Pio:
    case StatementKind::PioMap:
        break;
    }
    return at(statement, refused_error("", "a JTAG pod has no parallel pins to drive or read",
                                       "write the file without parallel vectors"));
}

Status Planner::remember(Statement& statement) {
    ScanText& text = statement.scan;
    Remembered& memory = remembered_[index_of(statement.kind)];
    if (text.length_bits != memory.length_bits) {
        memory.length_bits = text.length_bits;
        memory.has_tdi = false;
        memory.has_mask = false;
    }
    if (text.tdi.given) {
        swap(memory.tdi, text.tdi.value);
        memory.has_tdi = true;
    }
    if (text.mask.given) {
        swap(memory.mask, text.mask.value);
        memory.has_mask = memory.length_bits != 0 && !is_all_ones(memory.mask);
    }
    memory.has_tdo = text.tdo.given;
    if (text.tdo.given) {
        swap(memory.tdo, text.tdo.value);
    }
    if (!memory.has_tdi && memory.length_bits != 0) {
        return bad(statement,
                   fmt::format("TDI is missing, and there is none of {} bits to carry over",
                               memory.length_bits),
                   "give TDI the first time and whenever the length changes");
    }
    return {};
}

void Planner::fill(ScanPart& part, StatementKind kind) const {
    const Remembered& memory = remembered_[index_of(kind)];
    const bool used = memory.length_bits != 0;
    part.statement = static_cast<play::StatementId>(kind);
    part.length_bits = memory.length_bits;
    part.tdi = used ? memory.tdi.words().data() : nullptr;
    part.tdo = used && memory.has_tdo ? memory.tdo.words().data() : nullptr;
    part.mask = used && memory.has_mask ? memory.mask.words().data() : nullptr;
}

Status Planner::plan_scan(Statement& statement, Step& step) {
    TRY(remember(statement));
    if (held_line_ != 0) {
        return not_held(statement);
    }
    const ScanFamily& family = statement.kind == StatementKind::Sdr ? kDrFamily : kIrFamily;
    step.kind = Step::Kind::Scan;
    ScanStep& scan = step.scan;
    scan.path = family.path;
    scan.total_bits = 0;
    scan.end = family.path == ScanPath::Dr ? end_dr_ : end_ir_;
    for (size_t i = 0; i < family.kinds.size(); ++i) {
        fill(scan.parts[i], family.kinds[i]);
        scan.total_bits += scan.parts[i].length_bits;
    }
    if (scan.total_bits == 0) {
        return plan_no_scan(statement, scan.end, step);
    }
    at_ = scan.end;
    Status answer = port_.can_scan(scan.path, scan.total_bits, scan.compares());
    return answer ? answer : allowed(statement, answer);
}

// Without a header or trailer there is nothing to shift, and no reason to capture and update.
Status Planner::plan_no_scan(const Statement& statement, StableState end, Step& step) {
    if (strict_) {
        return bad(statement, "there is no bit to shift");
    }
    step.kind = Step::Kind::Path;
    step.legs.clear();
    if (at_ != end) {
        step.legs.push_back(
            {end == StableState::Reset ? Leg::Kind::Reset : Leg::Kind::Move, end, 0});
    }
    at_ = end;
    note(step, NoteKind::NoShift,
         fmt::format("a scan of no bits only goes to {}", keyword(tap_state(end))));
    return {};
}

// The error that a scan meets while TRST is held low in truth; once, so that not every scan of the
// file is listed.
Failure Planner::not_held(const Statement& statement) {
    const uint64_t line = std::exchange(held_line_, 0);
    return at(statement,
              refused_error(
                  "",
                  fmt::format("TRST is held low since line {}, and the pod only pulses it", line),
                  "write TRST OFF before the scan"));
}

Status Planner::plan_state(const Statement& statement, Step& step) {
    step.kind = Step::Kind::Path;
    step.legs.clear();
    if (statement.path.size() > 1) {
        return plan_any_path(statement, step);
    }
    const StableState to = *stable_state(statement.path.front());
    step.legs.push_back({to == StableState::Reset ? Leg::Kind::Reset : Leg::Kind::Move, to, 0});
    at_ = to;
    return {};
}

// As it is written, or else by a road that is the same to the target.
Status Planner::plan_any_path(const Statement& statement, Step& step) {
    const StableState from = at_;
    at_ = *stable_state(statement.path.back());
    const Status exact = plan_path(statement, from, step);
    if (exact || strict_ || exact.error().kind != ErrorKind::Refused) {
        return exact;
    }
    std::optional<std::vector<Leg>> road = play::equal_road(port_, from, statement.path);
    if (!road) {
        return exact;
    }
    step.legs = std::move(*road);
    note(
        step, NoteKind::Road,
        fmt::format("the pod goes from {} to {} by another road with the same captures and updates",
                    keyword(tap_state(from)), keyword(tap_state(at_))));
    return {};
}

Status Planner::plan_path(const Statement& statement, StableState from, Step& step) {
    TapState before = tap_state(from);
    for (const TapState state : statement.path) {
        if (!is_step(before, state)) {
            return bad(statement,
                       fmt::format("no step leads from {} to {}", keyword(before), keyword(state)));
        }
        before = state;
    }
    std::vector<TapState> stretch; // since the last stable state
    for (const TapState state : statement.path) {
        stretch.push_back(state);
        if (const std::optional<StableState> to = stable_state(state)) {
            const Leg leg = TRY(plan_leg(statement, from, *to, stretch));
            add_leg(step.legs, leg);
            from = *to;
            stretch.clear();
        }
    }
    for (const Leg& leg : step.legs) {
        if (leg.kind == Leg::Kind::Stay) {
            TRY(allowed(statement, port_.can_run(leg.to, leg.clocks, ClockLine::Tck)));
        }
    }
    return {};
}

Result<Leg> Planner::plan_leg(const Statement& statement, StableState from, StableState to,
                              const std::vector<TapState>& stretch) const {
    if (to == StableState::Reset &&
        (from == to || stretch == shortest_route(tap_state(from), tap_state(to)))) {
        return Leg{Leg::Kind::Reset, to, 0};
    }
    if (from == to && stretch.size() == 1) {
        return Leg{Leg::Kind::Stay, to, 1};
    }
    const std::vector<TapState> route = port_.route(from, to);
    if (stretch == route) {
        return Leg{Leg::Kind::Move, to, 0};
    }
    return at(statement,
              refused_error("",
                            fmt::format("the pod cannot go from {} by way of {}; its way is {}",
                                        keyword(tap_state(from)), joined(stretch), joined(route)),
                            "name only the state to reach, or a path the pod can take"));
}

Status Planner::plan_run(const Statement& statement, Step& step) {
    const RunTestText& text = statement.run;
    if (text.run_state) {
        run_state_ = *text.run_state;
        run_end_ = *text.run_state;
    }
    if (text.end_state) {
        run_end_ = *text.end_state;
    }
    step.kind = Step::Kind::Run;
    step.run = {run_state_, text.count.value_or(0),
                text.min_time.value_or(std::chrono::nanoseconds(0)), text.max_time, run_end_};
    at_ = run_end_;
    return plan_clocks(statement, step);
}

Status Planner::plan_clocks(const Statement& statement, Step& step) const {
    play::RunStep& run = step.run;
    const Status counted =
        allowed(statement, port_.can_run(run.state, run.clocks, statement.run.clock));
    if (counted || strict_ || statement.run.clock != ClockLine::Tck) {
        return counted;
    }
    return play::clocks_become_time(port_, hertz_, run, step.notes) ? Status() : counted;
}

Status Planner::plan_frequency(const Statement& statement, Step& step) {
    TRY(allowed(statement, port_.can_set_max_frequency(statement.hertz)));
    if (statement.hertz != hertz_) {
        step.kind = Step::Kind::Frequency;
        step.hertz = statement.hertz;
        hertz_ = statement.hertz;
    }
    return {};
}

Status Planner::plan_trst(const Statement& statement, Step& step) {
    if (trst_absent_) {
        return bad(statement, "there is no TRST any more after TRST ABSENT");
    }
    if (statement.trst == TrstMode::Absent) {
        trst_absent_ = true;
        return {};
    }
    if (statement.trst == TrstMode::On) {
        return plan_trst_on(statement, step);
    }
    step.kind = Step::Kind::Trst;
    step.trst = statement.trst == TrstMode::Off ? TrstLevel::Released : TrstLevel::HighZ;
    held_line_ = 0;
    return allowed(statement, port_.can_set_trst(step.trst));
}

// What cannot be held is pulsed, as long as nothing is scanned before it is released.
Status Planner::plan_trst_on(const Statement& statement, Step& step) {
    at_ = StableState::Reset;
    const Status held = allowed(statement, port_.can_set_trst(TrstLevel::Asserted));
    if (held) {
        step.kind = Step::Kind::Trst;
        step.trst = TrstLevel::Asserted;
        return {};
    }
    if (strict_ || !port_.can_pulse_trst()) {
        return held;
    }
    if (held_line_ != 0) {
        return {};
    }
    held_line_ = statement.line;
    step.kind = Step::Kind::PulseTrst;
    note(step, NoteKind::Pulse, "TRST is pulsed, not held, until it is released");
    return {};
}

Status Planner::finish(Step& step) {
    if (held_line_ == 0) {
        return {};
    }
    Statement on;
    on.kind = StatementKind::Trst;
    on.line = step.line = std::exchange(held_line_, 0);
    step.statement = static_cast<play::StatementId>(on.kind);
    return allowed(on, port_.can_set_trst(TrstLevel::Asserted));
}

} // namespace talvor::svf
