#include "host/bridge/instruction_list.h"

#include <gtest/gtest.h>

namespace talvor {
namespace {

Bits bits(uint64_t value, size_t length) {
    return Bits::from_uint(value, length);
}

TEST(InstructionListTest, ReadsAValueAndItsLength) {
    EXPECT_EQ(*parse_instruction("0x11:5"), bits(0x11, 5));
    EXPECT_EQ(*parse_instruction("3f:6"), bits(0x3F, 6));
    EXPECT_EQ(parse_instruction("0:4096")->size(), 4096U);
}

TEST(InstructionListTest, RefusesWhatIsNoInstruction) {
    for (const char* text : {"", "11", "11:", ":5", "11:0", "11:5x", "11:-5", "0:4097", "20:5",
                             "g:5", "1:99999999999999999999"}) {
        const auto parsed = parse_instruction(text);
        ASSERT_FALSE(parsed) << text;
        EXPECT_EQ(parsed.error().kind, ErrorKind::Usage) << text;
    }
    EXPECT_EQ(parse_instruction("11").error().next_step,
              "give its value and its length in bits, as in 0x11:5");
}

TEST(InstructionListTest, FindsAnInstructionAloneAndAmongBypasses) {
    const InstructionList list({bits(0x11, 5), bits(0x2, 4)});
    EXPECT_TRUE(list.finds(bits(0x11, 5)));
    EXPECT_TRUE(list.finds(bits(0x2, 4)));
    EXPECT_TRUE(list.finds(bits(0xF1 | 0x300, 10))); // 11111 10001
    EXPECT_TRUE(list.finds(bits(0b1111'10001'11, 11)));
    EXPECT_FALSE(list.finds(bits(0b1011'10001'11, 11)));
    EXPECT_FALSE(list.finds(bits(0x1F, 5)));
    EXPECT_FALSE(list.finds(bits(0x1, 3)));
    EXPECT_FALSE(list.finds({}));
    EXPECT_FALSE(InstructionList().finds(bits(0x11, 5)));
    EXPECT_TRUE(InstructionList().empty());
}

} // namespace
} // namespace talvor
