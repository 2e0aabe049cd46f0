// The batch decoder: checks the word stream of an out-block and executes it against a controller.
//
// The stream is checked, not trusted. The first word that is wrong ends the batch, before it has
// any effect; what stood before it has been executed.
#pragma once

#include "common/result.h"
#include "podsim/batch/block.h"
#include "podsim/batch/data_run.h"

#include <algorithm>
#include <atomic>
#include <concepts>
#include <cstddef>
#include <cstdint>
#include <optional>
#include <span>
#include <string>
#include <utility>

namespace talvor::podsim::batch {

// What the decoder needs of a controller. A word that is not done fails the batch, with the reason
// of word_error(). `port` is 0 to 31; `word` is one of the five SHM_WAIT_ words.
template <class T>
concept Ports = requires(T ports, uint16_t port, uint16_t value, uint16_t word) {
    { ports.write(port, value) } -> std::same_as<bool>;
    { ports.read(port) } -> std::same_as<std::optional<uint16_t>>;
    { ports.wait(word) } -> std::same_as<bool>;
    { ports.word_error() } -> std::same_as<const Error&>; // of the last word that was not done
    { ports.settle() } -> std::same_as<Status>;           // the batch is at its end
};

// A controller that takes runs of data words in one piece. run_steps takes as many whole steps as
// it can, at most `count`, whose words begin at `words`, puts what they read from `received` on,
// and says how many it took; nothing when it failed, with the reason of word_error(). What it does
// not take comes word by word, and must do what it would have done without run_steps.
template <class T>
concept RunPorts = Ports<T> && requires(T ports, const DataStep& step, const uint16_t* words,
                                        size_t count, uint16_t* received) {
    { ports.run_steps(step, words, count, received) } -> std::same_as<std::optional<size_t>>;
};

// Why a batch failed.
struct BatchError {
    size_t index{}; // of the offending word in the out-block
    std::string reason;
};

// What a batch came to.
struct Outcome {
    uint32_t reads{};                // words put into the in-block, from its start
    std::optional<BatchError> error; // set: the batch failed
};

// The status that the host gets: the byte offset just past the last word read, negative on failure.
int32_t status_of(const Outcome& outcome);

// The status of every exchange that failed.
constexpr int32_t kFailedStatus = -1;

// Follows the read-count markers: one stands at index 1 and one after each run of 2048 reads, and
// nowhere else; every one but the last, which the head names, has been closed.
class MarkerCheck {
public:
    explicit MarkerCheck(const Head& head) : open_marker_(head.open_marker) {}

    // Takes the marker at `index`; a reason when it may not stand there.
    std::optional<std::string> take_marker(size_t index, uint16_t word);
    // A run is complete: only a marker may follow.
    bool marker_due() const { return run_reads_ == SHM_MARKER_READS; }
    // Counts a read; false when the run's marker would have to be closed, and is not.
    bool take_read() {
        ++run_reads_;
        return full_ || run_reads_ < SHM_MARKER_READS;
    }
    // How many reads may follow before the next one needs a look at the markers.
    size_t reads_allowed() const {
        const size_t left = SHM_MARKER_READS - run_reads_;
        return full_ || left == 0 ? left : left - 1;
    }
    // Counts as many reads; at most reads_allowed().
    void take_reads(size_t count) { run_reads_ += static_cast<uint32_t>(count); }
    // After the last word: a reason when the head counts other reads than the stream held.
    std::optional<std::string> counts_differ(const Head& head, uint32_t reads) const;

private:
    uint32_t open_marker_;
    uint32_t run_reads_ = SHM_MARKER_READS; // as if a run had ended: index 1 is a marker
    bool full_ = true;                      // the run's marker says 2048 reads
    bool first_ = true;
};

// A reason when no batch has this head and these first words.
std::optional<BatchError> check_start(const Batch& batch);

constexpr bool is_wait(uint16_t word) {
    return word == SHM_WAIT_WRITE_ONE || word == SHM_WAIT_WRITE_MANY || word == SHM_WAIT_READ_ONE ||
           word == SHM_WAIT_READ_MANY || word == SHM_WAIT_DONE;
}

// One execution of one batch.
template <Ports P>
class Execution {
public:
    Execution(const Batch& batch, std::span<uint16_t> in, P& ports, const std::atomic<bool>& stop)
        : words_(batch.words), head_(batch.head), in_(in), ports_(ports), stop_(stop),
          markers_(batch.head) {}

