// talvor ir: shifts an instruction.
#include "commands/command_set.h"
#include "commands/shift.h"

namespace talvor {

void add_ir(CommandSet& commands) {
    const auto options = command_options<ShiftOptions>();
    CLI::App& command = commands.add(
        "ir", "Shift hexadecimal data through the instruction path, print what comes out",
        [options](Context& context) { return shift(context, ScanPath::Ir, *options); });
    command.add_option("HEX", options->data, "Data, most significant digit first")->required();
    command
        .add_option("--bits", options->bits, "Length; else four bits a digit, or the device's own")
        ->check(CLI::PositiveNumber);
    command
        .add_option("--device", options->device,
                    "Only this device, from 1, nearest TDI first; the others get BYPASS")
        ->check(CLI::PositiveNumber);
    command.add_option("--end", options->end, "State to end in: reset, idle, pausedr, pauseir")
        ->capture_default_str();
}

} // namespace talvor
