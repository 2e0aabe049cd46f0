#include "tool/commands/pin_chain.h"

#include "common/bsdl/words.h"
#include "common/text.h"
#include "host/boundary/plan.h"
#include "tool/commands/context.h"

#include <fmt/format.h>

#include <algorithm>
#include <memory>
#include <utility>

namespace talvor {
namespace {

using boundary::Member;

bool is_called(const Member& member, size_t index, std::string_view text) {
    return bsdl::same_name(member.name, text) || text == std::to_string(index + 1);
}

Result<Member> make_member(Context& context, const ChainDevice& device, size_t index, bool chosen) {
    Member member;
    member.name = device.name.empty() ? std::to_string(index + 1) : device.name;
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

// Leaves a plan to the device alone that is meant.
Status choose_device(std::vector<Member>& members, const std::string& device) {
    bool found = false;
    for (size_t i = 0; i < members.size(); ++i) {
        if (!is_called(members[i], i, device)) {
            members[i].plan.reset();
            continue;
        }
        found = true;
        if (!members[i].plan) {
            return usage_error("--device " + device, "the device has no description",
                               "give its BSDL file: bsdl = \"FILE\" in its [[device]] table of "
                               "the board file, or --bsdl DIR");
        }
    }
    return found ? Status()
                 : usage_error(
                       "--device " + device,
                       fmt::format("the chain has no such device among its {}", members.size()),
                       "'talvor chain' shows their names and numbers");
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
    if (const size_t dot = text.find('.'); dot != std::string_view::npos) {
        for (size_t i = 0; i < members.size(); ++i) {
            if (is_called(members[i], i, text.substr(0, dot))) {
                return {&members[i], text.substr(dot + 1)};
            }
        }
    }
    return {nullptr, text};
}

char lower(char c) noexcept {
    return c >= 'A' && c <= 'Z' ? static_cast<char>(c - 'A' + 'a') : c;
}

// '*' stands for any characters, '?' for one.
bool looks_like(std::string_view text, std::string_view pattern) noexcept {
    size_t at = 0;
    size_t in_pattern = 0;
    size_t star = std::string_view::npos;
    size_t after_star = 0;
    while (at < text.size()) {
        if (in_pattern < pattern.size() && pattern[in_pattern] == '*') {
            star = in_pattern++;
            after_star = at;
        } else if (in_pattern < pattern.size() &&
                   (pattern[in_pattern] == '?' || lower(pattern[in_pattern]) == lower(text[at]))) {
            ++in_pattern;
            ++at;
        } else if (star != std::string_view::npos) {
            in_pattern = star + 1;
            at = ++after_star;
        } else {
            return false;
        }
    }
    return pattern.find_first_not_of('*', in_pattern) == std::string_view::npos;
}

} // namespace

Result<PinChain> find_pin_chain(Context& context, const std::string& device) {
    PinChain pins;
    pins.session = TRY(context.session());
    const Chain chain = TRY(pins.session->discover());
    for (size_t i = 0; i < chain.devices.size(); ++i) {
        const ChainDevice& one = chain.devices[i];
        const bool chosen = !device.empty() &&
                            (bsdl::same_name(one.name, device) || device == std::to_string(i + 1));
        Member member = TRY(make_member(context, one, i, chosen));
        const bool twice = std::ranges::any_of(pins.members, [&member](const Member& other) {
            return bsdl::same_name(other.name, member.name);
        });
        if (twice) {
            member.name = std::to_string(i + 1); // two of one part, which nobody has named
        }
        pins.members.push_back(std::move(member));
    }
    if (!device.empty()) {
        TRY(choose_device(pins.members, device));
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

bool fits_filter(std::string_view text, std::string_view filter) noexcept {
    if (filter.find_first_of("*?") != std::string_view::npos) {
        return looks_like(text, filter);
    }
    for (size_t at = 0; at + filter.size() <= text.size(); ++at) {
        bool same = true;
        for (size_t i = 0; same && i < filter.size(); ++i) {
            same = lower(text[at + i]) == lower(filter[i]);
        }
        if (same) {
            return true;
        }
    }
    return false;
}

} // namespace talvor
