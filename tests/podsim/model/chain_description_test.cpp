#include "podsim/model/chain_description.h"

#include <gtest/gtest.h>

namespace talvor::podsim {
namespace {

uint64_t bits_of(decltype(RegisterDescription::kind) kind) {
    return register_bits({"register", {3}, std::move(kind)});
}

TEST(ChainDescriptionTest, RegistersAreAsLongAsTheirFields) {
    EXPECT_EQ(bits_of(ConstantRegister{5, {0x1F}}), 5U);
    EXPECT_EQ(bits_of(ScratchRegister{64, {~uint64_t{0}}}), 64U);
    EXPECT_EQ(bits_of(CounterRegister{1}), 1U);
    EXPECT_EQ(bits_of(MemoryRegister{2, 64, 4}), 68U) << "operation, data, address";
    EXPECT_EQ(bits_of(BoundaryRegister{0, 1, {{"o", true, false}, {"i", false, false}}}), 2U);
}

} // namespace
} // namespace talvor::podsim
