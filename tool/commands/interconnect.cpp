// talvor interconnect: whether the pins of a board are connected as its netlist says.
#include "common/text.h"
#include "host/interconnect/matrix_svg.h"
#include "host/interconnect/netlist_file.h"
#include "tool/commands/commands.h"
#include "tool/commands/context.h"
#include "tool/commands/interconnect_report.h"
#include "tool/commands/pin_chain.h"
#include "tool/output/text_file.h"

#include <fmt/format.h>

#include <chrono>
#include <filesystem>
#include <memory>

namespace talvor {
namespace {

struct InterconnectOptions {
    std::string netlist;
    std::vector<std::string> parts;
    std::vector<std::string> passive;
    std::string svg;
    std::string junit;
    bool dry_run = false;
    bool all = false;
};

// "U1=cpu".
Result<interconnect::PartDevice> parse_part(const std::string& text) {
    const size_t equals = text.find('=');
    if (equals == std::string::npos || equals == 0 || equals + 1 == text.size()) {
        return usage_error("--part " + text, "expected a part of the netlist and its device",
                           "write it as in U1=cpu, or U1=2 for the second device of the chain");
    }
    return interconnect::PartDevice{text.substr(0, equals), text.substr(equals + 1), 0};
}

Result<interconnect::Placement> placement_of(const InterconnectOptions& options) {
    interconnect::Placement placement;
    for (const std::string& part : options.parts) {
        placement.devices.push_back(TRY(parse_part(part)));
    }
    placement.passive = options.passive;
    return placement;
}

Status draw(const InterconnectRun& run, const std::string& path) {
    interconnect::MatrixOptions options;
    options.title = fmt::format("{}: {}", std::filesystem::path(run.netlist).filename().string(),
                                run.result->diagnosis.good()
                                    ? "no fault"
                                    : count_text(run.result->diagnosis.findings.size(), "finding"));
    return write_text_file(path, to_svg(run.plan, *run.result, options));
}

Status report(Context& context, const InterconnectRun& run, const InterconnectOptions& options) {
    print(context.out, run, options.all);
    const std::optional<Error> error = error_of(run);
    context.out.result(document(run, error));
    if (!options.junit.empty()) {
        TRY(junit_of(run).write(options.junit));
    }
    if (!options.svg.empty() && run.result) {
        TRY(draw(run, options.svg));
    }
    if (!error) {
        return {};
    }
    // The document, where one was asked for, has been printed: the error is only said.
    context.out.set_json(false);
    return Failure(*error);
}

Status run_interconnect(Context& context, const InterconnectOptions& options) {
    const interconnect::Placement placement = TRY(placement_of(options));
    const interconnect::Netlist netlist = TRY(interconnect::read_netlist(options.netlist));
    PinChain chain = TRY(find_pin_chain(context, "", PinUse::Drive));
    InterconnectRun run;
    run.netlist = options.netlist;
    for (const boundary::Member& member : chain.members) {
        run.devices.push_back(member.name);
    }
    const auto placed = TRY(interconnect::place_nets(netlist, chain.members, placement));
    run.plan = TRY(interconnect::plan_test(placed, chain.members));
    if (!options.dry_run && !run.plan.nets.empty()) {
        boundary::Access access(chain.session->port(), std::move(chain.members));
        const auto began = std::chrono::steady_clock::now();
        run.result = TRY(interconnect::test_board(access, run.plan));
        run.seconds =
            std::chrono::duration<double>(std::chrono::steady_clock::now() - began).count();
    }
    return report(context, run, options);
}

} // namespace

void add_interconnect(Command& program) {
    const auto options = command_options<InterconnectOptions>();
    Command command = program.command(
        "interconnect",
        "Test the connections of a board against its netlist (drives the pins of its devices)",
        [options](Context& context) { return run_interconnect(context, *options); });
    command
        .option("FILE", options->netlist,
                "Netlist: KiCad's, or a TOML file of nets, told apart by the content")
        .required();
    command
        .option("--part", options->parts,
                "Which device of the chain a part of the netlist is, as in U1=cpu or U1=2; else "
                "the one of the same name. May be given more than once")
        .type_name("PART=DEVICE");
    command
        .option("--passive", options->passive,
                "A part that drives nothing, beside those named like resistors, capacitors, "
                "connectors and the like. May be given more than once")
        .type_name("PART");
    Option dry_run = command.flag("--dry-run", options->dry_run,
                                  "Only say who would drive and see each net, and drive nothing");
    command.flag("--all", options->all, "List every net with its driver and receivers");
    command.option("--svg", options->svg, "Draw nets and vectors into this file, too")
        .type_name("FILE")
        .excludes(dry_run);
    command.option("--junit", options->junit, "Write the results as JUnit XML into this file")
        .type_name("FILE");
}

} // namespace talvor