    Outcome run() {
        while (index_ < words_.size() && step()) {
        }
        if (!error_) {
            if (auto reason = markers_.counts_differ(head_, reads_)) {
                fail(std::move(*reason));
            } else if (const Status settled = ports_.settle(); !settled) {
                fail(headline(settled.error()));
            }
        }
        return {reads_, std::move(error_)};
    }

private:
    bool step() {
        const uint16_t word = words_[index_];
        if (stop_.load(std::memory_order_relaxed)) {
            return fail("the pod is being stopped");
        }
        if (markers_.marker_due() && word != SHM_MARKER_OPEN && word != SHM_MARKER_FULL) {
            return fail("a read-count marker must stand here");
        }
        if constexpr (RunPorts<P>) {
            if (const DataRun run = run_here(word); run.count != 0) {
                return run_data(run);
            }
        }
        return one_word(word);
    }

    DataRun run_here(uint16_t word) const {
        return may_begin_run(word) ? find_run(words_.subspan(index_), reads_allowed()) : DataRun{};
    }

    // Executes a run: in one piece where the controller takes it so, else a step word by word.
    bool run_data(const DataRun& run) {
        for (size_t left = run.count; left != 0;) {
            if (stop_.load(std::memory_order_relaxed)) {
                return fail("the pod is being stopped");
            }
            const std::optional<size_t> taken =
                ports_.run_steps(run.step, &words_[index_], left, in_.data() + reads_);
            if (!taken) {
                return fail(headline(ports_.word_error()));
            }
            if (*taken == 0 && !one_step(run.step)) {
                return false;
            }
            left -= *taken == 0 ? 1 : *taken;
            pass_steps(run.step, *taken);
        }
        return true;
    }

    // The words of a step, one after the other.
    bool one_step(const DataStep& step) {
        for (const size_t end = index_ + step.words(); index_ < end;) {
            if (!one_word(words_[index_])) {
                return false;
            }
        }
        return true;
    }

    void pass_steps(const DataStep& step, size_t count) {
        index_ += count * step.words();
        if (step.receives) {
            markers_.take_reads(count);
            reads_ += static_cast<uint32_t>(count);
        }
    }

    // Up to the next marker and the end of the in-block.
    size_t reads_allowed() const { return std::min(in_.size() - reads_, markers_.reads_allowed()); }

    bool one_word(uint16_t word) {
        if ((word & SHM_WORD_CONTROL) != 0) {
            return control(word);
        }
        if ((word & ~(SHM_WORD_WRITE | SHM_WORD_PORT_MASK)) != 0) {
            return fail("a port above 31");
        }
        return (word & SHM_WORD_WRITE) != 0
                   ? write(static_cast<uint16_t>(word & SHM_WORD_PORT_MASK))
                   : read(word);
    }

    bool write(uint16_t port) {
        if (index_ + 1 >= words_.size()) {
            return fail("a write without its value");
        }
        if (!ports_.write(port, words_[index_ + 1])) {
            return fail(headline(ports_.word_error()));
        }
        index_ += 2;
        return true;
    }

    bool read(uint16_t port) {
        if (reads_ >= in_.size()) {
            return fail("a read that would overflow the in-block");
        }
        if (!markers_.take_read()) {
            return fail("a full run of reads whose marker was not closed");
        }
        const std::optional<uint16_t> word = ports_.read(port);
        if (!word) {
            return fail(headline(ports_.word_error()));
        }
        in_[reads_++] = *word;
        ++index_;
        return true;
    }

    bool control(uint16_t word) {
        if (is_wait(word)) {
            if (!ports_.wait(word)) {
                return fail(headline(ports_.word_error()));
            }
        } else if (word == SHM_MARKER_OPEN || word == SHM_MARKER_FULL) {
            if (auto reason = markers_.take_marker(index_, word)) {
                return fail(std::move(*reason));
            }
        } else if (word != SHM_WORD_RESERVED) {
            return fail("an unknown control word");
        }
        ++index_;
        return true;
    }

    bool fail(std::string reason) {
        error_ = BatchError{index_, std::move(reason)};
        return false;
    }

    std::span<const uint16_t> words_;
    const Head& head_;
    std::span<uint16_t> in_;
    P& ports_;
    const std::atomic<bool>& stop_;
    MarkerCheck markers_;
    size_t index_ = SHM_EMPTY_MARKER_INDEX;
    uint32_t reads_ = 0;
    std::optional<BatchError> error_;
};

// Executes a batch. Words read go to `in`, from its start. Never reads past the batch or writes
// past `in`. A batch during which `stop` becomes true fails at its next word.
template <Ports P>
Outcome execute(const Batch& batch, std::span<uint16_t> in, P& ports,
                const std::atomic<bool>& stop) {
    if (auto error = check_start(batch)) {
        return {0, std::move(error)};
    }
    return Execution<P>(batch, in, ports, stop).run();
}

} // namespace talvor::podsim::batch
