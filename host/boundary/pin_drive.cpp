#include "host/boundary/pin_drive.h"

#include "common/text.h"
#include "host/boundary/plan.h"

#include <fmt/format.h>

#include <algorithm>
#include <utility>

namespace talvor::boundary {
namespace {

std::vector<Setting> settings_of(const std::vector<PinSetting>& settings, size_t device) {
    std::vector<Setting> list;
    for (const PinSetting& setting : settings) {
        if (setting.address.device == device) {
            list.push_back({setting.address.signal, setting.level});
        }
    }
    return list;
}

// What happens to pins that nobody named is told, or refused.
Status check_effects(const std::vector<Member>& members, size_t device, const SideEffects& effects,
                     bool accepted, std::vector<std::string>& notes) {
    struct Effect {
        const char* what;
        const std::vector<size_t>& signals;
    };
    for (const auto& [what, signals] :
         {Effect{"enables", effects.enabled}, Effect{"disables", effects.disabled},
          Effect{"drives", effects.driven}}) {
        if (signals.empty()) {
            continue;
        }
        const std::string pins = pin_texts(members, device, signals);
        if (!accepted) {
            return refused_error(members[device].name,
                                 fmt::format("a shared cell also {} {}", what, pins),
                                 "set them as well, or accept it with --enable-others");
        }
        notes.push_back(fmt::format("this also {} {}", what, pins));
    }
    return {};
}

// What the system logic gives to the outputs of the devices in INTEST.
std::vector<PinOutcome> core_outputs(const Access& access, const Images& captured) {
    std::vector<PinOutcome> outcomes;
    for (size_t i = 0; i < access.size(); ++i) {
        if (access.loaded()[i] != Instruction::Intest) {
            continue;
        }
        const Plan& plan = *access.members()[i].plan;
        for (const Pin& pin : plan.pins()) {
            if (pin.drive) {
                outcomes.push_back(
                    {{i, pin.signal}, std::nullopt, intest_level(plan, pin, captured[i])});
            }
        }
    }
    return outcomes;
}

} // namespace

std::optional<Instruction> driving_instruction(std::string_view word) noexcept {
    for (const Instruction one :
         {Instruction::Extest, Instruction::Clamp, Instruction::HighZ, Instruction::Intest}) {
        if (same_name(name_of(one), word)) {
            return one;
        }
    }
    return std::nullopt;
}

Result<Images> images_with(const Access& access, const std::vector<PinSetting>& settings,
                           const DriveWays& ways, Images images, std::vector<std::string>& notes) {
    for (size_t i = 0; i < images.size(); ++i) {
        const std::vector<Setting> own = settings_of(settings, i);
        if (own.empty()) {
            continue;
        }
        const Plan& plan = *access.members()[i].plan;
        if (ways.instruction == Instruction::Intest) {
            TRY(put_core_inputs(plan, own, images[i]));
            continue;
        }
        const auto effects = TRY(put_levels(plan, own, images[i]));
        TRY(check_effects(access.members(), i, effects, ways.accepted, notes));
    }
    return images;
}

Result<Images> images_at(const Access& access, std::vector<PinSetting> settings, Level level,
                         Images images) {
    for (PinSetting& setting : settings) {
        setting.level = level;
    }
    for (size_t i = 0; i < images.size(); ++i) {
        if (const std::vector<Setting> own = settings_of(settings, i); !own.empty()) {
            TRY(put_levels(*access.members()[i].plan, own, images[i]));
        }
    }
    return images;
}

std::vector<Instruction> instructions_for(const Access& access,
                                          const std::vector<PinSetting>& settings,
                                          Instruction instruction) {
    std::vector<Instruction> list = access.for_all(instruction);
    for (size_t i = 0; i < list.size() && !settings.empty(); ++i) {
        if (settings_of(settings, i).empty()) {
            list[i] = Instruction::Bypass;
        }
    }
    return list;
}

std::vector<std::string> notes_of_driving(const Access& access,
                                          const std::vector<Instruction>& instructions,
                                          const std::vector<PinSetting>& settings) {
    std::vector<std::string> notes;
    for (size_t i = 0; i < instructions.size(); ++i) {
        if (instructions[i] != Instruction::Extest && instructions[i] != Instruction::Clamp) {
            continue;
        }
        std::vector<size_t> signals = access.members()[i].plan->always_driving();
        for (const Setting& setting : settings_of(settings, i)) {
            std::erase(signals, setting.signal);
        }
        if (!signals.empty()) {
            notes.push_back(fmt::format("{} of {} drive their safe values all the while: {}",
                                        count_text(signals.size(), "output"),
                                        access.members()[i].name,
                                        pin_texts(access.members(), i, signals)));
        }
    }
    return notes;
}

Status drive(TestMode& test, Access& access, const std::vector<Instruction>& instructions,
             const Images& images) {
    const bool by_scan = std::ranges::any_of(instructions, selects_boundary);
    TRY(test.enter(instructions, by_scan ? access.safe() : images));
    TRY(by_scan ? access.exchange(images, nullptr) : Status());
    return access.flush();
}

Result<std::vector<PinOutcome>> read_back(Access& access, const std::vector<PinSetting>& settings,
                                          const Images& images, Instruction instruction) {
    Images captured;
    const bool readable = selects_boundary(instruction);
    if (readable) {
        TRY(access.exchange(images, &captured));
    }
    if (instruction == Instruction::Intest) {
        return core_outputs(access, captured);
    }
    std::vector<PinOutcome> outcomes;
    for (const PinSetting& setting : settings) {
        const auto [device, signal] = setting.address;
        const Plan& plan = *access.members()[device].plan;
        outcomes.push_back(
            {setting.address, setting.level,
             readable ? extest_level(plan, *plan.find(signal), captured[device], images[device])
                      : std::nullopt});
    }
    return outcomes;
}

std::string contention_text(const std::vector<Member>& members, const PinOutcome& outcome) {
    if (!outcome.set || !outcome.read || *outcome.set == Level::Z || outcome.read == outcome.set) {
        return "";
    }
    return fmt::format("{} is set to {} and reads {}: {}", pin_text(members, outcome.address),
                       text_of(*outcome.set), text_of(*outcome.read),
                       outcome.read == Level::Z ? "it drives the other level only"
                                                : "something else drives it");
}

} // namespace talvor::boundary
