#include "host/boundary/compliance.h"

#include "host/boundary/plan.h"

#include <fmt/format.h>

namespace talvor::boundary {

std::string compliance_text(const Member& member) {
    if (!member.plan) {
        return "";
    }
    const bsdl::CompliancePatterns& compliance = member.plan->device().compliance;
    std::string text;
    for (const size_t signal : compliance.signals) {
        text += (text.empty() ? "" : ", ") + member.plan->name_of(signal);
    }
    const char* before = " = ";
    for (const bsdl::Pattern& pattern : compliance.patterns) {
        text += before + pattern.text;
        before = " or ";
    }
    return text;
}

std::string compliance_condition(const Member& member) {
    const std::string text = compliance_text(member);
    return text.empty() ? text : "complies with IEEE 1149.1 only while " + text;
}

std::string compliance_sentence(const Member& member) {
    const std::string condition = compliance_condition(member);
    return condition.empty()
               ? condition
               : fmt::format("{} ({}) {}", member.name, member.plan->device().name, condition);
}

} // namespace talvor::boundary
