// The scan chain: finding its devices, and checking that it still answers as it did.
#pragma once

#include "common/bsdl/model.h"
#include "common/result.h"
#include "host/chain/idcode.h"
#include "host/jtag/bits.h"
#include "host/jtag/port.h"

#include <cstdint>
#include <memory>
#include <optional>
#include <span>
#include <string>
#include <vector>

namespace talvor {

struct ChainDevice {
    std::string name;              // as the board file calls it, else its BSDL file; may be empty
    std::optional<IdCode> idcode;  // without one it answers with BYPASS after a reset
    uint32_t instruction_bits = 0; // 0: not known
    // What its BSDL file says, and which file that is; null and "" without one.
    std::shared_ptr<const bsdl::Device> description{};
    std::string description_file{};
    std::vector<std::string> other_files{}; // that would fit as well, worse than the one taken
};

struct Chain {
    std::vector<ChainDevice> devices; // the first is nearest TDI
    Bits data_capture;                // what Test-Logic-Reset leaves in the data path
    Bits instruction_capture;         // what the instruction path captures
    bool lengths_known = false;       // of the instruction registers

    [[nodiscard]] size_t instruction_bits() const noexcept { return instruction_capture.size(); }
};

// Finds the devices. `given_lengths` are instruction lengths, the first device nearest TDI; empty
// when nobody knows them, then they follow from the capture patterns if these leave no choice.
// Resets the TAP, leaves it in Run-Test/Idle with BYPASS in every device.
// Errors (ErrorKind::Target): TDO is stuck, the chain is broken, there are no devices, or the given
// lengths do not fit.
[[nodiscard]] Result<Chain> discover_chain(JtagPort& port,
                                           std::span<const uint32_t> given_lengths = {});

// Resets the TAP, reads the chain again, and sends `pattern_bits` random bits through BYPASS. An
// error (ErrorKind::Target) says what is different.
[[nodiscard]] Status check_chain(JtagPort& port, const Chain& chain, size_t pattern_bits,
                                 uint64_t seed);

// Around a scan of one device while the others are in BYPASS: bits before it (devices nearer TDO)
// and after it (nearer TDI). `index` counts from 0, nearest TDI first.
struct ScanSurroundings {
    size_t before = 0;
    size_t after = 0;
};
[[nodiscard]] ScanSurroundings surroundings(const Chain& chain, size_t index, ScanPath path);

// Instruction lengths, the first device nearest TDI, that agree with `known` (0: not known) and
// with a capture in which each device ends in binary 01. Empty unless there is just one answer.
[[nodiscard]] std::vector<uint32_t> fit_lengths(const Bits& capture,
                                                std::span<const uint32_t> known);

// What discovery is made of, for tests and for whoever wants to say more about a chain.

// Where devices may begin in an instruction capture: each one ends in binary 01 (IEEE 1149.1,
// 7.1.1), so it begins with a 1 followed by a 0.
[[nodiscard]] std::vector<size_t> possible_starts(const Bits& capture);
// The codes of a data capture, nearest TDO first; nothing stands for a BYPASS bit. An error when
// the last code is cut short.
[[nodiscard]] Result<std::vector<std::optional<IdCode>>> split_data_capture(const Bits& capture);

} // namespace talvor
