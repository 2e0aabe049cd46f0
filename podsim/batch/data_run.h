// Runs of data words in a batch: the same step over and over, which a controller can take in one
// piece.
#pragma once

#include "hardware/tbc_registers.h"
#include "podsim/model/data_step.h"
#include "shm_structs.h"

#include <cstddef>
#include <cstdint>
#include <span>

namespace talvor::podsim::batch {

struct DataRun {
    DataStep step;
    size_t count = 0; // steps
};

// A run is looked for by groups of steps, for speed.
constexpr size_t kRunGroup = 4;
// A longer one is taken in several, so that the second look at its words finds them in the cache.
constexpr size_t kLongestRun = 2048;

// Whether a run may begin with `word`; most words of a short batch begin none.
constexpr bool may_begin_run(uint16_t word) {
    return word == SHM_WAIT_READ_ONE || word == SHM_WAIT_WRITE_ONE ||
           word == (TBC_PORT_SEND | SHM_WORD_WRITE) || word == TBC_PORT_RECEIVE;
}

// The run of whole groups that begins with the first of `words` and reads at most `most_reads`
// words; its count is 0 when there is none.
DataRun find_run(std::span<const uint16_t> words, size_t most_reads);

} // namespace talvor::podsim::batch
