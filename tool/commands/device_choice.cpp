#include "tool/commands/device_choice.h"

#include "common/text.h"
#include "tool/commands/context.h"
#include "tool/commands/values.h"

#include <algorithm>

namespace talvor {
namespace {

bool is_number(const std::string& text) {
    return !text.empty() && std::ranges::all_of(text, [](char c) { return c >= '0' && c <= '9'; });
}

std::string names_of(const Chain& chain) {
    std::string names;
    for (const ChainDevice& device : chain.devices) {
        if (!device.name.empty()) {
            names += (names.empty() ? "" : ", ") + device.name;
        }
    }
    return names;
}

Result<size_t> find_number(const Chain& chain, const std::string& choice) {
    // Longer numbers are beyond every chain.
    const uint64_t number = choice.size() > 9 ? UINT64_MAX : std::stoull(choice);
    if (number == 0 || number > chain.devices.size()) {
        return usage_error("device " + choice,
                           fmt::format("the chain has {}{}",
                                       count_text(chain.devices.size(), "device"),
                                       number == 0 ? ", and the one nearest TDI is 1" : ""));
    }
    return static_cast<size_t>(number - 1);
}

Result<size_t> find_name(const Chain& chain, const std::string& choice) {
    const auto called = [&choice](const ChainDevice& device) { return device.name == choice; };
    const auto found = std::ranges::find_if(chain.devices, called);
    if (found == chain.devices.end()) {
        const std::string names = names_of(chain);
        return usage_error("device " + choice, "no device of the chain has this name",
                           names.empty() ? "name the devices in the board file, or give a number "
                                           "from 1, nearest TDI first"
                                         : fmt::format("they are {}", names));
    }
    if (std::ranges::count_if(chain.devices, called) > 1) {
        return usage_error("device " + choice, "more than one device of the chain has this name",
                           "give its number, from 1, nearest TDI first");
    }
    return static_cast<size_t>(found - chain.devices.begin());
}

} // namespace

Result<Chain> discover_with_lengths(Session& session) {
    Chain chain = TRY(session.discover());
    if (!chain.lengths_known) {
        return usage_error("--device", "the instruction lengths of the chain are ambiguous",
                           "give them with --ir-lengths; 'talvor chain' says more");
    }
    return chain;
}

Result<size_t> find_device(const Chain& chain, const std::string& choice) {
    return is_number(choice) ? find_number(chain, choice) : find_name(chain, choice);
}

} // namespace talvor
