#include "commands/shift.h"

#include "commands/values.h"

namespace talvor {
namespace {

Error usage(std::string thing, std::string reason, std::string next_step = {}) {
    return Error{ErrorKind::Usage, 0, std::move(thing), std::move(reason), std::move(next_step)};
}

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
        return usage(
            "--device",
            "finding the other devices would reset the TAPs, and with them the instruction",
            "name the instruction with --ir, or list the devices in the board file or with "
            "--ir-lengths");
    }
    Result<Chain> chain = session.discover();
    if (chain && !chain->lengths_known) {
        return usage("--device", "the instruction lengths of the chain are ambiguous",
                     "give them with --ir-lengths; 'talvor chain' says more");
    }
    return chain;
}

// One scan through a device while the others are in BYPASS.
Result<Bits> scan_device(JtagPort& port, const Chain& chain, uint32_t device, ScanPath path,
                         const Bits& data, StableState end) {
    const ScanSurroundings around = surroundings(chain, device - 1, path);
    const Bits before = Bits::ones(around.before);
    const Bits after = Bits::ones(around.after);
    const Bits out = Bits::concat({&before, &data, &after});
    Bits in;
    if (Status status = port.scan({path, &out, &in, end}); !status) {
        return std::move(status).error();
    }
    return in.slice(around.before, data.size());
}

Result<Bits> shift_device(Context& context, Session& session, ScanPath path,
                          const ShiftOptions& options, StableState end) {
    const Result<Chain> chain = chain_for(context, session, path, options);
    if (!chain) {
        return chain.error();
    }
    if (options.device > chain->devices.size()) {
        return usage(fmt::format("device {}", options.device),
                     fmt::format("the chain has {} devices", chain->devices.size()));
    }
    const uint32_t length = chain->devices[options.device - 1].instruction_bits;
    if (!options.instruction.empty()) {
        const Result<Bits> instruction = parse_bits(options.instruction, length, "instruction");
        if (!instruction) {
            return instruction.error();
        }
        const Result<Bits> captured = scan_device(session.port(), *chain, options.device,
                                                  ScanPath::Ir, *instruction, StableState::Idle);
        if (!captured) {
            return captured;
        }
    }
    const uint64_t bits = options.bits != 0 ? options.bits : path == ScanPath::Ir ? length : 0;
    const Result<Bits> data = parse_bits(options.data, bits, "data");
    if (!data) {
        return data;
    }
    return scan_device(session.port(), *chain, options.device, path, *data, end);
}

} // namespace

Status shift(Context& context, ScanPath path, const ShiftOptions& options) {
    const Result<StableState> end = parse_state(options.end);
    if (!end) {
        return end.error();
    }
    if (!options.instruction.empty() && options.device == 0) {
        return usage("--ir", "needs --device: the instruction is that device's");
    }
    // A mistake in the data is to be told before a pod is touched.
    const Result<Bits> data = parse_bits(options.data, options.bits, "data");
    if (!data) {
        return data.error();
    }
    const Result<Session*> session = context.session();
    if (!session) {
        return session.error();
    }
    Bits in;
    if (options.device != 0) {
        Result<Bits> received = shift_device(context, **session, path, options, *end);
        if (!received) {
            return std::move(received).error();
        }
        in = std::move(*received);
    } else if (Status status = (*session)->port().scan({path, &*data, &in, *end}); !status) {
        return status;
    }
    if (Status status = (*session)->port().flush(); !status) {
        return status;
    }
    context.out.line("{}", hex_text(in));
    context.out.result(Json{{"path", path == ScanPath::Ir ? "ir" : "dr"},
                            {"bits", in.size()},
                            {"out", hex_text(in)},
                            {"state", state_word(*end)}});
    return {};
}

} // namespace talvor
