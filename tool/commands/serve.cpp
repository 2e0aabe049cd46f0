// talvor serve: other programs use the pod by protocols that they know.
#include "common/interrupt.h"
#include "common/ready_file.h"
#include "host/bridge/edge_engine.h"
#include "host/bridge/pod_edge_line.h"
#include "host/serve/engine_port.h"
#include "host/serve/jtag_vpi.h"
#include "host/serve/remote_bitbang.h"
#include "host/serve/server.h"
#include "host/serve/xvc.h"
#include "tool/commands/commands.h"
#include "tool/commands/context.h"
#include "tool/commands/serve_report.h"
#include "tool/output/standard_streams.h"

#include <string>
#include <vector>

namespace talvor {
namespace {

constexpr const char* kAddress = "ADDRESS";

struct ServeOptions {
    std::vector<std::string> xvc;
    std::vector<std::string> rbb;
    std::vector<std::string> vpi;
    uint32_t xvc_bytes = Xvc::kDefaultBytes;
    std::vector<std::string> no_lookahead;
    std::string ready_file;
    bool strict = false;
    bool once = false;
    bool log = false;
};

template <typename Kind>
std::unique_ptr<Protocol> make_protocol(EdgePort& port) {
    return std::make_unique<Kind>(port);
}

Status add_ports(std::vector<ServePort>& ports, const ProtocolKind& protocol,
                 const std::vector<std::string>& addresses) {
    for (const std::string& text : addresses) {
        const std::string option = "--" + std::string(protocol.name);
        ports.push_back({protocol, TRY(ServeAddress::parse(option, text))});
    }
    return {};
}

Result<std::vector<ServePort>> ports_of(const ServeOptions& options) {
    const size_t bytes = options.xvc_bytes;
    const auto make_xvc = [bytes](EdgePort& port) -> std::unique_ptr<Protocol> {
        return std::make_unique<Xvc>(port, bytes);
    };
    std::vector<ServePort> ports;
    TRY(add_ports(ports, {"xvc", make_xvc}, options.xvc));
    TRY(add_ports(ports, {"rbb", make_protocol<RemoteBitbang>}, options.rbb));
    TRY(add_ports(ports, {"vpi", make_protocol<JtagVpi>}, options.vpi));
    if (ports.empty()) {
        return usage_error("serve", "no port is given",
                           "give --xvc, --rbb or --vpi, as in --xvc 127.0.0.1:2542");
    }
    return ports;
}

Result<EdgeEngineOptions> engine_options(const ServeOptions& options) {
    EdgeEngineOptions engine;
    engine.strict = options.strict;
    for (const std::string& text : options.no_lookahead) {
        engine.no_lookahead.push_back(TRY(parse_instruction(text)));
    }
    return engine;
}

// A pod that has lost its proxy is lost for good; everything else may come back.
Status still_served() {
    TRY(living_proxy());
    return {};
}

Status run_server(EdgePort& pins, const std::vector<ServePort>& ports, ServeReport& report,
                  const ServeOptions& options, uint32_t serial) {
    Server server = TRY(Server::open(ports, pins, report));
    report.ready(server, serial);
    TRY(flush_output());
    // Last: whoever waits for it finds there, and in what was printed, where to come to.
    ReadyFile ready;
    if (!options.ready_file.empty()) {
        TRY(ready.make(options.ready_file));
    }
    Status served =
        server.run({.stop = interrupt_descriptor(), .once = options.once, .go_on = still_served});
    report.ended(interrupt_signal());
    return served;
}

Status serve(Context& context, const ServeOptions& options) {
    TRY(context.refuse_watcher("serve"));
    const std::vector<ServePort> ports = TRY(ports_of(options));
    const EdgeEngineOptions how = TRY(engine_options(options));
    Session* const session = TRY(context.session());
    ServeReport report(context.out);
    PodEdgeLine line(session->port());
    EdgeEngine engine(line, how, [&report](Inexact kind, const std::string& text) {
        report.inexact(kind, text);
    });
    report.count_by([&engine](Inexact kind) { return engine.count_of(kind); });
    engine.on_shift(context.on_shift);
    TRY(engine.open());
    EnginePort pins(engine, [session] { return session->port().reconnect(); });
    EdgeLog log(pins, [&report](const ClientAct& act) { report.act(act); });
    EdgePort& port = options.log ? static_cast<EdgePort&>(log) : pins;
    return run_server(port, ports, report, options, session->record().serial);
}

} // namespace

void add_serve(Command& program) {
    const auto options = command_options<ServeOptions>();
    Command command =
        program.command("serve", "Let other programs use the pod: OpenOCD, openFPGALoader, ...",
                        [options](Context& context) { return serve(context, *options); });
    command.option("--xvc", options->xvc, "Listen for XVC clients").type_name(kAddress);
    command.option("--rbb", options->rbb, "Listen for remote_bitbang clients").type_name(kAddress);
    command.option("--vpi", options->vpi, "Listen for jtag_vpi clients").type_name(kAddress);
    command
        .option("--xvc-bytes", options->xvc_bytes,
                "Bytes of both vectors that XVC clients are told to send at most")
        .type_name("N")
        .range(static_cast<uint32_t>(Xvc::kLeastBytes), static_cast<uint32_t>(Xvc::kMostBytes))
        .show_default();
    command.flag("--strict", options->strict,
                 "Drop a client that wants what cannot be done exactly");
    command
        .option("--no-lookahead", options->no_lookahead,
                "Instructions of registers that count Shift clocks or stream: they see the "
                "client's clocks only")
        .type_name("VALUE:BITS");
    command.flag("--once", options->once, "End when the first client has gone");
    command.flag("--log", options->log, "Print what the clients do: scans, resets, idle clocks");
    command.option("--ready-file", options->ready_file, "Make this file when clients may come")
        .type_name("FILE");
    command.footer("ADDRESS is HOST:PORT, PORT alone (on 127.0.0.1), *:PORT (every interface), or "
                   "the path of a UNIX socket; port 0 is any free one.");
}

} // namespace talvor
