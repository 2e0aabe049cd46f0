// From the statements of one block to instructions.
#pragma once

#include "common/result.h"
#include "host/stapl/cursor.h"
#include "host/stapl/expression.h"
#include "host/stapl/outline.h"
#include "host/stapl/program.h"
#include "host/stapl/scope.h"

#include <array>
#include <cstdint>
#include <optional>
#include <unordered_map>
#include <vector>

namespace talvor::stapl {

// A GOTO without a label to go to.
struct LostJump {
    uint32_t label = 0; // its name
    uint32_t line = 1;
};

class StatementCompiler {
public:
    // All outlive it.
    StatementCompiler(const Tokens& tokens, Program& program, const Scope& scope)
        : tokens_(tokens), program_(program), scope_(scope), expressions_(program, scope) {}

    // What a procedure does first: the data that it uses comes to be.
    void begin();
    // Adds a statement, with its labels. Errors (ErrorKind::BadFile, without a place): what is
    // wrong with it.
    [[nodiscard]] Status add(const SourceStatement& statement);
    // To be asked behind the last statement: all jumps lead to their labels now, but for these.
    [[nodiscard]] std::vector<LostJump> lost_jumps();

private:
    // Clocks, microseconds, and the most of both: what each is made by.
    using WaitParts = std::array<std::optional<std::vector<Instruction>>, 4>;

    [[nodiscard]] Status statement(StatementKind kind, Cursor& cursor);
    [[nodiscard]] Status on_the_tap(StatementKind kind, Cursor& cursor);
    [[nodiscard]] Status assignment(Cursor& cursor);
    [[nodiscard]] Status assignment_to_array(Cursor& cursor, uint32_t variable);
    [[nodiscard]] Status declaration(Cursor& cursor);
    [[nodiscard]] Status scalar(Cursor& cursor, uint32_t variable);
    [[nodiscard]] Status bits(Cursor& cursor, uint32_t variable);
    [[nodiscard]] Status numbers(Cursor& cursor, uint32_t variable);
    [[nodiscard]] bool constant_list(Cursor& cursor, uint32_t variable);
    [[nodiscard]] Status computed_list(Cursor& cursor, uint32_t variable);
    [[nodiscard]] Status call(Cursor& cursor);
    [[nodiscard]] Status go_to(Cursor& cursor);
    [[nodiscard]] Status loop(Cursor& cursor);
    [[nodiscard]] Status next(Cursor& cursor);
    [[nodiscard]] Status condition(Cursor& cursor);
    [[nodiscard]] Status pop(Cursor& cursor);
    [[nodiscard]] Status print(Cursor& cursor);
    [[nodiscard]] Status print_item(Cursor& cursor);
    [[nodiscard]] Status export_value(Cursor& cursor);
    [[nodiscard]] Status scan(Cursor& cursor, uint8_t flags);
    [[nodiscard]] Status scan_answer(Cursor& cursor, Instruction& scan);
    [[nodiscard]] Status pad(Cursor& cursor, PadPlace place);
    [[nodiscard]] Status stop(Cursor& cursor, ScanPath path);
    [[nodiscard]] Status path(Cursor& cursor);
    [[nodiscard]] Status wait(Cursor& cursor, bool is_trst);
    [[nodiscard]] Status wait_part(Cursor& cursor, bool most, WaitParts& parts);
    [[nodiscard]] Status wait_state(Cursor& cursor, WaitForm& form, bool behind);
    [[nodiscard]] Status frequency(Cursor& cursor);
    [[nodiscard]] Status refuse(Cursor& cursor);
    [[nodiscard]] Result<uint32_t> scalar_variable(Cursor& cursor, Type type,
                                                   std::string_view wanted);

    void emit(Op op, uint32_t argument = 0, uint8_t small = 0) {
        program_.code.push_back({op, small, argument});
    }
    [[nodiscard]] uint32_t here() const { return static_cast<uint32_t>(program_.code.size()); }
    [[nodiscard]] uint32_t text(std::string text);

    struct Jump {
        uint32_t from = 0; // the instruction
        LostJump to;
    };

    const Tokens& tokens_;
    Program& program_;
    const Scope& scope_;
    Expressions expressions_;
    uint32_t line_ = 1;
    uint32_t offset_ = 0;
    unsigned depth_ = 0; // of IFs within IFs
    std::unordered_map<uint32_t, uint32_t> labels_;
    std::vector<Jump> jumps_;
};

} // namespace talvor::stapl
