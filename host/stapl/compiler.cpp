#include "host/stapl/compiler.h"

#include "host/play/reading.h"
#include "host/stapl/outline.h"
#include "host/stapl/scope.h"
#include "host/stapl/statement_compiler.h"

#include <fmt/format.h>

#include <algorithm>
#include <optional>
#include <unordered_map>
#include <utility>

namespace talvor::stapl {

namespace {

class Compiler {
public:
    Compiler(Tokens tokens, Outline outline, const std::string& file)
        : tokens_(std::move(tokens)), outline_(std::move(outline)) {
        program_.file = file;
        program_.bytes = tokens_.bytes;
        program_.literals = std::move(tokens_.literals);
    }

    Result<Program> run() {
        for (const size_t note : outline_.notes) {
            TRY(within(note, &Compiler::add_note));
        }
        for (const SourceBlock& block : outline_.blocks) {
            TRY(add_block(block));
        }
        for (size_t i = 0; i < outline_.blocks.size(); ++i) {
            TRY(resolve_uses(i));
        }
        for (const size_t action : outline_.actions) {
            TRY(within(action, &Compiler::add_action));
        }
        if (outline_.crc) {
            TRY(within(*outline_.crc, &Compiler::add_crc));
        }
        for (size_t i = 0; i < outline_.blocks.size(); ++i) {
            TRY(compile_block(i));
        }
        return std::move(program_);
    }

private:
    Status within(size_t statement, Status (Compiler::*read)(Cursor&)) {
        const SourceStatement& source = outline_.statements[statement];
        line_ = source.line;
        Cursor cursor(tokens_, source.first, source.end);
        Status done = (this->*read)(cursor);
        done = done ? cursor.need_end() : done;
        return done ? done : Status(at(program_.file, source, Failure(done.error())));
    }

    Status add_note(Cursor& cursor) {
        Note note;
        note.key = TRY(cursor.take_text("the key of the note, in quotes"));
        note.text = TRY(cursor.take_text("the text of the note, in quotes"));
        program_.notes.push_back(std::move(note));
        return {};
    }

    Status add_crc(Cursor& cursor) {
        if (cursor.peek().kind != Token::Kind::Number || !tokens_.crc) {
            return cursor.missing("the checksum, four hexadecimal digits");
        }
        program_.expected_crc = static_cast<uint16_t>(cursor.peek().value);
        program_.crc = *tokens_.crc;
        cursor.take();
        return {};
    }

    [[nodiscard]] std::optional<uint32_t> block_named(uint32_t name) const {
        const auto found = blocks_.find(name);
        return found == blocks_.end() ? std::nullopt : std::optional(found->second);
    }

    Status add_block(const SourceBlock& source) {
        const SourceStatement& head = outline_.statements[source.head];
        Block block;
        block.name = tokens_.names[source.name];
        block.is_data = source.is_data;
        block.line = head.line;
        if (const std::optional<uint32_t> other = block_named(source.name)) {
            return at(program_.file, head,
                      file_error("", fmt::format("{:.64} was defined on line {}", block.name,
                                                 program_.blocks[*other].line)));
        }
        blocks_.emplace(source.name, static_cast<uint32_t>(program_.blocks.size()));
        program_.blocks.push_back(std::move(block));
        Declared& declared = declared_.emplace_back();
        for (size_t i = source.first; i < source.end; ++i) {
            const SourceStatement& statement = outline_.statements[i];
            if (statement.kind == StatementKind::Boolean ||
                statement.kind == StatementKind::Integer) {
                const Status done = declare(statement, declared);
                if (!done) {
                    return at(program_.file, statement, Failure(done.error()));
                }
            }
        }
        return {};
    }

    Status declare(const SourceStatement& statement, Declared& declared) {
        Cursor cursor(tokens_, statement.first, statement.end);
        const uint32_t name = TRY(cursor.take_name("the name of the variable"));
        const auto [found, is_new] =
            declared.try_emplace(name, static_cast<uint32_t>(program_.variables.size()));
        if (!is_new) {
            return file_error("", fmt::format("{:.64} was declared on line {}", tokens_.names[name],
                                              program_.variables[found->second].line));
        }
        program_.variables.push_back(
            {tokens_.names[name],
             statement.kind == StatementKind::Boolean ? Type::Boolean : Type::Integer,
             cursor.is(Sign::LeftBracket), statement.line});
        return {};
    }

