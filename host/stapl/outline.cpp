#include "host/stapl/outline.h"

#include "host/play/step_source.h"

#include <fmt/format.h>

#include <algorithm>
#include <array>
#include <utility>

namespace talvor::stapl {

namespace {

constexpr std::string_view kOldLanguage =
    "is it written in the older Jam language (1.1), which has no ACTION? This player takes STAPL, "
    "JESD71; make the file anew as STAPL (Jam 2.0)";

bool is_sign(const Token& token, Sign sign) {
    return token.kind == Token::Kind::Sign && token.value == static_cast<uint32_t>(sign);
}

// The words of the older language that this one lacks.
bool is_old_word(std::string_view word) {
    constexpr std::array<std::string_view, 4> kOld{"LET", "REM", "PADDING", "RETURN"};
    return std::find(kOld.begin(), kOld.end(), word) != kOld.end();
}

class Outliner {
public:
    Outliner(const Tokens& tokens, const std::string& file) : tokens_(tokens), file_(file) {}

    Result<Outline> run() {
        for (size_t next = 0; tokens_.list[next].kind != Token::Kind::End;) {
            next = TRY(split(next));
        }
        for (size_t i = 0; i < found_.statements.size(); ++i) {
            TRY(sort(i));
        }
        if (open_) {
            return at(file_, found_.statements[open_->head],
                      file_error("", open_->is_data ? "there is no ENDDATA" : "there is no ENDPROC",
                                 "the file may be cut short"));
        }
        return std::move(found_);
    }

private:
    const Token& token(size_t place) const { return tokens_.list[place]; }

    // The statement that begins with a token; answers what follows its semicolon.
    Result<size_t> split(size_t next) {
        SourceStatement statement;
        while (token(next).kind == Token::Kind::Name && is_sign(token(next + 1), Sign::Colon)) {
            statement.labels.push_back(token(next).value);
            next += 2;
        }
        statement.line = token(next).line;
        statement.offset = token(next).offset;
        statement.first = next;
        statement.end = next;
        while (!is_sign(token(statement.end), Sign::Semicolon)) {
            if (token(statement.end).kind == Token::Kind::End) {
                return no_end(statement);
            }
            ++statement.end;
        }
        TRY(classify(statement));
        const size_t behind = statement.end + 1;
        found_.statements.push_back(std::move(statement));
        return behind;
    }

    Failure no_end(const SourceStatement& statement) const {
        const bool byte_code = statement.first == 0 && token(0).kind == Token::Kind::Name &&
                               tokens_.names[token(0).value] == "JAM";
        return file_error(fmt::format("{}:{}", file_, statement.line),
                          byte_code ? "is it Jam byte-code? This player takes the text, STAPL"
                                    : "the last statement has no ';' at its end",
                          byte_code ? "play the .jam or .stapl file that it was made of"
                                    : "the file may be cut short");
    }

    Status classify(SourceStatement& statement) const {
        const Token& first = token(statement.first);
        const std::string_view word = first.kind == Token::Kind::Name
                                          ? std::string_view(tokens_.names[first.value])
                                          : std::string_view();
        if (const std::optional<StatementKind> kind = to_statement_kind(word)) {
            statement.kind = *kind;
            ++statement.first;
            return {};
        }
        const bool assigns = first.kind == Token::Kind::Name &&
                             (is_sign(token(statement.first + 1), Sign::Equals) ||
                              is_sign(token(statement.first + 1), Sign::LeftBracket));
        if (assigns || statement.first == statement.end) {
            return {};
        }
        const std::string place = fmt::format("{}:{}", file_, statement.line);
        if (is_old_word(word)) {
            return file_error(place, fmt::format("{}: {}", word, kOldLanguage));
        }
        const Cursor cursor(tokens_, statement.first, statement.end);
        return file_error(place, cursor.missing("the word that begins a statement").value().reason,
                          "check that this is a STAPL file, and that it is whole");
    }

    // To where it belongs: the file itself or a block.
    Status sort(size_t place) {
        const SourceStatement& statement = found_.statements[place];
        switch (statement.kind) {
        case StatementKind::Note:
            found_.notes.push_back(place);
            return outside(statement);
        case StatementKind::Action:
            found_.actions.push_back(place);
            return outside(statement);
        case StatementKind::Crc:
            found_.crc = place;
            return outside(statement);
        case StatementKind::Procedure:
        case StatementKind::Data:
            TRY(outside(statement));
            return begin_block(place);
        default:
            return inside(place);
        }
    }

    Status outside(const SourceStatement& statement) const {
        return open_ ? Status(at(file_, statement,
                                 file_error("",
                                            fmt::format("it stands within the block of line {}",
                                                        found_.statements[open_->head].line),
                                            "is an ENDPROC or ENDDATA missing before it?")))
                     : Status();
    }

    Status begin_block(size_t place) {
        const SourceStatement& statement = found_.statements[place];
        Cursor cursor(tokens_, statement.first, statement.end);
        SourceBlock block;
        block.is_data = statement.kind == StatementKind::Data;
        block.head = place;
        block.first = place + 1;
        if (const Status read = read_head(cursor, block); !read) {
            return at(file_, statement, Failure(read.error()));
        }
        open_ = std::move(block);
        return {};
    }

    static Status read_head(Cursor& cursor, SourceBlock& block) {
        block.name = TRY(cursor.take_name("the name of the block"));
        if (!block.is_data && cursor.take_word("USES")) {
            do {
                block.uses.push_back(TRY(cursor.take_name("the name of a block behind USES")));
            } while (cursor.take(Sign::Comma));
        }
        return cursor.need_end();
    }

    Status inside(size_t place) {
        const SourceStatement& statement = found_.statements[place];
        if (!open_) {
            const bool nothing = statement.kind == StatementKind::Assignment &&
                                 statement.first == statement.end && statement.labels.empty();
            return nothing ? Status()
                           : at(file_, statement,
                                file_error("", found_.actions.empty()
                                                   ? std::string(kOldLanguage)
                                                   : "it stands outside the PROCEDURE and DATA "
                                                     "blocks"));
        }
        const StatementKind own_end =
            open_->is_data ? StatementKind::EndData : StatementKind::EndProc;
        if (statement.kind == own_end) {
            open_->end = place + 1;
            found_.blocks.push_back(*std::exchange(open_, std::nullopt));
        } else if (statement.kind == StatementKind::EndData ||
                   statement.kind == StatementKind::EndProc) {
            return at(
                file_, statement,
                file_error("", fmt::format("the block of line {} ends with {}",
                                           found_.statements[open_->head].line, name(own_end))));
        }
        return {};
    }

    const Tokens& tokens_;
    const std::string& file_;
    Outline found_;
    std::optional<SourceBlock> open_;
};

} // namespace

Result<Outline> outline(const Tokens& tokens, const std::string& file) {
    return Outliner(tokens, file).run();
}

Failure at(const std::string& file, const SourceStatement& statement, Failure failure) {
    return play::at_statement(file, statement.line, name(statement.kind),
                              std::move(failure).value());
}

} // namespace talvor::stapl
