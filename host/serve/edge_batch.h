// Edges that a protocol has read and not made yet.
#pragma once

#include "host/jtag/bits.h"
#include "host/serve/edge_port.h"

#include <cstddef>

namespace talvor {

class EdgeBatch {
public:
    [[nodiscard]] size_t size() const noexcept { return count_; }
    [[nodiscard]] bool empty() const noexcept { return count_ == 0; }

    // One more edge.
    void push(bool tms, bool tdi);
    // As many edges as both have bits.
    void append(const Bits& tms, const Bits& tdi);
    // TDO before one edge, which is here already, is asked for.
    void ask(size_t edge);
    // TDO before every edge is to be told, though nobody may look at some.
    void ask_all() noexcept { all_asked_ = true; }

    // Makes the edges, but for the last `keep` ones, which stay; `tdo` becomes TDO before each that
    // is made, at least where it was asked for.
    [[nodiscard]] Status make(EdgePort& port, Bits& tdo, size_t keep = 0);
    void clear() noexcept;

private:
    void make_room(size_t count);

    // Longer than what is in use, so that single edges need no resizing.
    Bits tms_;
    Bits tdi_;
    Bits asked_;
    size_t count_ = 0;
    bool some_asked_ = false;
    bool all_asked_ = false;
};

} // namespace talvor
