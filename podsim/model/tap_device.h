// One TAP of a built-in chain: its instruction register and the data register that it selects.
#pragma once

#include "podsim/model/boundary_cells.h"
#include "podsim/model/chain_description.h"
#include "podsim/model/data_register.h"
#include "podsim/model/rows.h"

#include <cstdint>
#include <memory>
#include <string>
#include <unordered_map>
#include <vector>

namespace talvor::podsim {

// Knows what its registers capture and update, not where the TAP stands or how bits move.
//
// Modelling decision: an instruction that the description does not name selects BYPASS, as the
// standard wants of unused codes (IEEE 1149.1, 8.4); all ones always does.
class TapDevice {
public:
    // `description` must be free of errors.
    explicit TapDevice(const DeviceDescription& description);

    const std::string& name() const { return name_; }
    unsigned instruction_bits() const { return instruction_bits_; }
    uint64_t instruction_capture() const { return instruction_capture_; }
    uint64_t instruction() const { return instruction_; }
    // Update-IR.
    void set_instruction(uint64_t instruction);
    // Test-Logic-Reset: IDCODE, or BYPASS for a device without one.
    void reset();
    void power_on();

    // The register between TDI and TDO while data is scanned.
    DataRegister& selected() { return *selected_; }
    // Data registers by name: the description's, "bypass" and "idcode", "boundary" where that has
    // no name of its own. Rows are no registers of a name.
    struct NamedRegister {
        std::string name;
        DataRegister* cells;
    };
    const std::vector<NamedRegister>& named() const { return named_; }
    // The longest data register, in bits.
    uint64_t longest() const;
    // Null for a device without boundary-scan cells.
    BoundaryCells* boundary() { return boundary_; }
    const BoundaryCells* boundary() const { return boundary_; }

private:
    // What an instruction does.
    struct Selection {
        DataRegister* cells = nullptr; // the register between TDI and TDO
        TestMode mode = TestMode::Normal;
    };
    // Instructions whose bits under a mask are known.
    struct Pattern {
        uint64_t value;
        uint64_t mask;
        Selection selection;
    };

    void add_registers(const DeviceDescription& description);
    void add_rows(const RowsDescription& description);
    void add_instruction(const InstructionDescription& instruction, size_t first_register,
                         DataRegister* idcode);
    [[nodiscard]] Selection selection_of(uint64_t instruction) const;

    std::string name_;
    unsigned instruction_bits_;
    uint64_t instruction_capture_;
    uint64_t reset_instruction_;
    std::vector<std::unique_ptr<DataRegister>> registers_; // the first is BYPASS
    std::vector<NamedRegister> named_;
    std::unordered_map<uint64_t, Selection> by_instruction_;
    std::vector<Pattern> patterns_; // where that has nothing; the first that matches counts
    std::unordered_map<uint64_t, std::shared_ptr<RowArray>> erased_by_; // instruction
    BoundaryCells* boundary_ = nullptr;
    uint64_t instruction_ = 0;
    DataRegister* selected_ = nullptr;
};

} // namespace talvor::podsim
