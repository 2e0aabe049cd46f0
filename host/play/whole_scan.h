// A scan with its header and trailer as one stretch.
#pragma once

#include "host/jtag/bits.h"
#include "host/play/step.h"

namespace talvor::play {

// `tdo` and `mask` are as long as `tdi`; what is not compared is 0 in both.
struct WholeScan {
    Bits tdi;
    Bits tdo;
    Bits mask;

    explicit WholeScan(const ScanStep& scan);
};

} // namespace talvor::play
