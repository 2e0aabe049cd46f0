// talvor pins: the pins of devices through their boundary registers.
#include "tool/commands/pins.h"

#include "tool/commands/commands.h"
#include "tool/commands/context.h"

#include <memory>

namespace talvor {
namespace {

// Options of the list may stand behind a command of it, where they would mean nothing.
Status refuse_list_options(const PinsOptions& options, const char* command, bool takes_count) {
    struct Given {
        const char* name;
        bool is_given;
    };
    for (const auto& [name, is_given] :
         {Given{"--filter", !options.filter.empty()}, Given{"--watch", options.watch_seconds > 0},
          Given{"--count", options.count != 0 && !takes_count},
          Given{"--svg", !options.svg.empty()}, Given{"--vcd", !options.vcd.empty()}}) {
        if (is_given) {
            return usage_error(name, std::string("'pins ") + command + "' makes no use of it",
                               "leave it away");
        }
    }
    return {};
}

void add_list_options(Command& command, PinsOptions& options) {
    command
        .option("--filter", options.filter,
                "Pins with this in their name or package pin; * and ? stand for any characters")
        .type_name("PATTERN");
    command
        .option("--watch", options.watch_seconds,
                "Sample again every so many seconds, and mark what has changed")
        .type_name("SECONDS")
        .positive();
    command.option("--count", options.count,
                   "So many samples with --watch or --vcd, so many periods with toggle; else until "
                   "interrupted");
    command.option("--svg", options.svg, "Draw the package with its levels into this file")
        .type_name("FILE");
    command
        .option("--vcd", options.vcd,
                "Record samples in this file, 20 a second unless --watch says otherwise")
        .type_name("FILE");
}

void add_get(Command& pins, const std::shared_ptr<PinsOptions>& options) {
    Command command = pins.command("get", "Sample some pins while the target runs on",
                                   [options](Context& context) -> Status {
                                       TRY(refuse_list_options(*options, "get", false));
                                       return get_pins(context, *options);
                                   });
    command.option("NAME", options->pins, "Pins, as in u1.PA(3) or u1.12").required();
}

void add_set(Command& pins, const std::shared_ptr<PinsOptions>& options) {
    Command command = pins.command(
        "set", "Drive pins, and let go again: by safe values, BYPASS and Test-Logic-Reset",
        [options](Context& context) -> Status {
            TRY(refuse_list_options(*options, "set", false));
            return set_pins(context, *options);
        });
    command.option("SETTING", options->pins, "NAME=0, NAME=1 or NAME=Z, as in u1.PA(3)=1");
    command
        .option("--hold", options->hold_seconds,
                "Hold so many seconds; else until a key is pressed")
        .type_name("SECONDS")
        .positive();
    command
        .option("--instruction", options->instruction,
                "extest drives the pins; clamp too, with BYPASS in the chain; highz disables all "
                "outputs; intest drives the inputs of the system logic, and shows its outputs")
        .type_name("INSTRUCTION")
        .one_of({"extest", "clamp", "highz", "intest"})
        .show_default();
    command.flag("--enable-others", options->enable_others,
                 "Also where that enables or disables outputs that were not named");
}

void add_toggle(Command& pins, const std::shared_ptr<PinsOptions>& options) {
    Command command = pins.command("toggle", "Drive pins 1 and 0 in turn until interrupted",
                                   [options](Context& context) -> Status {
                                       TRY(refuse_list_options(*options, "toggle", true));
                                       return toggle_pins(context, *options);
                                   });
    command.option("NAME", options->pins, "Pins, as in u1.PA(3)").required();
    command.option("--period", options->period_seconds, "Of one 1 and one 0 together")
        .type_name("SECONDS")
        .positive()
        .show_default();
    command.flag("--enable-others", options->enable_others,
                 "Also where that enables outputs that were not named");
}

} // namespace

void add_pins(Command& program) {
    const auto options = command_options<PinsOptions>();
    Command command = program.command(
        "pins", "Show the pins of devices that have BSDL files (the target runs on), or drive them",
        [options](Context& context) { return list_pins(context, *options); });
    command
        .option("--device", options->device,
                "This device alone, by its name or its number from 1, nearest TDI first")
        .type_name("DEVICE");
    command.flag("--compliance-met", options->compliance_met,
                 "The pins of COMPLIANCE_PATTERNS stand as the devices want them");
    add_list_options(command, *options);
    add_get(command, options);
    add_set(command, options);
    add_toggle(command, options);
}

} // namespace talvor
