#include "host/chain/device_choice.h"

#include "common/text.h"

#include <fmt/format.h>

#include <algorithm>
#include <charconv>
#include <vector>

namespace talvor {
namespace {

bool is_number(std::string_view text) {
    return !text.empty() && std::ranges::all_of(text, [](char c) { return c >= '0' && c <= '9'; });
}

Failure choice_error(std::string_view choice, std::string reason, std::string next_step = {}) {
    return usage_error(fmt::format("device {}", choice), std::move(reason), std::move(next_step));
}

Result<size_t> find_number(size_t devices, std::string_view choice) {
    size_t number = 0;
    const bool fits =
        std::from_chars(choice.data(), choice.data() + choice.size(), number).ec == std::errc();
    if (!fits || number == 0 || number > devices) {
        return choice_error(
            choice, fmt::format("the chain has {}{}", count_text(devices, "device"),
                                fits && number == 0 ? ", and the one nearest TDI is 1" : ""));
    }
    return number - 1;
}

Failure no_such_name(std::span<const std::string> names, std::string_view choice) {
    std::string list;
    for (const std::string& name : names) {
        if (!name.empty()) {
            list += (list.empty() ? "" : ", ") + name;
        }
    }
    return choice_error(choice, "no device of the chain has this name",
                        list.empty() ? "name the devices in the board file, or give a number "
                                       "from 1, nearest TDI first"
                                     : fmt::format("they are {}", list));
}

} // namespace

Result<size_t> find_device(std::span<const std::string> names, std::string_view choice) {
    const auto called = [choice](const std::string& name) {
        return !name.empty() && same_name(name, choice);
    };
    const auto found = std::ranges::find_if(names, called);
    if (found == names.end()) {
        return is_number(choice) ? find_number(names.size(), choice) : no_such_name(names, choice);
    }
    if (std::any_of(found + 1, names.end(), called)) {
        return choice_error(choice, "more than one device of the chain has this name",
                            "give its number, from 1, nearest TDI first");
    }
    return static_cast<size_t>(found - names.begin());
}

Result<size_t> find_device(const Chain& chain, std::string_view choice) {
    std::vector<std::string> names;
    names.reserve(chain.devices.size());
    for (const ChainDevice& device : chain.devices) {
        names.push_back(device.name);
    }
    return find_device(names, choice);
}

} // namespace talvor
