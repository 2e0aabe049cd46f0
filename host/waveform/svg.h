// Draws a waveform as a picture.
#pragma once

#include "host/waveform/waveform.h"

#include <cstddef>
#include <string>

namespace talvor::waveform {

struct SvgOptions {
    std::string title;           // above the picture; none when empty
    size_t columns_per_row = 44; // TCKs side by side; a quarter more when that saves a row
    size_t longest_run = 40;     // a longer stay in one state loses its middle; 0 draws all
};

// A whole SVG file. The lanes are TCK, TMS, the TAP's states, TDI and TDO with the bits of each
// shift in hex (below them where there is no room), and those of TRSTn, EMU0, EMU1 and the target's
// reset that change. Edges stand where they happen: TMS, TDI and TDO change when TCK falls, states
// when it rises. TDI of a pass that is not the client's is pale, and named.
[[nodiscard]] std::string to_svg(const Waveform& waveform, const SvgOptions& options = {});

} // namespace talvor::waveform
