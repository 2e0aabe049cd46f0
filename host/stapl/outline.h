// A STAPL file by its statements and blocks, before anything in them is looked at.
#pragma once

#include "common/result.h"
#include "host/stapl/cursor.h"
#include "host/stapl/statement.h"
#include "host/stapl/token.h"

#include <cstddef>
#include <cstdint>
#include <optional>
#include <string>
#include <vector>

namespace talvor::stapl {

struct SourceStatement {
    StatementKind kind = StatementKind::Assignment;
    size_t first = 0; // token: behind its labels and its word
    size_t end = 0;   // the token of its semicolon
    uint32_t line = 1;
    uint32_t offset = 0;
    std::vector<uint32_t> labels; // names
};

struct SourceBlock {
    uint32_t name = 0;
    bool is_data = false;
    std::vector<uint32_t> uses; // names
    size_t first = 0;           // its statements, the last of them its ENDPROC or ENDDATA
    size_t end = 0;
    size_t head = 0; // the statement that begins it
};

struct Outline {
    std::vector<SourceStatement> statements;
    std::vector<SourceBlock> blocks;
    std::vector<size_t> notes;   // statements
    std::vector<size_t> actions; // statements
    std::optional<size_t> crc;
};

// Errors (ErrorKind::BadFile, with file and line): a statement of no known word, one without an
// end, a block within another or without an end, a statement outside the blocks, a file of the
// older language.
[[nodiscard]] Result<Outline> outline(const Tokens& tokens, const std::string& file);

// `failure` said of a statement.
[[nodiscard]] Failure at(const std::string& file, const SourceStatement& statement,
                         Failure failure);

} // namespace talvor::stapl
