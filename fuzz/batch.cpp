// The simulated pod: batches of any words on any pod. The input: six bytes that say what the pod
// is, then turns. A turn is a byte that says what happens and what that takes; a batch takes the
// number of its words and the words.
#include "fuzz/base/check.h"
#include "fuzz/targets.h"
#include "podsim/batch/decoder.h"
#include "podsim/model/chain.h"
#include "podsim/model/chain_check.h"
#include "podsim/model/controller.h"

#include <array>
#include <atomic>
#include <memory>
#include <string>
#include <vector>

namespace talvor::fuzz {
namespace {

using podsim::ChainDescription;
using podsim::Controller;
using podsim::ControllerSettings;
using podsim::EmuPins;
using podsim::Faults;
using podsim::LoopFault;

constexpr size_t kMostTurns = 24;
constexpr uint16_t kMostWords = 3000;
constexpr size_t kInWords = 2500; // so that a batch can read more than there is room for
constexpr uint16_t kUntouched = 0xA55A;
constexpr uint64_t kMostClocks = 1U << 17;
constexpr uint32_t kIdcode = 0x1234'5677;

// One of each: registers of all kinds, a TAP without an IDCODE, cells wired to cells.
ChainDescription chain_description() {
    using namespace podsim;
    const RegisterDescription scratch{"scratch", {8}, ScratchRegister{.bits = 70, .value = {5}}};
    const RegisterDescription counter{"counter", {9}, CounterRegister{.bits = 9}};
    const RegisterDescription memory{
        "memory", {10}, MemoryRegister{.address_bits = 3, .data_bits = 16, .words = 6}};
    const RegisterDescription cells{
        "cells",
        {},
        BoundaryRegister{
            .extest = 0, .sample = 1, .pins = {{"A", true, false}, {"B", false, true}}}};
    const DeviceDescription first{"first", 4, 1, kIdcode, 2, {scratch, counter, memory}};
    const DeviceDescription second{"second", 2, 1, std::nullopt, 0, {cells}};
    const DeviceDescription third{"third", 64, 1, std::nullopt, 0, {}};
    return {{first, second, third}, {{1, 0, 1, 1}}};
}

// The built-in chain for as many clocks as a test has time for; then it is a target that has gone.
class WornTarget final : public podsim::Target {
public:
    [[nodiscard]] Status move(uint64_t tms, unsigned count, bool tdi) override {
        return wear(count) ? chain.move(tms, count, tdi) : gone();
    }
    [[nodiscard]] Status shift(std::span<const uint64_t> tdi, std::span<uint64_t> tdo,
                               uint64_t count, bool leave) override {
        FUZZ_CHECK(count != 0 && tdi.size() >= (count + 63) / 64 && tdo.size() >= (count + 63) / 64,
                   "a shift has room for its bits");
        return wear(count) ? chain.shift(tdi, tdo, count, leave) : gone();
    }
    [[nodiscard]] Status pulse_trst() override { return chain.pulse_trst(); }
    [[nodiscard]] Status set_reset(bool asserted) override { return chain.set_reset(asserted); }
    [[nodiscard]] Status power_on() override { return chain.power_on(); }
    EmuPins emu_pins() override { return chain.emu_pins(); }

    bool is_worn() const { return clocks_ > kMostClocks; }
    void renew() { clocks_ = 0; }

    podsim::Chain chain{chain_description()};

private:
    bool wear(uint64_t count) {
        clocks_ += count;
        return !is_worn();
    }
    static Status gone() { return failure("the target is worn out"); }

