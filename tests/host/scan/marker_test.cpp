#include "host/scan/bit_queue.h"
#include "host/scan/marker.h"

#include <gtest/gtest.h>

namespace talvor {
namespace {

Bits random_bits(size_t count) {
    Bits bits;
    MarkerSource(99).append(bits, count);
    return bits;
}

// What comes out of a register that held `held`, up to `seen` bits.
Bits through(const Bits& held, const Bits& in, size_t seen) {
    return Bits::concat({&held, &in}).slice(0, seen);
}

class EchoTest : public testing::Test {
protected:
    EchoTest() {
        in.append(Bits::from_uint(marker, kMarkerBits));
        in.append(Bits(60));
    }

    uint64_t marker = MarkerSource(7).next_marker();
    Bits in;
};

TEST_F(EchoTest, IsFoundWhereverItIs) {
    for (size_t length = 0; length < 200; ++length) {
        const Bits out = through(random_bits(length), in, length + kMarkerProofBits);
        const Echo echo = EchoSearch{marker, in, out, 0}.find();
        ASSERT_EQ(echo.kind, Echo::Kind::Found) << length;
        ASSERT_EQ(echo.at, length);
    }
}

TEST_F(EchoTest, IsNotFoundBeforeItProvesAnything) {
    const Bits out = through(random_bits(70), in, 70 + kMarkerProofBits - 1);
    EXPECT_EQ((EchoSearch{marker, in, out, 0}.find().kind), Echo::Kind::None);
}

TEST_F(EchoTest, SkipsWhatCameBefore) {
    Bits out = Bits::ones(16);
    out.append(through(random_bits(33), in, 100));
    const EchoSearch search{marker, in, out, 16};
    EXPECT_EQ(search.seen(), 100U);
    EXPECT_EQ(search.find().at, 33U);
    EXPECT_TRUE(search.marker_at(33));
    EXPECT_FALSE(search.marker_at(34));
    EXPECT_FALSE(search.marker_at(90)) << "too little of it would have come out";
}

TEST_F(EchoTest, OfTwoTheOneThatTheRestFollowsCounts) {
    const Bits false_marker = Bits::from_uint(marker, kMarkerBits);
    const Bits held = Bits::concat({&false_marker, &false_marker});
    const Bits out = through(held, in, held.size() + 100);
    const Echo echo = EchoSearch{marker, in, out, 0}.find();
    EXPECT_EQ(echo.kind, Echo::Kind::Found);
    EXPECT_EQ(echo.at, held.size());
}

TEST_F(EchoTest, TwoThatCannotBeToldApartAreSeveral) {
    const Bits held = Bits::from_uint(marker, kMarkerBits);
    Bits repeating = held;
    repeating.append(held);
    const Bits out = through(held, repeating, 2 * kMarkerBits);
    EXPECT_EQ((EchoSearch{marker, repeating, out, 0}.find().kind), Echo::Kind::Several);
}

TEST_F(EchoTest, AMissingStartIsMeasured) {
    in.resize(100);
    const Bits out = in.slice(5, in.size() - 5);
    EXPECT_EQ((EchoSearch{marker, in, out, 0}.missing_start(8)), std::nullopt)
        << "so few bits prove nothing";
    in.append(random_bits(60));
    const Bits longer = in.slice(5, in.size() - 5);
    EXPECT_EQ((EchoSearch{marker, in, longer, 0}.missing_start(8)), 5U);
    EXPECT_EQ((EchoSearch{marker, in, longer, 0}.missing_start(4)), std::nullopt);
}

TEST(MarkerSourceTest, GivesTheSameForTheSameSeedAndNoOther) {
    MarkerSource first(1);
    MarkerSource again(1);
    MarkerSource other(2);
    const uint64_t marker = first.next_marker();
    EXPECT_EQ(marker, again.next_marker());
    EXPECT_NE(marker, other.next_marker());
    EXPECT_NE(marker, first.next_marker());
    EXPECT_EQ(marker >> kMarkerBits, 0U);
}

TEST(BitQueueTest, GivesBackWhatWentInInItsOrder) {
    BitQueue queue;
    const Bits all = random_bits(30'000);
    size_t in = 0;
    size_t out = 0;
    for (size_t step = 1; in < 20'000; step = step * 7 % 501 + 1) {
        queue.push(all.slice(in, step));
        in += step;
        const size_t part = std::min(step * 3 / 4, queue.size());
        ASSERT_EQ(queue.front(part), all.slice(out, part));
        queue.pop(part);
        out += part;
        ASSERT_EQ(queue.size(), in - out);
    }
}

} // namespace
} // namespace talvor
