#include "common/bsdl/attributes.h"

#include "common/bsdl/boundary.h"
#include "common/bsdl/instructions.h"
#include "common/bsdl/tap.h"
#include "common/bsdl/words.h"

#include <fmt/format.h>

#include <array>
#include <string_view>
#include <unordered_map>
#include <utility>
#include <vector>

namespace talvor::bsdl {
namespace {

struct Rule {
    std::string_view name; // folded
    void (*read)(Draft&, const Attribute&);
    bool of_signals = false;
};

// Attributes that others stand on come first.
constexpr std::array<Rule, 16> kRules{{
    {"tap_scan_in", read_scan_in, true},
    {"tap_scan_out", read_scan_out, true},
    {"tap_scan_mode", read_scan_mode, true},
    {"tap_scan_reset", read_scan_reset, true},
    {"tap_scan_clock", read_scan_clock, true},
    {"port_grouping", read_port_grouping},
    {"compliance_patterns", read_compliance_patterns},
    {"instruction_length", read_instruction_length},
    {"instruction_opcode", read_instruction_opcode},
    {"instruction_capture", read_instruction_capture},
    {"instruction_private", read_instruction_private},
    {"idcode_register", read_idcode_register},
    {"usercode_register", read_usercode_register},
    {"register_access", read_register_access},
    {"boundary_length", read_boundary_length},
    {"boundary_register", read_boundary_register},
}};
// It says that the generic chooses the pin map, which it always does.
constexpr std::string_view kPinMap = "pin_map";

OtherAttribute other(std::string_view name, const Value& value, Place place) {
    return {std::string(name), value.is_text ? value.text.readable() : value.words, place};
}

void check_target(const Draft& draft, const Attribute& attribute) {
    if (!same_name(attribute.target, draft.source.entity)) {
        draft.report.warning(attribute.place,
                             fmt::format("{} is of {}; the device is {}", title(attribute),
                                         shown(attribute.target), draft.source.entity));
    }
}

class Sorter {
public:
    explicit Sorter(Draft& draft) : draft_(draft) {
        for (size_t i = 0; i < kRules.size(); ++i) {
            rules_.emplace(kRules[i].name, i);
        }
    }

    void take(const Attribute& attribute) {
        const std::string name = folded(attribute.name);
        const auto rule = rules_.find(name);
        if (rule == rules_.end()) {
            if (name != kPinMap) {
                draft_.device.others.push_back(
                    other(attribute.name, attribute.value, attribute.place));
            }
            return;
        }
        std::vector<const Attribute*>& found = found_[rule->second];
        if (!kRules[rule->second].of_signals) {
            check_target(draft_, attribute);
            if (!found.empty()) {
                draft_.report.error(attribute.place,
                                    fmt::format("{} stands in line {} already", title(attribute),
                                                found.front()->place.line));
                return;
            }
        }
        found.push_back(&attribute);
    }

    void read() {
        for (size_t i = 0; i < kRules.size(); ++i) {
            for (const Attribute* attribute : found_[i]) {
                kRules[i].read(draft_, *attribute);
            }
        }
    }

private:
    Draft& draft_;
    std::unordered_map<std::string_view, size_t> rules_;
    std::array<std::vector<const Attribute*>, kRules.size()> found_;
};

} // namespace

void read_attributes(Draft& draft) {
    Sorter sorter(draft);
    for (const Attribute& attribute : draft.source.attributes) {
        sorter.take(attribute);
    }
    sorter.read();
    for (const Constant& constant : draft.source.constants) {
        if (!same_name(constant.type, "PIN_MAP_STRING")) {
            draft.device.others.push_back(other(constant.name, constant.value, constant.place));
        }
    }
}

} // namespace talvor::bsdl
