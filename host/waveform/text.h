// Draws a waveform in a terminal.
#pragma once

#include "host/waveform/waveform.h"

#include <cstddef>
#include <string>

namespace talvor::waveform {

struct TextOptions {
    size_t width = 80;       // of a line; at least 24
    bool unicode = true;     // false: ASCII only
    bool color = false;      // terminal colours
    size_t longest_run = 20; // a longer stay in one state loses its middle; 0 draws all
};

// Blocks of lines, each ending in a newline and none wider than the width: time, TCK, TMS, the
// TAP's states, TDI, TDO, those of TRSTn, EMU0, EMU1 and the target's reset that change; then each
// shift that begins in the block with all of its bits in hex, and at the end what the trace had no
// room for and what the short names mean. Edges stand where they happen: TMS, TDI and TDO change
// when TCK falls, states when it rises.
[[nodiscard]] std::string to_text(const Waveform& waveform, const TextOptions& options = {});

} // namespace talvor::waveform
