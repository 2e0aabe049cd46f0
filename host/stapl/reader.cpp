#include "host/stapl/reader.h"

#include "host/play/clocks.h"
#include "host/play/road.h"
#include "host/stapl/exit_code.h"

#include <fmt/format.h>

#include <algorithm>
#include <utility>

namespace talvor::stapl {

namespace {

using play::Leg;
using play::NoteKind;
using play::Step;

constexpr std::string_view kPercent = "PERCENT_DONE";

Leg leg_to(StableState to) {
    return {to == StableState::Reset ? Leg::Kind::Reset : Leg::Kind::Move, to, 0};
}

// Where a scan begins that finds the TAP between stable states: in the Pause state of its column.
StableState nearest(TapState state) {
    return index_of(state) < index_of(TapState::SelectIrScan) ? StableState::PauseDr
                                                              : StableState::PauseIr;
}

constexpr size_t index_of(ScanPath path) {
    return static_cast<size_t>(path);
}

} // namespace

Reader::Reader(const Program& program, Selection selection, const JtagPort& port,
               ReaderOptions options)
    : program_(program), selection_(std::move(selection)), port_(port), options_(options) {
    start();
}

void Reader::perform(Listener listener) {
    performs_ = true;
    listener_ = std::move(listener);
}

void Reader::on_chunk(std::function<bool()> hook) {
    hook_ = std::move(hook);
    machine_->on_chunk(hook_);
}

void Reader::start() {
    MachineLimits limits = options_.limits;
    if (!performs_) {
        limits.max_idle_statements =
            std::min(limits.max_idle_statements, options_.max_rehearsed_statements);
    }
    machine_.emplace(program_, selection_, limits);
    machine_->listen(listener());
    machine_->on_chunk(hook_);
    request_ = {};
    steps_.clear();
    for (Bits& pad : pads_) {
        pad.clear();
    }
    stops_ = {StableState::Idle, StableState::Idle};
    at_ = StableState::Reset;
    path_.clear();
    hertz_.reset();
    asked_ = assumed_ = open_ended_ = over_ = tells_percent_ = false;
    bytes_taken_ = 0;
    last_difference_.reset();
}

Status Reader::rewind() {
    start();
    return {};
}

// A rehearsal is told to nobody.
Listener Reader::listener() {
    Listener heard = performs_ ? listener_ : Listener();
    heard.number = [this, outside = heard.number](std::string_view key, int32_t value) {
        if (key == kPercent) {
            note_percent(value);
        }
        if (outside) {
            outside(key, value);
        }
    };
    return heard;
}

void Reader::note_percent(int32_t percent) {
    const auto share = static_cast<uint64_t>(std::clamp(percent, 0, 100));
    bytes_taken_ = tells_percent_ ? std::max(bytes_taken_, program_.bytes * share / 100)
                                  : program_.bytes * share / 100;
    tells_percent_ = true;
}

// ---- running ------------------------------------------------------------------------------------

bool Reader::gone_too_far() const {
    return !performs_ && machine_->executed() >= options_.max_rehearsed_statements;
}

Result<bool> Reader::next(Step& step) {
    while (steps_.empty()) {
        if (over_ || !TRY(run())) {
            over_ = true;
            bytes_taken_ = program_.bytes;
            return false;
        }
        plan();
    }
    std::swap(step, steps_.front());
    steps_.pop_front();
    step.bytes = bytes_taken_;
    asked_ = step.kind == Step::Kind::Scan && step.scan.told;
    return true;
}

// To the next request; false where there is none. What goes wrong behind an answer that was only
// taken for granted may not go wrong in truth.
Result<bool> Reader::run() {
    if (asked_) {
        take_for_granted();
    }
    if (gone_too_far()) {
        open_ended_ = true;
        return false;
    }
    const Status ran = machine_->run(request_);
    if (!ran && ran.error().kind == ErrorKind::BadFile && (assumed_ || gone_too_far())) {
        open_ended_ = true;
        return false;
    }
    TRY(ran);
    if (!tells_percent_) {
        bytes_taken_ = std::max<uint64_t>(bytes_taken_, request_.statement.offset);
    }
    return request_.kind != Request::Kind::End;
}

void Reader::take_for_granted() {
    asked_ = false;
    assumed_ = true;
    Bits bits(request_.bits.size());
    if (request_.compares) {
        bits = request_.expected;
        bits &= request_.mask;
    }
    machine_->answer(bits, true);
}

void Reader::answer(const Step& step, const Bits& bits) {
    asked_ = false;
    const Bits body = bits.slice(step.scan.parts[0].length_bits, step.scan.parts[1].length_bits);
    std::optional<play::Mismatch> difference;
    if (request_.compares) {
        difference =
            play::compare(body, request_.expected.words().data(), request_.mask.words().data());
    }
    machine_->answer(body, !difference);
    if (difference) {
        difference->line = step.line;
        difference->statement = stapl::name(request_.statement.kind);
        last_difference_ = std::move(difference);
    }
}

std::optional<Error> Reader::verdict() const {
    const Outcome& outcome = machine_->outcome();
    if (outcome.code == 0) {
        return std::nullopt;
    }
    std::string reason = fmt::format("EXIT {}: {}", outcome.code, meaning_of_exit(outcome.code));
    if (last_difference_) {
        reason += fmt::format("; the last comparison that failed: {}",
                              headline(play::to_error(*last_difference_, program_.file)));
    }
    return target_error(fmt::format("{}:{}", program_.file, outcome.line), std::move(reason))
        .value();
}

// ---- steps --------------------------------------------------------------------------------------

Step& Reader::add(Step::Kind kind) {
    Step& step = steps_.emplace_back();
    step.kind = kind;
    step.statement = static_cast<play::StatementId>(request_.statement.kind);
    step.line = request_.statement.line;
    return step;
}

// What the port refuses is said of the statement.
void Reader::allow(Step& step, const Status& answer) const {
    if (!answer) {
        step.refusal = play::at_statement(program_.file, step.line,
                                          stapl::name(request_.statement.kind), answer.error())
                           .value();
    }
}

void Reader::plan() {
    switch (request_.kind) {
    case Request::Kind::Scan:
        return plan_scan();
    case Request::Kind::Pad:
        return remember_pad();
    case Request::Kind::Stop:
        stops_[index_of(request_.path)] = request_.state;
        return;
    case Request::Kind::State:
        return walk();
    case Request::Kind::Wait:
        return plan_wait();
    case Request::Kind::Trst:
        return plan_trst();
    case Request::Kind::Frequency:
        return plan_frequency();
    case Request::Kind::Refused:
        return allow(add(Step::Kind::Nothing),
                     refused_error("", std::string(request_.reason),
                                   "write the file without parallel vectors"));
    case Request::Kind::End:
        return;
    }
}

void Reader::remember_pad() {
    Bits& pad = pads_[static_cast<size_t>(request_.place)];
    if (request_.has_bits) {
        swap(pad, request_.bits);
    } else {
        pad = Bits::ones(request_.count);
    }
}

// The values belong to the request and the pads, which stay as they are until the next one.
void Reader::plan_scan() {
    if (!path_.empty()) {
        settle(nearest(path_.back()));
    }
    const bool ir = request_.path == ScanPath::Ir;
    const std::array<const Bits*, 3> values{
        &pads_[static_cast<size_t>(ir ? PadPlace::PreIr : PadPlace::PreDr)], &request_.bits,
        &pads_[static_cast<size_t>(ir ? PadPlace::PostIr : PadPlace::PostDr)]};
    Step& step = add(Step::Kind::Scan);
    play::ScanStep& scan = step.scan;
    scan.path = request_.path;
    for (size_t i = 0; i < values.size(); ++i) {
        scan.parts[i].statement = step.statement;
        scan.parts[i].length_bits = values[i]->size();
        scan.parts[i].tdi = values[i]->empty() ? nullptr : values[i]->words().data();
        scan.total_bits += values[i]->size();
    }
    scan.told = request_.captures || request_.compares;
    if (request_.compares) {
        scan.parts[1].tdo = request_.expected.words().data();
        scan.parts[1].mask = request_.mask.words().data();
    }
    scan.end = at_ = stops_[index_of(request_.path)];
    allow(step, port_.can_scan(scan.path, scan.total_bits, scan.told));
}

void Reader::plan_frequency() {
    const Status can = port_.can_set_max_frequency(request_.hertz);
    if (request_.hertz == hertz_ && can) {
        return;
    }
    Step& step = add(Step::Kind::Frequency);
    step.hertz = hertz_ = request_.hertz;
    allow(step, can);
}

// ---- moves and waits ----------------------------------------------------------------------------

void Reader::walk() {
    for (const TapState state : *request_.states) {
        walk_to(state);
    }
}

// By the shortest way. A road through states that are not stable is one step when it comes to one
// that is.
void Reader::walk_to(TapState state) {
    const std::optional<StableState> stable = stable_state(state);
    if (path_.empty() && stable) {
        if (*stable == at_ && at_ != StableState::Reset) {
            if (at_ == StableState::Idle) {
                add_run({at_, 1, std::chrono::nanoseconds(0), std::nullopt, at_});
            }
            return;
        }
        add(Step::Kind::Path).legs = {leg_to(*stable)};
        at_ = *stable;
        return;
    }
    const TapState from = path_.empty() ? tap_state(at_) : path_.back();
    const std::vector<TapState> way = shortest_route(from, state);
    path_.insert(path_.end(), way.begin(), way.end());
    if (stable && !path_.empty()) {
        finish_path();
    }
}

// From between stable states to one of them.
void Reader::settle(StableState state) {
    if (!path_.empty()) {
        walk_to(tap_state(state));
    }
}

void Reader::finish_path() {
    const std::vector<TapState> path = std::exchange(path_, {});
    Step& step = add(Step::Kind::Path);
    std::optional<std::vector<Leg>> legs = play::equal_road(port_, at_, path);
    at_ = *stable_state(path.back());
    if (legs) {
        step.legs = std::move(*legs);
    } else {
        allow(step, refused_error("", "the pod has no road with the same captures and updates",
                                  "name only the state to reach"));
    }
}

void Reader::add_run(const play::RunStep& run) {
    Step& step = add(Step::Kind::Run);
    step.run = run;
    at_ = run.end;
    const Status counted = port_.can_run(run.state, run.clocks, ClockLine::Tck);
    if (!counted &&
        (options_.strict || !play::clocks_become_time(port_, hertz_, step.run, step.notes))) {
        allow(step, counted);
    }
}

void Reader::plan_wait() {
    const WaitForm& form = request_.wait;
    settle(form.state);
    std::optional<std::chrono::nanoseconds> most;
    if (form.most_time) {
        most = std::chrono::microseconds(request_.most_microseconds);
    }
    add_run({form.state, request_.clocks, std::chrono::microseconds(request_.microseconds), most,
             form.end.value_or(form.state)});
}

// What cannot be held is pulsed.
void Reader::plan_trst() {
    path_.clear();
    at_ = StableState::Reset;
    const Status held = port_.can_set_trst(TrstLevel::Asserted);
    if (!held && !options_.strict && port_.can_pulse_trst()) {
        add(Step::Kind::PulseTrst)
            .notes.push_back({NoteKind::Pulse, "TRST is pulsed, and not held as long as it says"});
        return;
    }
    Step& step = add(Step::Kind::Trst);
    step.trst = TrstLevel::Asserted;
    allow(step, held);
    if (!held) {
        return;
    }
    add_run({StableState::Reset, request_.clocks, std::chrono::microseconds(request_.microseconds),
             std::nullopt, StableState::Reset});
    Step& released = add(Step::Kind::Trst);
    released.trst = TrstLevel::Released;
    allow(released, port_.can_set_trst(TrstLevel::Released));
}

} // namespace talvor::stapl
