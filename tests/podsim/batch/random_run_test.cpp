// Random batches on three pods that are alike, but that one takes runs of data words in one piece,
// one word by word, and one goes through each batch twice, first for the clocks and then for the
// answers: answers, warnings, registers, time, and every clock that the target sees must be the
// same.
#include "far_chain.h"
#include "podsim/batch/decoder.h"
#include "podsim/model/chain.h"
#include "podsim/model/controller.h"
#include "podsim/model/reference_chain.h"
#include "queue.h"

#include <gtest/gtest.h>

#include <algorithm>
#include <array>
#include <atomic>
#include <cstdlib>
#include <functional>
#include <random>
#include <string>
#include <utility>
#include <vector>

namespace talvor::podsim::batch {
namespace {

// A chain that remembers what it has seen, and in how many calls.
class Watched : public Chain {
public:
    using Chain::Chain;

    Status move(uint64_t tms, unsigned count, bool tdi) override {
        for (unsigned i = 0; i < count; ++i) {
            note(((tms >> i) & 1) != 0, tdi);
        }
        return Chain::move(tms, count, tdi);
    }
    Status shift(std::span<const uint64_t> tdi, std::span<uint64_t> tdo, uint64_t count,
                 bool leave) override {
        ++shifts;
        for (uint64_t i = 0; i < count; ++i) {
            note(leave && i + 1 == count, ((tdi[i / 64] >> (i % 64)) & 1) != 0);
        }
        return Chain::shift(tdi, tdo, count, leave);
    }
    Status pulse_trst() override {
        mix(2);
        return Chain::pulse_trst();
    }
    Status power_on() override {
        mix(3);
        return Chain::power_on();
    }

    uint64_t seen = 1;   // a digest of all clocks and pulses
    uint64_t clocks = 0; // of them
    uint64_t shifts = 0; // calls

private:
    void note(bool tms, bool tdi) {
        ++clocks;
        mix(4 + (tms ? 2U : 0U) + (tdi ? 1U : 0U));
    }
    void mix(uint64_t value) { seen = (seen ^ value) * 0x100000001B3 + (seen >> 47); }
};

// Everything that can be told of a pod after a batch.
struct View {
    uint32_t reads = 0;
    std::string failure;
    std::vector<uint16_t> in;
    std::vector<std::string> warnings;
    std::vector<uint16_t> registers;
    uint64_t time_ns = 0;
    TapState tap_state{};
    bool busy = false;
    uint64_t clocks = 0;
    uint64_t seen = 0;

    bool operator==(const View&) const = default;
};

enum class Kind { InRuns, WordByWord, Twice };

class Pod {
public:
    Pod(const ChainDescription& description, ControllerSettings settings, Kind kind)
        : chain(description), kind_(kind),
          controller_(with(settings, kind != Kind::WordByWord), target(),
                      [this](std::string_view text) { warnings_.emplace_back(text); }) {}

    View run(const Batch& batch) {
        std::vector<uint16_t> in(SHM_BLOCK_WORDS, 0xA5A5);
        if (kind_ == Kind::Twice) {
            scout(batch);
        }
        const Outcome outcome = execute(batch, in, controller_, stop_);
        EXPECT_TRUE(far.end_repeat());
        View view;
        view.reads = outcome.reads;
        if (outcome.error) {
            view.failure = std::to_string(outcome.error->index) + ": " + outcome.error->reason;
        }
        in.resize(outcome.reads + 1); // and one that nobody may have written
        view.in = std::move(in);
        look(view);
        return view;
    }

    Controller& controller() { return controller_; }

    Watched chain;
    FarChain far{chain};

private:
    Target& target() { return kind_ == Kind::Twice ? static_cast<Target&>(far) : chain; }
    void scout(const Batch& batch) {
        std::vector<uint16_t> in(SHM_BLOCK_WORDS);
        far.send_ahead();
        Controller scout = controller_.scout();
        (void)execute(batch, in, scout, stop_);
        far.repeat();
    }
    static ControllerSettings with(ControllerSettings settings, bool takes_runs) {
        settings.takes_runs = takes_runs;
        return settings;
    }
    void look(View& view) {
        for (uint16_t port = 0; port < TBC_EXTENDED_PORTS; ++port) {
            if (port != TBC_PORT_RECEIVE) {
                view.registers.push_back(controller_.read(port).value_or(0));
            }
        }
        view.warnings = std::exchange(warnings_, {});
        view.time_ns = controller_.time_ns();
        view.tap_state = controller_.tap_state();
        view.busy = controller_.busy();
        view.clocks = chain.clocks;
        view.seen = chain.seen;
    }

