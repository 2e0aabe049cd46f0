#include "host/boundary/compliance.h"
#include "host/boundary/plan.h"
#include "tests/host/boundary/two_parts.h"

#include <gtest/gtest.h>

#include <memory>

namespace talvor::boundary {
namespace {

TEST(ComplianceTest, SaysWhatDevicesWant) {
    const std::vector<Member> members = two_parts();
    EXPECT_EQ(compliance_text(members[0]), "MODE = 0");
    EXPECT_EQ(compliance_text(members[1]), "");
    auto device = std::make_shared<bsdl::Device>(members[0].plan->device());
    device->compliance.signals.push_back(5);
    device->compliance.patterns = {{"0X"}, {"11"}};
    const Member other{"u1", 4, std::make_shared<const Plan>(*Plan::make(device))};
    EXPECT_EQ(compliance_text(other), "MODE, Q(0) = 0X or 11");
}

} // namespace
} // namespace talvor::boundary
