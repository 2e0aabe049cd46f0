#include "host/svf/summary.h"

#include <algorithm>

namespace talvor::svf {

void Summary::count(const Step& step) {
    ++statements;
    ++by_kind[static_cast<size_t>(step.statement)];
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
        run_clocks += step.run.clocks;
        run_time += step.run.min_time;
        break;
    case Step::Kind::Nothing:
    case Step::Kind::Frequency:
    case Step::Kind::Trst:
        break;
    }
}

} // namespace talvor::svf
