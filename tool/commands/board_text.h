// A board file, made from what was found on a pod and its chain.
#pragma once

#include "common/result.h"
#include "host/chain/chain.h"
#include "host/chain/part_names.h"
#include "host/clock/test_clock.h"

#include <cstdint>
#include <string>

namespace talvor {

struct BoardFacts {
    uint32_t serial = 0;
    uint32_t generation = 1;
    ClockFormula formula;
    ClockSetting clock;
    uint64_t hertz = 0;
    uint32_t link_delay = 0;
    Result<Chain> chain; // or why there is none
};

// The text of the file, with comments that say what each key is.
[[nodiscard]] std::string board_text(const BoardFacts& facts, const PartNames& names);

} // namespace talvor
