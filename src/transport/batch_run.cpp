#include "transport/batch_run.h"

#include "transport/batch.h"
#include "transport/batch_item.h"
#include "transport/batch_room.h"
#include "transport/shared_field.h"

#include <algorithm>
#include <bit>
#include <cstring>

namespace {

// Steps are put together in a register: the words of the out-block stand in its memory order.
static_assert(std::endian::native == std::endian::little);

constexpr uint32_t kWordBits = 16;
constexpr uint32_t kHeadWords = 4;
constexpr uint32_t kStepWordsMost = 6; // wait, send with its settle delay, receive

// Below it any step fits, with the marker that it closes and all that a flush adds behind it, and a
// step of the longest may be stored.
constexpr uint32_t kRunEnd = SHM_BLOCK_WORDS - kStepWordsMost - kBatchFlushWordsMost;

// One step as it stands in the out-block, the word to send left 0.
struct Step {
    uint64_t head;       // the first four words
    uint32_t rest;       // the two behind them
    uint32_t words;      // how many there are
    uint32_t value_bits; // by how much the word to send is shifted into the head
};

Step make_step(const JSC_Inform* pJscInform, const BatchRun& run) {
    uint16_t words[kStepWordsMost] = {};
    Step step{};
    const auto put = [&](uint32_t word) { words[step.words++] = static_cast<uint16_t>(word); };
    if (run.wait_word != 0) {
        put(run.wait_word);
    }
    if (run.source != nullptr) {
        put(TBC_PORT_SEND | SHM_WORD_WRITE);
        step.value_bits = step.words * kWordBits;
        put(0);
        if (batch_settles_sends(pJscInform)) {
            put(TBC_PORT_STATUS0 | SHM_WORD_WRITE);
            put(0);
        }
    }
    if (run.destination != nullptr) {
        put(TBC_PORT_RECEIVE);
    }
    std::memcpy(&step.head, words, sizeof step.head);
    std::memcpy(&step.rest, words + kHeadWords, sizeof step.rest);
    return step;
}

// Writes `count` steps from `out` on. Each is stored with the longest step's length; what is behind
// it belongs to the next step or is not queued yet.
void put_steps(uint16_t* out, const Step& pattern, const uint16_t* source, uint32_t count) {
    const Step step = pattern;
    for (uint32_t done = 0; done < count; ++done) {
        const uint64_t value = source == nullptr ? 0 : source[done];
        const uint64_t head = step.head | value << step.value_bits;
        std::memcpy(out, &head, sizeof head);
        if (step.words > kHeadWords) {
            std::memcpy(out + kHeadWords, &step.rest, sizeof step.rest);
        }
        out += step.words;
    }
}

// Where the next steps go: the block's counters, each read once and bounded.
struct Place {
    uint32_t next;
    uint32_t reads_local;
    uint32_t reads_global;
    uint32_t steps; // that go there without another look; 0: the items are to be looked at singly
};

// As many steps have a place as there is room for, and no more reads than the open marker counts.
Place find_place(JSC_Inform* pJscInform, const Step& step, bool reads) {
    lcl_shm* const block = pJscInform->ProxyShm;
    Place place{shared_read(block->tbcMblockPtr), shared_read(block->rdCntrLcl),
                shared_read(block->rdCntrGbl), 0};
    if (place.next >= kRunEnd || place.reads_global > place.next ||
        place.reads_local >= SHM_MARKER_READS) {
        return place;
    }
    place.steps = (kRunEnd - place.next) / step.words;
    if (reads) {
        const uint32_t of_marker = SHM_MARKER_READS - place.reads_local;
        place.steps = batch_reserve_nodes(pJscInform, 1) ? std::min(place.steps, of_marker) : 0;
    }
    return place;
}

// What is left of a run, and what it has made.
struct RunState {
    JSC_Inform* handle;
    BatchRun rest;
    const uint16_t* listed_end; // of the words of the run's own newest node; null without one
};

void advance(RunState& state, uint32_t steps) {
    state.rest.source += state.rest.source == nullptr ? 0 : steps;
    state.rest.destination += state.rest.destination == nullptr ? 0 : steps;
    state.rest.count -= steps;
    state.listed_end = state.rest.destination;
}

// Lists the next `count` reads. Only the run's own node grows, from a node that was reserved: the
// nodes of others stay as they were made.
void list_reads(RunState& state, uint32_t count) {
    JSC_qel_oplist* const tail = state.handle->opListTail;
    if (tail != nullptr && state.listed_end == state.rest.destination) {
        tail->count += count;
    } else {
        batch_append_node(state.handle, count, state.rest.destination);
    }
}

void queue_at_once(RunState& state, const Step& step, const Place& place) {
    lcl_shm* const block = state.handle->ProxyShm;
    const uint32_t steps = place.steps;
    put_steps(block->tbcOMblock + place.next, step, state.rest.source, steps);
    shared_write(block->tbcMblockPtr, place.next + steps * step.words);
    if (state.rest.destination != nullptr) {
        batch_count_reads(state.handle, place.reads_local, place.reads_global, steps);
        list_reads(state, steps);
    }
    advance(state, steps);
}

// The items of one step, each with its own look at the room.
void queue_singly(RunState& state) {
    if (state.rest.wait_word != 0) {
        batch_wait(state.handle, state.rest.wait_word);
    }
    if (state.rest.source != nullptr) {
        batch_write(state.handle, TBC_PORT_SEND, *state.rest.source);
    }
    if (state.rest.destination != nullptr) {
        batch_read(state.handle, TBC_PORT_RECEIVE, state.rest.destination);
    }
    advance(state, 1);
}

} // namespace

void batch_run(JSC_Inform* pJscInform, const BatchRun& run) {
    const Step step = make_step(pJscInform, run);
    RunState state{pJscInform, run, nullptr};
    while (state.rest.count != 0) {
        Place place{};
        if (step.words != 0 && batch_takes_accesses(pJscInform)) {
            place = find_place(pJscInform, step, run.destination != nullptr);
            place.steps = std::min(place.steps, state.rest.count);
        }
        if (place.steps != 0) {
            queue_at_once(state, step, place);
        } else {
            queue_singly(state);
        }
    }
}
