#include "sys/key_name.h"

#include <gtest/gtest.h>

#include <cstring>

namespace {

struct Conversion {
    const char* old_name;
    const char* new_name;
};

TEST(KeyNameTest, OldNamesTakeTheirPresentForm) {
    const Conversion cases[] = {
        {"POD_SN", "kelm.pod_SN"},
        {"pod_port", "kelm.pod_port"},
        {"Pod_a.b_c", "kelm.pod_a.b_c"},
        {"pod_", "kelm.pod_"},
        {"unify_tclk", "vexil.tclk"},
        {"UNIFY_tclk_bits", "vexil.tclk_bits"},
        {"Unify_", "vexil."},
        {"unify_a.b", "vexil.a.b"},
        {"abc_def", "abc.def"},
        {"abc_def_ghi", "abc.def_ghi"},
        {"abc.def_ghi", "abc.def_ghi"},
        {"abc_def.ghi", "abc.def.ghi"},
        {"_x", ".x"},
        {".x", ".x"},
        {"_", "."},
        {"xpod_a", "xpod.a"},
        {"pods_a", "pods.a"},
        {"unify.a", "unify.a"},
    };
    for (const Conversion& c : cases) {
        // Exactly the room that the function asks for.
        char buffer[64];
        std::memset(buffer, 'x', sizeof buffer);
        EXPECT_EQ(sys_Str0ConvertVary(c.old_name, buffer), 0) << c.old_name;
        EXPECT_STREQ(buffer, c.new_name) << c.old_name;
        EXPECT_EQ(buffer[std::strlen(c.old_name) + 6], 'x') << c.old_name;
    }
}

TEST(KeyNameTest, ANameWithoutDotAndUnderscoreFailsEmpty) {
    for (const char* name : {"abc", "pod", "unify", "", "a-b"}) {
        char buffer[16] = "before";
        EXPECT_EQ(sys_Str0ConvertVary(name, buffer), 1) << name;
        EXPECT_STREQ(buffer, "") << name;
    }
}

TEST(KeyNameTest, NullFailsWithNothingWritten) {
    char buffer[16] = "before";
    EXPECT_EQ(sys_Str0ConvertVary(nullptr, buffer), 1);
    EXPECT_STREQ(buffer, "before");
    EXPECT_EQ(sys_Str0ConvertVary("a_b", nullptr), 1);
}

} // namespace
