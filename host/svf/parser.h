// Reads statement after statement from an SVF file. It knows the format, and nothing of what
// carries over between statements or of who plays them.
#pragma once

#include "common/result.h"
#include "host/play/source.h"
#include "host/svf/lexer.h"
#include "host/svf/statement.h"
#include "host/svf/written_form.h"

#include <cstdint>
#include <vector>

namespace talvor::svf {

struct ParserLimits {
    // The longest scan, header or trailer. A value is held in memory as a whole, so this bounds
    // what a file can make the reader take: four values of so many bits.
    uint64_t max_length_bits = uint64_t{1} << 30;
};

// Memory: one chunk of the source, and the values of one statement in binary.
class Parser {
public:
    explicit Parser(play::ByteSource& source, ParserLimits limits = {})
        : lexer_(source), limits_(limits) {}

    // Fills `statement` with the next one and answers true; false at the end of the file. Empty
    // statements are passed over. After an error (ErrorKind::BadFile, `thing` is "name:line") the
    // statement's content means nothing and there is no going on.
    [[nodiscard]] Result<bool> next(Statement& statement);

    [[nodiscard]] uint64_t line() const noexcept { return lexer_.line(); }
    [[nodiscard]] uint64_t bytes_taken() const noexcept { return lexer_.bytes_taken(); }
    // Called before each further chunk is read; false ends the reading with an error.
    void on_chunk(std::function<bool()> hook) { lexer_.on_chunk(std::move(hook)); }

private:
    [[nodiscard]] Status parse_scan(Statement& statement);
    [[nodiscard]] Status parse_scan_parameter(Statement& statement, const ScanParameter& named);
    [[nodiscard]] Status parse_state(Statement& statement);
    [[nodiscard]] Status parse_end_state(Statement& statement);
    [[nodiscard]] Status parse_run_test(Statement& statement);
    [[nodiscard]] Status parse_run_test_start(Statement& statement, Token& token);
    [[nodiscard]] Status parse_run_test_rest(Statement& statement, Token& token);
    [[nodiscard]] Status parse_seconds(Statement& statement, const Token& number,
                                       std::optional<std::chrono::nanoseconds>& time);
    [[nodiscard]] Status parse_frequency(Statement& statement);
    [[nodiscard]] Status parse_trst(Statement& statement);
    [[nodiscard]] Status parse_body(Statement& statement);
    // Any statement, however it is written.
    [[nodiscard]] Result<bool> parse(Statement& statement);
    // Learns how `statement` was written, in the text from `mark` on, which stands at `line`.
    void learn_form(const Statement& statement, uint64_t mark, uint64_t line);

    // To the next token of a statement: the end of the file is an error there.
    [[nodiscard]] Status advance(const Statement& statement, Token& token);
    [[nodiscard]] Status expect_end(const Statement& statement);
    [[nodiscard]] Failure error(const Statement& statement, uint64_t line, std::string_view reason,
                                std::string next_step = "") const;
    [[nodiscard]] Failure unexpected(const Statement& statement, const Token& token,
                                     std::string_view wanted) const;

    Lexer lexer_;
    ParserLimits limits_;
    WrittenForms forms_;
    std::vector<WrittenValue> values_; // of the statement at hand, from the start of the file
};

} // namespace talvor::svf
