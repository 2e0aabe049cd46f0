// A test of connections as a picture: nets against vectors.
#pragma once

#include "host/interconnect/board_test.h"

#include <cstddef>
#include <string>

namespace talvor::interconnect {

struct MatrixOptions {
    std::string title;        // above the picture; none when empty
    size_t most_nets = 200;   // nets with faults before others; the rest is only counted
    size_t most_vectors = 64; // columns; later ones are only counted
};

// A whole SVG file: a row for each net with its driver, a cell for each vector, dark where the net
// is driven high, red where a receiver reads otherwise, with what it has read; at the end of the
// row its receivers, and what is wrong.
[[nodiscard]] std::string to_svg(const TestPlan& plan, const TestResult& result,
                                 const MatrixOptions& options = {});

} // namespace talvor::interconnect
