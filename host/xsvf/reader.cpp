#include "host/xsvf/reader.h"

#include "host/play/road.h"

#include <fmt/format.h>

#include <algorithm>
#include <utility>

namespace talvor::xsvf {

namespace {

using play::Leg;
using play::Step;

constexpr uint32_t kStates = kTapStates;

std::chrono::nanoseconds microseconds(uint32_t count) {
    return std::chrono::microseconds(count);
}

// `sum` becomes the sum of two numbers of as many bits; what does not fit is dropped.
void add(Bits& sum, const Bits& more) {
    uint32_t carry = 0;
    for (size_t i = 0; i < sum.words().size() && i < more.words().size(); ++i) {
        carry += uint32_t{sum.words()[i]} + more.words()[i];
        sum.words()[i] = static_cast<uint16_t>(carry & 0xFFFFU);
        carry >>= 16;
    }
    sum.clear_unused();
}

// The bits of `data`, the lowest first, go where `mask` is one.
void put_under(Bits& value, const Bits& mask, const Bits& data) {
    size_t from = 0;
    for (size_t i = 0; i < mask.size() && from < data.size(); ++i) {
        if (mask[i]) {
            value.set(i, data[from++]);
        }
    }
}

} // namespace

Reader::Reader(play::ByteSource& source, const JtagPort& port, ReaderLimits limits)
    : source_(source), port_(port), limits_(limits) {
    start();
}

void Reader::start() {
    bytes_.emplace(source_);
    made_.clear();
    current_ = {};
    complete_ = false;
    at_offset_ = 0;
    sdr_bits_ = 0;
    tdo_.reset();
    mask_.reset();
    address_mask_.clear();
    data_mask_.clear();
    run_test_ = 0;
    repeat_ = 32;
    end_ir_ = end_dr_ = StableState::Idle;
    at_ = StableState::Reset;
    path_.clear();
    pieces_.reset();
}

Status Reader::rewind() {
    TRY(source_.rewind());
    start();
    return {};
}

Failure Reader::bad(std::string reason, std::string next_step) const {
    return bytes_->error(at_offset_, fmt::format("{}: {}", xsvf::name(opcode_), reason),
                         std::move(next_step));
}

// The next step that was made, with pointers to where its values stand now.
void Reader::give(Step& step) {
    current_ = std::move(made_.front());
    made_.pop_front();
    std::swap(step, current_.step);
    if (step.kind == Step::Kind::Scan) {
        play::ScanPart& body = step.scan.parts[1];
        body.tdi = current_.tdi.words().data();
        body.tdo = current_.tdo ? current_.tdo->words().data() : nullptr;
        body.mask = current_.mask ? current_.mask->words().data() : nullptr;
    }
    step.bytes = bytes_->offset();
}

Result<bool> Reader::next(Step& step) {
    while (made_.empty()) {
        if (complete_) {
            return false;
        }
        at_offset_ = bytes_->offset();
        if (TRY(bytes_->at_end())) {
            if (at_offset_ == 0) {
                return false;
            }
            return bytes_->error(at_offset_, "the file ends without XCOMPLETE",
                                 "the file may be cut short");
        }
        opcode_ = TRY(opcode());
        TRY(instruction(opcode_));
    }
    give(step);
    return true;
}

Result<Opcode> Reader::opcode() {
    const uint32_t byte = TRY(bytes_->number(1, "an instruction"));
    if (byte >= kOpcodes || kInstructionNames[byte].empty()) {
        return bytes_->error(at_offset_, fmt::format("0x{:02X} is no XSVF instruction", byte),
                             "check that this is an XSVF file, and that it is whole");
    }
    return static_cast<Opcode>(byte);
}

// NOLINTNEXTLINE(readability-function-size): a plain list
Status Reader::instruction(Opcode opcode) {
    switch (opcode) {
    case Opcode::Complete:
        return finish();
    case Opcode::TdoMask:
        return read_dr_value("XTDOMASK", mask_.emplace());
    case Opcode::Sir:
        return scan_ir(1);
    case Opcode::Sir2:
        return scan_ir(2);
    case Opcode::Sdr:
        return scan_dr(false);
    case Opcode::SdrTdo:
        return scan_dr(true);
    case Opcode::RunTest:
        return read_number(4, "XRUNTEST", run_test_);
    case Opcode::Repeat:
        return read_number(1, "XREPEAT", repeat_);
    case Opcode::SdrSize:
        return set_size();
    case Opcode::SetSdrMasks:
        TRY(read_dr_value("XSETSDRMASKS", address_mask_));
        return read_dr_value("XSETSDRMASKS", data_mask_);
    case Opcode::SdrInc:
        return scan_increments();
    case Opcode::SdrB:
    case Opcode::SdrTdoB:
        return scan_piece(true, false, opcode == Opcode::SdrTdoB);
    case Opcode::SdrC:
    case Opcode::SdrTdoC:
        return scan_piece(false, false, opcode == Opcode::SdrTdoC);
    case Opcode::SdrE:
    case Opcode::SdrTdoE:
        return scan_piece(false, true, opcode == Opcode::SdrTdoE);
    case Opcode::State:
        return walk();
    case Opcode::EndIr:
        return set_end("XENDIR", StableState::PauseIr, end_ir_);
    case Opcode::EndDr:
        return set_end("XENDDR", StableState::PauseDr, end_dr_);
    case Opcode::Comment:
        return skip_comment();
    case Opcode::Wait:
        return wait();
    }
    return {};
}

Status Reader::finish() {
    complete_ = true;
    return pieces_ || !path_.empty() ? bad("a scan or a path has not come to its end") : Status();
}

Status Reader::read_number(size_t bytes, const char* what, uint32_t& value) {
    value = TRY(bytes_->number(bytes, what));
    return {};
}

// ---- what instructions say ----------------------------------------------------------------------

Status Reader::set_size() {
    const uint64_t bits = TRY(bytes_->number(4, "XSDRSIZE"));
    if (bits > limits_.max_length_bits) {
        return bad(fmt::format("{} bits are more than the {} that this player takes", bits,
                               limits_.max_length_bits));
    }
    if (bits != sdr_bits_) {
        tdo_.reset();
        mask_.reset();
        address_mask_.clear();
        data_mask_.clear();
    }
    sdr_bits_ = bits;
    return {};
}

Status Reader::need_size() const {
    return sdr_bits_ != 0 ? Status() : bad("there is no XSDRSIZE before it");
}

Status Reader::read_dr_value(const char* what, Bits& value) {
    TRY(need_size());
    return bytes_->value(sdr_bits_, what, value);
}

Status Reader::set_end(const char* what, StableState paused, StableState& end) {
    const uint32_t code = TRY(bytes_->number(1, what));
    if (code > 1) {
        return bad(fmt::format("{} is neither 0, Run-Test/Idle, nor 1, {}", code, name_of(paused)));
    }
    end = code == 0 ? StableState::Idle : paused;
    return {};
}

Result<TapState> Reader::state() {
    const uint32_t code = TRY(bytes_->number(1, "a state"));
    if (code >= kStates) {
        return bad(fmt::format("{} is no TAP state: they are 0 to {}", code, kStates - 1));
    }
    return static_cast<TapState>(code);
}

Result<StableState> Reader::stable(const char* what) {
    const TapState given = TRY(state());
    const std::optional<StableState> found = stable_state(given);
    if (!found) {
        return bad(fmt::format("{} in {}: only in Test-Logic-Reset, Run-Test/Idle, Pause-DR and "
                               "Pause-IR nothing is shifted meanwhile",
                               what, name_of(given)));
    }
    return *found;
}

Status Reader::skip_comment() {
    while (TRY(bytes_->number(1, "XCOMMENT")) != 0) {
    }
    return {};
}

// ---- scans --------------------------------------------------------------------------------------

Status Reader::scan_ir(size_t length_bytes) {
    const uint32_t bits = TRY(bytes_->number(length_bytes, "the length of an instruction"));
    if (bits == 0) {
        return bad("there is no bit to shift");
    }
    Bits tdi;
    TRY(bytes_->value(bits, "XSIR", tdi));
    Made& made = make(Step::Kind::Scan);
    made.tdi = std::move(tdi);
    make_scan(ScanPath::Ir, made, end_ir_);
    make_wait();
    return {};
}

// Without a size there is nothing to shift, but the wait.
Status Reader::scan_dr(bool with_tdo) {
    if (sdr_bits_ == 0) {
        make_wait();
        return {};
    }
    Bits tdi;
    TRY(bytes_->value(sdr_bits_, "TDI", tdi));
    if (with_tdo) {
        TRY(bytes_->value(sdr_bits_, "TDO", tdo_.emplace()));
    }
    make_dr_scan(std::move(tdi));
    return {};
}

Status Reader::scan_increments() {
    Bits tdi;
    TRY(read_dr_value("XSDRINC", tdi));
    if (data_mask_.empty()) {
        return bad("there is no XSETSDRMASKS before it");
    }
    make_dr_scan(tdi);
    const size_t data_bits = data_mask_.count_ones();
    Bits data;
    for (uint32_t left = TRY(bytes_->number(1, "XSDRINC")); left != 0; --left) {
        TRY(bytes_->value(data_bits, "XSDRINC", data));
        add(tdi, address_mask_);
        put_under(tdi, data_mask_, data);
        make_dr_scan(tdi);
    }
    return {};
}

Status Reader::scan_piece(bool first, bool last, bool with_tdo) {
    if (first == pieces_.has_value()) {
        return bad(first ? "the scan before it has not come to its end"
                         : "there is no first piece before it");
    }
    Bits tdi;
    TRY(read_dr_value("TDI", tdi));
    Bits tdo(sdr_bits_);
    if (with_tdo) {
        TRY(read_dr_value("TDO", tdo));
    }
    if (first) {
        pieces_.emplace();
    }
    if (pieces_->tdi.size() > limits_.max_length_bits - sdr_bits_) {
        return bad(fmt::format("the scan is longer than the {} bits that this player takes",
                               limits_.max_length_bits));
    }
    pieces_->tdi.append(tdi);
    pieces_->tdo.append(tdo);
    pieces_->mask.append(Bits(sdr_bits_, with_tdo));
    if (last) {
        Made& made = make(Step::Kind::Scan);
        made.tdi = std::move(pieces_->tdi);
        if (!pieces_->mask.all_zeros()) {
            made.tdo = std::move(pieces_->tdo);
            made.mask = std::move(pieces_->mask);
        }
        pieces_.reset();
        make_scan(ScanPath::Dr, made, end_dr_);
    }
    return {};
}

void Reader::make_dr_scan(Bits tdi) {
    Made& made = make(Step::Kind::Scan);
    made.tdi = std::move(tdi);
    made.tdo = tdo_;
    made.mask = mask_;
    make_scan(ScanPath::Dr, made, end_dr_);
    if (made.tdo) {
        made.step.scan.retry = {repeat_, run_test_, microseconds(run_test_)};
    }
    make_wait();
}

void Reader::make_scan(ScanPath path, Made& made, StableState end) {
    play::ScanStep& scan = made.step.scan;
    scan = {};
    scan.path = path;
    scan.parts[1].statement = made.step.statement;
    scan.parts[1].length_bits = scan.total_bits = made.tdi.size();
    scan.end = end;
    at_ = end;
    allow(made.step, port_.can_scan(path, scan.total_bits, made.tdo.has_value()));
}

// ---- moves and waits ----------------------------------------------------------------------------

void Reader::make_wait() {
    if (run_test_ != 0) {
        make_run(StableState::Idle, run_test_, microseconds(run_test_), StableState::Idle);
    }
}

void Reader::make_run(StableState state, uint64_t clocks, std::chrono::nanoseconds time,
                      StableState end) {
    Made& made = make(Step::Kind::Run);
    made.step.run = {state, clocks, time, std::nullopt, end};
    at_ = end;
    allow(made.step, port_.can_run(state, clocks, ClockLine::Tck));
}

Status Reader::wait() {
    const StableState where = TRY(stable("a wait"));
    const StableState end = TRY(stable("an end"));
    const uint32_t time = TRY(bytes_->number(4, "XWAIT"));
    make_run(where, where == StableState::Idle ? time : 0, microseconds(time), end);
    return {};
}

Status Reader::walk() {
    const TapState to = TRY(state());
    const TapState from = path_.empty() ? tap_state(at_) : path_.back();
    const std::optional<StableState> end = stable_state(to);
    if (path_.empty() && end) {
        Made& made = make(Step::Kind::Path);
        made.step.legs = {
            {*end == StableState::Reset ? Leg::Kind::Reset : Leg::Kind::Move, *end, 0}};
        at_ = *end;
        return {};
    }
    if (!is_step(from, to) && to != TapState::TestLogicReset) {
        return bad(fmt::format("no step leads from {} to {}", name_of(from), name_of(to)));
    }
    path_.push_back(to);
    if (end) {
        make_path(std::exchange(path_, {}));
    }
    return {};
}

// Through states that are not stable: by a road that is the same to the target.
void Reader::make_path(std::vector<TapState> path) {
    const StableState end = *stable_state(path.back());
    Made& made = make(Step::Kind::Path);
    std::optional<std::vector<Leg>> legs =
        end == StableState::Reset && !is_step(path[path.size() - 2], path.back())
            ? std::vector<Leg>{{Leg::Kind::Reset, end, 0}}
            : play::equal_road(port_, at_, path);
    at_ = end;
    if (legs) {
        made.step.legs = std::move(*legs);
    } else {
        allow(made.step, refused_error("", "the pod has no road with the same captures and updates",
                                       "name only the state to reach"));
    }
}

Reader::Made& Reader::make(Step::Kind kind) {
    Made& made = made_.emplace_back();
    made.step.kind = kind;
    made.step.statement = static_cast<play::StatementId>(opcode_);
    made.step.line = at_offset_;
    return made;
}

// What the port refuses is said of the instruction.
void Reader::allow(Step& step, const Status& answer) const {
    if (!answer) {
        step.refusal =
            play::at_statement(name(), at_offset_, xsvf::name(opcode_), answer.error()).value();
    }
}

} // namespace talvor::xsvf
