#include "transport/batch_room.h"

#include <gtest/gtest.h>

namespace {

constexpr BatchItem wait{.words = 1, .reads = 0};
constexpr BatchItem write{.words = 2, .reads = 0};
constexpr BatchItem read{.words = 1, .reads = 1};
constexpr BatchItem nothing{.words = 0, .reads = 0};

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
        {2, 0, 0, write, true},
        {131069, 0, 0, nothing, true},
        {131070, 0, 0, nothing, false},
        {131068, 0, 0, wait, true},
        {131069, 0, 0, wait, false},
        {131067, 0, 0, write, true},
        {131068, 0, 0, write, false},
        {131068, 0, 0, read, true},
        {131069, 0, 0, read, false},
        // The third status read completes a run of 2048: a marker.
        {131068, 2044, 2044, wait, true},
        {131068, 2045, 2045, wait, false},
        {131067, 2045, 2045, wait, true},
        {131067, 2047, 2047, wait, true},
        {131068, 2047, 2047, wait, false},
        // The read itself completes it, or the status reads behind it.
        {131068, 2043, 2043, read, true},
        {131068, 2044, 2044, read, false},
        {131067, 2044, 2044, read, true},
        {131067, 2047, 2047, read, true},
        {131068, 2047, 2047, read, false},
        // The in-block.
        {10, 0, 131069, nothing, true},
        {10, 0, 131070, nothing, false},
        {10, 0, 131068, read, true},
        {10, 0, 131069, read, false},
        {10, 0, 131069, wait, true},
        // Counters that no batch has.
        {131073, 0, 0, nothing, false},
        {UINT32_MAX, 0, 0, nothing, false},
        {10, 2048, 0, nothing, false},
        {10, UINT32_MAX, 0, nothing, false},
        {10, 0, UINT32_MAX, nothing, false},
    };
    for (const RoomCase& entry : cases) {
        EXPECT_EQ(batch_has_room(entry.next, entry.reads_local, entry.reads_global, entry.item),
                  entry.fits)
            << entry.next << " " << entry.reads_local << " " << entry.reads_global << " "
            << entry.item.words << " " << entry.item.reads;
    }
}

} // namespace
