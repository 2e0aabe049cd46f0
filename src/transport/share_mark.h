// What the driver leaves at the end of a controller block's reserve, and the locks on it, so that a
// block whose users were killed is told from one that is in use.
//
// A handle that is attached holds a shared lock on one byte of the mark for as long as the block's
// descriptor is open; the kernel lets it go when the process dies, however it dies and whichever
// process namespace it lives in. A second byte is locked exclusively while a handle attaches or
// releases. Both are locks of the open file description: two handles of one process hold two. A
// child of fork shares its parent's descriptions, so a block counts as held until the child has
// ended too, or has become another program; a handle stays its parent's to use and to release.
//
// A host with another driver neither marks nor locks. A block that it made has no mark, and a mark
// knows how many of our handles the block counts, so that such a host among them is noticed.
//
// The mark also says which pod the state belongs to, by the pod block that the proxy made for it.
#pragma once

#include "jsc_internal.h"

struct ShareMark {
    uint64_t text;    // kShareMarkText
    PodIdentity pod;  // whose state the block holds; inode 0: nobody has said
    uint32_t users;   // of the attach count's users, those that are handles of this driver
    uint8_t gate;     // locked exclusively while a handle attaches or releases
    uint8_t hold;     // locked shared by each attached handle
    uint8_t spare[2]; // 0
};
static_assert(offsetof(ShareMark, text) == 0);
static_assert(offsetof(ShareMark, pod) == 8);
static_assert(offsetof(ShareMark, users) == 32);
static_assert(offsetof(ShareMark, gate) == 36);
static_assert(offsetof(ShareMark, hold) == 37);
static_assert(sizeof(ShareMark) == 40);

// "talvor 1", the last character first.
constexpr uint64_t kShareMarkText = 0x3120726F766C6174;

// Where the mark begins in the object: its last bytes, so that one write gives a fresh object mark
// and size together, and no creator can be killed between the two.
constexpr size_t kShareMarkOffset = SHARE_HEADER_SIZE + SHARE_CONTROL_SIZE - sizeof(ShareMark);
static_assert(kShareMarkOffset % alignof(ShareMark) == 0);
static_assert(kShareMarkOffset >= SHARE_HEADER_SIZE + sizeof(JSC_Control));

// Whether a block of this size has the reserve that a mark needs: controller blocks alone have.
constexpr bool share_has_reserve(uint32_t size) {
    return size == SHARE_CONTROL_SIZE;
}

// The mark of a mapped controller block.
ShareMark& share_mark(void* object);

// Whether the mark stands there.
[[nodiscard]] bool share_is_marked(void* object);

// Whether the block counts users that are not our handles. What stands there may be anything.
[[nodiscard]] bool share_counts_others(void* object, uint32_t attach_count);

// Whether the block holds the state of another pod than this one. False when either is not known.
[[nodiscard]] bool share_is_of_other_pod(void* object, const PodIdentity& pod);

// Gives a fresh object, which has no size yet, its size and a mark with one user. False when the
// file system has no room.
[[nodiscard]] bool share_write_mark(int fd, const PodIdentity& pod);

// Waits until no other handle attaches to the object or releases it, and keeps others out. False
// where the kernel or the file system knows no such locks.
[[nodiscard]] bool share_enter_gate(int fd);
void share_leave_gate(int fd);

// Lets both locks go. A close alone would not, where a child of fork still has the descriptor.
void share_let_go(int fd);

// Takes the shared lock. False where it cannot be had.
[[nodiscard]] bool share_hold(int fd);

// Whether no other open file description holds the shared lock; false also when that cannot be
// told.
[[nodiscard]] bool share_is_alone(int fd);
