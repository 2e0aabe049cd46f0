#include "podsim/model/chain.h"

#include <algorithm>

namespace talvor::podsim {
namespace {

uint64_t longest_path(const std::vector<std::unique_ptr<TapDevice>>& devices) {
    uint64_t instruction = 0;
    uint64_t data = 0;
    for (const auto& device : devices) {
        instruction += device->instruction_bits();
        data += device->longest();
    }
    return std::max(instruction, data);
}

uint64_t longest_register(const std::vector<std::unique_ptr<TapDevice>>& devices) {
    uint64_t bits = kMaxInstructionBits;
    for (const auto& device : devices) {
        bits = std::max(bits, device->longest());
    }
    return bits;
}

std::vector<std::unique_ptr<TapDevice>> devices_of(const ChainDescription& description) {
    std::vector<std::unique_ptr<TapDevice>> devices;
    for (const DeviceDescription& each : description.devices) {
        devices.push_back(std::make_unique<TapDevice>(each));
    }
    return devices;
}

std::vector<BoundaryCells*> boundaries_of(const std::vector<std::unique_ptr<TapDevice>>& devices) {
    std::vector<BoundaryCells*> boundaries;
    for (const auto& device : devices) {
        boundaries.push_back(device->boundary());
    }
    return boundaries;
}

} // namespace

Chain::Chain(const ChainDescription& description)
    : devices_(devices_of(description)), ring_(longest_path(devices_)),
      scratch_(words_for(longest_register(devices_))),
      board_(description, boundaries_of(devices_)) {
    for (const BoardFault& fault : description.board.faults) {
        if (Result<FaultPlace> place = locate(fault)) {
            faults_.push_back(*std::move(place));
        }
    }
    faults_changed();
    slots_ = wanted_;
}

// Appends a captured register at the end nearest TDI.
void Chain::append(std::span<const uint64_t> bits, uint64_t count) {
    for (uint64_t done = 0; done < count; done += kWordBits) {
        const auto step_bits = static_cast<unsigned>(std::min<uint64_t>(kWordBits, count - done));
        ring_.write(head_ + length_, bits[done / kWordBits] & low_mask(step_bits), step_bits);
        length_ += step_bits;
    }
}

// Takes a register's bits out of the ring, from `position` on, which moves behind them.
void Chain::take(std::span<uint64_t> bits, uint64_t count, uint64_t& position) const {
    for (uint64_t done = 0; done < count; done += kWordBits) {
        const auto step_bits = static_cast<unsigned>(std::min<uint64_t>(kWordBits, count - done));
        bits[done / kWordBits] = ring_.read(position) & low_mask(step_bits);
        position += step_bits;
    }
}

// The device nearest TDO comes first.
void Chain::capture() {
    slots_ = wanted_;
    breaks_.clear();
    head_ = 0;
    length_ = 0;
    for (auto slot = slots_.rbegin(); slot != slots_.rend(); ++slot) {
        TapDevice& device = *devices_[slot->device];
        if (slot->dead) [[unlikely]] {
            breaks_.push_back({length_, *slot->dead});
        } else if (state_ == TapState::CaptureIr) {
            scratch_[0] = device.instruction_capture();
            append(scratch_, device.instruction_bits());
        } else {
            DataRegister& selected = device.selected();
            selected.capture({scratch_.data(), words_for(selected.bits())});
            append(scratch_, selected.bits());
        }
    }
}

void Chain::update() {
    uint64_t position = head_;
    for (auto slot = slots_.rbegin(); slot != slots_.rend(); ++slot) {
        TapDevice& device = *devices_[slot->device];
        if (slot->dead) [[unlikely]] {
            continue;
        }
        if (state_ == TapState::UpdateIr) {
            take(scratch_, device.instruction_bits(), position);
            device.set_instruction(scratch_[0]);
        } else {
            DataRegister& selected = device.selected();
            take(scratch_, selected.bits(), position);
            selected.update({scratch_.data(), words_for(selected.bits())});
        }
    }
    board_.settle();
}

// What would pass a dead device gives way to the level of its TDO. The breaks nearer TDO come last:
// a bit that passes several has the level of the last.
void Chain::cross_breaks(unsigned count) {
    for (auto each = breaks_.rbegin(); each != breaks_.rend(); ++each) {
        ring_.replace(head_ + each->behind, each->level ? low_mask(count) : 0, count);
    }
}

void Chain::reset() {
    for (const auto& device : devices_) {
        device->reset();
    }
    board_.settle();
}

// Updates and the reset happen on the falling edge of TCK in the state (IEEE 1149.1, 6.1): nothing
// can come between that and entering it.
void Chain::enter(TapState next) {
    state_ = next;
    switch (next) {
    case TapState::UpdateDr:
    case TapState::UpdateIr:
        update();
        break;
    case TapState::TestLogicReset:
        reset();
        break;
    default:
        break;
    }
}

// Captures and shifts happen on the rising edge that leaves the state or holds it.
bool Chain::step(bool tms, bool tdi) {
    bool tdo = true;
    if (is_shift(state_)) {
        tdo = shift_word(tdi ? 1 : 0, 1) != 0;
    } else if (state_ == TapState::CaptureDr || state_ == TapState::CaptureIr) {
        capture();
    }
    enter(next_state(state_, tms));
    return tdo;
}

Status Chain::move(uint64_t tms, unsigned count, bool tdi) {
    for (unsigned i = 0; i < count; ++i) {
        step(((tms >> i) & 1) != 0, tdi);
    }
    return {};
}

// A caller out of step: bit by bit, wherever that leads.
void Chain::shift_astray(std::span<const uint64_t> tdi, std::span<uint64_t> tdo, uint64_t count,
                         bool leave) {
    for (uint64_t i = 0; i < count; ++i) {
        const size_t word = i / kWordBits;
        const uint64_t bit = uint64_t{1} << (i % kWordBits);
        const bool level = step(leave && i + 1 == count, (tdi[word] & bit) != 0);
        tdo[word] = level ? tdo[word] | bit : tdo[word] & ~bit;
    }
}

Status Chain::shift(std::span<const uint64_t> tdi, std::span<uint64_t> tdo, uint64_t count,
                    bool leave) {
    if (!is_shift(state_)) [[unlikely]] {
        shift_astray(tdi, tdo, count, leave);
        return {};
    }
    size_t word = 0;
    for (; count > kWordBits; count -= kWordBits, ++word) {
        tdo[word] = shift_word(tdi[word], kWordBits);
    }
    tdo[word] = shift_word(tdi[word], static_cast<unsigned>(count));
    if (leave) {
        enter(next_state(state_, true));
    }
    return {};
}

Status Chain::pulse_trst() {
    enter(TapState::TestLogicReset);
    return {};
}

Status Chain::set_reset(bool) {
    return {};
}

Status Chain::power_on() {
    for (const auto& device : devices_) {
        device->power_on();
    }
    board_.settle();
    state_ = TapState::TestLogicReset;
    return {};
}

} // namespace talvor::podsim
