// How far a pass over a file has come.
#pragma once

#include <cstdint>
#include <functional>

namespace talvor::play {

enum class Pass : uint8_t { Check, Play };

struct Progress {
    Pass pass = Pass::Check;
    uint64_t bytes_done = 0;
    uint64_t bytes_total = 0;
    uint64_t line = 1;
    uint64_t statements = 0;
    uint64_t bits_shifted = 0;
    uint64_t mismatches = 0;
};

// Called after every chunk of a file that is read and after every step that is played, so it
// should be quick; false stops the pass with an error of the kind Usage.
using ProgressHook = std::function<bool(const Progress&)>;

} // namespace talvor::play
