#include "host/scan/broken_path.h"

#include <fmt/format.h>

namespace talvor {
namespace {

// The length of the tail of equal bits.
size_t constant_tail(const Bits& received) {
    const bool last = received[received.size() - 1];
    size_t count = 0;
    while (count < received.size() && received[received.size() - 1 - count] == last) {
        ++count;
    }
    return count;
}

Failure stuck_error(bool level) {
    if (level) {
        return target_error("TDO",
                            "reads ones only: the line is open, stuck high, or no device "
                            "drives it",
                            "check that the target is powered, that the cable is plugged in, and "
                            "that TRSTn of the target is not held low");
    }
    return target_error("TDO", "reads zeros only: the line is shorted to ground or stuck low",
                        "check the target's supply and the TDO line");
}

} // namespace

bool is_silent(const Bits& received) {
    return received.all_ones() || received.all_zeros();
}

Failure broken_path_error(ScanPath path, const Bits& received) {
    const char* name = path == ScanPath::Ir ? "instruction" : "data";
    const size_t tail = constant_tail(received);
    if (tail == received.size()) {
        return stuck_error(received[0]);
    }
    if (tail >= received.size() / 2) {
        return target_error(
            "chain",
            fmt::format("the {} path is broken: after {} bits TDO reads {} only, and nothing that "
                        "goes in at TDI comes out",
                        name, received.size() - tail,
                        received[received.size() - 1] ? "ones" : "zeros"),
            "the devices nearest TDO answer; look at the line between them and the next one");
    }
    return target_error("chain",
                        fmt::format("what goes in at TDI comes out of the {} path changed", name),
                        "the test clock may be too fast or the link delay wrong: try 'talvor tclk "
                        "search' and 'talvor link find'");
}

} // namespace talvor
