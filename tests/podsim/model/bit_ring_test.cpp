#include "podsim/model/bit_ring.h"
#include "podsim/model/bits.h"
#include "podsim/model/fifo.h"
#include "podsim/model/return_path.h"

#include <gtest/gtest.h>

#include <deque>
#include <random>
#include <vector>

namespace talvor::podsim {
namespace {

TEST(BitRingTest, BeginsAtItsLevel) {
    EXPECT_EQ(BitRing(10).read(3), 0U);
    EXPECT_EQ(BitRing(10, true).read(3), ~uint64_t{0});
}

// A queue of every length, filled and emptied by pieces of every size.
TEST(BitRingTest, KeepsWhatStandsBetweenReaderAndWriter) {
    std::mt19937_64 random(1);
    for (uint64_t capacity = 0; capacity < 400; capacity += 7) {
        BitRing ring(capacity);
        std::deque<bool> expected(capacity, false);
        uint64_t head = random() % 1000;
        for (uint64_t done = 0; done < capacity; done += 50) {
            ring.write(head + done, 0,
                       static_cast<unsigned>(std::min<uint64_t>(50, capacity - done)));
        }
        for (int step = 0; step < 300; ++step) {
            const auto count = static_cast<unsigned>(1 + random() % 64);
            const uint64_t in = random() & low_mask(count);
            ring.write(head + capacity, in, count);
            const uint64_t out = ring.read(head) & low_mask(count);
            head += count;
            for (unsigned i = 0; i < count; ++i) {
                expected.push_back(((in >> i) & 1) != 0);
                ASSERT_EQ(((out >> i) & 1) != 0, expected.front()) << capacity;
                expected.pop_front();
            }
        }
    }
}

TEST(BitsTest, FieldsAreReadAndReplaced) {
    std::mt19937_64 random(2);
    std::vector<uint64_t> words(3);
    std::vector<bool> plain(192);
    for (int step = 0; step < 2000; ++step) {
        const auto count = static_cast<unsigned>(random() % 65);
        const size_t position = random() % (192 - count + 1);
        const uint64_t value = random();
        if (count != 0 || position < 192) {
            put_bits(words, position, count, value);
        }
        for (unsigned i = 0; i < count; ++i) {
            plain[position + i] = ((value >> i) & 1) != 0;
        }
        for (size_t i = 0; i < 192; ++i) {
            ASSERT_EQ(get_bits(words, i, 1) != 0, plain[i]);
        }
        ASSERT_EQ(get_bits(words, position, count), value & low_mask(count));
    }
}

TEST(FifoTest, IsFirstInFirstOut) {
    Fifo<int, 3> fifo;
    EXPECT_TRUE(fifo.empty());
    for (int round = 0; round < 5; ++round) {
        fifo.push(1);
        fifo.push(2);
        EXPECT_EQ(fifo.pop(), 1);
        fifo.push(3);
        fifo.push(4);
        EXPECT_TRUE(fifo.full());
        EXPECT_EQ(fifo.size(), 3U);
        EXPECT_EQ(fifo.pop(), 2);
        EXPECT_EQ(fifo.pop(), 3);
        EXPECT_EQ(fifo.pop(), 4);
        EXPECT_TRUE(fifo.empty());
    }
    fifo.push(1);
    fifo.clear();
    EXPECT_TRUE(fifo.empty());
}

TEST(BitRingTest, AReplacementLeavesWhatStandsAround) {
    std::mt19937_64 random(9);
    for (unsigned count = 1; count <= 64; ++count) {
        for (uint64_t position = 0; position < 200; position += 7) {
            BitRing ring(200);
            std::vector<uint64_t> plain(5);
            for (uint64_t at = 0; at < 256; at += 64) {
                plain[at / 64] = random();
                ring.write(at, plain[at / 64], 64);
            }
            const uint64_t value = random() & low_mask(count);
            const unsigned fits = static_cast<unsigned>(std::min<uint64_t>(count, 256 - position));
            ring.replace(position, value & low_mask(fits), fits);
            put_bits(plain, position, fits, value & low_mask(fits));
            for (uint64_t at = 0; at < 192; ++at) {
                ASSERT_EQ(ring.read(at) & 1, get_bits(plain, at, 1)) << count << " " << position;
            }
        }
    }
}

TEST(ReturnPathTest, DelayIsNeverBelowZero) {
    EXPECT_EQ(return_delay(16, 3, 0, 3), 16U);
    EXPECT_EQ(return_delay(16, 3, 0, 0), 19U);
    EXPECT_EQ(return_delay(16, 3, 1, 3), 17U);
    EXPECT_EQ(return_delay(0, 3, 0, 3), 0U);
    EXPECT_EQ(return_delay(0, 3, 0, 31), 0U);
    EXPECT_EQ(return_delay(16, 3, 0, 31), 0U);
}

TEST(ReturnPathTest, HoldsOnesBeforeAnythingWasShifted) {
    const ReturnPath path;
    EXPECT_EQ(path.read(path.position() - 64, 64), ~uint64_t{0});
    EXPECT_EQ(path.read(path.position() - ReturnPath::kKeptBits, 5), 0x1FU);
}

TEST(ReturnPathTest, LongRunsKeepTheirEnd) {
    std::mt19937_64 random(4);
    for (const uint64_t count : {1U, 64U, 65U, 1151U, 1152U, 1153U, 5000U}) {
        ReturnPath by_block;
        ReturnPath by_bit;
        std::vector<uint64_t> bits(words_for(count));
        for (uint64_t& word : bits) {
            word = random();
        }
        by_block.push(bits, count);
        for (uint64_t i = 0; i < count; ++i) {
            by_bit.push(get_bits(bits, i, 1), 1);
        }
        ASSERT_EQ(by_block.position(), by_bit.position());
        for (uint64_t back = 1; back <= ReturnPath::kKeptBits; ++back) {
            ASSERT_EQ(by_block.read(by_block.position() - back, 1),
                      by_bit.read(by_bit.position() - back, 1))
                << count << " " << back;
        }
    }
}

} // namespace
} // namespace talvor::podsim
