#include "host/boundary/access.h"
#include "tests/host/boundary/parts.h"

#include <gmock/gmock.h>
#include <gtest/gtest.h>

namespace talvor::boundary {
namespace {

using testing::ElementsAre;
using testing::HasSubstr;
using testing::IsEmpty;

// u1 and u3 have descriptions, u2 has none.
class AccessTest : public testing::Test {
protected:
    [[nodiscard]] static std::vector<PartTap> taps() {
        return {{make_part()}, {nullptr, 5}, {make_part({.one_opcode = false})}};
    }
    [[nodiscard]] static Images counted() {
        return {Bits::from_uint(0x1234, 15), Bits(1), Bits::from_uint(0x5678, 15)};
    }

    PartPort port_{taps()};
    Access access_{port_, members_of(taps())};
};

TEST_F(AccessTest, MovesNothingAtFirst) {
    EXPECT_EQ(port_.scans(), 0u);
    EXPECT_THAT(access_.loaded(), IsEmpty());
    EXPECT_EQ(access_.safe()[0], Plan::make(make_part())->safe());
    EXPECT_EQ(access_.safe()[1], Bits(1));
}

TEST_F(AccessTest, LoadsAnInstructionIntoEachDevice) {
    const std::vector<Instruction> mixed{Instruction::Extest, Instruction::Bypass,
                                         Instruction::HighZ};
    ASSERT_TRUE(access_.load(mixed));
    EXPECT_THAT(port_.moments.back().instructions, ElementsAre("EXTEST", "BYPASS", "HIGHZ"));
    ASSERT_TRUE(access_.load(Instruction::Preload));
    EXPECT_THAT(port_.moments.back().instructions, ElementsAre("SAMPLE", "BYPASS", "PRELOAD"));
    EXPECT_THAT(access_.loaded(),
                ElementsAre(Instruction::Preload, Instruction::Bypass, Instruction::Preload));
}

TEST_F(AccessTest, ScansNoInstructionThatIsLoaded) {
    ASSERT_TRUE(access_.load(Instruction::Extest));
    ASSERT_TRUE(access_.load(Instruction::Extest));
    EXPECT_EQ(access_.instruction_scans(), 1u);
    ASSERT_TRUE(access_.reset());
    ASSERT_TRUE(access_.load(Instruction::Extest));
    EXPECT_EQ(port_.instruction_scans, 2u);
}

TEST_F(AccessTest, TakesOneOpcodeForOneInstruction) {
    const std::vector<PartTap> same{{make_part()}};
    PartPort port(same);
    Access access(port, members_of(same));
    ASSERT_TRUE(access.load(Instruction::Sample));
    ASSERT_TRUE(access.load(Instruction::Preload));
    EXPECT_EQ(port.instruction_scans, 1u);
    EXPECT_THAT(access.loaded(), ElementsAre(Instruction::Preload));
}

TEST_F(AccessTest, ExchangesAllRegistersInOneScan) {
    ASSERT_TRUE(access_.load(Instruction::Preload));
    ASSERT_TRUE(access_.exchange(counted(), nullptr));
    EXPECT_EQ(port_.data_scans, 1u);
    EXPECT_EQ(port_.moments.back().latches[0], counted()[0]);
    EXPECT_EQ(port_.moments.back().latches[2], counted()[2]);
}

TEST_F(AccessTest, ReadsEachRegisterForItself) {
    port_.outside[{0, 1}] = true; // IN of u1
    port_.outside[{2, 0}] = true; // CLK of u3
    ASSERT_TRUE(access_.load(Instruction::Sample));
    Images in;
    ASSERT_TRUE(access_.exchange({}, &in));
    EXPECT_EQ(in[0], Bits::from_uint(0x2, 15));
    EXPECT_EQ(in[1], Bits(1));
    EXPECT_EQ(in[2], Bits::from_uint(0x1, 15));
    EXPECT_TRUE(port_.moments.back().latches[0].all_zeros()); // nothing given: zeros
}

TEST_F(AccessTest, ExchangesInPlace) {
    ASSERT_TRUE(access_.load(Instruction::Preload));
    Images images = counted();
    ASSERT_TRUE(access_.exchange(images, &images));
    EXPECT_EQ(port_.moments.back().latches[2], counted()[2]);
    EXPECT_TRUE(images[2].all_zeros());
}

TEST_F(AccessTest, GivesOneBitToDevicesThatHaveTheirRegisterAside) {
    const std::vector<Instruction> mixed{Instruction::Extest, Instruction::Bypass,
                                         Instruction::Clamp};
    ASSERT_TRUE(access_.load(mixed));
    Images in;
    ASSERT_TRUE(access_.exchange({counted()[0], Bits(1), Bits(1)}, &in));
    EXPECT_EQ(port_.moments.back().latches[0], counted()[0]);
    EXPECT_EQ(in[2], Bits(1));
}

TEST_F(AccessTest, RefusesAScanIntoUnknownRegisters) {
    EXPECT_FALSE(access_.exchange({}, nullptr));
    EXPECT_EQ(port_.scans(), 0u);
}

TEST_F(AccessTest, SamplesWithOneScanEach) {
    Images in;
    for (int i = 0; i < 5; ++i) {
        ASSERT_TRUE(access_.sample(in));
    }
    EXPECT_EQ(port_.instruction_scans, 1u);
    EXPECT_EQ(port_.data_scans, 5u);
    EXPECT_EQ(port_.moments.back().latches[0], access_.safe()[0]);
}

TEST_F(AccessTest, PreloadsWithOneScan) {
    ASSERT_TRUE(access_.preload(counted()));
    EXPECT_EQ(port_.data_scans, 1u);
    EXPECT_EQ(port_.moments.back().latches[0], counted()[0]);
    EXPECT_EQ(port_.moments.back().latches[2], counted()[2]);
}

TEST_F(AccessTest, TellsRegistersOfAnotherLength) {
    for (const size_t bits : {size_t{14}, size_t{17}}) {
        auto other = std::make_shared<bsdl::Device>(*make_part());
        other->boundary_bits = bits;
        if (bits < 15) {
            other->cells.pop_back();
        }
        PartPort port({{other}});
        Access access(port, members_of({{make_part()}}));
        const Status done = access.preload(access.safe());
        ASSERT_FALSE(done) << bits;
        EXPECT_EQ(done.error().kind, ErrorKind::Target);
        EXPECT_THAT(headline(done.error()), HasSubstr(bits < 15 ? "14 bits" : "more than the 15"));
        Images in;
        EXPECT_FALSE(access.sample(in)) << bits;
    }
}

TEST_F(AccessTest, ChecksTheCaptureOfInstructions) {
    port_.wrong_capture = Bits::from_uint(0b0001'00001'0011, 13);
    const Status done = access_.load(Instruction::Extest);
    ASSERT_FALSE(done);
    EXPECT_EQ(done.error().kind, ErrorKind::Target);
    EXPECT_EQ(headline(done.error()), "u3: its instruction register captures 0011, expected XX01");
    EXPECT_THAT(access_.loaded(), testing::SizeIs(3)); // it went out all the same
    port_.wrong_capture = Bits::from_uint(0b0001'00000'0001, 13);
    EXPECT_EQ(headline(access_.load(Instruction::Bypass).error()),
              "u2: its instruction register captures 00000, expected an end in 01");
}

TEST_F(AccessTest, NamesAnInstructionThatTheFileDoesNotHave) {
    Access access(port_, members_of({{make_part({.clamp = false})}}));
    const Status done = access.load(Instruction::Clamp);
    ASSERT_FALSE(done);
    EXPECT_EQ(done.error().kind, ErrorKind::Refused);
    EXPECT_EQ(headline(done.error()), "CLAMP of u1: PART15 has no such instruction");
    EXPECT_THAT(done.error().next_step, HasSubstr("EXTEST"));
    EXPECT_EQ(port_.scans(), 0u);
}

TEST_F(AccessTest, TakesSampleForPreloadWhereAFileKnowsOneOfThem) {
    auto old = std::make_shared<bsdl::Device>(*make_part());
    std::erase_if(old->instructions, [](const auto& entry) { return entry.name == "PRELOAD"; });
    const Member member = members_of({{old}})[0];
    EXPECT_EQ(opcode(member, Instruction::Preload), Bits::from_uint(1, 4));
    EXPECT_EQ(opcode(member, Instruction::Bypass), Bits::ones(4));
}

TEST_F(AccessTest, RefusesACodeThatDoesNotFitTheRegister) {
    Member member = members_of({{make_part()}})[0];
    member.instruction_bits = 5;
    EXPECT_THAT(headline(opcode(member, Instruction::Extest).error()), HasSubstr("4 bits"));
}

TEST_F(AccessTest, ForgetsWhatIsLoadedWhenThePortFails) {
    ASSERT_TRUE(access_.load(Instruction::Preload));
    port_.fails_at = port_.scans();
    EXPECT_FALSE(access_.exchange({}, nullptr));
    EXPECT_THAT(access_.loaded(), IsEmpty());
    ASSERT_TRUE(access_.load(Instruction::Preload));
    EXPECT_EQ(port_.instruction_scans, 2u);
}

} // namespace
} // namespace talvor::boundary
