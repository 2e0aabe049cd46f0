#include "host/play/summary.h"

#include <algorithm>
#include <limits>

namespace talvor::play {

namespace {

// Few statements bring these sums to their end, where they stay.
template <typename Count>
Count added(Count sum, Count more) {
    constexpr Count kMost = std::numeric_limits<Count>::max();
    return sum > kMost - more ? kMost : sum + more;
}

} // namespace

void Summary::count(const Step& step) {
    ++statements;
    if (step.statement < kKinds) {
        ++by_kind[step.statement];
    }
    switch (step.kind) {
    case Step::Kind::Scan: {
        const bool ir = step.scan.path == ScanPath::Ir;
        ++(ir ? ir_scans : dr_scans);
        (ir ? ir_bits : dr_bits) += step.scan.total_bits;
        longest_scan_bits = std::max(longest_scan_bits, step.scan.total_bits);
        compared_scans += step.scan.compares() ? 1 : 0;
        break;
    }
    case Step::Kind::Path:
        ++state_moves;
        break;
    case Step::Kind::Run:
        run_clocks = added(run_clocks, step.run.clocks);
        run_time = std::chrono::nanoseconds(added(run_time.count(), step.run.min_time.count()));
        break;
    case Step::Kind::Nothing:
    case Step::Kind::Frequency:
    case Step::Kind::Trst:
    case Step::Kind::PulseTrst:
        break;
    }
}

} // namespace talvor::play