    Kind kind_;
    std::vector<std::string> warnings_;
    Controller controller_;
    std::atomic<bool> stop_{false};
};

// A host that mostly does what a driver does, and sometimes anything.
class Host {
public:
    explicit Host(uint64_t seed)
        : random_(seed), description_(reference::random_chain(random_)), settings_(settings()),
          in_runs_(description_, settings_, Kind::InRuns),
          word_by_word_(description_, settings_, Kind::WordByWord),
          twice_(description_, settings_, Kind::Twice) {
        queue_.write(TBC_PORT_POD_TIMING, host_waits_ ? POD_TIMING_HOST_WAITS : 0);
    }

    // A batch or more; stops when the pods differ.
    void step() {
        if (one_in(6)) {
            preamble();
        }
        scan();
        if (one_in(3)) {
            flush();
            between_batches();
        }
    }

    uint64_t words = 0; // of all batches
    uint64_t failures = 0;
    uint64_t good_batches = 0;
    uint64_t warnings = 0;
    uint64_t shifts_in_runs() const { return in_runs_.chain.shifts; }
    uint64_t shifts_word_by_word() const { return word_by_word_.chain.shifts; }
    // Of the pod that goes through each batch twice.
    uint64_t clocks_seen() const { return twice_.chain.clocks; }
    uint64_t bits_asked() const { return twice_.far.asked / 2; }

private:
    bool one_in(unsigned n) { return random_() % n == 0; }
    uint64_t up_to(uint64_t most) { return random_() % (most + 1); }
    template <size_t kCount>
    unsigned one_of(const std::array<unsigned, kCount>& choices) {
        return choices[random_() % kCount];
    }
    // Most scans are short, a few are very long.
    uint64_t random_bits() {
        const uint64_t most = one_in(40) ? 120'000 : one_in(4) ? 6'000 : 500;
        return 1 + up_to(most);
    }

    ControllerSettings settings() {
        constexpr std::array<unsigned, 3> kRevisions{POD_REVISION_1, POD_REVISION_2, 0x0302};
        ControllerSettings settings;
        settings.revision = static_cast<uint16_t>(one_of(kRevisions));
        settings.strict = one_in(2);
        settings.return_pipeline_bits =
            static_cast<unsigned>(one_in(2)   ? 16
                                  : one_in(2) ? up_to(20)
                                              : up_to(kMaxReturnBits - 40));
        settings.cable_delay_bits = static_cast<unsigned>(up_to(31));
        host_waits_ = settings.revision == POD_REVISION_1 || one_in(2);
        return settings;
    }

    void write(unsigned port, uint64_t value) {
        room(8);
        queue_.write(port, static_cast<uint16_t>(value & 0xFFFF));
    }
    void wait(unsigned word) {
        room(8);
        queue_.word(word);
    }
    void read(unsigned port) {
        room(8);
        queue_.read(port);
    }
    void room(size_t needed) {
        if (!queue_.has_room(needed)) {
            flush();
        }
    }

    void flush() {
        const Batch batch = queue_.batch();
        words += batch.words.size();
        const View one = in_runs_.run(batch);
        compare(one, word_by_word_.run(batch));
        compare(one, twice_.run(batch));
        warnings += one.warnings.size();
        queue_.clear();
        if (one.failure.empty()) {
            ++good_batches;
        } else {
            ++failures;
            recover();
        }
    }

    static void compare(const View& one, const View& other) {
        EXPECT_EQ(one.failure, other.failure);
        EXPECT_EQ(one.reads, other.reads);
        const auto differing = std::ranges::mismatch(one.in, other.in).in1;
        EXPECT_TRUE(differing == one.in.end()) << "word " << differing - one.in.begin();
        EXPECT_EQ(one.warnings, other.warnings);
        EXPECT_EQ(one.registers, other.registers);
        EXPECT_EQ(one.time_ns, other.time_ns);
        EXPECT_EQ(one.clocks, other.clocks);
        EXPECT_EQ(one.seen, other.seen);
        EXPECT_TRUE(one == other);
    }

    void all(const std::function<void(Controller&)>& action) {
        action(in_runs_.controller());
        action(word_by_word_.controller());
        action(twice_.controller());
    }