    uint64_t clocks_ = 0;
};

// Sees every edge, and that time does not run backwards.
class Watcher final : public podsim::EdgeObserver {
public:
    void edges(const podsim::EdgeRun& run) override {
        FUZZ_CHECK(run.count != 0 && run.period_ns != 0, "a run of edges has edges");
        for (uint64_t i = 0; i<run.count; i += run.count> 64 ? 61 : 1) {
            ones_ +=
                (run.tms_at(i) ? 1U : 0U) + (run.tdi_at(i) ? 1U : 0U) + (run.tdo_at(i) ? 1U : 0U);
        }
        at(run.start_ns);
    }
    void trst(uint64_t time_ns, bool) override { at(time_ns); }
    void target_reset(uint64_t time_ns, bool) override { at(time_ns); }
    void emu(uint64_t time_ns, EmuPins) override { at(time_ns); }

private:
    void at(uint64_t time_ns) {
        FUZZ_CHECK(time_ns >= time_ns_, "time does not run backwards");
        time_ns_ = time_ns;
    }
    uint64_t time_ns_ = 0;
    uint64_t ones_ = 0;
};

// What a turn came to, for comparison between pods that must not differ.
struct Turn {
    int32_t status = 0;
    std::vector<uint16_t> in;
    std::string error;
    TapState state{};
    uint64_t time_ns = 0;
    uint32_t tck_hz = 0;
    bool busy = false;
    bool latch = false;

    bool operator==(const Turn&) const = default;
};

// Where two pods part.
std::string difference(const std::vector<Turn>& one, const std::vector<Turn>& two) {
    for (size_t i = 0; i < one.size() && i < two.size(); ++i) {
        const Turn& a = one[i];
        const Turn& b = two[i];
        if (!(a == b)) {
            return " (turn " + std::to_string(i) + ": '" + a.error + "' and '" + b.error + "', " +
                   std::to_string(a.in.size()) + " and " + std::to_string(b.in.size()) +
                   " words, states " + std::string(name_of(a.state)) + " and " +
                   std::string(name_of(b.state)) + ", times " + std::to_string(a.time_ns) +
                   " and " + std::to_string(b.time_ns) + ", busy " + std::to_string(a.busy) +
                   " and " + std::to_string(b.busy) + ")";
        }
    }
    return " (" + std::to_string(one.size()) + " and " + std::to_string(two.size()) + " turns)";
}

ControllerSettings read_settings(Input& input) {
    ControllerSettings settings;
    settings.revision = static_cast<uint16_t>((1U + input.up_to(3)) << 8);
    settings.kind = static_cast<uint16_t>(eJTI_CONTROL_ID_TBC + input.up_to(2));
    settings.return_pipeline_bits = input.up_to(64);
    settings.cable_delay_bits = input.up_to(LINK_DELAY_MAXIMUM);
    settings.max_tck_hz = input.byte() * 200'000U;
    settings.strict = (input.byte() & 1U) != 0;
    return settings;
}

constexpr std::array<uint16_t, 8> kControlWords{
    SHM_WAIT_WRITE_ONE, SHM_WAIT_WRITE_MANY, SHM_WAIT_READ_ONE, SHM_WAIT_READ_MANY,
    SHM_WAIT_DONE,      SHM_WORD_RESERVED,   SHM_WAIT_DONE,     0x9999};

// The batch that a driver would make of these accesses: the block's two words, markers, counts.
class Assembler {
public:
    explicit Assembler(lcl_shm& block) : block_(block) { podsim::batch::empty(block); }

    void take(Input& words) {
        while (!words.empty()) {
            const uint16_t word = words.half();
            if ((word & SHM_WORD_CONTROL) != 0) {
                put(kControlWords[word % kControlWords.size()]);
            } else if ((word & SHM_WORD_WRITE) != 0) {
                put(word & (SHM_WORD_WRITE | SHM_WORD_PORT_MASK));
                put(words.half());
            } else {
                put(word & SHM_WORD_PORT_MASK);
                count_read();
            }
        }
    }

private:
    void put(unsigned word) {
        block_.tbcOMblock[block_.tbcMblockPtr++] = static_cast<uint16_t>(word);
    }
    void count_read() {
        ++block_.rdCntrGbl;
        if (++block_.rdCntrLcl == SHM_MARKER_READS) {
            block_.tbcOMblock[block_.lastWCNTR] = SHM_MARKER_FULL;
            block_.lastWCNTR = block_.tbcMblockPtr;
            block_.useZeroOfs = 1;
            block_.rdCntrLcl = 0;
            put(SHM_MARKER_OPEN);
        }
    }

