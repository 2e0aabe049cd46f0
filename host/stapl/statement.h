// The statements of STAPL.
#pragma once

#include <array>
#include <cstddef>
#include <cstdint>
#include <optional>
#include <string_view>

namespace talvor::stapl {

enum class StatementKind : uint8_t {
    DrScan, // those that move the TAP first, so that a summary counts them one by one
    IrScan,
    State,
    Wait,
    Trst,
    Frequency,
    DrStop,
    IrStop,
    PreDr,
    PreIr,
    PostDr,
    PostIr,
    Assignment,
    Boolean,
    Integer,
    Call,
    Exit,
    Export,
    For,
    Goto,
    If,
    Next,
    Pop,
    Print,
    Push,
    EndData,
    EndProc,
    Action,
    Crc,
    Data,
    Note,
    Procedure,
    Vector,
    VMap,
};
inline constexpr size_t kStatementKinds = 34;

// In the order of StatementKind. An assignment has no word of its own.
inline constexpr std::array<std::string_view, kStatementKinds> kStatementNames{
    "DRSCAN",  "IRSCAN", "STATE", "WAIT",      "TRST",    "FREQUENCY",  "DRSTOP",
    "IRSTOP",  "PREDR",  "PREIR", "POSTDR",    "POSTIR",  "assignment", "BOOLEAN",
    "INTEGER", "CALL",   "EXIT",  "EXPORT",    "FOR",     "GOTO",       "IF",
    "NEXT",    "POP",    "PRINT", "PUSH",      "ENDDATA", "ENDPROC",    "ACTION",
    "CRC",     "DATA",   "NOTE",  "PROCEDURE", "VECTOR",  "VMAP"};

constexpr std::string_view name(StatementKind kind) noexcept {
    return kStatementNames[static_cast<size_t>(kind)];
}

// By the word in capitals that it begins with; nothing for another word.
[[nodiscard]] constexpr std::optional<StatementKind>
to_statement_kind(std::string_view word) noexcept {
    for (size_t i = 0; i < kStatementKinds; ++i) {
        if (kStatementNames[i] == word) {
            return static_cast<StatementKind>(i);
        }
    }
    return std::nullopt;
}

} // namespace talvor::stapl
