// The passes of a waveform, as the session tells of its Shift clocks.
#pragma once

#include "host/scan/shift_mark.h"
#include "host/waveform/waveform.h"

#include <string_view>
#include <vector>

namespace talvor {

// Shift clocks that are the client's have no name.
inline void add_pass(std::vector<waveform::ShiftPass>& passes, const ShiftMark& mark) {
    const bool own = mark.purpose == ShiftPurpose::Data;
    passes.push_back({mark.clocks, own ? std::string_view() : word_of(mark.purpose)});
}

} // namespace talvor
