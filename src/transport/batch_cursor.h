// A run of accesses on the batch, with its counters in registers: what a stream of thousands of
// words is queued through. PortWriteNoCache, PortReadNoCache and batch_wait are runs of one.
//
// Between cursor_open and cursor_close the block's counters and the handle's list of reads are
// behind; nothing else may touch them in between. An item (a write with its value, a read with the
// marker that it may close, a wait) is never torn: when the block has no room for it and for what a
// flush adds, the batch is flushed first. A flush that fails sets podError and batchError, and this
// run and all later accesses are dropped until Diagnose.
#pragma once

#include "jsc_internal.h"
#include "transport/shared_field.h"

struct BatchCursor {
    JSC_Inform* handle;
    lcl_shm* block;            // null without a channel
    uint32_t next;             // next free index of the out-block
    uint32_t reads_local;      // reads since the open marker
    uint32_t reads_global;     // reads in the batch
    uint32_t access_end;       // below it, a write or read needs no look at the room or at podError
    uint32_t wait_end;         // the same for a wait
    JSC_qel_oplist* free_node; // spent nodes
    JSC_qel_oplist* tail;      // newest pending read
    bool settles;              // an old pod with a slow clock: a settle delay after each word sent
};

// Starts a run. Works on any handle; without a channel the run drops everything.
BatchCursor cursor_open(JSC_Inform* pJscInform);

// Ends a run: the block's counters and the handle's list are right again.
void cursor_close(const BatchCursor& cursor);

// The ways out of the common case: little room, a marker to close, an empty list, accesses dropped.
void cursor_write_slowly(BatchCursor& cursor, uint16_t port, uint16_t value);
void cursor_read_slowly(BatchCursor& cursor, uint16_t port, uint16_t* pValue);
void cursor_wait_slowly(BatchCursor& cursor, uint16_t wait_word);

inline void cursor_put(BatchCursor& cursor, uint32_t word) {
    cursor.block->tbcOMblock[cursor.next] = static_cast<uint16_t>(word);
    ++cursor.next;
}

inline void cursor_put_write(BatchCursor& cursor, uint16_t port, uint16_t value) {
    cursor_put(cursor, port | SHM_WORD_WRITE);
    cursor_put(cursor, value);
    if (port == TBC_PORT_SEND && cursor.settles) {
        // Required by those old pods: without it a slow test clock loses words.
        cursor_put(cursor, TBC_PORT_STATUS0 | SHM_WORD_WRITE);
        cursor_put(cursor, 0);
    }
}

// Queues a write of `value` to a port, past the register cache.
inline void cursor_write(BatchCursor& cursor, uint16_t port, uint16_t value) {
    if (cursor.next >= cursor.access_end) [[unlikely]] {
        cursor_write_slowly(cursor, port, value);
        return;
    }
    cursor_put_write(cursor, port, value);
}

// Queues a read of a port, past the register cache.
//   pValue  out: filled by the next successful flush; must stay valid until then
inline void cursor_read(BatchCursor& cursor, uint16_t port, uint16_t* pValue) {
    JSC_qel_oplist* const node = cursor.free_node;
    if (cursor.next >= cursor.access_end || cursor.reads_local >= SHM_MARKER_READS - 1 ||
        node == nullptr || cursor.tail == nullptr) [[unlikely]] {
        cursor_read_slowly(cursor, port, pValue);
        return;
    }
    cursor_put(cursor, port);
    ++cursor.reads_local;
    ++cursor.reads_global;
    cursor.free_node = node->next;
    node->count = 1;
    node->ptr = pValue;
    node->next = nullptr;
    cursor.tail->next = node;
    cursor.tail = node;
}

// Queues a wait word (SHM_WAIT_...).
inline void cursor_wait(BatchCursor& cursor, uint16_t wait_word) {
    if (cursor.next >= cursor.wait_end) [[unlikely]] {
        cursor_wait_slowly(cursor, wait_word);
        return;
    }
    cursor_put(cursor, wait_word);
}
