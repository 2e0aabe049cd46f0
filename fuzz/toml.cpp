// Files in TOML: descriptions of simulated pods, and boards. The input is the file; both readers
// get it.
#include "fuzz/base/check.h"
#include "fuzz/targets.h"
#include "host/board/configuration.h"
#include "host/session/board_file.h"
#include "podsim/description/description.h"
#include "podsim/model/chain.h"
#include "podsim/model/chain_check.h"

#include <array>
#include <set>
#include <string>
#include <utility>

namespace talvor::fuzz {
namespace {

constexpr const char* kName = "a.toml";
// What is built and clocked, and what is only looked at: a description may ask for a lot of memory.
constexpr uint64_t kMostBits = 1U << 16;

uint64_t size_of(const podsim::ChainDescription& chain) {
    uint64_t bits = 0;
    for (const podsim::DeviceDescription& device : chain.devices) {
        for (const podsim::RegisterDescription& one : device.registers) {
            const auto* memory = std::get_if<podsim::MemoryRegister>(&one.kind);
            bits += podsim::register_bits(one) + (memory != nullptr ? memory->words * 64 : 0);
        }
    }
    return bits;
}

// Ones through the chain from reset: each device lets a bit of its own through first.
void clock_chain(const podsim::ChainDescription& description) {
    podsim::Chain chain(description);
    FUZZ_CHECK(chain.size() == description.devices.size(), "a chain has the devices described");
    FUZZ_CHECK(chain.move(kResetPath.tms, kResetPath.count, true).has_value(), "a chain moves");
    constexpr TmsPath kToShiftIr = shortest_path(TapState::TestLogicReset, TapState::ShiftIr);
    FUZZ_CHECK(chain.move(kToShiftIr.tms, kToShiftIr.count, true).has_value(), "a chain moves");
    FUZZ_CHECK(chain.state() == TapState::ShiftIr, "a chain follows TMS");
    const std::array<uint64_t, 2> ones{~uint64_t{0}, ~uint64_t{0}};
    std::array<uint64_t, 2> tdo{};
    FUZZ_CHECK(chain.shift(ones, tdo, 128, true).has_value(), "a chain shifts");
    const bool whole = !description.devices.empty() && description.board.faults.empty();
    FUZZ_CHECK(!whole || (tdo[0] & 3U) == 1, "a capture ends in 01");
    FUZZ_CHECK(chain.power_on().has_value() && chain.state() == TapState::TestLogicReset,
               "power-on is a reset");
}

void check_controller(const podsim::ControllerSettings& settings) {
    FUZZ_CHECK(pod_is_generation(pod_revision_major(settings.revision)), "a pod has a generation");
    FUZZ_CHECK(settings.kind >= eJTI_CONTROL_ID_TBC && settings.kind <= eJTI_CONTROL_ID_DPM,
               "a controller is of a kind");
    FUZZ_CHECK(settings.utility_revision >= 1 && settings.utility_revision <= 8 &&
                   settings.cable_delay_bits <= LINK_DELAY_MAXIMUM,
               "what is described is in its range");
}

void run_description(std::string_view text) {
    const auto description = podsim::description::parse(text, kName);
    if (!description) {
        check_error(description.error(), kName);
        return;
    }
    FUZZ_CHECK(!description->pods.empty(), "there is a pod");
    std::set<uint32_t> serials;
    for (const podsim::description::Pod& pod : description->pods) {
        FUZZ_CHECK(serials.insert(pod.serial).second, "each pod has a serial of its own");
        check_controller(pod.controller);
        if (const auto* chain = std::get_if<podsim::ChainDescription>(&pod.target)) {
            FUZZ_CHECK(!podsim::check(*chain), "a chain that was read can be built");
            if (size_of(*chain) <= kMostBits) {
                clock_chain(*chain);
            }
        }
    }
}

// The driver is given each key as it was read.
void check_keys(const Board& board) {
    Configuration configuration(board.keys);
    const CFG_Interface& table = *configuration.table();
    uint32_t context = 0;
    bool found = false;
    FUZZ_CHECK(table.GetContextIdGlobal(configuration.handle(), &context, &found) == 0 && found,
               "there is a global context");
    for (const Key& key : board.keys.keys()) {
        FUZZ_CHECK(key.name.starts_with("KELM.") || key.name.starts_with("VEXIL."),
                   "a key has a namespace");
        JBD_Context entry = nullptr;
        const char* text = nullptr;
        uint32_t length = 0;
        (void)table.GetContextHandle(configuration.handle(), context, key.name.c_str(), &entry,
                                     &found);
        // A NUL within the name ends it for the driver, which has no such name.
        if (key.name.find('\0') == std::string::npos) {
            FUZZ_CHECK(found, "a key is found by its name");
            FUZZ_CHECK(table.GetContextString(configuration.handle(), entry, &length, &text) == 0 &&
                           std::string_view(text, length) == key.text,
                       "a key has its text");
        }
    }
    FUZZ_CHECK(configuration.unread().size() <= board.keys.keys().size(),
               "keys that were not read");
}

void run_board(std::string_view text) {
    const Result<Board> board = parse_board(text, kName);
    if (!board) {
        check_error(board.error(), kName);
        return;
    }
    FUZZ_CHECK(board->clock.base_hz != 0 && board->clock.predivided_hz != 0 &&
                   board->clock.offset != 0,
               "a clock can be divided");
    for (const BoardDevice& device : board->devices) {
        FUZZ_CHECK(device.instruction_bits != 1, "an instruction has two bits or more");
    }
    check_keys(*board);
}

} // namespace

void run_toml(Bytes input) {
    run_description(text_of(input));
    run_board(text_of(input));
}

} // namespace talvor::fuzz
