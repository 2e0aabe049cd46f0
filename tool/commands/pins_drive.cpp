// talvor pins set, talvor pins toggle: pins that are driven, and let go on every way out.
#include "common/interrupt.h"
#include "common/text.h"
#include "host/boundary/test_mode.h"
#include "tool/commands/compliance.h"
#include "tool/commands/context.h"
#include "tool/commands/pin_chain.h"
#include "tool/commands/pin_list.h"
#include "tool/commands/pins.h"
#include "tool/commands/values.h"
#include "tool/output/standard_streams.h"
#include "tool/terminal/key.h"

#include <algorithm>
#include <chrono>
#include <optional>
#include <utility>
#include <vector>

namespace talvor {
namespace {

using boundary::Access;
using boundary::Images;
using boundary::Instruction;
using boundary::Level;
using boundary::Member;
using boundary::Setting;
using boundary::TestMode;

Instruction instruction_of(const std::string& word) {
    return word == "clamp"    ? Instruction::Clamp
           : word == "highz"  ? Instruction::HighZ
           : word == "intest" ? Instruction::Intest
                              : Instruction::Extest;
}

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
Status check_effects(const Context& context, const std::vector<Member>& members, size_t device,
                     const boundary::SideEffects& effects, bool accepted) {
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
        context.out.note(fmt::format("this also {} {}", what, pins));
    }
    return {};
}

// The images of safe values with the settings in them.
Result<Images> images_with(const Context& context, const Access& access,
                           const std::vector<PinSetting>& settings, Instruction instruction,
                           bool accepted) {
    Images images = access.safe();
    for (size_t i = 0; i < images.size(); ++i) {
        const std::vector<Setting> own = settings_of(settings, i);
        if (own.empty()) {
            continue;
        }
        const boundary::Plan& plan = *access.members()[i].plan;
        if (instruction == Instruction::Intest) {
            TRY(boundary::put_core_inputs(plan, own, images[i]));
            continue;
        }
        const auto effects = TRY(boundary::put_levels(plan, own, images[i]));
        TRY(check_effects(context, access.members(), i, effects, accepted));
    }
    return images;
}

// The devices that settings name, or all with a description where they name none; the others stay
// in BYPASS, and their targets run on.
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

// Outputs that drive beside those that were set, since nothing disables them in the safe image.
void tell_what_drives(const Context& context, const Access& access,
                      const std::vector<Instruction>& instructions,
                      const std::vector<PinSetting>& settings) {
    for (size_t i = 0; i < instructions.size(); ++i) {
        if (instructions[i] != Instruction::Extest && instructions[i] != Instruction::Clamp) {
            continue;
        }
        std::vector<size_t> signals = access.members()[i].plan->always_driving();
        for (const Setting& setting : settings_of(settings, i)) {
            std::erase(signals, setting.signal);
        }
        if (!signals.empty()) {
            context.out.note(fmt::format("{} of {} drive their safe values all the while: {}",
                                         count_text(signals.size(), "output"),
                                         access.members()[i].name,
                                         pin_texts(access.members(), i, signals)));
        }
    }
}

// A pin that was set, and what it reads.
struct Outcome {
    PinAddress address;
    std::optional<Level> set;
    std::optional<Level> read;
};

// What the system logic gives to the outputs of the devices in INTEST.
std::vector<Outcome> core_outputs(const Access& access, const Images& captured) {
    std::vector<Outcome> outcomes;
    for (size_t i = 0; i < access.size(); ++i) {
        if (access.loaded()[i] != Instruction::Intest) {
            continue;
        }
        const boundary::Plan& plan = *access.members()[i].plan;
        for (const boundary::Pin& pin : plan.pins()) {
            if (pin.drive) {
                outcomes.push_back({{i, pin.signal},
                                    std::nullopt,
                                    boundary::intest_level(plan, pin, captured[i])});
            }
        }
    }
    return outcomes;
}

// Captures under the images in force: what the pins that were set read, or, with INTEST, what the
// system logic answers. CLAMP has the register aside, so nothing is read.
Result<std::vector<Outcome>> read_back(Access& access, const std::vector<PinSetting>& settings,
                                       const Images& images, Instruction instruction) {
    Images captured;
    const bool readable = boundary::selects_boundary(instruction);
    if (readable) {
        TRY(access.exchange(images, &captured));
    }
    if (instruction == Instruction::Intest) {
        return core_outputs(access, captured);
    }
    std::vector<Outcome> outcomes;
    for (const PinSetting& setting : settings) {
        const auto [device, signal] = setting.address;
        const boundary::Plan& plan = *access.members()[device].plan;
        outcomes.push_back({setting.address, setting.level,
                            readable ? boundary::extest_level(plan, *plan.find(signal),
                                                              captured[device], images[device])
                                     : std::nullopt});
    }
    return outcomes;
}

Json outcome_json(const std::vector<Member>& members, const Outcome& outcome) {
    const auto level = [](std::optional<Level> one) {
        return one ? Json(boundary::text_of(*one)) : Json(nullptr);
    };
    return Json{{"name", pin_text(members, outcome.address)},
                {"set", level(outcome.set)},
                {"reads", level(outcome.read)}};
}

void print_outcomes(const Context& context, const Access& access,
                    const std::vector<Outcome>& outcomes, const std::string& instruction) {
    const std::vector<Member>& members = access.members();
    TextTable table({"pin", "set", "reads"});
    Json pins = Json::array();
    for (const Outcome& outcome : outcomes) {
        table.add({pin_text(members, outcome.address), std::string(level_text(outcome.set)),
                   std::string(level_text(outcome.read))});
        pins.push_back(outcome_json(members, outcome));
    }
    if (!outcomes.empty()) {
        context.out.table(table);
    }
    for (const Outcome& outcome : outcomes) {
        if (outcome.set && outcome.read && *outcome.set != Level::Z &&
            outcome.read != outcome.set) {
            context.out.note(fmt::format("{} is set to {} and reads {}: something else drives it",
                                         pin_text(members, outcome.address),
                                         level_text(outcome.set), level_text(outcome.read)));
        }
    }
    context.out.result(Json{{"instruction", instruction}, {"pins", std::move(pins)}});
}

// An interrupt ends the holding, which is what it is for; the end of the time is an error.
Status hold(const Context& context, double seconds) {
    if (!flush_output()) {
        return {}; // the end of the program tells it
    }
    if (seconds > 0) {
        sleep_unless_interrupted(duration_of(seconds));
    } else {
        context.out.note("held until a key is pressed");
        (void)await_key();
    }
    return time_is_over() ? check_interrupt() : Status();
}

// Checks what can be checked before a pod is connected.
Status check_set_options(const PinsOptions& options) {
    if (options.pins.empty() && options.instruction != "highz") {
        return usage_error("pins set", "no pin is named", "name some, as in 'pins set u1.PA(3)=1'");
    }
    if (!options.pins.empty() && options.instruction == "highz") {
        return usage_error("--instruction highz", "disables every output, and takes no settings",
                           "leave the settings away");
    }
    if (options.hold_seconds <= 0 && !has_keys()) {
        return usage_error("pins set", "nobody is at a terminal to press a key",
                           "say how long with --hold SECONDS");
    }
    return {};
}

Result<std::vector<PinSetting>> parse_settings(const std::vector<Member>& members,
                                               const std::vector<std::string>& words) {
    std::vector<PinSetting> settings;
    for (const std::string& word : words) {
        settings.push_back(TRY(parse_setting(members, word)));
    }
    return settings;
}

// EXTEST begins with safe values, and is then given the others; the rest takes what was preloaded.
Status drive(TestMode& test, Access& access, const std::vector<Instruction>& instructions,
             const Images& images) {
    const bool by_scan = std::ranges::any_of(instructions, boundary::selects_boundary);
    TRY(test.enter(instructions, by_scan ? access.safe() : images));
    TRY(by_scan ? access.exchange(images, nullptr) : Status());
    return access.flush();
}

// The images with the pins of the settings at another level; what shares their cells was told of.
Result<Images> images_at(const Access& access, std::vector<PinSetting> settings, Level level,
                         Images images) {
    for (PinSetting& setting : settings) {
        setting.level = level;
    }
    for (size_t i = 0; i < images.size(); ++i) {
        if (const std::vector<Setting> own = settings_of(settings, i); !own.empty()) {
            TRY(boundary::put_levels(*access.members()[i].plan, own, images[i]));
        }
    }
    return images;
}

// Whole periods until there are so many, or a signal asks for the end.
Result<uint32_t> toggle(Access& access, const Images& high, const Images& low,
                        const PinsOptions& options) {
    const auto half = duration_of(options.period_seconds / 2);
    auto due = std::chrono::steady_clock::now();
    uint32_t periods = 0;
    for (; options.count == 0 || periods < options.count; ++periods) {
        for (const Images* images : {&high, &low}) {
            Status done = access.exchange(*images, nullptr);
            if (done) {
                done = access.flush();
            }
            if (done) {
                due = std::max(due + half, std::chrono::steady_clock::now());
                sleep_unless_interrupted(due - std::chrono::steady_clock::now());
            }
            if (interrupt_signal() != 0 && !time_is_over()) {
                return periods;
            }
            TRY(std::move(done));
        }
    }
    return periods;
}

} // namespace