    // After a failure a host resets, attaches anew, or goes on as if nothing had been.
    void recover() {
        if (one_in(3)) {
            all([](Controller& pod) {
                EXPECT_TRUE(pod.write_support(SUPPORT_RESET) && pod.write_support(0));
            });
        } else if (one_in(2)) {
            all([](Controller& pod) { EXPECT_TRUE(pod.attach()); });
        } else if (one_in(2)) {
            queue_.write(TBC_PORT_CONTROL, TBC_CONTROL_RESET);
        }
    }

    void between_batches() {
        if (one_in(20)) {
            Faults faults;
            faults.power = !one_in(3);
            faults.clock = !one_in(3);
            all([=](Controller& pod) { EXPECT_TRUE(pod.set_faults(faults)); });
        } else if (one_in(20)) {
            all([](Controller& pod) { EXPECT_TRUE(pod.set_faults({})); });
        } else if (one_in(40)) {
            all([](Controller& pod) { EXPECT_TRUE(pod.attach()); });
        }
        if (one_in(10)) {
            write(TBC_PORT_OUTPUT, one_in(3) ? 0 : TBC_OUTPUT_CONNECTED);
        }
        if (one_in(10)) {
            host_waits_ = !host_waits_;
            write(TBC_PORT_POD_TIMING, host_waits_ ? POD_TIMING_HOST_WAITS : 0);
        }
        if (one_in(30)) {
            write(TBC_PORT_COMMAND, one_in(2) ? TBC_COMMAND_LOOPBACK : TBC_COMMAND_RELEASE);
        }
    }

    unsigned random_end() {
        constexpr std::array<unsigned, 6> kEnds{TBC_STATE_RESET,    TBC_STATE_IDLE,
                                                TBC_STATE_SHIFT_DR, TBC_STATE_SHIFT_IR,
                                                TBC_STATE_PAUSE_DR, TBC_STATE_PAUSE_IR};
        return one_of(kEnds);
    }

    void launch(unsigned end, unsigned option, uint64_t bits) {
        write(TBC_PORT_COUNT_LOW, (bits - 1) & 0xFFFF);
        write(TBC_PORT_COUNT_HIGH, (bits - 1) >> 16);
        if (!one_in(50)) {
            wait(SHM_WAIT_DONE);
        }
        write(TBC_PORT_OPERATION, end | TBC_TRANSIT_SCAN);
        write(TBC_PORT_CONFIG, option | TBC_CONFIG_DEFAULT | link_delay_);
        if (!one_in(20)) {
            write(TBC_PORT_CONTROL, TBC_CONTROL_EMPTY);
        }
        write(TBC_PORT_CONTROL, TBC_CONTROL_RUN);
    }

    void preamble() {
        launch(one_in(2) ? TBC_STATE_PAUSE_DR : TBC_STATE_PAUSE_IR | TBC_STATE_IR_PATH,
               one_in(2) ? TBC_SCAN_ONES : TBC_SCAN_ZEROS, 1 + up_to(40));
        if (one_in(10)) {
            link_delay_ = static_cast<unsigned>(up_to(31));
        }
    }

    void scan() {
        constexpr std::array<unsigned, 6> kOptions{
            TBC_SCAN_SEND,    TBC_SCAN_BOTH,      TBC_SCAN_BOTH,
            TBC_SCAN_RECEIVE, TBC_OPTION_RECEIVE, TBC_OPTION_RECEIVE | TBC_OPTION_ONES};
        const unsigned option = one_of(kOptions);
        const uint64_t bits = random_bits();
        launch(random_end() | (one_in(3) ? TBC_STATE_IR_PATH : 0U), option, bits);
        settles_ = settings_.revision == POD_REVISION_1 ? !one_in(4) : one_in(8);
        const bool right = !one_in(30); // as the pod wants it
        waits_ = right ? host_waits_ : !host_waits_;
        uint64_t count = (bits + 15) / 16;
        if (one_in(20)) { // cut off, or words too many
            count = one_in(2) ? up_to(count) : count + 1 + up_to(8);
        }
        if (option == TBC_SCAN_SEND) {
            send_words(count);
        } else if (option == TBC_SCAN_BOTH) {
            exchange_words(count);
        } else {
            receive_words(count);
        }
    }

