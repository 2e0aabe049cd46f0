// Who drives and who sees each net during a test, so that no two outputs ever drive one net.
#pragma once

#include "common/result.h"
#include "host/boundary/access.h"
#include "host/interconnect/placed_net.h"
#include "host/interconnect/tested_net.h"
#include "host/interconnect/vectors.h"

#include <span>
#include <string>
#include <vector>

namespace talvor::interconnect {

// A net that cannot be tested.
struct UntestedNet {
    std::string name;
    std::string reason;
};

struct TestPlan {
    std::vector<TestedNet> nets;
    std::vector<UntestedNet> untested;
    // Outputs that drive their safe levels meanwhile, since a cell enables them together with a
    // driver of the test, or since nothing disables them: "U1.LED0".
    std::vector<std::string> also_driving;
    // Every driver of the test enabled, all others of these nets disabled, and everything else
    // safe.
    boundary::Images rest;
};

// One driver for each net that can be tested: an output that nothing disables; else, of those that
// can be enabled without any other output driving against it, the one that leaves the most
// receivers, a pure output before a bidirectional one, and the first in the netlist of those that
// are left.
// Errors (ErrorKind::Refused): a net has two outputs that nothing disables; both are named.
[[nodiscard]] Result<TestPlan> plan_test(std::span<const PlacedNet> nets,
                                         std::span<const boundary::Member> chain);

// What the boundary registers hold during a vector.
void put_vector(const TestPlan& plan, const Vector& vector, boundary::Images& images);

} // namespace talvor::interconnect
