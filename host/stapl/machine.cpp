#include "host/stapl/machine.h"

#include "host/play/step_source.h"
#include "host/stapl/arithmetic.h"

#include <fmt/format.h>

#include <algorithm>
#include <utility>

namespace talvor::stapl {

namespace {

constexpr uint64_t kHookEvery = uint64_t{1} << 14; // statements
constexpr size_t kMostPrinted = size_t{1} << 16;   // characters of one PRINT

} // namespace

Machine::Machine(const Program& program, const Selection& selection, const MachineLimits& limits)
    : program_(program), selection_(selection), limits_(limits),
      variables_(program, limits.max_array_bytes), data_used_(program.blocks.size()) {}

bool Machine::wrong(std::string reason) {
    reason_ = std::move(reason);
    return false;
}

bool Machine::agreed(bool answer) {
    return answer || wrong(variables_.reason());
}

Failure Machine::fault() {
    if (stopped_) {
        return usage_error(program_.file, "stopped on request");
    }
    return play::at_statement(program_.file, statement_.line, name(statement_.kind),
                              file_error("", std::move(reason_)).value());
}

Status Machine::run(Request& request) {
    asked_ = false;
    idle_ = 0;
    while (!asked_) {
        if (place_ == kNowhere) {
            if (ended_ || !next_procedure()) {
                if (!reason_.empty()) {
                    return fault();
                }
                ended_ = true;
                ask(request, Request::Kind::End);
                return {};
            }
        }
        if (!execute(program_.code[place_++], request)) {
            ended_ = true;
            place_ = kNowhere;
            return fault();
        }
    }
    return {};
}

bool Machine::next_procedure() {
    return next_procedure_ < selection_.procedures.size() &&
           call(selection_.procedures[next_procedure_++]);
}

bool Machine::begin(uint32_t statement) {
    statement_ = program_.statements[statement];
    if (++executed_ % kHookEvery == 0 && hook_ && !hook_()) {
        stopped_ = true;
        return false;
    }
    return ++idle_ <= limits_.max_idle_statements ||
           wrong(fmt::format("{} statements have run without one that moves the TAP: does this "
                             "loop come to its end?",
                             limits_.max_idle_statements));
}

// NOLINTNEXTLINE(readability-function-size): a plain list
bool Machine::execute(const Instruction& instruction, Request& request) {
    const uint32_t argument = instruction.argument;
    switch (instruction.op) {
    case Op::Begin:
        return begin(argument);
    case Op::Constant:
        push(static_cast<int32_t>(argument));
        return true;
    case Op::Scalar:
        return scalar(argument);
    case Op::Element:
        return element(argument);
    case Op::Negate:
    case Op::Complement:
    case Op::Not:
    case Op::Absolute:
    case Op::Root:
    case Op::RootUp:
    case Op::LogUp:
    case Op::LogDown:
        return unary(instruction.op);
    case Op::Add:
    case Op::Subtract:
    case Op::Multiply:
    case Op::Divide:
    case Op::DivideDown:
    case Op::DivideUp:
    case Op::Remainder:
    case Op::And:
    case Op::Or:
    case Op::Xor:
    case Op::ShiftLeft:
    case Op::ShiftRight:
    case Op::AndAlso:
    case Op::OrElse:
    case Op::Same:
    case Op::NotSame:
    case Op::Less:
    case Op::Greater:
    case Op::NotMore:
    case Op::NotLess:
        return binary(instruction.op);
    case Op::FromSlice:
        return from_slice();
    case Op::Literal: {
        const stapl::Literal& literal = program_.literals[argument];
        slices_.push_back(
            {kNoVariable, &literal.bits, 0, 0, literal.bits.size(), false, literal.unit_bits});
        return true;
    }
    case Op::Whole:
        return whole(argument);
    case Op::Range: {
        const int32_t right = pop();
        return slice_of(argument, pop(), right);
    }
    case Op::Bit: {
        const int32_t index = pop();
        return slice_of(argument, index, index);
    }
    case Op::ToSlice:
        slices_.push_back({kNoVariable, nullptr, static_cast<uint32_t>(pop()), 0, 32, false, 0});
        return true;
    case Op::DeclareScalar:
        declare_scalar(argument);
        return true;
    case Op::DeclareBits:
        return agreed(variables_.declare_bits(argument, pop()));
    case Op::DeclareLiteral:
        return declare_literal(argument);
    case Op::DeclareNumbers:
        return agreed(variables_.declare_list(argument, pop()));
    case Op::DeclareList:
        return declare_list(argument);
    case Op::Store:
        return agreed(variables_.store(argument, pop()));
    case Op::StoreElement: {
        const int32_t value = pop();
        return agreed(variables_.store_element(argument, pop(), value));
    }
    case Op::StoreSlice:
        store_slice();
        return true;
    case Op::Jump:
        place_ = argument;
        return true;
    case Op::JumpUnless:
        place_ = pop() != 0 ? place_ : argument;
        return true;
    case Op::For:
        return begin_loop(argument);
    case Op::Next:
        return next_turn(argument);
    case Op::Call:
        return call(argument);
    case Op::UseData:
        return use_data(argument);
    case Op::Return:
        return give_back();
    case Op::Push:
        return stack({Record::Kind::Value, 0, 0, pop(), 0});
    case Op::Pop:
        return pop_into(argument);
    case Op::PopElement:
        return pop_into_element(argument);
    case Op::PrintText:
        add_text(program_.texts[argument]);
        return true;
    case Op::PrintNumber:
        add_text(fmt::format("{}", pop()));
        return true;
    case Op::PrintCode: {
        const int32_t code = pop();
        const char character = static_cast<char>(code < 0 || code > 127 ? 127 : code);
        add_text({&character, 1});
        return true;
    }
    case Op::Print:
        print();
        return true;
    case Op::Export: {
        const int32_t value = pop();
        if (listener_.number) {
            listener_.number(program_.texts[argument], value);
        }
        return true;
    }
    case Op::ExportSlice:
        export_slice(argument);
        return true;
    case Op::Exit:
        exit(pop());
        return true;
    case Op::Scan:
        return scan(instruction, request);
    case Op::Pad:
        return pad(instruction, request);
    case Op::Stop:
        request.path = static_cast<ScanPath>(instruction.small);
        request.state = static_cast<StableState>(argument);
        ask(request, Request::Kind::Stop);
        return true;
    case Op::State:
        request.states = &program_.paths[argument];
        ask(request, Request::Kind::State);
        return true;
    case Op::Wait:
        return wait(program_.waits[argument], request, Request::Kind::Wait);
    case Op::Trst:
        return wait(program_.waits[argument], request, Request::Kind::Trst);
    case Op::Frequency:
        return frequency(instruction.small != 0, request);
    case Op::Refuse:
        request.reason = program_.texts[argument];
        ask(request, Request::Kind::Refused);
        return true;
    }
    return true;
}

// ---- values -------------------------------------------------------------------------------------

int32_t Machine::pop() noexcept {
    const int32_t value = values_.back();
    values_.pop_back();
    return value;
}

Slice Machine::pop_slice() noexcept {
    const Slice slice = slices_.back();
    slices_.pop_back();
    return slice;
}

bool Machine::unary(Op op) {
    const char* const why = apply(op, values_.back(), values_.back());
    return why == nullptr || wrong(why);
}

bool Machine::binary(Op op) {
    const int32_t right = pop();
    const char* const why = apply(op, values_.back(), right, values_.back());
    return why == nullptr || wrong(why);
}

bool Machine::scalar(uint32_t variable) {
    push(variables_.number(variable));
    return agreed(variables_.alive(variable));
}

bool Machine::element(uint32_t variable) {
    return agreed(variables_.load_element(variable, values_.back(), values_.back()));
}

bool Machine::whole(uint32_t variable) {
    return agreed(variables_.whole(variable, slices_.emplace_back()));
}

bool Machine::slice_of(uint32_t variable, int32_t left, int32_t right) {
    return agreed(variables_.slice(variable, left, right, slices_.emplace_back()));
}

// So many bits of a stretch, the lowest of them. What was written down for this place may be
// shorter where `extend` says so.
bool Machine::read(const Slice& slice, uint64_t count, bool extend, const char* what, Bits& bits) {
    if (slice.count < count && !(extend && slice.variable == kNoVariable)) {
        return wrong(
            fmt::format("{} has {} bits, and {} are to be shifted", what, slice.count, count));
    }
    if (slice.bits != nullptr && !slice.reversed && slice.count >= count) {
        bits = slice.bits->slice(slice.first, count);
    } else {
        bits = slice.read();
        bits.resize(count);
    }
    return true;
}

bool Machine::from_slice() {
    const Slice slice = pop_slice();
    if (slice.count > 32) {
        return wrong(fmt::format("{} bits do not fit into the 32 of an integer", slice.count));
    }
    if (slice.bits != nullptr && !slice.reversed) {
        push(static_cast<int32_t>(slice.bits->to_uint(slice.first, slice.count)));
    } else {
        push(static_cast<int32_t>(slice.read().to_uint()));
    }
    return true;
}

// ---- variables ----------------------------------------------------------------------------------

void Machine::declare_scalar(uint32_t variable) {
    const int32_t value = pop();
    const auto chosen = selection_.values.find(variable);
    variables_.declare(variable, chosen == selection_.values.end() ? value : chosen->second);
}

bool Machine::declare_literal(uint32_t variable) {
    const Slice value = pop_slice();
    return agreed(variables_.declare_bits(variable, pop(), value));
}

bool Machine::declare_list(uint32_t variable) {
    const std::vector<int32_t>& list = program_.lists[static_cast<uint32_t>(pop())];
    return agreed(variables_.declare_list(variable, pop(), list));
}

void Machine::store_slice() {
    const Slice from = pop_slice();
    variables_.copy(pop_slice(), from);
}

// ---- control flow -------------------------------------------------------------------------------

bool Machine::stack(const Record& record) {
    if (records_.size() == limits_.max_stack) {
        return wrong(fmt::format("there are more than {} calls, loops and values on the stack",
                                 limits_.max_stack));
    }
    records_.push_back(record);
    return true;
}

bool Machine::call(uint32_t block) {
    const uint32_t back = place_;
    place_ = program_.blocks[block].entry;
    return stack({Record::Kind::Call, back, 0, 0, 0});
}

bool Machine::use_data(uint32_t block) {
    if (data_used_[block]) {
        return true;
    }
    data_used_[block] = true;
    return call(block);
}

// Loops that a GOTO has left are over.
bool Machine::give_back() {
    while (!records_.empty() && records_.back().kind == Record::Kind::For) {
        records_.pop_back();
    }
    if (records_.empty() || records_.back().kind != Record::Kind::Call) {
        return wrong("a value that was pushed in this block was not popped");
    }
    place_ = records_.back().place;
    records_.pop_back();
    return true;
}

bool Machine::begin_loop(uint32_t variable) {
    const int32_t step = pop();
    const int32_t stop = pop();
    if (step == 0) {
        return wrong("the step is 0");
    }
    return agreed(variables_.store(variable, pop())) &&
           stack({Record::Kind::For, place_, variable, stop, step});
}

// A loop within, which a GOTO has left, is over.
bool Machine::next_turn(uint32_t variable) {
    while (!records_.empty() && records_.back().kind == Record::Kind::For &&
           records_.back().variable != variable) {
        records_.pop_back();
    }
    if (records_.empty() || records_.back().kind != Record::Kind::For) {
        return wrong(
            fmt::format("there is no FOR {} that it ends", program_.variables[variable].name));
    }
    const Record& loop = records_.back();
    const int32_t now = variables_.number(variable);
    if (loop.step > 0 ? now >= loop.value : now <= loop.value) {
        records_.pop_back();
        return true;
    }
    push(now);
    push(loop.step);
    if (!binary(Op::Add)) {
        return false;
    }
    variables_.set_number(variable, pop());
    place_ = loop.place;
    return true;
}

bool Machine::pop_value(int32_t& value) {
    if (records_.empty() || records_.back().kind != Record::Kind::Value) {
        return wrong("there is no value on the stack");
    }
    value = records_.back().value;
    records_.pop_back();
    return true;
}

bool Machine::pop_into(uint32_t variable) {
    int32_t value = 0;
    return pop_value(value) && agreed(variables_.store(variable, value));
}

bool Machine::pop_into_element(uint32_t variable) {
    const int32_t index = pop();
    int32_t value = 0;
    return pop_value(value) && agreed(variables_.store_element(variable, index, value));
}

void Machine::exit(int32_t code) {
    outcome_ = {code, statement_.line};
    ended_ = true;
    place_ = kNowhere;
}

// ---- what a person is told ----------------------------------------------------------------------

void Machine::add_text(std::string_view text) {
    printed_.append(text.substr(0, kMostPrinted - std::min(kMostPrinted, printed_.size())));
}

void Machine::print() {
    if (listener_.print) {
        listener_.print(printed_);
    }
    printed_.clear();
}

void Machine::export_slice(uint32_t key) {
    const Slice slice = pop_slice();
    if (listener_.bits) {
        listener_.bits(program_.texts[key], slice.read());
    }
}

// ---- the TAP ------------------------------------------------------------------------------------

void Machine::ask(Request& request, Request::Kind kind) {
    request.kind = kind;
    request.statement = statement_;
    asked_ = true;
}

bool Machine::scan(const Instruction& instruction, Request& request) {
    const bool compares = (instruction.small & scan_flags::kCompare) != 0;
    const bool captures = (instruction.small & scan_flags::kCapture) != 0;
    const int64_t count = pop();
    const Slice mask = compares ? pop_slice() : Slice();
    const Slice expected = compares ? pop_slice() : Slice();
    const Slice capture = captures ? pop_slice() : Slice();
    const Slice data = pop_slice();
    if (count <= 0 || static_cast<uint64_t>(count) > limits_.max_scan_bits) {
        return wrong(fmt::format("{} bits cannot be shifted", count));
    }
    const auto bits = static_cast<uint64_t>(count);
    if (captures && capture.count < bits) {
        return wrong(fmt::format("the array to capture into has {} bits, and {} are to be shifted",
                                 capture.count, count));
    }
    if (!read(data, bits, true, "the data", request.bits) ||
        (compares && (!read(expected, bits, false, "what is expected", request.expected) ||
                      !read(mask, bits, false, "the mask", request.mask)))) {
        return false;
    }
    request.path = (instruction.small & scan_flags::kIr) != 0 ? ScanPath::Ir : ScanPath::Dr;
    request.captures = captures;
    request.compares = compares;
    capture_ = captures ? std::optional(capture) : std::nullopt;
    result_ = compares ? instruction.argument : kNoVariable;
    if (compares && !agreed(variables_.alive(result_))) {
        return false;
    }
    ask(request, Request::Kind::Scan);
    return true;
}

void Machine::answer(const Bits& bits, bool as_expected) {
    if (capture_) {
        variables_.write(*std::exchange(capture_, std::nullopt), bits);
    }
    if (result_ != kNoVariable) {
        variables_.set_number(std::exchange(result_, kNoVariable), as_expected ? 1 : 0);
    }
}

bool Machine::pad(const Instruction& instruction, Request& request) {
    const int64_t count = pop();
    if (count < 0 || static_cast<uint64_t>(count) > limits_.max_scan_bits) {
        return wrong(fmt::format("there cannot be {} bits", count));
    }
    request.has_bits = instruction.small != 0;
    if (request.has_bits &&
        !read(pop_slice(), static_cast<uint64_t>(count), true, "the data", request.bits)) {
        return false;
    }
    request.place = static_cast<PadPlace>(instruction.argument);
    request.count = static_cast<uint64_t>(count);
    ask(request, Request::Kind::Pad);
    return true;
}

bool Machine::duration(uint64_t& value) {
    const int32_t given = pop();
    value = static_cast<uint64_t>(std::max(given, 0));
    return given >= 0 || wrong(fmt::format("it cannot last {}", given));
}

// Its values lie on the stack in the order of the form.
bool Machine::wait(const WaitForm& form, Request& request, Request::Kind kind) {
    uint64_t most_clocks = 0;
    request.clocks = request.microseconds = request.most_microseconds = 0;
    if ((form.most_time && !duration(request.most_microseconds)) ||
        (form.most_clocks && !duration(most_clocks)) ||
        (form.time && !duration(request.microseconds)) ||
        (form.clocks && !duration(request.clocks))) {
        return false;
    }
    request.wait = form;
    ask(request, kind);
    return true;
}

bool Machine::frequency(bool has_value, Request& request) {
    request.hertz.reset();
    if (has_value) {
        const int32_t hertz = pop();
        if (hertz <= 0) {
            return wrong(fmt::format("the test clock cannot have {} Hz", hertz));
        }
        request.hertz = hertz;
    }
    ask(request, Request::Kind::Frequency);
    return true;
}

} // namespace talvor::stapl
