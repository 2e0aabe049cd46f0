// The test of a board's connections against its netlist.
#include "host/boundary/members.h"
#include "host/interconnect/board_test.h"
#include "host/interconnect/finding_text.h"
#include "host/interconnect/matrix_svg.h"
#include "host/interconnect/netlist_file.h"
#include "python/src/connection.h"
#include "python/src/named_chain.h"
#include "python/src/parts.h"

#include <map>
#include <pybind11/stl.h>
#include <string>
#include <utility>
#include <vector>

namespace talvor::python {
namespace {

struct Request {
    std::string netlist;
    std::vector<std::string> names; // of the devices, before those of BSDL files
    interconnect::Placement placement;
    bool dry_run = false;
    std::string title;
};

struct Outcome {
    std::vector<std::string> devices;
    interconnect::TestPlan plan;
    std::optional<interconnect::TestResult> result; // nothing: only planned
    std::string svg;
};

Result<Outcome> test(Session& session, const Request& request) {
    const interconnect::Netlist netlist = TRY(interconnect::read_netlist(request.netlist));
    auto made = TRY(boundary::members_of(TRY(named_chain(session, request.names)), ""));
    TRY(std::move(made.drivable));
    Outcome outcome;
    for (const boundary::Member& member : made.members) {
        outcome.devices.push_back(member.name);
    }
    outcome.plan = TRY(interconnect::plan_test(
        TRY(interconnect::place_nets(netlist, made.members, request.placement)), made.members));
    if (!request.dry_run && !outcome.plan.nets.empty()) {
        boundary::Access access(session.port(), std::move(made.members));
        outcome.result = TRY(interconnect::test_board(access, outcome.plan));
        outcome.svg = to_svg(outcome.plan, *outcome.result, {.title = request.title});
    }
    return outcome;
}

// (name, driver, receivers) of each net that is tested.
py::list nets_of(const interconnect::TestPlan& plan) {
    py::list list;
    for (const interconnect::TestedNet& net : plan.nets) {
        std::vector<std::string> receivers;
        for (const auto& receiver : net.receivers) {
            receivers.push_back(interconnect::pin_text(receiver.pin));
        }
        list.append(py::make_tuple(net.name, interconnect::pin_text(net.driver.pin), receivers));
    }
    return list;
}

// (names of its nets, a line for each explanation) of what is wrong.
py::list findings_of(const Outcome& outcome) {
    py::list list;
    if (!outcome.result) {
        return list;
    }
    for (const interconnect::Finding& finding : outcome.result->diagnosis.findings) {
        std::vector<std::string> nets;
        for (const size_t net : finding.nets) {
            nets.push_back(outcome.plan.nets[net].name);
        }
        list.append(py::make_tuple(nets, interconnect::finding_lines(outcome.plan.nets, finding)));
    }
    return list;
}

std::vector<std::string> silent_of(const Outcome& outcome) {
    std::vector<std::string> lines;
    if (outcome.result) {
        for (const interconnect::SilentDevice& silent : outcome.result->diagnosis.silent) {
            lines.push_back(interconnect::silent_text(silent, outcome.devices[silent.device]));
        }
    }
    return lines;
}

// (nets, untested nets with the reason, outputs that drive as well, whether it was tested, what is
// wrong, silent devices, vectors, SVG)
py::tuple interconnect_test(Connection& connection, const std::string& netlist,
                            const std::vector<std::string>& names,
                            const std::map<std::string, std::string>& parts,
                            const std::vector<std::string>& passive, bool dry_run,
                            const std::string& title) {
    Request request{netlist, names, {}, dry_run, title};
    for (const auto& [part, device] : parts) {
        request.placement.devices.push_back({part, device, 0});
    }
    request.placement.passive = passive;
    const Outcome outcome =
        connection.use(Length::Long, [&](Session& session) { return test(session, request); });
    std::vector<std::pair<std::string, std::string>> untested;
    for (const interconnect::UntestedNet& net : outcome.plan.untested) {
        untested.emplace_back(net.name, net.reason);
    }
    return py::make_tuple(nets_of(outcome.plan), untested, outcome.plan.also_driving,
                          outcome.result.has_value(), findings_of(outcome), silent_of(outcome),
                          outcome.result ? outcome.result->vectors.size() : 0, outcome.svg);
}

} // namespace

void add_interconnect(py::class_<Connection>& connection) {
    connection.def("interconnect", interconnect_test);
}

} // namespace talvor::python
