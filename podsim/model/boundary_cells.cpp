#include "podsim/model/boundary_cells.h"

#include "podsim/model/bit_ring.h"

#include <algorithm>

namespace talvor::podsim {
namespace {

using bsdl::CellFunction;
using bsdl::DisableResult;

bool get(const std::vector<uint64_t>& words, size_t bit) {
    return ((words[bit / kWordBits] >> (bit % kWordBits)) & 1) != 0;
}

void put(std::vector<uint64_t>& words, size_t bit, bool value) {
    const uint64_t mask = uint64_t{1} << (bit % kWordBits);
    uint64_t& word = words[bit / kWordBits];
    word = value ? word | mask : word & ~mask;
}

bool is_input(CellFunction function) {
    return function == CellFunction::Input || function == CellFunction::Clock ||
           function == CellFunction::ObserveOnly;
}

bool is_driver(CellFunction function) {
    return function == CellFunction::Output2 || function == CellFunction::Output3 ||
           function == CellFunction::Bidir;
}

// What a driver is like that is disabled. What a file calls weak comes from the board; what it
// calls pulled from the device.
Drive at_rest(DisableResult result) {
    switch (result) {
    case DisableResult::Weak0:
    case DisableResult::Open0:
        return {.strength = Strength::Weak, .level = false};
    case DisableResult::Weak1:
    case DisableResult::Open1:
        return {.strength = Strength::Weak, .level = true};
    case DisableResult::Pull0:
        return {.strength = Strength::Pull, .level = false};
    case DisableResult::Pull1:
        return {.strength = Strength::Pull, .level = true};
    case DisableResult::Keeper:
        return {.strength = Strength::Keep};
    case DisableResult::Z:
    case DisableResult::OpenX:
        break;
    }
    return {};
}

template <typename T>
std::vector<T> sized(std::vector<T> values, size_t size, T fill) {
    values.resize(size, fill);
    return values;
}

} // namespace

BoundaryCells::BoundaryCells(const BoundaryDescription& description)
    : device_(description.device), bits_(description.device->boundary_bits),
      initial_core_(sized(description.core, device_->signals.size(), Core::Off)),
      unconnected_(sized<std::optional<bool>>(description.unconnected, device_->signals.size(),
                                              std::nullopt)),
      has_cell_(device_->signals.size()), core_(initial_core_), drives_(device_->signals.size()),
      levels_(device_->signals.size()) {
    const size_t words = words_for(bits_);
    for (Words* each :
         {&reset_mask_, &reset_value_, &latch_, &seen_, &core_value_, &bidirectional_on_}) {
        each->resize(words);
    }
    for (auto* table : {&disabled_, &enabled_}) {
        for (Masks& masks : *table) {
            masks = {Words(words), Words(words)};
        }
    }
    // Of a merged cell the input says what is captured, whichever entry comes first.
    Words chosen(words);
    for (const bool inputs : {true, false}) {
        for (const bsdl::Cell& cell : device_->cells) {
            if (is_input(cell.function) == inputs) {
                add_cell(cell, get(chosen, cell.number));
                put(chosen, cell.number, true);
            }
        }
    }
    work_out_core();
}

void BoundaryCells::add_cell(const bsdl::Cell& cell, bool merged) {
    if (!merged) {
        choose_captures(cell);
    }
    if (cell.signal && (!merged || is_input(cell.function))) {
        watchers_.push_back({cell.number, *cell.signal});
    }
    if (cell.signal && cell.open_result) {
        rests_.push_back({*cell.signal, at_rest(*cell.open_result)});
    }
    if (cell.signal && is_driver(cell.function)) {
        drivers_.push_back({.site = {cell.number, *cell.signal},
                            .control = cell.control,
                            .disable_value = cell.disable_value == '1',
                            .disabled = cell.disable_result,
                            .bidirectional = cell.function == CellFunction::Bidir});
        has_cell_[*cell.signal] = 1;
    }
    if (!cell.control) {
        return;
    }
    // A CONTROLR cell goes to what disables the first output that it controls.
    const auto control = std::ranges::find_if(device_->cells, [&](const bsdl::Cell& other) {
        return other.number == *cell.control && other.function == CellFunction::ControlR;
    });
    if (control != device_->cells.end() && !get(reset_mask_, *cell.control)) {
        put(reset_mask_, *cell.control, true);
        put(reset_value_, *cell.control, cell.disable_value == '1');
    }
}

void BoundaryCells::choose_captures(const bsdl::Cell& cell) {
    for (size_t mode = 0; mode < kModes; ++mode) {
        for (const bool enabled : {false, true}) {
            const CaptureSource source =
                capture_of(cell.type, cell.function, enabled, static_cast<TestMode>(mode));
            Masks& masks = (enabled ? enabled_ : disabled_)[mode];
            put(masks.pin, cell.number, source == CaptureSource::Pin);
            put(masks.core, cell.number, source == CaptureSource::Core);
        }
    }
}

void BoundaryCells::capture(std::span<uint64_t> shifted) {
    const Masks& off = disabled_[static_cast<size_t>(mode_)];
    const Masks& on = enabled_[static_cast<size_t>(mode_)];
    for (size_t i = 0; i < latch_.size(); ++i) {
        const uint64_t choice = bidirectional_on_[i];
        const uint64_t pin = (off.pin[i] & ~choice) | (on.pin[i] & choice);
        const uint64_t core = (off.core[i] & ~choice) | (on.core[i] & choice);
        shifted[i] = (seen_[i] & pin) | (core_value_[i] & core) | (latch_[i] & ~pin & ~core);
    }
}

void BoundaryCells::update(std::span<const uint64_t> shifted) {
    stale_ = stale_ || (tests() && !std::ranges::equal(latch_, shifted));
    std::ranges::copy(shifted, latch_.begin());
}

void BoundaryCells::power_on() {
    std::ranges::fill(latch_, 0);
    core_ = initial_core_;
    work_out_core();
    mode_ = TestMode::Normal;
    reset();
    stale_ = true;
}

void BoundaryCells::reset() {
    for (size_t i = 0; i < latch_.size(); ++i) {
        const uint64_t after = (latch_[i] & ~reset_mask_[i]) | reset_value_[i];
        stale_ = stale_ || (tests() && after != latch_[i]);
        latch_[i] = after;
    }
}

void BoundaryCells::set_mode(TestMode mode) {
    stale_ = stale_ || mode != mode_;
    mode_ = mode;
}

void BoundaryCells::set_dead(bool dead) {
    stale_ = stale_ || dead != dead_;
    dead_ = dead;
}

void BoundaryCells::set_core(size_t pin, Core core) {
    core_[pin] = core;
    work_out_core();
    stale_ = true;
}

// What the device's own logic gives each cell: its level to the data cells, and to a control cell
// the enabling level while it drives one of the pins.
void BoundaryCells::work_out_core() {
    std::ranges::fill(core_value_, 0);
    for (const Driver& driver : drivers_) {
        if (driver.control && *driver.control != driver.site.cell) {
            put(core_value_, *driver.control, driver.disable_value);
        }
    }
    for (const Driver& driver : drivers_) {
        if (core_[driver.site.pin] == Core::High) {
            put(core_value_, driver.site.cell, true);
        }
        if (driver.control && *driver.control != driver.site.cell &&
            core_[driver.site.pin] != Core::Off) {
            put(core_value_, *driver.control, !driver.disable_value);
        }
    }
}

// An open collector is its own control cell: one of its levels is to be disabled.
bool BoundaryCells::core_enables(const Driver& driver) const {
    const Core core = core_[driver.site.pin];
    const bool own = driver.control == driver.site.cell;
    return core != Core::Off && !(own && (core == Core::High) == driver.disable_value);
}

bool BoundaryCells::latch_enables(const Driver& driver) const {
    return !driver.control || get(latch_, *driver.control) != driver.disable_value;
}

Drive BoundaryCells::drive_of(const Driver& driver) const {
    if (mode_ == TestMode::Normal) {
        return core_enables(driver) ? Drive{.strength = Strength::Strong,
                                            .level = core_[driver.site.pin] == Core::High}
                                    : at_rest(driver.disabled);
    }
    if (mode_ == TestMode::Highz || !latch_enables(driver)) {
        return at_rest(driver.disabled);
    }
    return {.strength = Strength::Strong, .level = get(latch_, driver.site.cell), .by_cell = true};
}

bool BoundaryCells::refresh() {
    if (!stale_) {
        return false;
    }
    stale_ = false;
    std::ranges::fill(bidirectional_on_, 0);
    for (const Driver& driver : drivers_) {
        const bool on = tests() ? latch_enables(driver) : core_enables(driver);
        put(bidirectional_on_, driver.site.cell, driver.bidirectional && on);
    }
    std::vector<Drive> drives = dead_ ? std::vector<Drive>(drives_.size()) : drives_now();
    const bool changed = drives != drives_;
    drives_ = std::move(drives);
    return changed;
}

// Pins that no cell drives stay with the device's logic, whatever is tested. The second pin of a
// pair does the opposite of the first.
std::vector<Drive> BoundaryCells::drives_now() const {
    std::vector<Drive> drives(drives_.size());
    for (size_t pin = 0; pin < drives.size(); ++pin) {
        if (has_cell_[pin] == 0 && core_[pin] != Core::Off) {
            drives[pin] = {.strength = Strength::Strong, .level = core_[pin] == Core::High};
        }
    }
    for (const Rest& rest : rests_) {
        drives[rest.pin] = joined(drives[rest.pin], rest.drive);
    }
    for (const Driver& driver : drivers_) {
        drives[driver.site.pin] = joined(drives[driver.site.pin], drive_of(driver));
    }
    for (const bsdl::SignalPair& pair : device_->pairs) {
        Drive& inverse = drives[pair.associated];
        inverse = drives[pair.representative];
        inverse.level = !inverse.level;
    }
    return drives;
}

void BoundaryCells::look() {
    for (const Site& site : watchers_) {
        put(seen_, site.cell, level(site.pin));
    }
}

} // namespace talvor::podsim
