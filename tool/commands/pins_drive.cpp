// talvor pins set, talvor pins toggle: pins that are driven, and let go on every way out.
#include "common/interrupt.h"
#include "common/text.h"
#include "host/boundary/pin_drive.h"
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
using boundary::DriveWays;
using boundary::Images;
using boundary::Instruction;
using boundary::Level;
using boundary::Member;
using boundary::PinOutcome;
using boundary::TestMode;

void tell(const Context& context, const std::vector<std::string>& notes) {
    for (const std::string& note : notes) {
        context.out.note(note);
    }
}

// The images with the settings in them; what else happens by them is told.
Result<Images> told_images(const Context& context, const Access& access,
                           const std::vector<PinSetting>& settings, const DriveWays& ways) {
    std::vector<std::string> notes;
    Result<Images> images = images_with(access, settings, ways, access.safe(), notes);
    tell(context, notes);
    return images;
}

Json outcome_json(const std::vector<Member>& members, const PinOutcome& outcome) {
    const auto level = [](std::optional<Level> one) {
        return one ? Json(boundary::text_of(*one)) : Json(nullptr);
    };
    return Json{{"name", pin_text(members, outcome.address)},
                {"set", level(outcome.set)},
                {"reads", level(outcome.read)}};
}

void print_outcomes(const Context& context, const Access& access,
                    const std::vector<PinOutcome>& outcomes, const std::string& instruction) {
    const std::vector<Member>& members = access.members();
    TextTable table({"pin", "set", "reads"});
    Json pins = Json::array();
    for (const PinOutcome& outcome : outcomes) {
        table.add({pin_text(members, outcome.address), std::string(level_text(outcome.set)),
                   std::string(level_text(outcome.read))});
        pins.push_back(outcome_json(members, outcome));
    }
    if (!outcomes.empty()) {
        context.out.table(table);
    }
    for (const PinOutcome& outcome : outcomes) {
        if (const std::string text = contention_text(members, outcome); !text.empty()) {
            context.out.note(text);
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
    // The command line takes no other words.
    const Instruction instruction = boundary::driving_instruction(options.instruction).value();
    PinChain chain = TRY(find_pin_chain(context, options.device, PinUse::Drive));
    const auto settings = TRY(parse_settings(chain.members, options.pins));
    TRY(require_compliance(context, chain.members, options.compliance_met));
    Access access(chain.session->port(), std::move(chain.members));
    const Images images =
        TRY(told_images(context, access, settings, {instruction, options.enable_others}));
    const auto instructions = instructions_for(access, settings, instruction);
    tell(context, notes_of_driving(access, instructions, settings));
    TestMode test(access);
    TRY(drive(test, access, instructions, images));
    print_outcomes(context, access, TRY(read_back(access, settings, images, instruction)),
                   options.instruction);
    TRY(hold(context, options.hold_seconds));
    return test.leave();
}

Status toggle_pins(Context& context, const PinsOptions& options) {
    PinChain chain = TRY(find_pin_chain(context, options.device, PinUse::Drive));
    std::vector<PinSetting> settings;
    for (const std::string& name : options.pins) {
        settings.push_back({TRY(find_pin(chain.members, name)), Level::High});
    }
    TRY(require_compliance(context, chain.members, options.compliance_met));
    Access access(chain.session->port(), std::move(chain.members));
    const Images high =
        TRY(told_images(context, access, settings, {Instruction::Extest, options.enable_others}));
    const Images low = TRY(images_at(access, settings, Level::Low, high));
    const auto instructions = instructions_for(access, settings, Instruction::Extest);
    tell(context, notes_of_driving(access, instructions, settings));
    TestMode test(access);
    TRY(test.enter(instructions, access.safe()));
    const uint32_t periods = TRY(toggle(access, high, low, options));
    TRY(test.leave());
    context.out.line("{} of {}", count_text(periods, "period"), count_text(settings.size(), "pin"));
    context.out.result(Json{{"periods", periods}, {"pins", settings.size()}});
    return {};
}

} // namespace talvor
