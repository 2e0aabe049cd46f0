// A STAPL file in the form in which it is run: instructions of a stack machine, with names and
// labels resolved and big arrays expanded once.
#pragma once

#include "common/tap_state.h"
#include "host/jtag/port.h"
#include "host/stapl/statement.h"
#include "host/stapl/token.h"

#include <cstdint>
#include <optional>
#include <string>
#include <string_view>
#include <vector>

namespace talvor::stapl {

// Values are on the stack of integers, stretches of Boolean arrays on one of their own. Operands
// are taken from the stack in the order in which they stand here, the last one from its top.
enum class Op : uint8_t {
    Begin, // of the statement `argument`

    // ---- values: the result is on the stack
    Constant,   // `argument` itself
    Scalar,     // of the variable `argument`
    Element,    // index; of the variable `argument`
    Negate,     // value
    Complement, // value
    Not,        // value
    Absolute,   // value
    Add,        // left, right, and so on
    Subtract,
    Multiply,
    Divide,     // towards 0
    DivideDown, // FLOOR() around it
    DivideUp,   // CEIL() around it
    Remainder,
    And,
    Or,
    Xor,
    ShiftLeft,
    ShiftRight,
    AndAlso,
    OrElse,
    Same,
    NotSame,
    Less,
    Greater,
    NotMore,
    NotLess,
    Root,      // value; rounded down
    RootUp,    // CEIL() around it
    LogUp,     // value; to base 2, rounded up
    LogDown,   // FLOOR() around it
    FromSlice, // slice; as a number

    // ---- stretches of Boolean arrays
    Literal, // the literal `argument`
    Whole,   // of the variable `argument`
    Range,   // left, right; of the variable `argument`
    Bit,     // index; of the variable `argument`
    ToSlice, // value; its 32 bits

    // ---- statements
    DeclareScalar,  // value; the variable `argument`
    DeclareBits,    // size; the variable `argument`, all zeros
    DeclareLiteral, // size, slice; the variable `argument`
    DeclareNumbers, // size; the variable `argument`, all zeros
    DeclareList,    // size, place of a list; the variable `argument`
    Store,          // value; into the variable `argument`
    StoreElement,   // index, value; into the variable `argument`
    StoreSlice,     // slice to be written, slice
    Jump,           // to `argument`
    JumpUnless,     // value; to `argument`
    For,            // start, stop, step; the variable `argument`
    Next,           // the variable `argument`
    Call,           // the block `argument`
    UseData,        // the block `argument`, unless it was used before
    Return,
    Push,        // value
    Pop,         // into the variable `argument`
    PopElement,  // index; into the variable `argument`
    PrintText,   // the text `argument`
    PrintNumber, // value
    PrintCode,   // value, as a character
    Print,       // what was gathered
    Export,      // value; under the text `argument`
    ExportSlice, // slice; under the text `argument`
    Exit,        // code
    Scan,        // count, slice, slice for what is captured, expected, mask; `small`: ScanFlags;
                 // `argument`: the variable for what a comparison finds
    Pad,         // count, and a slice when `small` is one; `argument`: PadPlace
    Stop,        // `small`: ScanPath; `argument`: StableState
    State,       // along the path `argument`
    Wait,        // clocks, microseconds, most clocks, most microseconds: those that the form
                 // `argument` has
    Trst,        // the same, without the last two
    Frequency,   // value when `small` is one
    Refuse,      // a statement that no pod can play: the text `argument` says why
};

struct Instruction {
    Op op = Op::Begin;
    uint8_t small = 0;
    uint32_t argument = 0;
};

namespace scan_flags {
inline constexpr uint8_t kIr = 1;
inline constexpr uint8_t kCapture = 2;
inline constexpr uint8_t kCompare = 4;
} // namespace scan_flags

enum class PadPlace : uint8_t { PreDr, PreIr, PostDr, PostIr };

struct Statement {
    StatementKind kind = StatementKind::Assignment;
    uint32_t line = 1;
    uint32_t offset = 0;
};

enum class Type : uint8_t { Integer, Boolean };

struct Variable {
    std::string name;
    Type type = Type::Integer;
    bool is_array = false;
    uint32_t line = 1; // of its declaration
};

// A PROCEDURE or DATA block.
struct Block {
    std::string name;
    bool is_data = false;
    uint32_t entry = 0; // its first instruction
    uint32_t line = 1;
    std::vector<uint32_t> uses; // blocks
};

struct Action {
    enum class Need : uint8_t { Always, Recommended, Optional };
    struct Item {
        uint32_t block = 0;
        Need need = Need::Always;
    };
    std::string name;
    std::string description;
    std::vector<Item> items;
    uint32_t line = 1;
};

struct Note {
    std::string key;
    std::string text;
};

struct WaitForm {
    StableState state = StableState::Idle;
    std::optional<StableState> end;
    bool clocks = false;
    bool time = false;
    bool most_clocks = false;
    bool most_time = false;
};

struct Program {
    std::string file; // what messages call it
    uint64_t bytes = 0;
    std::vector<Note> notes;
    std::vector<Action> actions;
    std::vector<Block> blocks;
    std::vector<Variable> variables;
    std::vector<Statement> statements;
    std::vector<Instruction> code;
    std::vector<Literal> literals;
    std::vector<std::vector<int32_t>> lists; // of integers, the last one first
    std::vector<std::string> texts;
    std::vector<std::vector<TapState>> paths;
    std::vector<WaitForm> waits;
    std::optional<uint16_t> expected_crc; // what the file says
    uint16_t crc = 0;                     // what it is, where the file says one

    // By name, in any case; nothing when there is none.
    [[nodiscard]] const Action* action(std::string_view name) const;
    [[nodiscard]] bool crc_is_right() const { return !expected_crc || *expected_crc == crc; }
};

} // namespace talvor::stapl
