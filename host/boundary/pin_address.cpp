#include "host/boundary/pin_address.h"

#include "common/bsdl/words.h"
#include "host/boundary/plan.h"
#include "host/chain/device_choice.h"

#include <fmt/format.h>

#include <cstring>
#include <fnmatch.h>
#include <string>
#include <utility>
#include <vector>

namespace talvor::boundary {
namespace {

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
    const size_t dot = text.find('.');
    if (dot == std::string_view::npos) {
        return {nullptr, text};
    }
    std::vector<std::string> names;
    for (const Member& member : members) {
        names.push_back(member.name);
    }
    const Result<size_t> device = find_device(names, text.substr(0, dot));
    return device ? std::pair(&members[*device], text.substr(dot + 1)) : std::pair(nullptr, text);
}

} // namespace

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
        setting.level = level == "1" ? Level::High : Level::Low;
    } else if (level == "Z" || level == "z") {
        setting.level = Level::Z;
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

} // namespace talvor::boundary
