#include "podsim/station/report.h"

#include "common/text.h"
#include "podsim/control/command.h"

#include <nlohmann/json.hpp>

namespace talvor::podsim {
namespace {

std::string_view kind_name(uint16_t kind) {
    switch (kind) {
    case eJTI_CONTROL_ID_EXL:
        return "exl";
    case eJTI_CONTROL_ID_DPM:
        return "dpm";
    default:
        return "tbc";
    }
}

// The wires that are not whole.
nlohmann::ordered_json cable_of(const Cable& cable) {
    nlohmann::ordered_json wires = nlohmann::ordered_json::object();
    for (size_t i = 0; i < kWireNames.size(); ++i) {
        const auto wire = static_cast<Wire>(i);
        if (!cable.whole(wire)) {
            wires[std::string(kWireNames[i])] =
                kWireStateNames[static_cast<size_t>(cable.state(wire))];
        }
    }
    return wires;
}

nlohmann::ordered_json object_of(const pod::Report& report) {
    return {
        {"serial", report.serial},
        {"revision", revision_text(report.revision)},
        {"controller", kind_name(report.kind)},
        {"plugged", report.troubles.plugged},
        {"attached", report.attached},
        {"power", report.faults.power},
        {"clock", report.faults.clock},
        {"emu0", report.faults.emu.emu0},
        {"emu1", report.faults.emu.emu1},
        {"loopback", control::name_of(report.faults.loopback)},
        {"cable", cable_of(report.faults.cable)},
        {"fail", report.troubles.fail},
        {"refuse", report.troubles.refuse},
        {"latency_us", report.troubles.latency_us},
        {"batches", report.batches},
        {"failed_batches", report.failed_batches},
        {"warnings", report.warnings},
        {"tap_state", name_of(report.tap_state)},
        {"virtual_time_ns", report.time_ns},
        {"tck_hz", report.tck_hz},
        {"busy", report.busy},
        {"condition_latch", report.condition_latch},
        {"target_reset", report.target_reset},
    };
}

} // namespace

std::string json_of(const std::vector<pod::Report>& reports) {
    nlohmann::ordered_json pods = nlohmann::ordered_json::array();
    for (const pod::Report& report : reports) {
        pods.push_back(object_of(report));
    }
    return nlohmann::ordered_json{{"pods", pods}}.dump();
}

} // namespace talvor::podsim
