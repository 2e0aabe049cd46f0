// What a handle leaves in its pod's block about an exchange, so that the next one can tell whether
// an answer is still to come that is not its own.
//
// The note stands in the half of `data` that commands do not use: it is the driver's, and is gone
// with the proxy that owes the answer. A handle that has the block mapped also holds a shared lock
// on a byte of it, which ends with the process: a note of an exchange under way that nobody holds
// is a killed host's.
#pragma once

#include "jsc_internal.h"
#include "transport/shared_field.h"

inline constexpr uint32_t kNoteArgument = 0x0000FFFF; // the half that is not the note
inline constexpr uint32_t kNoteUnderWay = 0x6E770000; // an exchange has begun and has no answer yet
inline constexpr uint32_t kNoteGivenUp = 0x0B5E0000;  // its host stopped waiting for the answer

inline uint32_t exchange_note(lcl_shm* block) {
    return shared_read(block->data) & ~kNoteArgument;
}

inline void exchange_write_note(lcl_shm* block, uint32_t note) {
    shared_write(block->data, note | (shared_read(block->data) & kNoteArgument));
}

// Before start is posted. What another handle has given up stays noted.
inline void exchange_begin_note(lcl_shm* block) {
    if (exchange_note(block) != kNoteGivenUp) {
        exchange_write_note(block, kNoteUnderWay);
    }
}

// When the answer is here, or will not come.
inline void exchange_end_note(lcl_shm* block) {
    if (exchange_note(block) == kNoteUnderWay) {
        exchange_write_note(block, 0);
    }
}

// Which byte of the block is locked: the note itself.
inline constexpr off_t kExchangeHoldByte = offsetof(lcl_shm, data) + 2;

// Holds the block, by a descriptor of it that then belongs to the handle until exchange_let_go; it
// is closed where there are no such locks.
//   pOrphaned  out: no other handle holds the block, and a note of an exchange under way stands
//              there; false where there are no such locks
void exchange_hold(JSC_Inform* pJscInform, int fd, bool* pOrphaned);

// Nothing is held afterwards.
void exchange_let_go(JSC_Inform* pJscInform);
