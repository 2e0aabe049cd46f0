// Who is told what a port did to its target.
#pragma once

#include "common/result.h"
#include "host/jtag/port.h"

#include <chrono>
#include <cstdint>
#include <string_view>

namespace talvor {

// Is told each operation when it is done, in their order. An error of its own ends the operation,
// although it was done.
class PortWatcher {
public:
    virtual ~PortWatcher() = default;

    // The TAP was asked for, and stands in `state`: at the beginning, and now and then.
    [[nodiscard]] virtual Status found(StableState state) = 0;
    [[nodiscard]] virtual Status was_reset() = 0;
    // As JtagPort::move().
    [[nodiscard]] virtual Status moved(StableState to) = 0;
    // As JtagPort::scan(). `in` may be shorter than `out`: the answer to the rest is not known.
    // Null: none of it is.
    [[nodiscard]] virtual Status scanned(ScanPath path, const Bits& out, const Bits* in,
                                         StableState end) = 0;
    // As JtagPort::run().
    [[nodiscard]] virtual Status ran(StableState state, uint64_t clocks,
                                     std::chrono::nanoseconds at_least) = 0;
    [[nodiscard]] virtual Status set_trst(TrstLevel level) = 0;
    [[nodiscard]] virtual Status pulsed_trst() = 0;
    // The test clock is `hertz` from now on.
    [[nodiscard]] virtual Status set_clock(double hertz) = 0;
    // Something that no operation of a port can do, in words: "a register was written".
    [[nodiscard]] virtual Status other(std::string_view what) = 0;
    // An operation failed in a way that leaves the state of the target unknown.
    [[nodiscard]] virtual Status failed(const Error& error) = 0;
};

} // namespace talvor
