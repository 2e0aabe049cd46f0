// talvor dr: shifts data.
#include "tool/commands/commands.h"
#include "tool/commands/shift.h"

namespace talvor {

void add_dr(Command& program) {
    const auto options = command_options<ShiftOptions>();
    Command command = program.command(
        "dr", "Shift hexadecimal data through the data path, print what comes out",
        [options](Context& context) { return shift(context, ScanPath::Dr, *options); });
    command.option("HEX", options->data, "Data, most significant digit first").required();
    command
        .option("--bits", options->bits,
                "Length; else that of the register, where a BSDL file says it, or four "
                "bits a digit")
        .positive();
    Option device = command.option("--device", options->device,
                                   "Only this device, by its name or its number from 1, nearest "
                                   "TDI first; the others are in BYPASS");
    device.type_name("DEVICE");
    command
        .option("--ir,--instruction", options->instruction,
                "With --device: shift this instruction into it first, by its digits or by the name "
                "that the device's BSDL file gives it")
        .type_name("INSTRUCTION")
        .needs(device);
    add_fast(command, *options);
    command.option("--end", options->end, "State to end in: reset, idle, pausedr, pauseir")
        .type_name("STATE")
        .show_default();
}

} // namespace talvor
