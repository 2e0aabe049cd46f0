// talvor ir: shifts an instruction.
#include "tool/commands/commands.h"
#include "tool/commands/shift.h"

namespace talvor {

void add_ir(Command& program) {
    const auto options = command_options<ShiftOptions>();
    Command command = program.command(
        "ir", "Shift hexadecimal data through the instruction path, print what comes out",
        [options](Context& context) { return shift(context, ScanPath::Ir, *options); });
    command
        .option("HEX", options->data,
                "Data, most significant digit first; with --device also an instruction's name in "
                "the device's BSDL file")
        .required();
    command.option("--bits", options->bits, "Length; else four bits a digit, or the device's own")
        .positive();
    command
        .option("--device", options->device,
                "Only this device, by its name or its number from 1, nearest TDI first; the others "
                "get BYPASS")
        .type_name("DEVICE");
    add_fast(command, *options);
    command.option("--end", options->end, "State to end in: reset, idle, pausedr, pauseir")
        .type_name("STATE")
        .show_default();
}

} // namespace talvor
