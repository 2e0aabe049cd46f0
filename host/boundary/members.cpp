#include "host/boundary/members.h"

#include "common/bsdl/words.h"
#include "host/boundary/plan.h"
#include "host/chain/descriptions.h"
#include "host/chain/device_choice.h"

#include <fmt/format.h>

#include <algorithm>
#include <memory>
#include <optional>
#include <utility>

namespace talvor::boundary {
namespace {

// What messages call each device: its name, or its number where nobody has named it, or another one
// of the same part.
std::vector<std::string> names_of(const Chain& chain) {
    std::vector<std::string> names;
    for (const ChainDevice& device : chain.devices) {
        const bool taken = std::ranges::any_of(
            names, [&device](const std::string& other) { return same_name(other, device.name); });
        names.push_back(taken || device.name.empty() ? std::to_string(names.size() + 1)
                                                     : device.name);
    }
    return names;
}

// The plan of a member whose device has a description. Without one, `chosen` is the device that was
// asked for, which is an error, and the others stay in BYPASS.
Status add_plan(const ChainDevice& device, const std::string& chosen, Member& member,
                std::vector<std::string>& notes) {
    if (!device.description) {
        return chosen.empty()
                   ? Status()
                   : usage_error("--device " + chosen, "the device has no description",
                                 "give its BSDL file: bsdl = \"FILE\" in its [[device]] table of "
                                 "the board file, or --bsdl DIR");
    }
    auto plan = Plan::make(device.description);
    if (plan) {
        member.plan = std::make_shared<const Plan>(*std::move(plan));
    } else if (!chosen.empty()) {
        return Failure(std::move(plan).error());
    } else {
        notes.push_back(fmt::format("{} stays in BYPASS: {}", member.name, headline(plan.error())));
    }
    return {};
}

Status check_members(const Chain& chain, const std::vector<Member>& members) {
    bool any = false;
    for (const Member& member : members) {
        any = any || member.plan;
    }
    if (!any) {
        return usage_error("pins", "no device of the chain has a description",
                           "give BSDL files: bsdl = \"FILE\" in the [[device]] tables of the "
                           "board file, or --bsdl DIR");
    }
    if (!chain.lengths_known) {
        return usage_error("pins", "the instruction lengths of the chain are ambiguous",
                           "give them with --ir-lengths; 'talvor chain' says more");
    }
    return {};
}

// What the devices say against their descriptions.
void compare(const Chain& chain, ChainMembers& made) {
    for (size_t i = 0; i < made.members.size(); ++i) {
        const Member& member = made.members[i];
        if (!member.plan) {
            continue;
        }
        const DescriptionCheck check = check_description(chain, i);
        for (const std::string& contradiction : check.contradictions) {
            made.notes.push_back(fmt::format("{}: {}", member.name, contradiction));
        }
        if (!check.same_part && made.drivable) {
            made.drivable = target_error(
                member.name, check.contradictions.front(),
                fmt::format("{} describes another part, or the [[device]] tables of the board file "
                            "are in another order: 'talvor chain' compares them",
                            chain.devices[i].description_file));
        }
    }
}

} // namespace

Result<ChainMembers> members_of(const Chain& chain, const std::string& device) {
    ChainMembers made;
    const std::vector<std::string> names = names_of(chain);
    std::optional<size_t> chosen;
    if (!device.empty()) {
        chosen = TRY(find_device(names, device));
    }
    for (size_t i = 0; i < names.size(); ++i) {
        Member& member = made.members.emplace_back();
        member.name = names[i];
        member.instruction_bits = chain.devices[i].instruction_bits;
        if (!chosen || chosen == i) {
            TRY(add_plan(chain.devices[i], device, member, made.notes));
        }
    }
    TRY(check_members(chain, made.members));
    compare(chain, made);
    return made;
}

} // namespace talvor::boundary
