// Rows of a flash memory behind a TAP, and the data registers that reach them.
#pragma once

#include "podsim/model/chain_description.h"
#include "podsim/model/data_register.h"

#include <cstdint>
#include <memory>
#include <span>
#include <vector>

namespace talvor::podsim {

// What stands in the rows. Blank at first, and after an erasure; the supply makes no difference.
class RowArray {
public:
    // `description` must be free of errors.
    explicit RowArray(const RowsDescription& description);

    [[nodiscard]] uint64_t address() const { return address_; }
    void set_address(uint64_t address) { address_ = address; }
    // All rows into ones.
    void erase();
    // The row at the address keeps the ones that `row` has, too. What cannot be done (a zero that
    // should become a one, an address past the rows) shows in the status until the next erasure.
    void program(std::span<const uint64_t> row);
    // The row at the address; ones past the rows.
    void read(std::span<uint64_t> row) const;
    // Bit 0: all was done that has been asked for since the last erasure. Bit 1: all rows are
    // blank.
    [[nodiscard]] unsigned status() const;

    static constexpr unsigned kStatusBits = 2;

private:
    [[nodiscard]] std::span<uint64_t> row_at_address();

    uint64_t row_bits_;
    uint64_t words_; // of a row
    uint64_t rows_;
    std::vector<uint64_t> content_;
    uint64_t address_ = 0;
    bool done_ = true;
    bool blank_ = true;
};

// A data register and the instruction that selects it.
struct SelectedRegister {
    uint64_t instruction = 0;
    std::unique_ptr<DataRegister> cells;
};

// The registers of `rows`, which `description` describes.
[[nodiscard]] std::vector<SelectedRegister> registers_of(const RowsDescription& description,
                                                         const std::shared_ptr<RowArray>& rows);

} // namespace talvor::podsim
