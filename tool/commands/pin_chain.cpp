#include "tool/commands/pin_chain.h"

#include "common/bsdl/model.h"
#include "common/text.h"
#include "host/boundary/plan.h"
#include "host/chain/device_choice.h"
#include "tool/commands/context.h"

#include <fmt/format.h>

#include <algorithm>
#include <cstring>
#include <fnmatch.h>
#include <memory>
#include <optional>
#include <utility>

namespace talvor {
namespace {

using boundary::Member;

// What messages call each device: its name, or its number where nobody has named it, or another one
// of the same part.
std::vector<std::string> names_of(const Chain& chain) {
    std::vector<std::string> names;
    for (const ChainDevice& device : chain.devices) {
        const bool taken = std::ranges::any_of(names, [&device](const std::string& other) {
            return bsdl::same_name(other, device.name);
        });
        names.push_back(taken || device.name.empty() ? std::to_string(names.size() + 1)
                                                     : device.name);
    }
    return names;
}

Result<Member> make_member(Context& context, const ChainDevice& device, const std::string& name,
                           bool chosen) {
    Member member;
    member.name = name;
    member.instruction_bits = device.instruction_bits;
    if (!device.description) {
        return member;
    }
    auto plan = boundary::Plan::make(device.description);
    if (plan) {
        member.plan = std::make_shared<const boundary::Plan>(*std::move(plan));
    } else if (chosen) {
        return Failure(std::move(plan).error());
    } else {
        context.out.note(
            fmt::format("{} stays in BYPASS: {}", member.name, headline(plan.error())));
    }
    return member;
}

// Leaves a plan to the device alone that was chosen.
Status leave_plan_to(std::vector<Member>& members, size_t chosen, const std::string& device) {
    for (size_t i = 0; i < members.size(); ++i) {
        if (i != chosen) {
            members[i].plan.reset();
        }
    }
    return members[chosen].plan
               ? Status()
               : usage_error("--device " + device, "the device has no description",
                             "give its BSDL file: bsdl = \"FILE\" in its [[device]] table of "
                             "the board file, or --bsdl DIR");
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

// The signal in each device that has one of the name; those of `only` where it is given.
std::vector<PinAddress> candidates(const std::vector<Member>& members, std::string_view name,
                                   const Member* only) {
    std::vector<PinAddress> found;
    for (size_t i = 0; i < members.size(); ++i) {
        if (!members[i].plan || (only != nullptr && only != &members[i])) {
            continue;
        }
        if (const auto signal = bsdl::find_signal(members[i].plan->device(), name)) {
            found.push_back({i, *signal});
        }
    }
    return found;
}

// The device that the text begins with, and the rest of it.
std::pair<const Member*, std::string_view> split_device(const std::vector<Member>& members,
                                                        std::string_view text) {
    const size_t dot = std::min(text.find('.'), text.size());
    std::vector<std::string> names;
    for (const Member& member : members) {
        names.push_back(member.name);
    }
    const Result<size_t> device = find_device(names, text.substr(0, dot));
    return device && dot != text.size() ? std::pair(&members[*device], text.substr(dot + 1))
                                        : std::pair(nullptr, text);
}

} // namespace

Result<PinChain> find_pin_chain(Context& context, const std::string& device) {
    PinChain pins;
    pins.session = TRY(context.session());
    const Chain chain = TRY(pins.session->discover());
    const std::vector<std::string> names = names_of(chain);
    std::optional<size_t> chosen;
    if (!device.empty()) {
        chosen = TRY(find_device(names, device));
    }
    for (size_t i = 0; i < names.size(); ++i) {
        pins.members.push_back(TRY(make_member(context, chain.devices[i], names[i], chosen == i)));
    }
    if (chosen) {
        TRY(leave_plan_to(pins.members, *chosen, device));
    }
    TRY(check_members(chain, pins.members));
    return pins;
}

Result<PinAddress> find_pin(const std::vector<Member>& members, std::string_view text) {
    const auto [device, name] = split_device(members, text);
    const std::vector<PinAddress> found = candidates(members, name, device);
    if (found.size() == 1) {
        return found.front();
    }
    if (found.empty()) {
        const bool unknown = device != nullptr && !device->plan;
        return usage_error(std::string(text),
                           unknown ? "this device has no description, or was not chosen"
                                   : "no described device has such a signal or package pin",
                           "'talvor pins' lists them");
    }
    return usage_error(std::string(text),
                       fmt::format("{} devices have such a pin: {} and {}", found.size(),
                                   pin_text(members, found[0]), pin_text(members, found[1])),
                       "say which, as in " + pin_text(members, found[0]));
}

Result<PinSetting> parse_setting(const std::vector<Member>& members, std::string_view text) {
    const size_t equals = text.rfind('=');
    const std::string_view level =
        equals == std::string_view::npos ? std::string_view() : text.substr(equals + 1);
    PinSetting setting;
    if (level == "0" || level == "1") {
        setting.level = level == "1" ? boundary::Level::High : boundary::Level::Low;
    } else if (level == "Z" || level == "z") {
        setting.level = boundary::Level::Z;
    } else {
        return usage_error(std::string(text), "expected NAME=0, NAME=1 or NAME=Z");
    }
    setting.address = TRY(find_pin(members, text.substr(0, equals)));
    return setting;
}

std::string pin_text(const std::vector<Member>& members, PinAddress address) {
    const Member& member = members[address.device];
    return member.name + "." + member.plan->name_of(address.signal);
}

std::string pin_texts(const std::vector<Member>& members, size_t device,
                      const std::vector<size_t>& signals) {
    std::string text;
    for (const size_t signal : signals) {
        text += (text.empty() ? "" : ", ") + pin_text(members, {device, signal});
    }
    return text;
}

bool fits_filter(std::string_view text, std::string_view filter) {
    const std::string whole(text);
    const std::string wanted(filter);
    if (filter.find_first_of("*?") != std::string_view::npos) {
        return fnmatch(wanted.c_str(), whole.c_str(), FNM_CASEFOLD | FNM_NOESCAPE) == 0;
    }
    return strcasestr(whole.c_str(), wanted.c_str()) != nullptr;
}

} // namespace talvor
