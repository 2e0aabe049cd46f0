// What a file holds, counted.
#pragma once

#include "host/play/step.h"

#include <array>
#include <chrono>
#include <cstdint>

namespace talvor::play {

struct Summary {
    static constexpr size_t kKinds = 32;

    uint64_t bytes = 0;
    uint64_t lines = 0;
    uint64_t statements = 0;
    std::array<uint64_t, kKinds> by_kind{}; // by StatementId; none above kKinds is counted here
    uint64_t ir_scans = 0;
    uint64_t dr_scans = 0;
    uint64_t ir_bits = 0; // with headers and trailers
    uint64_t dr_bits = 0;
    uint64_t longest_scan_bits = 0;
    uint64_t compared_scans = 0;
    uint64_t state_moves = 0;
    uint64_t run_clocks = 0;
    std::chrono::nanoseconds run_time{0}; // the least that the file asks for

    void count(const Step& step);

    friend bool operator==(const Summary&, const Summary&) = default;
};

} // namespace talvor::play
