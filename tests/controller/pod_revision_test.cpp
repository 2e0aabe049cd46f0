#include "hardware/pod_revision.h"

#include <gtest/gtest.h>

namespace {

// What a pod of a revision has, in the order of the functions below.
struct Pod {
    uint32_t revision;
    uint32_t major;
    uint32_t minor;
    bool first_generation;
    bool pin_register;
    bool high_clamp_bit;
};

constexpr Pod kPods[] = {
    {0x0000, 0, 0, true, false, false},     {0x0100, 1, 0, true, false, false},
    {0x01FF, 1, 0xFF, true, false, false},  {0x0200, 2, 0, false, false, false},
    {0x02FF, 2, 0xFF, false, false, false}, {0x0300, 3, 0, false, true, false},
    {0x0301, 3, 1, false, true, false},     {0x0302, 3, 2, false, true, true},
    {0x03FF, 3, 0xFF, false, true, true},   {0x0400, 4, 0, false, true, true},
    {0x0500, 5, 0, false, true, true},      {0xFFFF, 0xFF, 0xFF, false, true, true},
    {0x10100, 1, 0, true, false, false},
};

TEST(PodRevisionTest, HasAMajorAndAMinorNumber) {
    for (const Pod& pod : kPods) {
        EXPECT_EQ(pod_revision_major(pod.revision), pod.major) << std::hex << pod.revision;
        EXPECT_EQ(pod_revision_minor(pod.revision), pod.minor) << std::hex << pod.revision;
    }
}

TEST(PodRevisionTest, TheFirstGenerationDoesWithout) {
    for (const Pod& pod : kPods) {
        SCOPED_TRACE(pod.revision);
        EXPECT_EQ(pod_is_first_generation(pod.revision), pod.first_generation);
        EXPECT_EQ(pod_has_clock_exponent(pod.revision), !pod.first_generation);
        EXPECT_EQ(pod_has_timing_register(pod.revision), !pod.first_generation);
        EXPECT_EQ(pod_has_clock_lost_bit(pod.revision), !pod.first_generation);
        EXPECT_EQ(pod_can_wait_for_buffers(pod.revision), !pod.first_generation);
        EXPECT_EQ(pod_needs_settled_words(pod.revision), pod.first_generation);
        EXPECT_EQ(pod_needs_clear_recovery(pod.revision), pod.first_generation);
    }
}

TEST(PodRevisionTest, LaterOnesHavePinsAndAWiderClamp) {
    for (const Pod& pod : kPods) {
        SCOPED_TRACE(pod.revision);
        EXPECT_EQ(pod_has_pin_register(pod.revision), pod.pin_register);
        EXPECT_EQ(pod_has_high_clamp_bit(pod.revision), pod.high_clamp_bit);
    }
}

TEST(PodRevisionTest, GenerationsAreOneToFour) {
    for (uint32_t number = 0; number < 10; ++number) {
        EXPECT_EQ(pod_is_generation(number), number >= 1 && number <= 4) << number;
    }
}

} // namespace
