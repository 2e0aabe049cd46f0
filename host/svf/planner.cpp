#include "host/svf/planner.h"

#include "host/svf/keyword.h"

#include <fmt/format.h>

#include <utility>

namespace talvor::svf {

namespace {

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

// Stays one after the other are one.
void add_leg(std::vector<Leg>& legs, const Leg& leg) {
    if (leg.kind == Leg::Kind::Stay && !legs.empty() && legs.back().kind == Leg::Kind::Stay) {
        legs.back().clocks += leg.clocks;
    } else {
        legs.push_back(leg);
    }
}

} // namespace

Failure at_statement(std::string_view source_name, uint64_t line, StatementKind kind, Error error) {
    error.reason = fmt::format("{}: {}", name(kind), headline(error));
    error.thing = fmt::format("{}:{}", source_name, line);
    return Failure(std::move(error));
}

Failure Planner::at(const Statement& statement, Failure failure) const {
    return at_statement(source_name_, statement.line, statement.kind, std::move(failure).value());
}

Failure Planner::bad(const Statement& statement, std::string reason, std::string next_step) const {
    return at(statement, file_error("", std::move(reason), std::move(next_step)));
}

Status Planner::allowed(const Statement& statement, const Status& answer) const {
    return answer ? Status() : at(statement, Failure(answer.error()));
}

Status Planner::plan(Statement& statement, Step& step) {
    step.kind = Step::Kind::Nothing;
    step.statement = statement.kind;
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
        std::swap(memory.tdi, text.tdi.value);
        memory.has_tdi = true;
    }
    if (text.mask.given) {
        std::swap(memory.mask, text.mask.value);
        memory.has_mask = true;
    }
    memory.has_tdo = text.tdo.given;
    if (text.tdo.given) {
        std::swap(memory.tdo, text.tdo.value);
    }
    if (!memory.has_tdi && memory.length_bits != 0) {
        return bad(statement,
                   fmt::format("TDI is missing, and there is none of {} bits to carry over",
                               memory.length_bits),
                   "give TDI the first time and whenever the length changes");
    }
    return {};
}

ScanPart Planner::part(StatementKind kind) const {
    const Remembered& memory = remembered_[index_of(kind)];
    ScanPart part;
    part.kind = kind;
    part.length_bits = memory.length_bits;
    if (memory.length_bits != 0) {
        part.tdi = &memory.tdi;
        part.tdo = memory.has_tdo ? &memory.tdo : nullptr;
        part.mask = memory.has_mask ? &memory.mask : nullptr;
    }
    return part;
}

Status Planner::plan_scan(Statement& statement, Step& step) {
    TRY(remember(statement));
    const ScanFamily& family = statement.kind == StatementKind::Sdr ? kDrFamily : kIrFamily;
    step.kind = Step::Kind::Scan;
    PlannedScan& scan = step.scan;
    scan.path = family.path;
    scan.total_bits = 0;
    scan.end = family.path == ScanPath::Dr ? end_dr_ : end_ir_;
    for (size_t i = 0; i < family.kinds.size(); ++i) {
        scan.parts[i] = part(family.kinds[i]);
        scan.total_bits += scan.parts[i].length_bits;
    }
    if (scan.total_bits == 0) {
        return bad(statement, "there is no bit to shift");
    }
    TRY(allowed(statement, port_.can_scan(scan.path, scan.total_bits, scan.compares())));
    at_ = scan.end;
    return {};
}

Status Planner::plan_state(const Statement& statement, Step& step) {
    step.kind = Step::Kind::Path;
    step.legs.clear();
    if (statement.path.size() > 1) {
        return plan_path(statement, step);
    }
    const StableState to = *stable_state(statement.path.front());
    step.legs.push_back({to == StableState::Reset ? Leg::Kind::Reset : Leg::Kind::Move, to, 0});
    at_ = to;
    return {};
}

Status Planner::plan_path(const Statement& statement, Step& step) {
    std::vector<TapState> stretch; // since the last stable state
    TapState before = tap_state(at_);
    StableState from = at_;
    for (const TapState state : statement.path) {
        if (!is_step(before, state)) {
            return bad(statement,
                       fmt::format("no step leads from {} to {}", keyword(before), keyword(state)));
        }
        before = state;
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
    at_ = from;
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
    TRY(allowed(statement, port_.can_run(run_state_, step.run.clocks, text.clock)));
    at_ = run_end_;
    return {};
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
    step.kind = Step::Kind::Trst;
    step.trst = statement.trst == TrstMode::On    ? TrstLevel::Asserted
                : statement.trst == TrstMode::Off ? TrstLevel::Released
                                                  : TrstLevel::HighZ;
    TRY(allowed(statement, port_.can_set_trst(step.trst)));
    if (step.trst == TrstLevel::Asserted) {
        at_ = StableState::Reset;
    }
    return {};
}

} // namespace talvor::svf
