// The steps of a whole file, kept small, so that a file which was checked is played without being
// read again.
#pragma once

#include "host/play/step.h"
#include "host/play/step_source.h"

#include <array>
#include <cstddef>
#include <cstdint>
#include <memory>
#include <vector>

namespace talvor::play {

// Memory in blocks that grow in number and never move. Who reads takes pieces of the same sizes in
// the same order as who wrote.
template <typename T>
class Blocks {
public:
    static constexpr size_t kBlock = size_t{1} << 16;

    // Room for `count` values, one after the other.
    [[nodiscard]] T* take(size_t count) {
        if (blocks_.empty() || count > blocks_.back().size - used_) {
            const size_t size = count > kBlock ? count : kBlock;
            blocks_.push_back({std::unique_ptr<T[]>(new T[size]), size});
            bytes_ += size * sizeof(T);
            used_ = 0;
        }
        T* const room = blocks_.back().values.get() + used_;
        used_ += count;
        return room;
    }
    // Gives back the last `count` values of what was taken last.
    void give_back(size_t count) noexcept { used_ -= count; }
    [[nodiscard]] size_t bytes() const noexcept { return bytes_; }

    class Cursor {
    public:
        explicit Cursor(const Blocks& blocks) : blocks_(&blocks) {}
        [[nodiscard]] const T* take(size_t count) {
            if (count > blocks_->blocks_[block_].size - used_) {
                ++block_;
                used_ = 0;
            }
            const T* const values = blocks_->blocks_[block_].values.get() + used_;
            used_ += count;
            return values;
        }
        void give_back(size_t count) noexcept { used_ -= count; }

    private:
        const Blocks* blocks_;
        size_t block_ = 0;
        size_t used_ = 0;
    };

private:
    struct Block {
        std::unique_ptr<T[]> values;
        size_t size;
    };
    std::vector<Block> blocks_;
    size_t used_ = 0;
    size_t bytes_ = 0;
};

// A value that a scan has in common with the one before it is kept once. A plan takes no part of a
// step that could not be played, and no notes: both belong to the check.
class Plan {
public:
    static constexpr size_t kMaxBytes = size_t{64} << 20;

    explicit Plan(size_t max_bytes = kMaxBytes) : max_bytes_(max_bytes) {}

    // Adds a step. When the plan would pass its bound, or the step has a refusal, everything is
    // dropped, and from then on the plan is not whole and takes nothing.
    void add(const Step& step);
    // Nothing that was added is missing.
    [[nodiscard]] bool whole() const noexcept { return whole_; }
    [[nodiscard]] uint64_t steps() const noexcept { return steps_; }
    [[nodiscard]] size_t bytes() const noexcept { return records_.bytes() + values_.bytes(); }

    // Starts anew, empty and whole.
    void clear();

private:
    friend class PlanReader;
    // What a stretch of a scan was last.
    struct Held {
        StatementId statement = 0;
        uint64_t length_bits = 0;
        const uint16_t* tdi = nullptr;
        const uint16_t* tdo = nullptr;
        const uint16_t* mask = nullptr;
    };
    using HeldParts = std::array<std::array<Held, 3>, 2>; // by path, then header, body, trailer

    void drop();
    void add_scan(const ScanStep& scan);
    [[nodiscard]] unsigned part_flags(const ScanPart& part, Held& held) const;
    [[nodiscard]] const uint16_t* keep(const uint16_t* words, size_t count);
    void add_path(const Step& step);
    void add_run(const RunStep& run);

    void begin_record();
    void end_record();
    void put_byte(unsigned value) { *at_++ = static_cast<uint8_t>(value); }
    void put_number(uint64_t value);

    size_t max_bytes_;
    bool whole_ = true;
    uint64_t steps_ = 0;
    uint64_t line_ = 0;
    uint64_t bytes_taken_ = 0;
    Blocks<uint8_t> records_;
    Blocks<uint16_t> values_;
    HeldParts held_;
    uint8_t* at_ = nullptr; // in the record at hand
    uint8_t* end_ = nullptr;
};

// Plays a plan back: the same steps in the same order. What it says of the file it has from the
// source that the plan was made of; both outlive it. Nothing is added to the plan meanwhile.
class PlanReader final : public StepSource {
public:
    PlanReader(const Plan& plan, const StepSource& original);

    [[nodiscard]] Status rewind() override;
    [[nodiscard]] Result<bool> next(Step& step) override;

    [[nodiscard]] uint64_t bytes_taken() const override { return bytes_taken_; }
    [[nodiscard]] uint64_t line() const override { return line_; }
    [[nodiscard]] uint64_t total_bytes() const override { return original_->total_bytes(); }
    [[nodiscard]] const std::string& name() const override { return original_->name(); }
    [[nodiscard]] std::span<const std::string_view> statements() const override {
        return original_->statements();
    }
    void on_chunk(std::function<bool()>) override {} // it has no long stretches

private:
    void read_scan(unsigned head, ScanStep& scan);
    void read_part(unsigned flags, Plan::Held& held, ScanPart& part);
    void read_path(Step& step);
    void read_run(RunStep& run);

    void begin_record();
    void end_record();
    [[nodiscard]] unsigned take_byte() { return *at_++; }
    [[nodiscard]] uint64_t take_number();

    const Plan* plan_;
    const StepSource* original_;
    Blocks<uint8_t>::Cursor records_;
    Blocks<uint16_t>::Cursor values_;
    Plan::HeldParts held_;
    const uint8_t* at_ = nullptr;
    const uint8_t* end_ = nullptr;
    uint64_t steps_ = 0;
    uint64_t line_ = 0;
    uint64_t bytes_taken_ = 0;
};

} // namespace talvor::play
