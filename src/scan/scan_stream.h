// The data words of a running shift: sent through register 23, received through register 22, 16
// bits at a time, with the waits that keep at most two words in flight.
#pragma once

#include "jsc_internal.h"

struct ScanWords {
    uint32_t count;         // words in each direction that the shift has, the leading one included
    bool lead;              // word 0 leads: ones go out in its place, and it is dropped coming in
    const uint16_t* source; // words to send, in buffer order; not read by a shift that sends none
    uint16_t* destination;  // where received words go; untouched by one that receives none
};

// What a shift moves, from its option bits.
bool scan_sends(uint16_t option);
bool scan_receives(uint16_t option);

// Queues the words of a shift that has been launched.
//   option  in: TBC_OPTION_... bits, TBC_SCAN_ZEROS to TBC_SCAN_BOTH
// 0; -115 for any other option, nothing is queued then; the code of a flush that made room and
// failed.
[[nodiscard]] int32_t scan_stream(JSC_Inform* pJscInform, uint16_t option, const ScanWords& words);
