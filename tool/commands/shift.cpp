#include "tool/commands/shift.h"

#include "host/chain/device_port.h"
#include "tool/command_line/command_line.h"
#include "tool/commands/context.h"
#include "tool/commands/device_choice.h"
#include "tool/commands/instruction_name.h"
#include "tool/commands/unanswered.h"
#include "tool/commands/values.h"

namespace talvor {
namespace {

// Whether an instruction goes into the device.
bool has_instruction(ScanPath path, const ShiftOptions& options) {
    return path == ScanPath::Ir || !options.instruction.empty();
}

// Whether the chain has the device, and a file that says what its instructions are called.
bool knows_instructions(const Chain& chain, const std::string& choice) {
    const Result<size_t> device = find_device(chain, choice);
    return device && chain.devices[*device].description != nullptr;
}

// Finds out what stands around the device; the TAP is only reset when nothing else tells. With
// `named` what the device's instructions are called is to be found out, too.
Result<Chain> chain_for(Session& session, ScanPath path, const ShiftOptions& options, bool named) {
    if (auto described = TRY(session.described_chain())) {
        if (!named || !find_device(*described, options.device) ||
            knows_instructions(*described, options.device)) {
            return std::move(*described);
        }
    }
    if (!has_instruction(path, options)) {
        return usage_error(
            "--device",
            "finding the other devices would reset the TAPs, and with them the instruction",
            "name the instruction with --ir, or list the devices in the board file or with "
            "--ir-lengths");
    }
    return discover_with_lengths(session);
}

// The digits; nothing where an instruction's name may stand instead.
Result<Bits> parse_data(ScanPath path, const ShiftOptions& options) {
    const bool named = path == ScanPath::Ir && may_be_name(options.data);
    if (named && !options.device.empty() && options.bits == 0) {
        return Bits();
    }
    Result<Bits> data = parse_bits(options.data, options.bits, "data");
    if (!data && named) {
        data.error().next_step = "name the device with --device, if it is an instruction's name";
    }
    return data;
}

void choose_mode(PodPort& port, const ShiftOptions& options) {
    port.set_receive_mode(options.fast ? PodPort::ReceiveMode::Adjusted
                                       : PodPort::ReceiveMode::Exact);
}

// Of the scan of the data alone: what goes wrong before it is another matter.
Result<Bits> answered(Result<Bits> in, const ShiftOptions& options) {
    return in || options.fast ? std::move(in)
                              : Result<Bits>(Failure(unanswered(std::move(in).error())));
}

// One scan through a device while the others are in BYPASS.
Result<Bits> shift_through(JtagPort& port, const Chain& chain, size_t device, ScanPath path,
                           const Bits& data, StableState end) {
    Bits in;
    TRY(scan_device(port, place_of(chain, device, IdCodes::Unknown), {path, &data, &in, end}));
    return in;
}

// How long the data is: as long as --bits says, as the instruction register, as the register that
// the file of the device says of the instruction; 0: as its digits.
uint64_t data_bits(const ChainDevice& device, ScanPath path, const ShiftOptions& options) {
    if (options.bits != 0) {
        return options.bits;
    }
    return path == ScanPath::Ir ? device.instruction_bits
                                : register_bits(device, options.instruction).value_or(0);
}

Result<Bits> shift_device(Context& context, Session& session, ScanPath path,
                          const ShiftOptions& options, StableState end) {
    const std::string& word = path == ScanPath::Ir ? options.data : options.instruction;
    const Chain chain = TRY(chain_for(session, path, options, may_be_name(word)));
    const size_t device = TRY(find_device(chain, options.device));
    choose_mode(session.port(), options);
    Bits data;
    if (path == ScanPath::Ir && options.bits == 0) {
        data = TRY(parse_instruction(context, chain, device, word));
    } else {
        data =
            TRY(parse_bits(options.data, data_bits(chain.devices[device], path, options), "data"));
    }
    if (path == ScanPath::Dr && !word.empty()) {
        const Bits instruction = TRY(parse_instruction(context, chain, device, word));
        TRY(shift_through(session.port(), chain, device, ScanPath::Ir, instruction,
                          StableState::Idle));
    }
    return answered(shift_through(session.port(), chain, device, path, data, end), options);
}

Result<Bits> shift_whole(PodPort& port, ScanPath path, const Bits& data, StableState end) {
    Bits in;
    TRY(port.scan({path, &data, &in, end}));
    return in;
}

} // namespace

void add_fast(Command& command, ShiftOptions& options) {
    command.flag("--fast", options.fast,
                 "Leave the pod's return path to the driver: one shift without a marker, wrong for "
                 "scans that are longer or shorter than their path");
}

Status shift(Context& context, ScanPath path, const ShiftOptions& options) {
    const StableState end = TRY(parse_state(options.end));
    // A mistake in the data is to be told before a pod is touched.
    const Bits data = TRY(parse_data(path, options));
    Session& session = *TRY(context.session());
    Bits in;
    if (!options.device.empty()) {
        in = TRY(shift_device(context, session, path, options, end));
    } else {
        choose_mode(session.port(), options);
        in = TRY(answered(shift_whole(session.port(), path, data, end), options));
    }
    // A scan that rests in its Pause state is only over then.
    in = TRY(answered(session.port().flush().map([&in](const auto&) { return std::move(in); }),
                      options));
    context.out.line("{}", hex_text(in));
    context.out.result(Json{{"path", path == ScanPath::Ir ? "ir" : "dr"},
                            {"bits", in.size()},
                            {"out", hex_text(in)},
                            {"state", state_word(end)}});
    return {};
}

} // namespace talvor
