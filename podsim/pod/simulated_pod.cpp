#include "podsim/pod/simulated_pod.h"

#include "common/notation.h"

#include <algorithm>
#include <cstdio>

namespace talvor::podsim::pod {
namespace {

batch::Outcome failed_batch(std::string reason) {
    return {0, batch::BatchError{0, std::move(reason)}};
}

std::string hexadecimal(std::span<const uint16_t> words) {
    constexpr std::string_view kDigits = "0123456789abcdef";
    std::string text;
    for (const uint16_t word : words) {
        text += ' ';
        for (int shift = 12; shift >= 0; shift -= 4) {
            text += kDigits[(word >> shift) & 0xFU];
        }
    }
    return text;
}

// The two passes of a batch over a target far away.
class Passes {
public:
    Passes(RemoteTarget& target, Controller& controller)
        : target_(target), controller_(controller) {
        target_.send_ahead();
    }
    Passes(const Passes&) = delete;
    Passes& operator=(const Passes&) = delete;
    // Without a good end target and controller may be out of step.
    ~Passes() {
        if (!over_) {
            target_.abandon();
        }
        if (!good_) {
            controller_.lose_step();
        }
    }

    void second() { target_.repeat(); }
    // A batch that has failed may have done so earlier in its second pass than in its first.
    void end(batch::Outcome& outcome, size_t words) {
        const Status ended = target_.end_repeat();
        over_ = true;
        if (!ended && !outcome.error) {
            outcome.error = batch::BatchError{words, headline(ended.error())};
        }
        good_ = !outcome.error;
    }

private:
    RemoteTarget& target_;
    Controller& controller_;
    bool over_ = false;
    bool good_ = false;
};

} // namespace

SimulatedPod::SimulatedPod(const Settings& settings, std::unique_ptr<Target> target, Log& log)
    : settings_(settings), target_(std::move(target)),
      remote_(dynamic_cast<RemoteTarget*>(target_.get())), log_(log),
      controller_(settings.controller, *target_, [this](std::string_view text) {
          ++warnings_;
          say(std::string("warning: ").append(text));
      }) {}

void SimulatedPod::say(std::string_view text) {
    log_.write("pod " + std::to_string(settings_.serial) + ": " + std::string(text));
}

void SimulatedPod::note(std::string_view text) {
    say(text);
}

void SimulatedPod::attach() {
    const std::scoped_lock lock(mutex_);
    if (attached_) {
        say("a host attaches, and the one before it never detached");
    }
    attached_ = true;
    // No host reads the result of an attach: a target that is gone shows in the next batch.
    if (const Status status = controller_.attach(); !status) {
        say("attach: " + headline(status.error()));
    }
}

void SimulatedPod::detach() {
    const std::scoped_lock lock(mutex_);
    attached_ = false;
}

Status SimulatedPod::write_support(uint16_t value) {
    const std::scoped_lock lock(mutex_);
    if (!troubles_.plugged) {
        return failure("the pod is unplugged");
    }
    if (troubles_.refuse > 0) {
        --troubles_.refuse;
        say("support-register write refused on request");
        return failure("refused on request");
    }
    Status status = controller_.write_support(value);
    if (!status) {
        say("support-register write failed: " + headline(status.error()));
    }
    if (flush_trace_) {
        flush_trace_();
    }
    return status;
}

void SimulatedPod::schedule(uint64_t number, std::function<void()> action) {
    // Before those of the same number, which were given earlier: the vector is read from its end.
    const auto place = std::find_if(scheduled_.begin(), scheduled_.end(),
                                    [=](const Scheduled& other) { return other.number <= number; });
    scheduled_.insert(place, {number, std::move(action)});
}

void SimulatedPod::observe(EdgeObserver& observer, std::function<void()> flush) {
    controller_.observe(&observer);
    flush_trace_ = std::move(flush);
}

void SimulatedPod::run_scheduled() {
    while (!scheduled_.empty() && scheduled_.back().number <= batches_) {
        const std::function<void()> action = std::move(scheduled_.back().action);
        scheduled_.pop_back();
        action();
    }
}

void SimulatedPod::wait_latency() {
    const std::chrono::microseconds latency(latency_us_.load(std::memory_order_relaxed));
    if (latency.count() > 0) {
        std::unique_lock lock(sleep_mutex_);
        woken_.wait_for(lock, latency, [this] { return stop_.load(); });
    }
}

batch::Outcome SimulatedPod::execute(const batch::Batch& batch, std::span<uint16_t> in) {
    ++batches_;
    run_scheduled();
    wait_latency();
    const std::scoped_lock lock(mutex_);
    batch::Outcome outcome = execute_locked(batch, in);
    if (settings_.log_batches) {
        log_batch(batch, outcome, in);
    }
    if (outcome.error) {
        ++failed_batches_;
        log_failure(batch, *outcome.error);
    }
    if (flush_trace_) {
        flush_trace_();
    }
    return outcome;
}

batch::Outcome SimulatedPod::execute_locked(const batch::Batch& batch, std::span<uint16_t> in) {
    if (!troubles_.plugged) {
        return failed_batch("the pod is unplugged");
    }
    if (troubles_.fail > 0) {
        --troubles_.fail;
        return failed_batch("failed on request");
    }
    return remote_ == nullptr ? batch::execute(batch, in, controller_, stop_)
                              : execute_remote(batch, in);
}

// A scout goes through the batch first, so that all of it is on its way before the first answer is
// waited for. What it reads and why it fails is of no interest: it fails where the second pass
// does.
batch::Outcome SimulatedPod::execute_remote(const batch::Batch& batch, std::span<uint16_t> in) {
    Passes passes(*remote_, controller_);
    {
        Controller scout = controller_.scout();
        (void)batch::execute(batch, in, scout, stop_);
    }
    passes.second();
    batch::Outcome outcome = batch::execute(batch, in, controller_, stop_);
    passes.end(outcome, batch.words.size());
    return outcome;
}

void SimulatedPod::request_stop() {
    controller_.request_stop();
    {
        const std::scoped_lock lock(sleep_mutex_);
        stop_ = true;
    }
    woken_.notify_all();
    if (on_stop_) {
        on_stop_();
    }
}

Failure SimulatedPod::running() const {
    return failure("pod " + std::to_string(settings_.serial) +
                   " is in the middle of a batch; try again");
}

Status SimulatedPod::change(const std::function<void(Faults&, Troubles&)>& change) {
    const std::unique_lock lock(mutex_, patience());
    if (!lock.owns_lock()) {
        return running();
    }
    Faults faults = controller_.faults();
    change(faults, troubles_);
    latency_us_ = troubles_.latency_us;
    Status status = controller_.set_faults(faults);
    if (flush_trace_) {
        flush_trace_();
    }
    return status;
}

Status SimulatedPod::between_batches(const std::function<Status()>& action) {
    const std::unique_lock lock(mutex_, patience());
    return lock.owns_lock() ? action() : running();
}

Result<Report> SimulatedPod::report() {
    const std::unique_lock lock(mutex_, patience());
    if (!lock.owns_lock()) {
        return running();
    }
    return Report{.serial = settings_.serial,
                  .revision = settings_.controller.revision,
                  .kind = settings_.controller.kind,
                  .faults = controller_.faults(),
                  .troubles = troubles_,
                  .attached = attached_,
                  .batches = batches_,
                  .failed_batches = failed_batches_,
                  .warnings = warnings_,
                  .tap_state = controller_.tap_state(),
                  .time_ns = controller_.time_ns(),
                  .tck_hz = controller_.tck_hz(),
                  .busy = controller_.busy(),
                  .condition_latch = controller_.condition_latch(),
                  .target_reset = controller_.target_reset()};
}

void SimulatedPod::log_batch(const batch::Batch& batch, const batch::Outcome& outcome,
                             std::span<const uint16_t> in) {
    std::string text = "pod " + std::to_string(settings_.serial) + ": batch " +
                       std::to_string(batches_) + ", " + std::to_string(batch.head.length_words) +
                       " words, status " + std::to_string(batch::status_of(outcome));
    for (const std::string& line : notation::lines(batch.words)) {
        text.append("\n  ").append(line);
    }
    if (outcome.reads > 0) {
        text.append("\n  results").append(hexadecimal(in.first(outcome.reads)));
    }
    log_.write(text);
}

void SimulatedPod::log_failure(const batch::Batch& batch, const batch::BatchError& error) {
    std::string text = "batch " + std::to_string(batches_) + " failed";
    if (error.index > 0 && error.index < batch.words.size()) {
        text.append(" at word ").append(std::to_string(error.index));
        text.append(" (")
            .append(notation::text(notation::item_at(batch.words, error.index)))
            .append(")");
    }
    say(text.append(": ").append(error.reason));
}

} // namespace talvor::podsim::pod
