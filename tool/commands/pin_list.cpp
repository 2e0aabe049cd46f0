#include "tool/commands/pin_list.h"

#include "common/bsdl/words.h"
#include "common/text.h"

#include <fmt/format.h>

#include <algorithm>
#include <span>
#include <utility>

namespace talvor {
namespace {

using boundary::Member;
using boundary::Pin;

const bsdl::Signal& signal_of(const std::vector<Member>& members, PinAddress address) {
    return members[address.device].plan->device().signals[address.signal];
}

const Pin& plan_of(const std::vector<Member>& members, PinAddress address) {
    return *members[address.device].plan->find(address.signal);
}

// "in 39, out 38, control 37".
std::string cells_text(const boundary::Plan& plan, const Pin& pin) {
    const auto number = [&plan](size_t cell) { return plan.device().cells[cell].number; };
    std::string text;
    if (pin.observe && pin.observe == pin.drive) {
        text = fmt::format("in and out {}", number(*pin.observe));
    } else {
        text = pin.observe ? fmt::format("in {}", number(*pin.observe)) : "";
        if (pin.drive) {
            text += fmt::format("{}out {}", text.empty() ? "" : ", ", number(*pin.drive));
        }
    }
    return pin.enable ? text + fmt::format(", control {}", *pin.enable) : text;
}

std::string device_head(const Member& member) {
    const bsdl::Device& device = member.plan->device();
    return fmt::format("{}: {}{}{}, {}", member.name, device.name,
                       device.package.empty() ? "" : ", ", device.package,
                       count_text(member.plan->bits(), "cell"));
}

// The rows of one device after the other.
template <typename Action>
void for_each_device(const std::vector<PinRow>& rows, Action action) {
    for (size_t begin = 0; begin < rows.size();) {
        size_t end = begin;
        while (end < rows.size() && rows[end].address.device == rows[begin].address.device) {
            ++end;
        }
        action(rows[begin].address.device, begin, end);
        begin = end;
    }
}

// Names and levels of one device, column by column in as few lines as the width allows.
std::vector<std::string> block_of_device(const Output& out, const std::vector<Member>& members,
                                         std::span<const PinRow> rows, size_t width) {
    size_t longest = 1;
    for (const PinRow& row : rows) {
        longest = std::max(longest, signal_of(members, row.address).name.size());
    }
    constexpr size_t kAround = 6; // two blanks, and behind the name a blank, level, mark, blank
    const size_t columns = std::max<size_t>(width / (longest + kAround), 1);
    const size_t count = (rows.size() + columns - 1) / columns;
    std::vector<std::string> lines(count);
    for (size_t i = 0; i < rows.size(); ++i) {
        const PinRow& row = rows[i];
        const std::string words =
            fmt::format("{:<{}} {}{}", signal_of(members, row.address).name, longest,
                        level_text(row.level), row.changed ? '*' : ' ');
        lines[i % count] += "  " + (row.changed ? out.tone(Tone::Strong, words) : words) + " ";
    }
    for (std::string& line : lines) {
        line.erase(line.find_last_not_of(' ') + 1);
    }
    return lines;
}

Json cell_json(const boundary::Plan& plan, std::optional<size_t> cell) {
    return cell ? Json(plan.device().cells[*cell].number) : Json(nullptr);
}

Json pin_json(const std::vector<Member>& members, const PinRow& row) {
    const boundary::Plan& plan = *members[row.address.device].plan;
    const bsdl::Signal& signal = signal_of(members, row.address);
    const Pin& pin = plan_of(members, row.address);
    Json json = level_json(members, row);
    json["port"] = signal.name;
    json["package_pin"] = signal.pin.empty() ? Json(nullptr) : Json(signal.pin);
    json["direction"] = bsdl::port_mode_word(signal.mode);
    json["observing_cell"] = cell_json(plan, pin.observe);
    json["driving_cell"] = cell_json(plan, pin.drive);
    json["control_cell"] = pin.enable ? Json(*pin.enable) : Json(nullptr);
    return json;
}

} // namespace

std::string_view level_text(std::optional<boundary::Level> level) noexcept {
    return level ? boundary::text_of(*level) : "-";
}

void print_pins(const Output& out, const std::vector<Member>& members,
                const std::vector<PinRow>& rows) {
    for_each_device(rows, [&](size_t device, size_t begin, size_t end) {
        out.line("{}", out.tone(Tone::Strong, device_head(members[device])));
        TextTable table({"port", "pin", "direction", "cell", "level"});
        for (size_t i = begin; i < end; ++i) {
            const bsdl::Signal& signal = signal_of(members, rows[i].address);
            table.add({signal.name, signal.pin, std::string(bsdl::port_mode_word(signal.mode)),
                       cells_text(*members[device].plan, plan_of(members, rows[i].address)),
                       std::string(level_text(rows[i].level))});
        }
        out.table(table);
    });
}

std::vector<std::string> pin_block(const Output& out, const std::vector<Member>& members,
                                   const std::vector<PinRow>& rows, size_t width, size_t height) {
    std::vector<std::string> lines;
    for_each_device(rows, [&](size_t device, size_t begin, size_t end) {
        lines.push_back(out.tone(Tone::Strong, device_head(members[device])));
        for (std::string& line :
             block_of_device(out, members, std::span(rows).subspan(begin, end - begin), width)) {
            lines.push_back(std::move(line));
        }
    });
    if (lines.size() > height && height > 0) {
        const size_t hidden = lines.size() - height + 1;
        lines.resize(height - 1);
        lines.push_back(fmt::format("  {} more: choose pins with --filter or --device",
                                    count_text(hidden, "line")));
    }
    return lines;
}

Json level_json(const std::vector<Member>& members, const PinRow& row) {
    return Json{{"name", pin_text(members, row.address)},
                {"level", row.level ? Json(boundary::text_of(*row.level)) : Json(nullptr)}};
}

Json pins_json(const std::vector<Member>& members, const std::vector<PinRow>& rows) {
    Json devices = Json::array();
    for_each_device(rows, [&](size_t device, size_t begin, size_t end) {
        Json pins = Json::array();
        for (size_t i = begin; i < end; ++i) {
            pins.push_back(pin_json(members, rows[i]));
        }
        const bsdl::Device& description = members[device].plan->device();
        devices.push_back(Json{
            {"device", members[device].name},
            {"number", device + 1},
            {"part", description.name},
            {"package", description.package.empty() ? Json(nullptr) : Json(description.package)},
            {"cells", members[device].plan->bits()},
            {"pins", std::move(pins)}});
    });
    return Json{{"devices", std::move(devices)}};
}

} // namespace talvor
