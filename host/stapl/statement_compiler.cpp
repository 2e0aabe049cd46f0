#include "host/stapl/statement_compiler.h"

#include "host/svf/keyword.h"

#include <fmt/format.h>

#include <algorithm>
#include <array>
#include <optional>
#include <utility>

namespace talvor::stapl {

namespace {

constexpr unsigned kMostDepth = 200;

Result<StableState> take_stable_state(Cursor& cursor) {
    const std::optional<TapState> state = svf::to_tap_state(cursor.name());
    if (!state) {
        return cursor.missing("the name of a TAP state");
    }
    const std::optional<StableState> stable = stable_state(*state);
    if (!stable) {
        return file_error("", fmt::format("the TAP cannot stay in {}", cursor.name()),
                          "RESET, IDLE, DRPAUSE and IRPAUSE are stable");
    }
    cursor.take();
    return *stable;
}

} // namespace

void StatementCompiler::begin() {
    for (const uint32_t used : program_.blocks[scope_.block()].uses) {
        if (program_.blocks[used].is_data) {
            emit(Op::UseData, used);
        }
    }
}

uint32_t StatementCompiler::text(std::string text) {
    program_.texts.push_back(std::move(text));
    return static_cast<uint32_t>(program_.texts.size() - 1);
}

Status StatementCompiler::add(const SourceStatement& source) {
    for (const uint32_t label : source.labels) {
        if (!labels_.try_emplace(label, here()).second) {
            return file_error("", fmt::format("there is another label {:.64} in this procedure",
                                              tokens_.names[label]));
        }
    }
    line_ = source.line;
    offset_ = source.offset;
    depth_ = 0;
    Cursor cursor(tokens_, source.first, source.end);
    TRY(statement(source.kind, cursor));
    return cursor.need_end();
}

std::vector<LostJump> StatementCompiler::lost_jumps() {
    std::vector<LostJump> lost;
    for (const Jump& jump : jumps_) {
        const auto label = labels_.find(jump.to.label);
        if (label == labels_.end()) {
            lost.push_back(jump.to);
        } else {
            program_.code[jump.from].argument = label->second;
        }
    }
    return lost;
}

// NOLINTNEXTLINE(readability-function-size): a plain list
Status StatementCompiler::statement(StatementKind kind, Cursor& cursor) {
    if (kind == StatementKind::Assignment && cursor.at_end()) {
        return {}; // a semicolon alone
    }
    emit(Op::Begin, static_cast<uint32_t>(program_.statements.size()));
    program_.statements.push_back({kind, line_, offset_});
    switch (kind) {
    case StatementKind::Assignment:
        return assignment(cursor);
    case StatementKind::Boolean:
    case StatementKind::Integer:
        return declaration(cursor);
    case StatementKind::Call:
        return call(cursor);
    case StatementKind::Goto:
        return go_to(cursor);
    case StatementKind::For:
        return loop(cursor);
    case StatementKind::Next:
        return next(cursor);
    case StatementKind::If:
        return condition(cursor);
    case StatementKind::Push:
        TRY(expressions_.value(cursor));
        emit(Op::Push);
        return {};
    case StatementKind::Pop:
        return pop(cursor);
    case StatementKind::Print:
        return print(cursor);
    case StatementKind::Export:
        return export_value(cursor);
    case StatementKind::Exit:
        TRY(expressions_.integer(cursor));
        emit(Op::Exit);
        return {};
    case StatementKind::EndData:
    case StatementKind::EndProc:
        emit(Op::Return);
        return {};
    default:
        return on_the_tap(kind, cursor);
    }
}

// NOLINTNEXTLINE(readability-function-size): a plain list
Status StatementCompiler::on_the_tap(StatementKind kind, Cursor& cursor) {
    switch (kind) {
    case StatementKind::DrScan:
        return scan(cursor, 0);
    case StatementKind::IrScan:
        return scan(cursor, scan_flags::kIr);
    case StatementKind::DrStop:
        return stop(cursor, ScanPath::Dr);
    case StatementKind::IrStop:
        return stop(cursor, ScanPath::Ir);
    case StatementKind::PreDr:
        return pad(cursor, PadPlace::PreDr);
    case StatementKind::PreIr:
        return pad(cursor, PadPlace::PreIr);
    case StatementKind::PostDr:
        return pad(cursor, PadPlace::PostDr);
    case StatementKind::PostIr:
        return pad(cursor, PadPlace::PostIr);
    case StatementKind::State:
        return path(cursor);
    case StatementKind::Wait:
        return wait(cursor, false);
    case StatementKind::Trst:
        return wait(cursor, true);
    case StatementKind::Frequency:
        return frequency(cursor);
    case StatementKind::Vector:
    case StatementKind::VMap:
        return refuse(cursor);
    default:
        return file_error("", "it stands within a block");
    }
}

// ---- values and variables -----------------------------------------------------------------------

Result<uint32_t> StatementCompiler::scalar_variable(Cursor& cursor, Type type,
                                                    std::string_view wanted) {
    const uint32_t variable = TRY(scope_.variable(TRY(cursor.take_name(wanted))));
    const Variable& found = scope_.at(variable);
    if (found.is_array || found.type != type) {
        return file_error("", fmt::format("{:.64} is not {}", found.name, wanted));
    }
    return variable;
}

Status StatementCompiler::assignment(Cursor& cursor) {
    const uint32_t variable = TRY(scope_.variable(cursor.peek().value));
    const Variable& found = scope_.at(variable);
    if (found.is_array) {
        return assignment_to_array(cursor, variable);
    }
    cursor.take();
    TRY(cursor.need(Sign::Equals, "the '=' of the assignment"));
    TRY(found.type == Type::Boolean ? expressions_.boolean(cursor) : expressions_.integer(cursor));
    emit(Op::Store, variable);
    return {};
}

// One element of either type, or a stretch of a Boolean array.
Status StatementCompiler::assignment_to_array(Cursor& cursor, uint32_t variable) {
    const bool is_bits = scope_.at(variable).type == Type::Boolean;
    cursor.take();
    bool stretch = is_bits && !cursor.is(Sign::LeftBracket);
    if (!stretch) {
        TRY(cursor.need(Sign::LeftBracket, "the '[' of an array"));
        stretch = is_bits && cursor.take(Sign::RightBracket);
    }
    if (stretch) {
        emit(Op::Whole, variable);
    } else {
        TRY(expressions_.integer(cursor));
        stretch = is_bits && cursor.take(Sign::To);
        if (stretch) {
            TRY(expressions_.integer(cursor));
            emit(Op::Range, variable);
        }
        TRY(cursor.need(Sign::RightBracket, "the ']'"));
    }
    TRY(cursor.need(Sign::Equals, "the '=' of the assignment"));
    TRY(stretch   ? expressions_.slice(cursor)
        : is_bits ? expressions_.boolean(cursor)
                  : expressions_.integer(cursor));
    emit(stretch ? Op::StoreSlice : Op::StoreElement, variable);
    return {};
}

Status StatementCompiler::declaration(Cursor& cursor) {
    const uint32_t variable = TRY(scope_.variable(TRY(cursor.take_name("a name"))));
    if (!scope_.at(variable).is_array) {
        return scalar(cursor, variable);
    }
    TRY(cursor.need(Sign::LeftBracket, "the '['"));
    TRY(expressions_.integer(cursor));
    TRY(cursor.need(Sign::RightBracket, "the ']' behind the size"));
    return scope_.at(variable).type == Type::Boolean ? bits(cursor, variable)
                                                     : numbers(cursor, variable);
}

Status StatementCompiler::scalar(Cursor& cursor, uint32_t variable) {
    if (!cursor.take(Sign::Equals)) {
        emit(Op::Constant, 0);
    } else if (scope_.at(variable).type == Type::Boolean) {
        TRY(expressions_.boolean(cursor));
    } else {
        TRY(expressions_.integer(cursor));
    }
    emit(Op::DeclareScalar, variable);
    return {};
}

Status StatementCompiler::bits(Cursor& cursor, uint32_t variable) {
    if (!cursor.take(Sign::Equals)) {
        emit(Op::DeclareBits, variable);
        return {};
    }
    if (cursor.peek().kind == Token::Kind::Number) {
        return file_error("", "the value of a Boolean array begins with '#', '$' or '@'");
    }
    TRY(expressions_.slice(cursor));
    emit(Op::DeclareLiteral, variable);
    return {};
}

Status StatementCompiler::numbers(Cursor& cursor, uint32_t variable) {
    if (!cursor.take(Sign::Equals)) {
        emit(Op::DeclareNumbers, variable);
        return {};
    }
    return constant_list(cursor, variable) ? Status() : computed_list(cursor, variable);
}

// Most lists are long and have numbers only. The first number is that of the highest index.
bool StatementCompiler::constant_list(Cursor& cursor, uint32_t variable) {
    const Cursor start = cursor;
    std::vector<int32_t> list;
    do {
        const bool minus = cursor.take(Sign::Minus);
        if (cursor.peek().kind != Token::Kind::Number) {
            cursor = start;
            return false;
        }
        const uint32_t value = cursor.peek().value;
        if (value > INT32_MAX && !minus) {
            cursor = start;
            return false; // which says why
        }
        list.push_back(static_cast<int32_t>(minus ? 0 - value : value));
        cursor.take();
    } while (cursor.take(Sign::Comma));
    if (!cursor.at_end()) {
        cursor = start;
        return false;
    }
    std::reverse(list.begin(), list.end());
    emit(Op::Constant, static_cast<uint32_t>(program_.lists.size()));
    program_.lists.push_back(std::move(list));
    emit(Op::DeclareList, variable);
    return true;
}

// How many there are is known when all have been seen: the instructions that need it are behind.
Status StatementCompiler::computed_list(Cursor& cursor, uint32_t variable) {
    const auto list = static_cast<uint32_t>(program_.lists.size());
    emit(Op::Constant, list);
    program_.lists.emplace_back();
    emit(Op::DeclareList, variable);
    std::vector<uint32_t> places;
    do {
        places.push_back(here());
        emit(Op::Constant);
        TRY(expressions_.integer(cursor));
        emit(Op::StoreElement, variable);
    } while (cursor.take(Sign::Comma));
    program_.lists[list].resize(places.size());
    for (size_t i = 0; i < places.size(); ++i) {
        program_.code[places[i]].argument = static_cast<uint32_t>(places.size() - 1 - i);
    }
    return {};
}

// ---- control flow -------------------------------------------------------------------------------

Status StatementCompiler::call(Cursor& cursor) {
    emit(Op::Call, TRY(scope_.procedure(TRY(cursor.take_name("the name of a procedure")))));
    return {};
}

Status StatementCompiler::go_to(Cursor& cursor) {
    const uint32_t label = TRY(cursor.take_name("a label"));
    jumps_.push_back({here(), {label, line_}});
    emit(Op::Jump);
    return {};
}

Status StatementCompiler::loop(Cursor& cursor) {
    const uint32_t variable = TRY(scalar_variable(cursor, Type::Integer, "an integer variable"));
    TRY(cursor.need(Sign::Equals, "the '='"));
    TRY(expressions_.integer(cursor));
    if (!cursor.take_word("TO")) {
        return cursor.missing("TO");
    }
    TRY(expressions_.integer(cursor));
    if (cursor.take_word("STEP")) {
        TRY(expressions_.integer(cursor));
    } else {
        emit(Op::Constant, 1);
    }
    emit(Op::For, variable);
    return {};
}

Status StatementCompiler::next(Cursor& cursor) {
    emit(Op::Next, TRY(scalar_variable(cursor, Type::Integer, "an integer variable")));
    return {};
}

Status StatementCompiler::condition(Cursor& cursor) {
    TRY(expressions_.boolean(cursor));
    if (!cursor.take_word("THEN")) {
        return cursor.missing("THEN");
    }
    if (++depth_ > kMostDepth) {
        return file_error("",
                          fmt::format("there are more than {} IFs behind one another", kMostDepth));
    }
    const uint32_t jump = here();
    emit(Op::JumpUnless);
    const std::optional<StatementKind> kind = to_statement_kind(cursor.name());
    if (kind) {
        cursor.take();
    } else if (!cursor.is_name()) {
        return cursor.missing("a statement behind THEN");
    }
    if (kind == StatementKind::EndProc || kind == StatementKind::EndData) {
        return file_error("", "the end of a block cannot stand behind THEN");
    }
    if (kind == StatementKind::Boolean || kind == StatementKind::Integer) {
        return file_error("", "a variable cannot be declared behind THEN");
    }
    TRY(statement(kind.value_or(StatementKind::Assignment), cursor));
    program_.code[jump].argument = here();
    return {};
}

Status StatementCompiler::pop(Cursor& cursor) {
    const uint32_t variable = TRY(scope_.variable(TRY(cursor.take_name("a variable"))));
    if (!scope_.at(variable).is_array) {
        emit(Op::Pop, variable);
        return {};
    }
    TRY(cursor.need(Sign::LeftBracket, "the '[' of an array"));
    TRY(expressions_.integer(cursor));
    TRY(cursor.need(Sign::RightBracket, "the ']'"));
    emit(Op::PopElement, variable);
    return {};
}

// ---- what a person is told ----------------------------------------------------------------------

Status StatementCompiler::print(Cursor& cursor) {
    while (!cursor.at_end()) {
        TRY(print_item(cursor));
        if (!cursor.at_end()) {
            TRY(cursor.need(Sign::Comma, "the ',' between two things to print"));
        }
    }
    emit(Op::Print);
    return {};
}

Status StatementCompiler::print_item(Cursor& cursor) {
    if (cursor.peek().kind == Token::Kind::Text) {
        emit(Op::PrintText, text(TRY(cursor.take_text(""))));
        return {};
    }
    if (cursor.take_word("CHR$")) {
        TRY(cursor.need(Sign::LeftParenthesis, "the '(' of CHR$"));
        TRY(expressions_.integer(cursor));
        TRY(cursor.need(Sign::RightParenthesis, "the ')'"));
        emit(Op::PrintCode);
        return {};
    }
    TRY(expressions_.value(cursor));
    emit(Op::PrintNumber);
    return {};
}

Status StatementCompiler::export_value(Cursor& cursor) {
    const uint32_t key = text(TRY(cursor.take_text("the key, in quotes")));
    TRY(cursor.need(Sign::Comma, "the ',' behind the key"));
    if (TRY(expressions_.try_slice(cursor, Sign::Semicolon))) {
        emit(Op::ExportSlice, key);
        return {};
    }
    TRY(expressions_.value(cursor));
    emit(Op::Export, key);
    return {};
}

// ---- the TAP ------------------------------------------------------------------------------------

Status StatementCompiler::scan(Cursor& cursor, uint8_t flags) {
    TRY(expressions_.integer(cursor));
    TRY(cursor.need(Sign::Comma, "the ',' behind the number of bits"));
    TRY(expressions_.slice(cursor));
    Instruction scan{Op::Scan, flags, 0};
    TRY(scan_answer(cursor, scan));
    program_.code.push_back(scan);
    return {};
}

Status StatementCompiler::scan_answer(Cursor& cursor, Instruction& scan) {
    while (!cursor.at_end()) {
        cursor.take(Sign::Comma);
        if ((scan.small & (scan_flags::kCapture | scan_flags::kCompare)) == 0 &&
            cursor.take_word("CAPTURE")) {
            TRY(expressions_.target(cursor));
            scan.small |= scan_flags::kCapture;
        } else if ((scan.small & scan_flags::kCompare) == 0 && cursor.take_word("COMPARE")) {
            TRY(expressions_.slice(cursor));
            TRY(cursor.need(Sign::Comma, "the ',' behind what is expected"));
            TRY(expressions_.slice(cursor));
            TRY(cursor.need(Sign::Comma, "the ',' behind the mask"));
            scan.argument = TRY(scalar_variable(cursor, Type::Boolean, "a Boolean variable"));
            scan.small |= scan_flags::kCompare;
        } else {
            return cursor.missing("CAPTURE or COMPARE");
        }
    }
    return {};
}

Status StatementCompiler::pad(Cursor& cursor, PadPlace place) {
    TRY(expressions_.integer(cursor));
    const bool has_bits = cursor.take(Sign::Comma);
    if (has_bits) {
        TRY(expressions_.slice(cursor));
    }
    emit(Op::Pad, static_cast<uint32_t>(place), has_bits ? 1 : 0);
    return {};
}

Status StatementCompiler::stop(Cursor& cursor, ScanPath path) {
    const StableState state = TRY(take_stable_state(cursor));
    emit(Op::Stop, static_cast<uint32_t>(state), static_cast<uint8_t>(path));
    return {};
}

Status StatementCompiler::path(Cursor& cursor) {
    std::vector<TapState> states;
    do {
        const std::optional<TapState> state = svf::to_tap_state(cursor.name());
        if (!state) {
            return cursor.missing("the name of a TAP state");
        }
        states.push_back(*state);
        cursor.take();
        cursor.take(Sign::Comma);
    } while (!cursor.at_end());
    emit(Op::State, static_cast<uint32_t>(program_.paths.size()));
    program_.paths.push_back(std::move(states));
    return {};
}

// Its parts may stand in any order. Their values go on the stack in that of the form, so that each
// is kept apart until all have been seen.
Status StatementCompiler::wait(Cursor& cursor, bool is_trst) {
    WaitForm form;
    WaitParts parts;
    while (!cursor.at_end()) {
        if (!is_trst && svf::to_tap_state(cursor.name())) {
            const bool behind = std::any_of(parts.begin(), parts.end(),
                                            [](const auto& part) { return part.has_value(); });
            TRY(wait_state(cursor, form, behind));
        } else {
            TRY(wait_part(cursor, !is_trst && cursor.take_word("MAX"), parts));
        }
        if (!cursor.at_end() && !cursor.take(Sign::Comma) && !cursor.is_word("MAX")) {
            return cursor.missing("a ','");
        }
    }
    if (!parts[0] && !parts[1]) {
        return file_error("", "it does not say how long", "give CYCLES, USEC or both");
    }
    for (const auto& part : parts) {
        if (part) {
            program_.code.insert(program_.code.end(), part->begin(), part->end());
        }
    }
    form.clocks = parts[0].has_value();
    form.time = parts[1].has_value();
    form.most_clocks = parts[2].has_value();
    form.most_time = parts[3].has_value();
    emit(is_trst ? Op::Trst : Op::Wait, static_cast<uint32_t>(program_.waits.size()));
    program_.waits.push_back(form);
    return {};
}

Status StatementCompiler::wait_part(Cursor& cursor, bool most, WaitParts& parts) {
    const uint32_t first = here();
    TRY(expressions_.integer(cursor));
    const bool time = cursor.is_word("USEC");
    if (!time && !cursor.is_word("CYCLES")) {
        return cursor.missing("CYCLES or USEC");
    }
    cursor.take();
    auto& part = parts[(most ? 2 : 0) + (time ? 1 : 0)];
    if (part) {
        return file_error("", "it says the same twice");
    }
    const auto begin = program_.code.begin() + first;
    part.emplace(begin, program_.code.end());
    program_.code.erase(begin, program_.code.end());
    return {};
}

// A state before the first part is where to wait, one behind it where to end.
Status StatementCompiler::wait_state(Cursor& cursor, WaitForm& form, bool behind) {
    const StableState state = TRY(take_stable_state(cursor));
    if (behind && form.end) {
        return file_error("", "it names two states to end in");
    }
    if (behind) {
        form.end = state;
    } else {
        form.state = state;
    }
    return {};
}

Status StatementCompiler::frequency(Cursor& cursor) {
    const bool has_value = !cursor.at_end();
    if (has_value) {
        TRY(expressions_.integer(cursor));
    }
    emit(Op::Frequency, 0, has_value ? 1 : 0);
    return {};
}

Status StatementCompiler::refuse(Cursor& cursor) {
    while (!cursor.at_end()) {
        cursor.take();
    }
    emit(Op::Refuse, text("a JTAG pod has no parallel pins to drive or read"));
    return {};
}

} // namespace talvor::stapl
