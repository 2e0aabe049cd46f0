// From the tokens of an expression to instructions.
#pragma once

#include "common/result.h"
#include "host/stapl/cursor.h"
#include "host/stapl/program.h"
#include "host/stapl/scope.h"

#include <cstdint>

namespace talvor::stapl {

// A literal 0 or 1 is either.
enum class ValueType : uint8_t { Integer, Boolean, Either };

// Adds the instructions to the program's code. Errors (ErrorKind::BadFile, without a place) leave
// some of them there.
class Expressions {
public:
    Expressions(Program& program, const Scope& scope) : program_(program), scope_(scope) {}

    [[nodiscard]] Result<ValueType> value(Cursor& cursor);
    [[nodiscard]] Status integer(Cursor& cursor);
    [[nodiscard]] Status boolean(Cursor& cursor);
    // A stretch of a Boolean array: NAME[], NAME[a..b], NAME, the value of an array, BOOL(n).
    [[nodiscard]] Status slice(Cursor& cursor);
    // The same of a variable, which is going to be written.
    [[nodiscard]] Status target(Cursor& cursor);
    // Whether there is a stretch that is followed by `behind`, where a semicolon is the end of the
    // statement; otherwise the cursor stays, and nothing was added.
    [[nodiscard]] Result<bool> try_slice(Cursor& cursor, Sign behind);

private:
    struct Operator;

    [[nodiscard]] static const Operator* operator_at(const Cursor& cursor);
    [[nodiscard]] Result<ValueType> binary(Cursor& cursor, unsigned lowest);
    [[nodiscard]] Result<ValueType> unary(Cursor& cursor);
    [[nodiscard]] Result<ValueType> primary(Cursor& cursor);
    [[nodiscard]] Result<ValueType> named(Cursor& cursor);
    [[nodiscard]] Result<ValueType> element(Cursor& cursor, uint32_t variable);
    [[nodiscard]] Result<ValueType> number(Cursor& cursor, bool minus);
    [[nodiscard]] Result<ValueType> literal(Cursor& cursor);
    [[nodiscard]] Result<ValueType> to_integer(Cursor& cursor);
    [[nodiscard]] Status argument(Cursor& cursor);
    [[nodiscard]] Status stretch(Cursor& cursor, uint32_t variable);
    void round(Op op, size_t first);
    void emit(Op op, uint32_t argument = 0) { program_.code.push_back({op, 0, argument}); }

    Program& program_;
    const Scope& scope_;
    unsigned depth_ = 0;
};

} // namespace talvor::stapl
