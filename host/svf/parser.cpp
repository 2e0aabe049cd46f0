#include "host/svf/parser.h"

#include "host/svf/keyword.h"
#include "host/svf/number.h"

#include <fmt/format.h>

#include <array>

namespace talvor::svf {

namespace {

constexpr size_t kMaxPath = 65536; // no file needs as many; it bounds the memory
constexpr std::string_view kFourStates = "one of RESET, IDLE, DRPAUSE, IRPAUSE";

void forget(ScanText& scan) {
    scan.length_bits = 0;
    scan.tdi.given = scan.tdo.given = scan.mask.given = scan.smask.given = false;
}

bool is_number(const Token& token) noexcept {
    return token.is_word() && looks_like_number(token.text);
}

constexpr std::array kParameters{
    ScanParameter{"TDI", &ScanText::tdi}, ScanParameter{"TDO", &ScanText::tdo},
    ScanParameter{"MASK", &ScanText::mask}, ScanParameter{"SMASK", &ScanText::smask}};

const ScanParameter* parameter_of(const Token& token) noexcept {
    for (const ScanParameter& parameter : kParameters) {
        if (token.is(word_key(parameter.keyword))) {
            return &parameter;
        }
    }
    return nullptr;
}

// Of which files have many.
bool has_form(StatementKind kind) noexcept {
    return kind <= StatementKind::Tir || kind == StatementKind::RunTest;
}

} // namespace

Failure Parser::error(const Statement& statement, uint64_t line, std::string_view reason,
                      std::string next_step) const {
    return lexer_.error(line, fmt::format("{}: {}", name(statement.kind), reason),
                        std::move(next_step));
}

Failure Parser::unexpected(const Statement& statement, const Token& token,
                           std::string_view wanted) const {
    return error(statement, token.line, fmt::format("'{}' where {} belongs", token.text, wanted));
}

Status Parser::advance(const Statement& statement, Token& token) {
    lexer_.next(token);
    if (token.kind == Token::Kind::Failed) {
        return lexer_.failure();
    }
    if (token.kind == Token::Kind::End) {
        return error(statement, statement.line, "the statement does not end with ';'",
                     "the file may be cut short");
    }
    return {};
}

Status Parser::expect_end(const Statement& statement) {
    Token token;
    TRY(advance(statement, token));
    return token.kind == Token::Kind::Semicolon ? Status() : unexpected(statement, token, "';'");
}

Result<bool> Parser::next(Statement& statement) {
    size_t length = 0;
    if (const WrittenForm* form = forms_.read(lexer_.rest_of_chunk(), statement, length)) {
        statement.line = lexer_.line() + form->newlines_before();
        lexer_.take(length, form->newlines());
        return true;
    }
    return parse(statement);
}

Result<bool> Parser::parse(Statement& statement) {
    const uint64_t mark = lexer_.bytes_taken();
    const uint64_t line = lexer_.line();
    Token token;
    do {
        lexer_.next(token);
        if (token.kind == Token::Kind::Failed) {
            return lexer_.failure();
        }
        if (token.kind == Token::Kind::End) {
            return false;
        }
    } while (token.kind == Token::Kind::Semicolon);

    const std::optional<StatementKind> kind =
        token.is_word() ? to_statement_kind(token.text, token.key) : std::nullopt;
    if (!kind) {
        return lexer_.error(token.line, fmt::format("'{}' is no SVF statement", token.text),
                            "is the ';' of the statement before it missing?");
    }
    statement.kind = *kind;
    statement.line = token.line;
    values_.clear();
    TRY(parse_body(statement));
    if (has_form(*kind)) {
        learn_form(statement, mark, line);
    }
    return true;
}

// As long as all of its text is in the chunk at hand.
void Parser::learn_form(const Statement& statement, uint64_t mark, uint64_t line) {
    const std::string_view text = lexer_.text_since(mark);
    if (text.empty()) {
        return;
    }
    for (WrittenValue& value : values_) {
        value.from -= mark;
        value.to -= mark;
    }
    forms_.learn({text, &values_, lexer_.line() - line, statement.line - line}, statement);
}

Status Parser::parse_body(Statement& statement) {
    switch (statement.kind) {
    case StatementKind::Sdr:
    case StatementKind::Sir:
    case StatementKind::Hdr:
    case StatementKind::Hir:
    case StatementKind::Tdr:
    case StatementKind::Tir:
        return parse_scan(statement);
    case StatementKind::State:
        return parse_state(statement);
    case StatementKind::EndDr:
    case StatementKind::EndIr:
        return parse_end_state(statement);
    case StatementKind::RunTest:
        return parse_run_test(statement);
    case StatementKind::Frequency:
        return parse_frequency(statement);
    case StatementKind::Trst:
        return parse_trst(statement);
    case StatementKind::Pio:
    case StatementKind::PioMap:
        break;
    }
    return lexer_.skip_statement();
}

Status Parser::parse_scan(Statement& statement) {
    forget(statement.scan);
    Token token;
    TRY(advance(statement, token));
    const std::optional<uint64_t> length =
        token.is_word() ? to_whole(token.text) : std::optional<uint64_t>();
    if (!length) {
        return unexpected(statement, token, "the length in bits");
    }
    if (*length > limits_.max_length_bits) {
        return error(statement, token.line,
                     fmt::format("{} bits are more than the {} that this player takes", *length,
                                 limits_.max_length_bits));
    }
    statement.scan.length_bits = *length;
    while (true) {
        TRY(advance(statement, token));
        if (token.kind == Token::Kind::Semicolon) {
            return {};
        }
        const ScanParameter* parameter = parameter_of(token);
        if (parameter == nullptr) {
            return unexpected(statement, token, "TDI, TDO, MASK, SMASK or ';'");
        }
        TRY(parse_scan_parameter(statement, *parameter));
    }
}

Status Parser::parse_scan_parameter(Statement& statement, const ScanParameter& named) {
    HexParameter& parameter = statement.scan.*named.value;
    Token token;
    TRY(advance(statement, token));
    if (token.kind != Token::Kind::Open) {
        return unexpected(statement, token, fmt::format("the '(' of {}", named.keyword));
    }
    if (parameter.given) {
        return error(statement, token.line, fmt::format("{} stands twice", named.keyword));
    }
    parameter.given = true;
    const uint64_t from = lexer_.bytes_taken();
    TRY(lexer_.read_hex(name(statement.kind), named.keyword, statement.scan.length_bits,
                        parameter.value));
    values_.push_back({from, lexer_.bytes_taken() - 1, named.value});
    return {};
}

Status Parser::parse_state(Statement& statement) {
    statement.path.clear();
    Token token;
    while (true) {
        TRY(advance(statement, token));
        if (token.kind == Token::Kind::Semicolon) {
            break;
        }
        const std::optional<TapState> state =
            token.is_word() ? to_tap_state(token.text) : std::optional<TapState>();
        if (!state) {
            return unexpected(statement, token, "a state or ';'");
        }
        if (statement.path.size() == kMaxPath) {
            return error(statement, token.line,
                         fmt::format("a path of more than {} states", kMaxPath));
        }
        statement.path.push_back(*state);
    }
    if (statement.path.empty()) {
        return error(statement, statement.line, "there is no state");
    }
    if (!stable_state(statement.path.back())) {
        return error(statement, token.line,
                     fmt::format("{} is not stable: a path ends in {}",
                                 keyword(statement.path.back()), kFourStates));
    }
    return {};
}

Status Parser::parse_end_state(Statement& statement) {
    Token token;
    TRY(advance(statement, token));
    const std::optional<StableState> state =
        token.is_word() ? to_stable_state(token.text) : std::optional<StableState>();
    if (!state) {
        return unexpected(statement, token, kFourStates);
    }
    statement.end_state = *state;
    return expect_end(statement);
}

Status Parser::parse_seconds(Statement& statement, const Token& number,
                             std::optional<std::chrono::nanoseconds>& time) {
    const std::optional<double> seconds =
        is_number(number) ? to_real(number.text) : std::optional<double>();
    if (!seconds) {
        return unexpected(statement, number, "a time");
    }
    time = to_time(*seconds);
    if (!time) {
        return error(statement, number.line,
                     fmt::format("{} seconds are no time to wait", number.text));
    }
    return {};
}

// Up to and with the count or, when there is none, the shortest time; then the token behind it.
Status Parser::parse_run_test_start(Statement& statement, Token& token) {
    RunTestText& run = statement.run;
    TRY(advance(statement, token));
    if (token.is_word() && !is_number(token) && to_tap_state(token.text)) {
        run.run_state = to_stable_state(token.text);
        if (!run.run_state) {
            return unexpected(statement, token, kFourStates);
        }
        TRY(advance(statement, token));
    }
    if (!is_number(token)) {
        return unexpected(statement, token, "a count of clocks or a time");
    }
    const std::string number(token.text);
    const Token value{token.kind, number, token.line, token.key};
    TRY(advance(statement, token));
    if (token.is(word_key("SEC"))) {
        TRY(parse_seconds(statement, value, run.min_time));
        return advance(statement, token);
    }
    if (!token.is(word_key("TCK")) && !token.is(word_key("SCK"))) {
        return unexpected(statement, token, "TCK, SCK or SEC");
    }
    run.clock = token.is(word_key("TCK")) ? ClockLine::Tck : ClockLine::Sck;
    run.count = to_whole(number);
    if (!run.count) {
        return error(statement, value.line, fmt::format("{} is no count of clocks", number));
    }
    return advance(statement, token);
}

// A time behind a count, MAXIMUM and ENDSTATE; `token` is the first of them.
Status Parser::parse_run_test_rest(Statement& statement, Token& token) {
    RunTestText& run = statement.run;
    const auto time = [&](std::optional<std::chrono::nanoseconds>& value) -> Status {
        TRY(parse_seconds(statement, token, value));
        TRY(advance(statement, token));
        return token.is(word_key("SEC")) ? advance(statement, token)
                                         : unexpected(statement, token, "SEC");
    };
    if (!run.min_time && is_number(token)) {
        TRY(time(run.min_time));
    }
    if (run.min_time && token.is(word_key("MAXIMUM"))) {
        const uint64_t line = token.line;
        TRY(advance(statement, token));
        TRY(time(run.max_time));
        if (*run.max_time < *run.min_time) {
            return error(statement, line, "the maximum time is below the minimum");
        }
    }
    if (token.is(word_key("ENDSTATE"))) {
        TRY(advance(statement, token));
        run.end_state = token.is_word() ? to_stable_state(token.text) : std::nullopt;
        if (!run.end_state) {
            return unexpected(statement, token, kFourStates);
        }
        return advance(statement, token);
    }
    return {};
}

Status Parser::parse_run_test(Statement& statement) {
    statement.run = {};
    Token token;
    TRY(parse_run_test_start(statement, token));
    TRY(parse_run_test_rest(statement, token));
    return token.kind == Token::Kind::Semicolon ? Status() : unexpected(statement, token, "';'");
}

Status Parser::parse_frequency(Statement& statement) {
    statement.hertz.reset();
    Token token;
    TRY(advance(statement, token));
    if (token.kind == Token::Kind::Semicolon) {
        return {};
    }
    statement.hertz = is_number(token) ? to_real(token.text) : std::optional<double>();
    if (!statement.hertz) {
        return unexpected(statement, token, "a frequency or ';'");
    }
    if (*statement.hertz <= 0) {
        return error(statement, token.line, "the frequency is not above 0");
    }
    TRY(advance(statement, token));
    if (!token.is(word_key("HZ"))) {
        return unexpected(statement, token, "HZ");
    }
    return expect_end(statement);
}

Status Parser::parse_trst(Statement& statement) {
    Token token;
    TRY(advance(statement, token));
    const std::optional<TrstMode> mode =
        token.is_word() ? to_trst_mode(token.text) : std::optional<TrstMode>();
    if (!mode) {
        return unexpected(statement, token, "ON, OFF, Z or ABSENT");
    }
    statement.trst = *mode;
    return expect_end(statement);
}

} // namespace talvor::svf