    // Something that comes between two words of a scan now and then.
    void interruption() {
        if (!one_in(interruption_in_)) {
            return;
        }
        switch (up_to(8)) {
        case 0:
            flush();
            break;
        case 1:
            read(TBC_PORT_STATUS1);
            break;
        case 2:
            write(TBC_PORT_STATUS0, 0);
            break;
        case 3:
            read(TBC_PORT_TAP_STATE);
            break;
        case 4:
            wait(one_in(2) ? SHM_WAIT_WRITE_MANY : SHM_WAIT_READ_MANY);
            break;
        case 5:
            wait(one_in(2) ? SHM_WAIT_WRITE_ONE : SHM_WAIT_READ_ONE);
            break;
        case 6:
            write(TBC_PORT_POD_CLOCK, up_to(15)); // the period changes in the middle
            break;
        case 7:
            wait(one_in(4) ? SHM_WAIT_DONE : SHM_WORD_RESERVED);
            break;
        default:
            if (one_in(8)) {
                write(TBC_PORT_CONTROL, TBC_CONTROL_EMPTY);
            } else if (one_in(8)) {
                write(TBC_PORT_POD_CONTROL, 0);
                write(TBC_PORT_POD_CONTROL, TBC_POD_CLEAR);
            } else {
                one_in(2) ? read(TBC_PORT_RECEIVE) : send();
            }
        }
    }

    // A host of an old pod lets each word settle, mostly by a write of 0.
    void send() {
        write(TBC_PORT_SEND, random_());
        if (settles_) {
            write(TBC_PORT_STATUS0, one_in(500) ? random_() : 0);
        }
    }
    void wait_if_host_waits(unsigned word) {
        if (waits_) {
            wait(word);
        }
    }
    void begin_words() { interruption_in_ = one_in(2) ? 1'000'000 : one_in(2) ? 300 : 20; }

    void send_words(uint64_t count) {
        begin_words();
        for (uint64_t i = 0; i < count; ++i) {
            if (i >= 2) {
                wait_if_host_waits(SHM_WAIT_WRITE_ONE);
            }
            send();
            interruption();
        }
    }

    void receive_words(uint64_t count) {
        begin_words();
        for (uint64_t i = 0; i < count; ++i) {
            wait_if_host_waits(SHM_WAIT_READ_ONE);
            read(TBC_PORT_RECEIVE);
            interruption();
        }
    }

    // One or two words are on their way.
    void exchange_words(uint64_t count) {
        begin_words();
        const uint64_t ahead = std::min<uint64_t>(count, one_in(4) ? 1 : 2);
        for (uint64_t i = 0; i < ahead; ++i) {
            send();
        }
        for (uint64_t i = 0; i < count; ++i) {
            wait_if_host_waits(SHM_WAIT_READ_ONE);
            if (i != 0 && i + ahead <= count) {
                send();
            }
            read(TBC_PORT_RECEIVE);
            interruption();
        }
    }

    std::mt19937_64 random_;
    ChainDescription description_;
    bool host_waits_ = true; // the pod wants waits
    ControllerSettings settings_;
    Pod in_runs_;
    Pod word_by_word_;
    Pod twice_;
    Queue queue_;
    unsigned link_delay_ = LINK_DELAY_DEFAULT;
    bool waits_ = true;    // this scan has waits
    bool settles_ = false; // and settle delays
    unsigned interruption_in_ = 0;
};

// TALVOR_RANDOM_WORDS asks for more than the million words.
uint64_t wanted_words() {
    const char* text = std::getenv("TALVOR_RANDOM_WORDS");
    return std::max<uint64_t>(text != nullptr ? std::strtoull(text, nullptr, 10) : 0, 1'000'000);
}

TEST(RandomRunTest, RunsInOnePieceDoWhatTheirWordsDo) {
    uint64_t words = 0;
    uint64_t good = 0;
    uint64_t failures = 0;
    uint64_t warnings = 0;
    uint64_t shifts_in_runs = 0;
    uint64_t shifts_word_by_word = 0;
    uint64_t clocks = 0;
    uint64_t asked = 0;
    for (uint64_t seed = 1; words < wanted_words() && !HasFailure(); ++seed) {
        SCOPED_TRACE("seed " + std::to_string(seed));
        Host host(seed);
        for (int i = 0; i < 60 && !HasFailure(); ++i) {
            host.step();
        }
        words += host.words;
        good += host.good_batches;
        failures += host.failures;
        warnings += host.warnings;
        shifts_in_runs += host.shifts_in_runs();
        shifts_word_by_word += host.shifts_word_by_word();
        clocks += host.clocks_seen();
        asked += host.bits_asked();
    }
    // All of it was met, and the runs were runs.
    EXPECT_GT(good, 500U);
    EXPECT_GT(failures, 50U);
    EXPECT_GT(warnings, 500U);
    EXPECT_LT(shifts_in_runs * 2, shifts_word_by_word);
    EXPECT_LT(asked * 10, clocks * 9);
}

} // namespace
} // namespace talvor::podsim::batch
