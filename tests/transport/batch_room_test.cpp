#include "transport/batch_room.h"

#include <gtest/gtest.h>

namespace {

constexpr BatchItem kWait{.words = 1, .reads = 0};
constexpr BatchItem kWrite{.words = 2, .reads = 0};
constexpr BatchItem kRead{.words = 1, .reads = 1};
constexpr BatchItem kNothing{.words = 0, .reads = 0};

struct RoomCase {
    uint32_t next;
    uint32_t reads_local;
    uint32_t reads_global;
    BatchItem item;
    bool fits;
};

// The block has 131,072 words; a flush adds three reads.
TEST(BatchRoomTest, IsExact) {
    const RoomCase cases[] = {
        {2, 0, 0, kWrite, true},
        {131069, 0, 0, kNothing, true},
        {131070, 0, 0, kNothing, false},
        {131068, 0, 0, kWait, true},
        {131069, 0, 0, kWait, false},
        {131067, 0, 0, kWrite, true},
        {131068, 0, 0, kWrite, false},
        {131068, 0, 0, kRead, true},
        {131069, 0, 0, kRead, false},
        // The third status read completes a run of 2048: a marker.
        {131068, 2044, 2044, kWait, true},
        {131068, 2045, 2045, kWait, false},
        {131067, 2045, 2045, kWait, true},
        {131067, 2047, 2047, kWait, true},
        {131068, 2047, 2047, kWait, false},
        // The read itself completes it, or the status reads behind it.
        {131068, 2043, 2043, kRead, true},
        {131068, 2044, 2044, kRead, false},
        {131067, 2044, 2044, kRead, true},
        {131067, 2047, 2047, kRead, true},
        {131068, 2047, 2047, kRead, false},
        // The in-block.
        {10, 0, 131069, kNothing, true},
        {10, 0, 131070, kNothing, false},
        {10, 0, 131068, kRead, true},
        {10, 0, 131069, kRead, false},
        {10, 0, 131069, kWait, true},
        // Counters that no batch has.
        {131073, 0, 0, kNothing, false},
        {UINT32_MAX, 0, 0, kNothing, false},
        {10, 2048, 0, kNothing, false},
        {10, UINT32_MAX, 0, kNothing, false},
        {10, 0, UINT32_MAX, kNothing, false},
    };
    for (const RoomCase& entry : cases) {
        EXPECT_EQ(batch_has_room(entry.next, entry.reads_local, entry.reads_global, entry.item),
                  entry.fits)
            << entry.next << " " << entry.reads_local << " " << entry.reads_global << " "
            << entry.item.words << " " << entry.item.reads;
    }
}

} // namespace
