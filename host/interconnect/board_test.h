// The test of a board's connections: vectors out, readings in, and what is wrong.
#pragma once

#include "common/result.h"
#include "host/boundary/access.h"
#include "host/interconnect/diagnosis.h"
#include "host/interconnect/test_plan.h"

#include <cstdint>
#include <span>
#include <vector>

namespace talvor::interconnect {

// More nets with a wrong reading than that are not looked at one by one.
inline constexpr size_t kMostSuspects = 1024;

struct TestResult {
    std::vector<Vector> vectors; // those of the counting sequence first
    size_t counting = 0;         // how many those are
    Readings readings;           // a bit for each vector
    Diagnosis diagnosis;
    uint64_t data_scans = 0; // of all kinds: PRELOAD, a vector each, one that reads the last, safe
    uint64_t instruction_scans = 0;
};

// Enters EXTEST with the plan's rest, drives the counting sequence, each vector read while the next
// one is shifted in, and, where something was read wrongly, a closer look at that. However it ends,
// the devices go through safe values and BYPASS to Test-Logic-Reset. Errors: as for
// boundary::TestMode, and that a signal asked
// for the end.
[[nodiscard]] Result<TestResult> test_board(boundary::Access& access, const TestPlan& plan);

} // namespace talvor::interconnect
