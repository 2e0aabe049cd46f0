#include "podsim/model/rows.h"

#include "podsim/model/bits.h"

#include <algorithm>
#include <utility>

namespace talvor::podsim {
namespace {

// The part of the rows that every register of theirs has.
class RowCells : public DataRegister {
public:
    RowCells(std::shared_ptr<RowArray> rows, uint64_t bits) : rows_(std::move(rows)), bits_(bits) {}
    uint64_t bits() const override { return bits_; }
    void update(std::span<const uint64_t>) override {}

protected:
    RowArray& rows() { return *rows_; }

private:
    std::shared_ptr<RowArray> rows_;
    uint64_t bits_;
};

class AddressCells final : public RowCells {
public:
    using RowCells::RowCells;
    void capture(std::span<uint64_t> shifted) override { shifted[0] = rows().address(); }
    void update(std::span<const uint64_t> shifted) override { rows().set_address(shifted[0]); }
    void power_on() override { rows().set_address(0); }
};

class VerifyCells : public RowCells {
public:
    using RowCells::RowCells;
    void capture(std::span<uint64_t> shifted) override { rows().read(shifted); }
};

class ProgramCells final : public VerifyCells {
public:
    using VerifyCells::VerifyCells;
    void update(std::span<const uint64_t> shifted) override { rows().program(shifted); }
};

class StatusCells final : public RowCells {
public:
    using RowCells::RowCells;
    void capture(std::span<uint64_t> shifted) override { shifted[0] = rows().status(); }
};

} // namespace

RowArray::RowArray(const RowsDescription& description)
    : row_bits_(description.row_bits), words_(words_for(description.row_bits)),
      rows_(description.rows), content_(words_ * rows_, ~uint64_t{0}) {}

std::span<uint64_t> RowArray::row_at_address() {
    return std::span(content_).subspan(address_ * words_, words_);
}

void RowArray::erase() {
    std::ranges::fill(content_, ~uint64_t{0});
    done_ = true;
    blank_ = true;
}

void RowArray::program(std::span<const uint64_t> row) {
    if (address_ >= rows_) {
        done_ = false;
        return;
    }
    const std::span<uint64_t> content = row_at_address();
    for (size_t i = 0; i < content.size(); ++i) {
        const auto bits =
            static_cast<unsigned>(std::min<uint64_t>(kWordBits, row_bits_ - i * kWordBits));
        content[i] &= row[i] | ~low_mask(bits);
        done_ = done_ && (content[i] & low_mask(bits)) == row[i];
        blank_ = blank_ && content[i] == ~uint64_t{0};
    }
}

void RowArray::read(std::span<uint64_t> row) const {
    if (address_ >= rows_) {
        std::ranges::fill(row, ~uint64_t{0});
        return;
    }
    std::ranges::copy(std::span(content_).subspan(address_ * words_, words_), row.begin());
}

unsigned RowArray::status() const {
    return (done_ ? 1U : 0U) | (blank_ ? 2U : 0U);
}

std::vector<SelectedRegister> registers_of(const RowsDescription& description,
                                           const std::shared_ptr<RowArray>& rows) {
    std::vector<SelectedRegister> all;
    all.push_back(
        {description.address, std::make_unique<AddressCells>(rows, description.address_bits)});
    all.push_back(
        {description.program, std::make_unique<ProgramCells>(rows, description.row_bits)});
    all.push_back({description.verify, std::make_unique<VerifyCells>(rows, description.row_bits)});
    all.push_back({description.status, std::make_unique<StatusCells>(rows, RowArray::kStatusBits)});
    return all;
}

} // namespace talvor::podsim
