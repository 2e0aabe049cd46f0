#include "host/stapl/arithmetic.h"

#include <algorithm>
#include <bit>
#include <cmath>
#include <limits>

namespace talvor::stapl {

namespace {

constexpr const char* kOverflow = "the result does not fit into the 32 bits of an integer";
constexpr const char* kByZero = "a division by zero";

const char* fit(int64_t wide, int32_t& result) noexcept {
    if (wide < std::numeric_limits<int32_t>::min() || wide > std::numeric_limits<int32_t>::max()) {
        return kOverflow;
    }
    result = static_cast<int32_t>(wide);
    return nullptr;
}

int64_t quotient(Op op, int64_t left, int64_t right) noexcept {
    const int64_t whole = left / right;
    const bool inexact = left % right != 0;
    const bool negative = (left < 0) != (right < 0);
    if (op == Op::DivideUp && inexact && !negative) {
        return whole + 1;
    }
    return op == Op::DivideDown && inexact && negative ? whole - 1 : whole;
}

const char* divide(Op op, int32_t left, int32_t right, int32_t& result) noexcept {
    if (right == 0) {
        return kByZero;
    }
    return fit(op == Op::Remainder ? int64_t{left} % right : quotient(op, left, right), result);
}

int32_t shift_left(int32_t value, int32_t count) noexcept {
    return count < 0 || count > 31
               ? 0
               : static_cast<int32_t>(static_cast<uint32_t>(value) << static_cast<unsigned>(count));
}

const char* root(bool up, int32_t value, int32_t& result) noexcept {
    if (value < 0) {
        return "the square root of a negative number";
    }
    const auto down = static_cast<int32_t>(std::sqrt(static_cast<double>(value)));
    result = down + (up && int64_t{down} * down < value ? 1 : 0);
    return nullptr;
}

const char* logarithm(bool up, int32_t value, int32_t& result) noexcept {
    if (value <= 0) {
        return "the logarithm of a number that is not above 0";
    }
    const auto bits = static_cast<uint32_t>(value);
    const int32_t down = static_cast<int32_t>(std::bit_width(bits)) - 1;
    result = down + (up && !std::has_single_bit(bits) ? 1 : 0);
    return nullptr;
}

} // namespace

const char* apply(Op op, int32_t value, int32_t& result) noexcept {
    switch (op) {
    case Op::Negate:
        return fit(-int64_t{value}, result);
    case Op::Complement:
        result = ~value;
        return nullptr;
    case Op::Not:
        result = value == 0 ? 1 : 0;
        return nullptr;
    case Op::Absolute:
        return fit(value < 0 ? -int64_t{value} : int64_t{value}, result);
    case Op::Root:
    case Op::RootUp:
        return root(op == Op::RootUp, value, result);
    default:
        return logarithm(op == Op::LogUp, value, result);
    }
}

// NOLINTNEXTLINE(readability-function-size): a plain list
const char* apply(Op op, int32_t left, int32_t right, int32_t& result) noexcept {
    switch (op) {
    case Op::Add:
        return fit(int64_t{left} + right, result);
    case Op::Subtract:
        return fit(int64_t{left} - right, result);
    case Op::Multiply:
        return fit(int64_t{left} * right, result);
    case Op::Divide:
    case Op::DivideDown:
    case Op::DivideUp:
    case Op::Remainder:
        return divide(op, left, right, result);
    case Op::And:
    case Op::AndAlso:
        result = op == Op::And ? left & right : ((left != 0 && right != 0) ? 1 : 0);
        return nullptr;
    case Op::Or:
    case Op::OrElse:
        result = op == Op::Or ? left | right : ((left != 0 || right != 0) ? 1 : 0);
        return nullptr;
    case Op::Xor:
        result = left ^ right;
        return nullptr;
    case Op::ShiftLeft:
        result = shift_left(left, right);
        return nullptr;
    case Op::ShiftRight:
        result = left >> (right < 0 || right > 31 ? 31 : right);
        return nullptr;
    case Op::Same:
        result = left == right ? 1 : 0;
        return nullptr;
    case Op::NotSame:
        result = left != right ? 1 : 0;
        return nullptr;
    case Op::Less:
        result = left < right ? 1 : 0;
        return nullptr;
    case Op::Greater:
        result = left > right ? 1 : 0;
        return nullptr;
    case Op::NotMore:
        result = left <= right ? 1 : 0;
        return nullptr;
    default:
        result = left >= right ? 1 : 0;
        return nullptr;
    }
}

} // namespace talvor::stapl
