// The nets and faults of a board, as the description file has them.
#pragma once

#include "common/toml_reader.h"
#include "podsim/model/chain_description.h"

#include <vector>

namespace talvor::podsim::description {

// Where nets stand in the file.
struct NetTables {
    std::vector<TomlReader> wires; // those from one pin to another, in the order of chain.nets
    std::vector<TomlReader> nets;  // all others, in that of chain.board.nets
};

// Reads the keys `net`, `fault` and `floating` of a pod into `chain`, whose devices are there. What
// is wrong goes to the reader's errors.
[[nodiscard]] NetTables read_board(const TomlReader& pod, ChainDescription& chain);

} // namespace talvor::podsim::description
