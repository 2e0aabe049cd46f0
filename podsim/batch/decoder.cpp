#include "podsim/batch/decoder.h"

namespace talvor::podsim::batch {

int32_t status_of(const Outcome& outcome) {
    return outcome.error ? kFailedStatus : static_cast<int32_t>(outcome.reads * sizeof(uint16_t));
}

std::optional<std::string> MarkerCheck::take_marker(size_t index, uint16_t word) {
    if (!marker_due()) {
        return first_ ? "a marker before the batch's first"
                      : "a marker after " + std::to_string(run_reads_) + " reads of a run";
    }
    const bool open = word == SHM_MARKER_OPEN;
    if (open != (index == open_marker_)) {
        return open ? "an open marker that is not the last one" : "the last marker is closed";
    }
    full_ = !open;
    first_ = false;
    run_reads_ = 0;
    return std::nullopt;
}

std::optional<std::string> MarkerCheck::counts_differ(const Head& head, uint32_t reads) const {
    if (full_) {
        return "the batch ends before its open read-count marker";
    }
    if (reads != head.reads_in_batch || run_reads_ != head.reads_in_run) {
        return "the batch holds " + std::to_string(reads) + " reads, " +
               std::to_string(run_reads_) + " of them since its open marker, and counts " +
               std::to_string(head.reads_in_batch) + " and " + std::to_string(head.reads_in_run);
    }
    if ((head.marker_closed != 0) != (reads != run_reads_)) {
        return "the batch is marked wrongly as to whether it closed a marker";
    }
    return std::nullopt;
}

std::optional<BatchError> check_start(const Batch& batch) {
    const uint32_t length = batch.head.length_words;
    if (length > SHM_BLOCK_WORDS) {
        return BatchError{SHM_BLOCK_WORDS, "a batch of " + std::to_string(length) +
                                               " words is longer than the block"};
    }
    if (length < SHM_EMPTY_BATCH_WORDS) {
        return BatchError{length, "a batch of " + std::to_string(length) +
                                      " words lacks the two words that every batch begins with"};
    }
    if (batch.words[0] != SHM_WORD_RESERVED) {
        return BatchError{0, "the reserved word is not the first"};
    }
    return std::nullopt;
}

} // namespace talvor::podsim::batch