    lcl_shm& block_;
};

// A host's block with any head and words.
void fill_raw(lcl_shm& block, Input& head, Input& words) {
    podsim::batch::empty(block);
    uint32_t next = head.byte() % 3U;
    while (!words.empty()) {
        block.tbcOMblock[next++] = words.half();
    }
    const uint32_t pointer = head.word();
    block.tbcMblockPtr = pointer == 0 ? next : pointer;
    block.useZeroOfs = head.byte();
    block.lastWCNTR = head.word();
    block.rdCntrLcl = head.half();
    block.rdCntrGbl = head.word();
}

// A block as good as new: kept, because fresh pages cost more than all the rest of a run.
lcl_shm& fresh_block() {
    static const auto block = std::make_unique<lcl_shm>();
    std::fill_n(block->tbcOMblock, SHM_EMPTY_BATCH_WORDS + kMostWords, uint16_t{0});
    return *block;
}

// A scan of billions of bits takes its time, rightly.
void shorten_scans(lcl_shm& block) {
    constexpr uint16_t kHighHalf = SHM_WORD_WRITE | TBC_PORT_COUNT_HIGH;
    for (uint32_t i = 0; i + 1 < SHM_EMPTY_BATCH_WORDS + kMostWords; ++i) {
        if (block.tbcOMblock[i] == kHighHalf) {
            block.tbcOMblock[i + 1] &= 1U;
        }
    }
}

// One pod with its target; plays turns and notes what they came to.
class Pod {
public:
    Pod(const ControllerSettings& settings, bool watched)
        : controller_(settings, target_, [this](std::string_view text) {
              FUZZ_CHECK(!text.empty(), "a warning says something");
              ++warnings_;
          }) {
        controller_.observe(watched ? &watcher_ : nullptr);
    }

    std::vector<Turn> play(Bytes bytes) {
        Input input(bytes);
        std::vector<Turn> turns;
        while (!input.empty() && turns.size() < kMostTurns && !target_.is_worn()) {
            turns.push_back(turn(input));
        }
        return turns;
    }

    bool is_worn() const { return target_.is_worn(); }
    size_t warnings() const { return warnings_; }

    // Whatever happened: a reset brings everything back.
    void check_recovery() {
        target_.renew();
        FUZZ_CHECK(controller_.set_faults(Faults{}).has_value(), "faults can be taken back");
        FUZZ_CHECK(controller_.attach().has_value(), "a host can attach");
        FUZZ_CHECK(controller_.write(TBC_PORT_OUTPUT, TBC_OUTPUT_CONNECTED) &&
                       controller_.write(TBC_PORT_CONTROL, TBC_CONTROL_RESET),
                   "a controller can be reset: " + controller_.word_error().reason);
        FUZZ_CHECK(controller_.settle().has_value() && !controller_.busy(),
                   "a reset comes to an end");
        FUZZ_CHECK(controller_.tap_state() == TapState::TestLogicReset &&
                       target_.chain.state() == TapState::TestLogicReset,
                   "a reset ends in Test-Logic-Reset");
        constexpr TmsPath kToShift = shortest_path(TapState::TestLogicReset, TapState::ShiftDr);
        const std::array<uint64_t, 1> ones{~uint64_t{0}};
        std::array<uint64_t, 1> tdo{};
        FUZZ_CHECK(target_.move(kToShift.tms, kToShift.count, true).has_value() &&
                       target_.shift(ones, tdo, 34, true).has_value(),
                   "a chain can be read");
        FUZZ_CHECK((tdo[0] & 0x3'FFFF'FFFF) == uint64_t{kIdcode} << 2, "a chain tells who it is");
    }

private:
    Turn turn(Input& input) {
        Turn turn;
        switch (const uint8_t kind = input.byte(); kind % 8) {
        case 5:
            note(turn, controller_.set_faults(faults(kind >> 3, input.byte())));
            break;
        case 6:
            note(turn, controller_.attach());
            break;
        case 7:
            note(turn, controller_.write_support(input.half()));
            break;
        default:
            execute(turn, input, kind % 8 == 4);
        }
        turn.busy = controller_.busy();
        if (!turn.busy) { // a scan that waits for a word is shown up to four words behind
            turn.state = controller_.tap_state();
            turn.time_ns = controller_.time_ns();
        }
        turn.tck_hz = controller_.tck_hz();
        turn.latch = controller_.condition_latch();
        FUZZ_CHECK(index_of(turn.state) < kTapStates && turn.tck_hz != 0, "a state is a state");
        return turn;
    }

