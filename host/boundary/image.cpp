#include "host/boundary/image.h"

#include <fmt/format.h>

#include <map>

namespace talvor::boundary {
namespace {

using bsdl::CellFunction;

size_t number_of(const Plan& plan, size_t cell) {
    return plan.device().cells[cell].number;
}

Level level_of(bool bit) {
    return bit ? Level::High : Level::Low;
}

std::string text_of(const Plan& plan, const Setting& setting) {
    return fmt::format("{}={}", plan.name_of(setting.signal), text_of(setting.level));
}

// What the settings want of each cell, and which of them wanted it first.
class Wishes {
public:
    explicit Wishes(const Plan& plan) : plan_(plan) {}

    Status add(const Setting& setting, size_t cell, bool value) {
        const auto [wish, fresh] = wishes_.try_emplace(cell, Wish{value, setting});
        if (fresh || wish->second.value == value) {
            return {};
        }
        return refused_error(text_of(plan_, setting),
                             fmt::format("cell {} would have to be {} for it, and {} for {}", cell,
                                         value ? 1 : 0, value ? 0 : 1,
                                         text_of(plan_, wish->second.setting)),
                             "they share that cell; set one of them, or both alike");
    }
    void put_into(Bits& image) const {
        for (const auto& [cell, wish] : wishes_) {
            image.set(cell, wish.value);
        }
    }

private:
    struct Wish {
        bool value = false;
        Setting setting;
    };

    const Plan& plan_;
    std::map<size_t, Wish> wishes_; // by the cell's number
};

// What Z and levels of one output want of its cells.
Status wish_for_output(const Plan& plan, const Setting& setting, Wishes& wishes) {
    const Pin* pin = plan.find(setting.signal);
    if (pin == nullptr || !pin->drive) {
        return refused_error(text_of(plan, setting), "the boundary register cannot drive this pin",
                             "'talvor pins' shows which pins are outputs");
    }
    if (setting.level == Level::Z && !pin->enable) {
        return refused_error(text_of(plan, setting), "no control cell disables this output",
                             "set it to 0 or 1; 'talvor pins set --instruction highz' disables "
                             "every output of a device that has HIGHZ");
    }
    const size_t data = number_of(plan, *pin->drive);
    if (setting.level == Level::Z) {
        return wishes.add(setting, *pin->enable, !pin->enable_level);
    }
    TRY(wishes.add(setting, data, setting.level == Level::High));
    const bool controls_itself = pin->enable == data;
    return pin->enable && !controls_itself ? wishes.add(setting, *pin->enable, pin->enable_level)
                                           : Status();
}

bool is_named(std::span<const Setting> settings, size_t signal) {
    for (const Setting& setting : settings) {
        if (setting.signal == signal) {
            return true;
        }
    }
    return false;
}

SideEffects side_effects(const Plan& plan, std::span<const Setting> settings, const Bits& before,
                         const Bits& after) {
    SideEffects effects;
    for (const Pin& pin : plan.pins()) {
        const Level was = driven_level(plan, pin, before);
        const Level is = driven_level(plan, pin, after);
        if (was == is || is_named(settings, pin.signal)) {
            continue;
        }
        auto& list = was == Level::Z  ? effects.enabled
                     : is == Level::Z ? effects.disabled
                                      : effects.driven;
        list.push_back(pin.signal);
    }
    return effects;
}

// The number of the cell that gives an input to the system logic under INTEST.
std::optional<size_t> core_input(const Plan& plan, size_t signal) {
    for (const bsdl::Cell& cell : plan.device().cells) {
        const bool gives = cell.function == CellFunction::Input ||
                           cell.function == CellFunction::Clock ||
                           cell.function == CellFunction::Bidir;
        if (cell.signal == signal && gives) {
            return cell.number;
        }
    }
    return std::nullopt;
}

// What an output's own cells captured of the system logic.
Level core_output(const Plan& plan, const Pin& pin, const Bits& captured) {
    return driven_level(plan, pin, captured);
}

} // namespace

std::string_view text_of(Level level) noexcept {
    switch (level) {
    case Level::Low:
        return "0";
    case Level::High:
        return "1";
    case Level::Z:
        return "Z";
    }
    return "";
}

Result<SideEffects> put_levels(const Plan& plan, std::span<const Setting> settings, Bits& image) {
    Wishes wishes(plan);
    for (const Setting& setting : settings) {
        TRY(wish_for_output(plan, setting, wishes));
    }
    const Bits before = image;
    wishes.put_into(image);
    return side_effects(plan, settings, before, image);
}

Status put_core_inputs(const Plan& plan, std::span<const Setting> settings, Bits& image) {
    Wishes wishes(plan);
    for (const Setting& setting : settings) {
        const std::optional<size_t> cell = core_input(plan, setting.signal);
        if (!cell || setting.level == Level::Z) {
            return refused_error(text_of(plan, setting),
                                 cell ? "INTEST gives an input of the system logic 0 or 1"
                                      : "INTEST drives inputs, and no input cell reaches this pin",
                                 "'talvor pins' shows which pins are inputs");
        }
        TRY(wishes.add(setting, *cell, setting.level == Level::High));
    }
    wishes.put_into(image);
    return {};
}

Level driven_level(const Plan& plan, const Pin& pin, const Bits& image) {
    if (!pin.drive || (pin.enable && image[*pin.enable] != pin.enable_level)) {
        return Level::Z;
    }
    return level_of(image[number_of(plan, *pin.drive)]);
}

std::optional<Level> sampled_level(const Plan& plan, const Pin& pin, const Bits& captured) {
    if (pin.observe) {
        return level_of(captured[number_of(plan, *pin.observe)]);
    }
    return pin.drive ? std::optional(core_output(plan, pin, captured)) : std::nullopt;
}

std::optional<Level> extest_level(const Plan& plan, const Pin& pin, const Bits& captured,
                                  const Bits& held) {
    const Level driven = driven_level(plan, pin, held);
    const bool watched_by_itself = pin.observe && pin.observe == pin.drive;
    if (pin.observe && (!watched_by_itself || pin.observes_itself || driven == Level::Z)) {
        return level_of(captured[number_of(plan, *pin.observe)]);
    }
    if (!pin.drive) {
        return std::nullopt;
    }
    return pin.observes_itself ? level_of(captured[number_of(plan, *pin.drive)]) : driven;
}

std::optional<Level> intest_level(const Plan& plan, const Pin& pin, const Bits& captured) {
    return pin.drive ? std::optional(core_output(plan, pin, captured)) : std::nullopt;
}

} // namespace talvor::boundary
