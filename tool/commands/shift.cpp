#include "tool/commands/shift.h"

#include "common/text.h"
#include "tool/command_line/command_line.h"
#include "tool/commands/context.h"
#include "tool/commands/unanswered.h"
#include "tool/commands/values.h"

namespace talvor {
namespace {

// The chain as the board file describes it; nothing unless it gives every length.
std::optional<Chain> described_chain(const CommonOptions& options, const Board& board) {
    Chain chain;
    if (!options.instruction_lengths.empty()) {
        for (const uint32_t length : options.instruction_lengths) {
            chain.devices.push_back({"", std::nullopt, length});
        }
    } else {
        for (const BoardDevice& device : board.devices) {
            chain.devices.push_back({device.name, std::nullopt, device.instruction_bits});
        }
    }
    for (const ChainDevice& device : chain.devices) {
        if (device.instruction_bits == 0) {
            return std::nullopt;
        }
    }
    if (chain.devices.empty()) {
        return std::nullopt;
    }
    chain.lengths_known = true;
    return chain;
}

// Finds out what stands around the device; the TAP is only reset when nothing else tells.
Result<Chain> chain_for(Context& context, Session& session, ScanPath path,
                        const ShiftOptions& options) {
    if (auto described = described_chain(context.options, session.board())) {
        return std::move(*described);
    }
    if (path == ScanPath::Dr && options.instruction.empty()) {
        return usage_error(
            "--device",
            "finding the other devices would reset the TAPs, and with them the instruction",
            "name the instruction with --ir, or list the devices in the board file or with "
            "--ir-lengths");
    }
    Chain chain = TRY(session.discover());
    if (!chain.lengths_known) {
        return usage_error("--device", "the instruction lengths of the chain are ambiguous",
                           "give them with --ir-lengths; 'talvor chain' says more");
    }
    return chain;
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
Result<Bits> scan_device(JtagPort& port, const Chain& chain, uint32_t device, ScanPath path,
                         const Bits& data, StableState end) {
    const ScanSurroundings around = surroundings(chain, device - 1, path);
    const Bits before = Bits::ones(around.before);
    const Bits after = Bits::ones(around.after);
    const Bits out = Bits::concat({&before, &data, &after});
    Bits in;
    TRY(port.scan({path, &out, &in, end}));
    return in.slice(around.before, data.size());
}

Result<Bits> shift_device(Context& context, Session& session, ScanPath path,
                          const ShiftOptions& options, StableState end) {
    const Chain chain = TRY(chain_for(context, session, path, options));
    if (options.device > chain.devices.size()) {
        return usage_error(
            fmt::format("device {}", options.device),
            fmt::format("the chain has {}", count_text(chain.devices.size(), "device")));
    }
    const uint32_t length = chain.devices[options.device - 1].instruction_bits;
    choose_mode(session.port(), options);
    if (!options.instruction.empty()) {
        const Bits instruction = TRY(parse_bits(options.instruction, length, "instruction"));
        TRY(scan_device(session.port(), chain, options.device, ScanPath::Ir, instruction,
                        StableState::Idle));
    }
    const uint64_t bits = options.bits != 0 ? options.bits : path == ScanPath::Ir ? length : 0;
    const Bits data = TRY(parse_bits(options.data, bits, "data"));
    return answered(scan_device(session.port(), chain, options.device, path, data, end), options);
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
    const Bits data = TRY(parse_bits(options.data, options.bits, "data"));
    Session& session = *TRY(context.session());
    Bits in;
    if (options.device != 0) {
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
