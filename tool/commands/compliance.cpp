#include "tool/commands/compliance.h"

#include "host/boundary/compliance.h"
#include "tool/commands/context.h"
#include "tool/terminal/key.h"

#include <string>

namespace talvor {
namespace {

Status require_one(const Context& context, const boundary::Member& member) {
    constexpr const char* kNext = "see to it, then give --compliance-met";
    if (!has_keys() || !context.out.watched() || context.out.json()) {
        return refused_error(member.name, compliance_condition(member), kNext);
    }
    const std::string answer = TRY(ask(compliance_sentence(member) + ". Does it stand so? [y/N] "));
    return answer == "y" || answer == "Y" || answer == "yes"
               ? Status()
               : refused_error(member.name, "its compliance patterns are not met", kNext);
}

} // namespace

void show_compliance(const Context& context, const std::vector<boundary::Member>& members) {
    for (const boundary::Member& member : members) {
        if (const std::string sentence = compliance_sentence(member); !sentence.empty()) {
            context.out.note(sentence);
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
        if (!compliance_condition(member).empty()) {
            TRY(require_one(context, member));
        }
    }
    return {};
}

} // namespace talvor
