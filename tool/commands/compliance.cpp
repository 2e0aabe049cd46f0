#include "tool/commands/compliance.h"

#include "tool/commands/context.h"
#include "tool/terminal/key.h"

#include <fmt/format.h>

namespace talvor {
namespace {

std::string condition(const boundary::Member& member) {
    return "complies with IEEE 1149.1 only while " + compliance_text(member);
}

std::string sentence(const boundary::Member& member) {
    return fmt::format("{} ({}) {}", member.name, member.plan->device().name, condition(member));
}

Status require_one(const Context& context, const boundary::Member& member) {
    constexpr const char* kNext = "see to it, then give --compliance-met";
    if (!has_keys() || !context.out.watched() || context.out.json()) {
        return refused_error(member.name, condition(member), kNext);
    }
    const std::string answer = TRY(ask(sentence(member) + ". Does it stand so? [y/N] "));
    return answer == "y" || answer == "Y" || answer == "yes"
               ? Status()
               : refused_error(member.name, "its compliance patterns are not met", kNext);
}

} // namespace

std::string compliance_text(const boundary::Member& member) {
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

void show_compliance(const Context& context, const std::vector<boundary::Member>& members) {
    for (const boundary::Member& member : members) {
        if (!compliance_text(member).empty()) {
            context.out.note(sentence(member));
        }
    }
}

Status require_compliance(const Context& context, const std::vector<boundary::Member>& members,
                          bool met) {
    if (met) {
        show_compliance(context, members);
        return {};
    }
    for (const boundary::Member& member : members) {
        if (!compliance_text(member).empty()) {
            TRY(require_one(context, member));
        }
    }
    return {};
}

} // namespace talvor
