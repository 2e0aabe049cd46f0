#include "host/stapl/expression.h"

#include <fmt/format.h>

#include <algorithm>
#include <array>

namespace talvor::stapl {

namespace {

constexpr unsigned kMostDepth = 200;

Failure wrong_type(ValueType wanted) {
    return file_error("",
                      wanted == ValueType::Boolean
                          ? "a Boolean value is wanted, and this is an integer"
                          : "an integer is wanted, and this is a Boolean value",
                      wanted == ValueType::Boolean ? "" : "INT() makes one of it");
}

Status fits(ValueType have, ValueType wanted) {
    return have == wanted || have == ValueType::Either || wanted == ValueType::Either
               ? Status()
               : wrong_type(wanted);
}

// What functions of one integer become, and what CEIL and FLOOR around them make of that.
struct Function {
    std::string_view name;
    Op op;
};
constexpr std::array kFunctions{Function{"ABS", Op::Absolute}, Function{"SQRT", Op::Root},
                                Function{"LOG2", Op::LogUp}};

} // namespace

struct Expressions::Operator {
    Sign sign;
    unsigned precedence; // the higher binds the closer
    Op op;
    ValueType operands; // Either: two of the same type
    ValueType result;
};

const Expressions::Operator* Expressions::operator_at(const Cursor& cursor) {
    constexpr auto kInt = ValueType::Integer;
    constexpr auto kBool = ValueType::Boolean;
    constexpr auto kAny = ValueType::Either;
    static constexpr std::array kOperators{
        Operator{Sign::OrElse, 1, Op::OrElse, kBool, kBool},
        Operator{Sign::AndAlso, 2, Op::AndAlso, kBool, kBool},
        Operator{Sign::Or, 3, Op::Or, kInt, kInt},
        Operator{Sign::Xor, 4, Op::Xor, kInt, kInt},
        Operator{Sign::And, 5, Op::And, kInt, kInt},
        Operator{Sign::Same, 6, Op::Same, kAny, kBool},
        Operator{Sign::NotSame, 6, Op::NotSame, kAny, kBool},
        Operator{Sign::Less, 7, Op::Less, kInt, kBool},
        Operator{Sign::Greater, 7, Op::Greater, kInt, kBool},
        Operator{Sign::NotMore, 7, Op::NotMore, kInt, kBool},
        Operator{Sign::NotLess, 7, Op::NotLess, kInt, kBool},
        Operator{Sign::ShiftLeft, 8, Op::ShiftLeft, kInt, kInt},
        Operator{Sign::ShiftRight, 8, Op::ShiftRight, kInt, kInt},
        Operator{Sign::Plus, 9, Op::Add, kInt, kInt},
        Operator{Sign::Minus, 9, Op::Subtract, kInt, kInt},
        Operator{Sign::Times, 10, Op::Multiply, kInt, kInt},
        Operator{Sign::Divide, 10, Op::Divide, kInt, kInt},
        Operator{Sign::Remainder, 10, Op::Remainder, kInt, kInt},
    };
    const auto* const found =
        std::find_if(kOperators.begin(), kOperators.end(),
                     [&](const Operator& one) { return cursor.is(one.sign); });
    return found == kOperators.end() ? nullptr : found;
}

Result<ValueType> Expressions::value(Cursor& cursor) {
    if (depth_ == kMostDepth) {
        return file_error(
            "", fmt::format("there are more than {} parentheses within one another", kMostDepth));
    }
    ++depth_;
    Result<ValueType> type = binary(cursor, 1);
    --depth_;
    return type;
}

Status Expressions::integer(Cursor& cursor) {
    return fits(TRY(value(cursor)), ValueType::Integer);
}

Status Expressions::boolean(Cursor& cursor) {
    return fits(TRY(value(cursor)), ValueType::Boolean);
}

Result<ValueType> Expressions::binary(Cursor& cursor, unsigned lowest) {
    ValueType left = TRY(unary(cursor));
    for (const Operator* found = operator_at(cursor);
         found != nullptr && found->precedence >= lowest; found = operator_at(cursor)) {
        cursor.take(found->sign);
        const ValueType right = TRY(binary(cursor, found->precedence + 1));
        TRY(fits(left, found->operands));
        TRY(fits(right, found->operands == ValueType::Either ? left : found->operands));
        emit(found->op);
        left = found->result;
    }
    return left;
}

Result<ValueType> Expressions::unary(Cursor& cursor) {
    constexpr std::array kSigns{std::pair{Sign::Minus, Op::Negate},
                                std::pair{Sign::Complement, Op::Complement},
                                std::pair{Sign::Not, Op::Not}};
    const auto* const found = std::find_if(kSigns.begin(), kSigns.end(),
                                           [&](const auto& one) { return cursor.is(one.first); });
    const bool plus = cursor.is(Sign::Plus);
    if (found == kSigns.end() && !plus) {
        return primary(cursor);
    }
    cursor.take();
    if (!plus && found->second == Op::Negate && cursor.peek().kind == Token::Kind::Number) {
        return number(cursor, true);
    }
    if (++depth_ > kMostDepth) {
        return file_error("", fmt::format("there are more than {} signs in a row", kMostDepth));
    }
    const ValueType type = TRY(unary(cursor));
    --depth_;
    const ValueType wanted =
        !plus && found->second == Op::Not ? ValueType::Boolean : ValueType::Integer;
    TRY(fits(type, wanted));
    if (!plus) {
        emit(found->second);
    }
    return wanted;
}

Result<ValueType> Expressions::primary(Cursor& cursor) {
    const Token& token = cursor.peek();
    if (cursor.take(Sign::LeftParenthesis)) {
        const ValueType type = TRY(value(cursor));
        TRY(cursor.need(Sign::RightParenthesis, "the ')'"));
        return type;
    }
    if (token.kind == Token::Kind::Number) {
        return number(cursor, false);
    }
    if (token.kind == Token::Kind::Literal) {
        return literal(cursor);
    }
    return token.kind == Token::Kind::Name ? named(cursor) : cursor.missing("a value");
}

// With its minus: the smallest integer has no positive one.
Result<ValueType> Expressions::number(Cursor& cursor, bool minus) {
    const uint32_t value = cursor.peek().value;
    if (value > INT32_MAX && !minus) {
        return file_error("", fmt::format("{} does not fit into the 32 bits of an integer", value));
    }
    emit(Op::Constant, minus ? 0 - value : value);
    cursor.take();
    return value <= 1 && !minus ? ValueType::Either : ValueType::Integer;
}

Result<ValueType> Expressions::literal(Cursor& cursor) {
    const Bits& bits = program_.literals[cursor.peek().value].bits;
    if (bits.size() > 64 || bits.to_uint() > UINT32_MAX) {
        return file_error("", "the value does not fit into the 32 bits of an integer");
    }
    const auto number = static_cast<uint32_t>(bits.to_uint());
    emit(Op::Constant, number);
    cursor.take();
    return number <= 1 ? ValueType::Either : ValueType::Integer;
}

Status Expressions::argument(Cursor& cursor) {
    cursor.take();
    TRY(cursor.need(Sign::LeftParenthesis, "the '(' of the function"));
    TRY(integer(cursor));
    return cursor.need(Sign::RightParenthesis, "the ')'");
}

Result<ValueType> Expressions::named(Cursor& cursor) {
    const std::string_view name = cursor.name();
    if (cursor.is(Sign::LeftParenthesis, 1)) {
        const auto* const function =
            std::find_if(kFunctions.begin(), kFunctions.end(),
                         [name](const Function& one) { return one.name == name; });
        const size_t first = program_.code.size();
        if (function != kFunctions.end()) {
            TRY(argument(cursor));
            emit(function->op);
            return ValueType::Integer;
        }
        if (name == "CEIL" || name == "FLOOR") {
            const bool up = name == "CEIL";
            TRY(argument(cursor));
            round(up ? Op::DivideUp : Op::DivideDown, first);
            return ValueType::Integer;
        }
        return name == "INT" ? to_integer(cursor)
                             : file_error("", fmt::format("there is no function {:.64}", name));
    }
    const uint32_t variable = TRY(scope_.variable(cursor.peek().value));
    cursor.take();
    if (scope_.at(variable).is_array) {
        return element(cursor, variable);
    }
    emit(Op::Scalar, variable);
    return scope_.at(variable).type == Type::Boolean ? ValueType::Boolean : ValueType::Integer;
}

// CEIL and FLOOR say how the operation that comes last within them rounds; the code is in the order
// of the operations.
void Expressions::round(Op op, size_t first) {
    const bool up = op == Op::DivideUp;
    Op& last = program_.code.back().op;
    if (program_.code.size() == first + 1) {
        return; // a value alone
    }
    if (last == Op::Divide) {
        last = op;
    } else if (last == Op::Root && up) {
        last = Op::RootUp;
    } else if (last == Op::LogUp && !up) {
        last = Op::LogDown;
    }
}

Result<ValueType> Expressions::element(Cursor& cursor, uint32_t variable) {
    TRY(cursor.need(Sign::LeftBracket, "the '[' of an array"));
    TRY(integer(cursor));
    TRY(cursor.need(Sign::RightBracket, "the ']'"));
    emit(Op::Element, variable);
    return scope_.at(variable).type == Type::Boolean ? ValueType::Boolean : ValueType::Integer;
}

Result<ValueType> Expressions::to_integer(Cursor& cursor) {
    cursor.take();
    TRY(cursor.need(Sign::LeftParenthesis, "the '(' of INT"));
    if (TRY(try_slice(cursor, Sign::RightParenthesis))) {
        emit(Op::FromSlice);
    } else {
        TRY(value(cursor));
    }
    TRY(cursor.need(Sign::RightParenthesis, "the ')'"));
    return ValueType::Integer;
}

// Decided by what follows it, so that nothing is made twice.
Result<bool> Expressions::try_slice(Cursor& cursor, Sign behind) {
    const bool literal = cursor.peek().kind == Token::Kind::Literal;
    const bool made = cursor.is_word("BOOL") && cursor.is(Sign::LeftParenthesis, 1);
    if (!literal && !made && !(cursor.is_name() && scope_.is_bits(cursor.peek().value))) {
        return false;
    }
    const size_t rest = literal ? 1 : cursor.behind_brackets(1);
    if (behind == Sign::Semicolon ? !cursor.at_end(rest) : !cursor.is(behind, rest)) {
        return false;
    }
    TRY(slice(cursor));
    return true;
}

Status Expressions::slice(Cursor& cursor) {
    if (cursor.peek().kind == Token::Kind::Literal) {
        emit(Op::Literal, cursor.peek().value);
        cursor.take();
        return {};
    }
    if (cursor.is_word("BOOL") && cursor.is(Sign::LeftParenthesis, 1)) {
        TRY(argument(cursor));
        emit(Op::ToSlice);
        return {};
    }
    return target(cursor);
}

Status Expressions::target(Cursor& cursor) {
    const uint32_t name = TRY(cursor.take_name("a Boolean array"));
    const uint32_t variable = TRY(scope_.variable(name));
    if (!scope_.is_bits(name)) {
        return file_error("", fmt::format("{} is no Boolean array", scope_.text(name)));
    }
    return stretch(cursor, variable);
}

Status Expressions::stretch(Cursor& cursor, uint32_t variable) {
    if (!cursor.take(Sign::LeftBracket) || cursor.take(Sign::RightBracket)) {
        emit(Op::Whole, variable);
        return {};
    }
    TRY(integer(cursor));
    const bool range = cursor.take(Sign::To);
    if (range) {
        TRY(integer(cursor));
    }
    TRY(cursor.need(Sign::RightBracket, "the ']'"));
    emit(range ? Op::Range : Op::Bit, variable);
    return {};
}

} // namespace talvor::stapl