Status set_pins(Context& context, const PinsOptions& options) {
    TRY(check_set_options(options));
    const Instruction instruction = instruction_of(options.instruction);
    PinChain chain = TRY(find_pin_chain(context, options.device));
    const auto settings = TRY(parse_settings(chain.members, options.pins));
    TRY(require_compliance(context, chain.members, options.compliance_met));
    Access access(chain.session->port(), std::move(chain.members));
    const Images images =
        TRY(images_with(context, access, settings, instruction, options.enable_others));
    const auto instructions = instructions_for(access, settings, instruction);
    tell_what_drives(context, access, instructions, settings);
    TestMode test(access);
    TRY(drive(test, access, instructions, images));
    print_outcomes(context, access, TRY(read_back(access, settings, images, instruction)),
                   options.instruction);
    TRY(hold(context, options.hold_seconds));
    return test.leave();
}

Status toggle_pins(Context& context, const PinsOptions& options) {
    PinChain chain = TRY(find_pin_chain(context, options.device));
    std::vector<PinSetting> settings;
    for (const std::string& name : options.pins) {
        settings.push_back({TRY(find_pin(chain.members, name)), Level::High});
    }
    TRY(require_compliance(context, chain.members, options.compliance_met));
    Access access(chain.session->port(), std::move(chain.members));
    const Images high =
        TRY(images_with(context, access, settings, Instruction::Extest, options.enable_others));
    const Images low = TRY(images_at(access, settings, Level::Low, high));
    const auto instructions = instructions_for(access, settings, Instruction::Extest);
    tell_what_drives(context, access, instructions, settings);
    TestMode test(access);
    TRY(test.enter(instructions, access.safe()));
    const uint32_t periods = TRY(toggle(access, high, low, options));
    TRY(test.leave());
    context.out.line("{} of {}", count_text(periods, "period"), count_text(settings.size(), "pin"));
    context.out.result(Json{{"periods", periods}, {"pins", settings.size()}});
    return {};
}

} // namespace talvor
