// Stretches of a trace.
#pragma once

#include <cstdint>

namespace talvor::waveform {

// Which TCKs of a trace to keep. What is not kept takes no memory.
struct Window {
    uint64_t first_tck = 0;
    uint64_t count = UINT64_MAX;
};

// Shift clocks of a trace, counted from its beginning.
struct ShiftSpan {
    uint64_t first = 0;
    uint64_t end = 0; // behind the last
};

} // namespace talvor::waveform
