// The board file: what a person writes down about a pod and its target, in TOML.
#pragma once

#include "common/result.h"
#include "host/board/key_store.h"
#include "host/clock/test_clock.h"

#include <cstdint>
#include <optional>
#include <string>
#include <string_view>
#include <vector>

namespace talvor {

// What the file says about one device of the chain; all is optional.
struct BoardDevice {
    std::string name;
    uint32_t instruction_bits = 0; // 0: not given
    std::string bsdl{}; // path of its BSDL file, from where this process works; "" without

    friend bool operator==(const BoardDevice&, const BoardDevice&) = default;
};

struct Board {
    std::string name; // the file's, as messages call it; "" when there is none
    KeyStore keys;    // the tables [VEXIL] and [KELM]
    ClockFormula clock;
    std::vector<BoardDevice> devices; // [[device]], the first is nearest TDI
    std::optional<std::string> library;
};

// Reads a board file. Errors (ErrorKind::BadFile) name the file, the line, the key and what was
// expected; the driver's own keys are only checked for being scalars, the driver does the rest.
[[nodiscard]] Result<Board> read_board(const std::string& path);
// The same for text; `name` is what messages call it.
[[nodiscard]] Result<Board> parse_board(std::string_view text, std::string name);

} // namespace talvor