    Status resolve_uses(size_t place) {
        const SourceBlock& source = outline_.blocks[place];
        for (const uint32_t name : source.uses) {
            const std::optional<uint32_t> block = block_named(name);
            if (!block) {
                return at(program_.file, outline_.statements[source.head],
                          file_error("", fmt::format("there is no block {:.64} to use",
                                                     tokens_.names[name])));
            }
            program_.blocks[place].uses.push_back(*block);
        }
        return {};
    }

    Status add_action(Cursor& cursor) {
        Action action;
        action.line = line_;
        action.name = tokens_.names[TRY(cursor.take_name("the name of the action"))];
        if (cursor.peek().kind == Token::Kind::Text) {
            action.description = TRY(cursor.take_text(""));
        }
        if (const Action* const other = program_.action(action.name)) {
            return file_error(
                "", fmt::format("{:.64} was defined on line {}", action.name, other->line));
        }
        TRY(cursor.need(Sign::Equals, "the '=' before the procedures"));
        while (!cursor.at_end()) {
            action.items.push_back(TRY(action_item(cursor)));
            if (!cursor.at_end()) {
                TRY(cursor.need(Sign::Comma, "the ',' between two procedures"));
            }
        }
        program_.actions.push_back(std::move(action));
        return {};
    }

    Result<Action::Item> action_item(Cursor& cursor) const {
        const uint32_t name = TRY(cursor.take_name("the name of a procedure"));
        const std::optional<uint32_t> block = block_named(name);
        if (!block || program_.blocks[*block].is_data) {
            return file_error("", fmt::format("there is no procedure {:.64}", tokens_.names[name]));
        }
        const bool optional = cursor.take_word("OPTIONAL");
        const bool recommended = !optional && cursor.take_word("RECOMMENDED");
        return Action::Item{*block, optional      ? Action::Need::Optional
                                    : recommended ? Action::Need::Recommended
                                                  : Action::Need::Always};
    }

    Status compile_block(size_t place) {
        const SourceBlock& source = outline_.blocks[place];
        const Scope scope(tokens_, program_, declared_, static_cast<uint32_t>(place));
        program_.blocks[place].entry = static_cast<uint32_t>(program_.code.size());
        StatementCompiler statements(tokens_, program_, scope);
        statements.begin();
        for (size_t i = source.first; i < source.end; ++i) {
            const SourceStatement& statement = outline_.statements[i];
            if (const Status done = statements.add(statement); !done) {
                return at(program_.file, statement, Failure(done.error()));
            }
        }
        for (const LostJump& lost : statements.lost_jumps()) {
            return play_error(lost);
        }
        return {};
    }

    [[nodiscard]] Failure play_error(const LostJump& lost) const {
        return file_error(fmt::format("{}:{}", program_.file, lost.line),
                          fmt::format("GOTO: there is no label {:.64} in this procedure",
                                      tokens_.names[lost.label]));
    }

    Tokens tokens_;
    Outline outline_;
    Program program_;
    std::unordered_map<uint32_t, uint32_t> blocks_; // by name
    std::vector<Declared> declared_;                // by block
    uint32_t line_ = 1;
};

} // namespace

Result<Program> compile(play::ByteSource& source, const LexerLimits& limits,
                        std::function<bool()> hook) {
    Tokens tokens = TRY(Lexer(source, limits, std::move(hook)).read());
    if (tokens.list.size() == 1) {
        return play::plays_nothing(source.name(), tokens.bytes);
    }
    Outline parts = TRY(outline(tokens, source.name()));
    if (parts.actions.empty()) {
        return file_error(source.name(), "has no ACTION that could be played",
                          "check that this is the file you mean, and that it is whole");
    }
    return Compiler(std::move(tokens), std::move(parts), source.name()).run();
}

} // namespace talvor::stapl