    static Faults faults(unsigned loop, uint8_t bits) {
        Faults faults;
        faults.power = (bits & 1U) == 0;
        faults.clock = (bits & 2U) == 0;
        faults.emu = {(bits & 4U) == 0, (bits & 8U) == 0};
        faults.loopback = static_cast<LoopFault>(loop % 6);
        return faults;
    }

    static void note(Turn& turn, const Status& status) {
        if (!status) {
            check_error(status.error(), "");
            turn.error = status.error().reason;
        }
    }

    void execute(Turn& turn, Input& input, bool raw) {
        Input head(raw ? input.take(16) : Bytes());
        Input words(input.take(size_t{2} * (input.half() % (kMostWords - 4))));
        lcl_shm& block = fresh_block();
        if (raw) {
            fill_raw(block, head, words);
        } else {
            Assembler(block).take(words);
        }
        shorten_scans(block);
        std::vector<uint16_t> in(kInWords, kUntouched);
        const podsim::batch::Batch batch = podsim::batch::take(block, storage_);
        const podsim::batch::Outcome outcome =
            podsim::batch::execute(batch, in, controller_, stop_);
        turn.status = podsim::batch::status_of(outcome);
        FUZZ_CHECK(outcome.reads <= in.size(), "no more is read than there is room for");
        for (size_t i = outcome.reads; i < in.size(); ++i) {
            FUZZ_CHECK(in[i] == kUntouched, "nothing is put behind the last word read");
        }
        if (outcome.error) {
            FUZZ_CHECK(turn.status < 0 && !outcome.error->reason.empty(), "a failure has a reason");
            FUZZ_CHECK(outcome.error->index <= SHM_BLOCK_WORDS, "a failure has a place");
            turn.error = outcome.error->reason;
        } else {
            FUZZ_CHECK(turn.status == static_cast<int32_t>(2 * outcome.reads), "a status counts");
            FUZZ_CHECK(outcome.reads == batch.head.reads_in_batch,
                       "a good batch reads what it says");
        }
        in.resize(outcome.reads);
        turn.in = std::move(in);
    }

    WornTarget target_;
    Controller controller_;
    Watcher watcher_;
    size_t warnings_ = 0;
    std::vector<uint16_t> storage_;
    std::atomic<bool> stop_{false};
};

} // namespace

void run_batch(Bytes bytes) {
    Input input(bytes);
    ControllerSettings settings = read_settings(input);
    Pod pod(settings, false);
    const std::vector<Turn> turns = pod.play(input.rest());
    pod.check_recovery();

    // What a trace looks at goes edge by edge what else goes by words: nothing else may differ.
    Pod watched(settings, true);
    const std::vector<Turn> seen = watched.play(input.rest());
    FUZZ_CHECK(pod.is_worn() || watched.is_worn() || seen == turns,
               "who looks changes nothing" + difference(turns, seen));
    watched.check_recovery();

    // A host without mistakes does not notice that the pod is strict.
    settings.strict = true;
    Pod strict(settings, false);
    const std::vector<Turn> strictly = strict.play(input.rest());
    FUZZ_CHECK(pod.warnings() != 0 || pod.is_worn() || strictly == turns,
               "only mistakes fail" + difference(turns, strictly));
    strict.check_recovery();
}

} // namespace talvor::fuzz
