#include "tool/commands/interconnect_report.h"

#include "common/text.h"
#include "host/interconnect/finding_text.h"
#include "tool/commands/values.h"

#include <fmt/format.h>

#include <algorithm>

namespace talvor {
namespace {

using namespace interconnect;

// Findings and nets that text lists; a document has all.
constexpr size_t kListed = 100;

const char* kind_text(const Fault& fault) {
    switch (fault.kind) {
    case FaultKind::Open:
        return "open";
    case FaultKind::Stuck:
        return "stuck";
    case FaultKind::Short:
        break;
    }
    return "short";
}

const char* short_kind_text(ShortKind kind) {
    switch (kind) {
    case ShortKind::WiredAnd:
        return "wired-and";
    case ShortKind::WiredOr:
        return "wired-or";
    case ShortKind::Strong:
        break;
    }
    return "strong";
}

size_t counting_vectors(const InterconnectRun& run) {
    return 2 * code_bits(run.plan.nets.size());
}

std::string receivers_text(const TestedNet& net) {
    std::string text;
    for (const Receiver& one : net.receivers) {
        text += (text.empty() ? "" : ", ") + pin_text(one.pin) + (one.at_driver ? " itself" : "");
    }
    return text;
}

void print_plan(const Output& out, const TestPlan& plan) {
    TextTable table({"net", "driver", "receivers"});
    for (const TestedNet& net : plan.nets) {
        table.add({net.name, pin_text(net.driver.pin), receivers_text(net)});
    }
    out.table(table);
}

void print_untested(const Output& out, const TestPlan& plan) {
    if (plan.untested.empty()) {
        return;
    }
    out.line("Not tested:");
    TextTable table({});
    for (size_t i = 0; i < std::min(plan.untested.size(), kListed); ++i) {
        table.add({plan.untested[i].name, plan.untested[i].reason});
    }
    out.table(table);
    if (plan.untested.size() > kListed) {
        out.line("  and {} more; --json has all", plan.untested.size() - kListed);
    }
}

void print_side_effects(const Output& out, const TestPlan& plan) {
    if (plan.also_driving.empty()) {
        return;
    }
    std::string names;
    for (size_t i = 0; i < std::min(plan.also_driving.size(), kListed); ++i) {
        names += (names.empty() ? "" : ", ") + plan.also_driving[i];
    }
    out.line("Driving safe levels meanwhile: {}{}", names,
             plan.also_driving.size() > kListed ? ", ..." : "");
}

void print_findings(const Output& out, const InterconnectRun& run) {
    const Diagnosis& diagnosis = run.result->diagnosis;
    for (const SilentDevice& silent : diagnosis.silent) {
        out.line("{}", out.tone(Tone::Bad, silent_text(silent, run.devices[silent.device])));
    }
    for (size_t f = 0; f < std::min(diagnosis.findings.size(), kListed); ++f) {
        const Finding& finding = diagnosis.findings[f];
        out.line("{}", out.tone(Tone::Bad, nets_text(run.plan.nets, finding)));
        for (const std::string& line : finding_lines(run.plan.nets, finding)) {
            out.line("  {}", line);
        }
    }
    if (diagnosis.findings.size() > kListed) {
        out.line("and {} more; --json has all", diagnosis.findings.size() - kListed);
    }
}

void print_summary(const Output& out, const InterconnectRun& run) {
    const size_t nets = run.plan.nets.size();
    const std::string vectors = fmt::format("{} = 2 x ceil(log2({} + 2))",
                                            count_text(counting_vectors(run), "vector"), nets);
    if (!run.result) {
        out.line("{}; nothing was driven.", vectors);
        return;
    }
    const TestResult& result = *run.result;
    const size_t closer = result.vectors.size() - result.counting;
    out.line("{}{}; {} and {}", vectors,
             closer == 0 ? "" : fmt::format(", {} more for a closer look", closer),
             count_text(result.data_scans, "data scan"),
             count_text(result.instruction_scans, "instruction scan"));
    if (result.diagnosis.good()) {
        out.line("{}",
                 out.tone(Tone::Good, fmt::format("No fault on {}.", count_text(nets, "net"))));
    }
}

Json pin_json(const DevicePin& pin) {
    Json json{{"device", pin.device + 1}, {"name", pin.name}};
    if (!pin.package.empty()) {
        json["package_pin"] = pin.package;
    }
    return json;
}

Json names_json(const TestPlan& plan, const std::vector<size_t>& nets) {
    Json names = Json::array();
    for (const size_t net : nets) {
        names.push_back(plan.nets[net].name);
    }
    return names;
}

Json fault_json(const TestPlan& plan, const Fault& fault) {
    Json json{{"kind", kind_text(fault)},
              {"text", fault_text(plan.nets, fault)},
              {"nets", names_json(plan, fault.nets)}};
    if (fault.kind == FaultKind::Short) {
        json["model"] = short_kind_text(fault.short_kind);
    } else {
        json["level"] = fault.value ? 1 : 0;
    }
    if (!fault.pins.empty()) {
        Json pins = Json::array();
        for (const PinOf& pin : fault.pins) {
            pins.push_back(pin_json(pin_of(plan.nets, pin)));
        }
        json["pins"] = std::move(pins);
    }
    return json;
}

Json finding_json(const TestPlan& plan, const Finding& finding) {
    Json explanations = Json::array();
    for (const Explanation& explanation : finding.explanations) {
        Json faults = Json::array();
        for (const Fault& fault : explanation) {
            faults.push_back(fault_json(plan, fault));
        }
        explanations.push_back(std::move(faults));
    }
    Json unclear = Json::array();
    for (const PinOf& pin : finding.unclear) {
        unclear.push_back(pin_json(pin_of(plan.nets, pin)));
    }
    return Json{{"nets", names_json(plan, finding.nets)},
                {"explanations", std::move(explanations)},
                {"unclear", std::move(unclear)}};
}

// Levels over the vectors, the first vector first: "0110".
std::string levels_text(const Bits& bits) {
    std::string text;
    for (size_t i = 0; i < bits.size(); ++i) {
        text += bits[i] ? '1' : '0';
    }
    return text;
}

std::string driven_text(const InterconnectRun& run, size_t net) {
    std::string text;
    for (const Vector& vector : run.result->vectors) {
        text += vector.level(net) ? '1' : '0';
    }
    return text;
}

Json net_json(const InterconnectRun& run, size_t index) {
    const TestedNet& net = run.plan.nets[index];
    Json json{{"name", net.name}, {"driver", pin_json(net.driver.pin)}};
    if (run.result) {
        json["driven"] = driven_text(run, index);
    }
    Json receivers = Json::array();
    for (size_t r = 0; r < net.receivers.size(); ++r) {
        Json one = pin_json(net.receivers[r].pin);
        one["at_driver"] = net.receivers[r].at_driver;
        if (run.result) {
            one["read"] = levels_text(run.result->readings[index][r]);
        }
        receivers.push_back(std::move(one));
    }
    json["receivers"] = std::move(receivers);
    return json;
}

void add_result(Json& json, const InterconnectRun& run) {
    const TestResult& result = *run.result;
    json["closer_vectors"] = result.vectors.size() - result.counting;
    json["data_scans"] = result.data_scans;
    json["instruction_scans"] = result.instruction_scans;
    json["seconds"] = run.seconds;
    Json silent = Json::array();
    for (const SilentDevice& one : result.diagnosis.silent) {
        silent.push_back(Json{{"device", one.device + 1},
                              {"text", silent_text(one, run.devices[one.device])},
                              {"nets", names_json(run.plan, one.nets)}});
    }
    json["silent_devices"] = std::move(silent);
    Json findings = Json::array();
    for (const Finding& finding : result.diagnosis.findings) {
        findings.push_back(finding_json(run.plan, finding));
    }
    json["findings"] = std::move(findings);
}

} // namespace

std::optional<Error> error_of(const InterconnectRun& run) {
    if (run.plan.nets.empty()) {
        return refused_error(run.netlist, "none of its nets can be tested",
                             run.plan.untested.empty()
                                 ? "list nets of two pins or more in it"
                                 : fmt::format("the first is {}: {}", run.plan.untested[0].name,
                                               run.plan.untested[0].reason))
            .value();
    }
    if (!run.result || run.result->diagnosis.good()) {
        return std::nullopt;
    }
    const Diagnosis& diagnosis = run.result->diagnosis;
    const Finding& first = diagnosis.findings.front();
    const size_t more = diagnosis.findings.size() - 1;
    std::string reason =
        diagnosis.silent.empty()
            ? finding_lines(run.plan.nets, first).front()
            : silent_text(diagnosis.silent[0], run.devices[diagnosis.silent[0].device]);
    return target_error(fmt::format("net {}", nets_text(run.plan.nets, first)), std::move(reason),
                        more == 0 ? "" : fmt::format("{} above", count_text(more, "more finding")))
        .value();
}

void print(const Output& out, const InterconnectRun& run, bool all) {
    const size_t nets = run.plan.nets.size() + run.plan.untested.size();
    out.line("{}",
             out.tone(Tone::Strong, fmt::format("{}: {}, {} tested", run.netlist,
                                                count_text(nets, "net"), run.plan.nets.size())));
    if (all || !run.result) {
        print_plan(out, run.plan);
        print_untested(out, run.plan);
        print_side_effects(out, run.plan);
    } else if (!run.plan.untested.empty()) {
        out.line("{} not tested; --dry-run says why.", count_text(run.plan.untested.size(), "net"));
    }
    if (!run.plan.nets.empty()) {
        print_summary(out, run);
    }
    if (run.result) {
        print_findings(out, run);
    }
}

Json document(const InterconnectRun& run, const std::optional<Error>& error) {
    Json json{{"netlist", run.netlist}};
    if (!run.result) {
        json["dry_run"] = true;
    }
    Json nets = Json::array();
    for (size_t net = 0; net < run.plan.nets.size(); ++net) {
        nets.push_back(net_json(run, net));
    }
    json["nets"] = std::move(nets);
    Json untested = Json::array();
    for (const UntestedNet& net : run.plan.untested) {
        untested.push_back(Json{{"name", net.name}, {"reason", net.reason}});
    }
    json["untested"] = std::move(untested);
    Json also = Json::array();
    for (const std::string& pin : run.plan.also_driving) {
        also.push_back(pin);
    }
    json["also_driving"] = std::move(also);
    json["vectors"] = counting_vectors(run);
    if (run.result) {
        add_result(json, run);
    }
    if (error) {
        json["error"] = to_json(*error);
    }
    return json;
}

Junit junit_of(const InterconnectRun& run) {
    Junit suite("talvor interconnect " + run.netlist);
    std::vector<JunitCase> cases(run.plan.nets.size());
    for (size_t net = 0; net < cases.size(); ++net) {
        cases[net].name = run.plan.nets[net].name;
        cases[net].class_name = run.netlist;
        cases[net].outcome = run.result ? JunitCase::Outcome::Passed : JunitCase::Outcome::Skipped;
        cases[net].seconds = run.seconds / static_cast<double>(cases.size());
    }
    if (run.result) {
        for (const Finding& finding : run.result->diagnosis.findings) {
            const std::vector<std::string> lines = finding_lines(run.plan.nets, finding);
            for (const size_t net : finding.nets) {
                cases[net].outcome = JunitCase::Outcome::Failed;
                cases[net].message = lines.front();
                cases[net].text = fmt::format("{}", fmt::join(lines, "\n"));
            }
        }
    }
    for (JunitCase& one : cases) {
        suite.add(std::move(one));
    }
    for (const UntestedNet& net : run.plan.untested) {
        suite.add({net.name, run.netlist, 0, JunitCase::Outcome::Skipped, net.reason, {}});
    }
    return suite;
}

} // namespace talvor
