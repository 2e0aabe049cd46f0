// What the operator chooses for all pods of a station.
#pragma once

#include "podsim/proxy/proxy.h"
#include "podsim/trace/vcd_writer.h"

#include <chrono>
#include <string>

namespace talvor::podsim {

struct StationOptions {
    std::chrono::microseconds spin = proxy::Options{}.spin;
    bool strict = false;      // every pod is strict, whatever the description says
    bool log_batches = false; // each batch goes to the log
    std::string vcd;          // file of the trace; empty: none
    trace::Limits vcd_limits;
};

} // namespace talvor::podsim
