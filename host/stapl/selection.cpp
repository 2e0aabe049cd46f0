#include "host/stapl/selection.h"

#include "common/text.h"

#include <fmt/format.h>

#include <algorithm>
#include <charconv>
#include <optional>

namespace talvor::stapl {

namespace {

std::string joined(const std::vector<std::string>& names) {
    return fmt::format("{}", fmt::join(names, ", "));
}

// Decimal with or without a sign, or hexadecimal behind $ or 0x.
std::optional<int32_t> number_of(std::string_view text) {
    int base = 10;
    for (const std::string_view prefix : {"$", "0x", "0X"}) {
        if (base == 10 && text.starts_with(prefix)) {
            text.remove_prefix(prefix.size());
            base = 16;
        }
    }
    int64_t value = 0;
    const auto [end, error] = std::from_chars(text.data(), text.data() + text.size(), value, base);
    if (error != std::errc() || end != text.data() + text.size() || text.empty() ||
        value < INT32_MIN || value > (base == 16 ? int64_t{UINT32_MAX} : int64_t{INT32_MAX})) {
        return std::nullopt;
    }
    return static_cast<int32_t>(value);
}

class Selector {
public:
    Selector(const Program& program, const Action& action) : program_(program) {
        found_.action = &action;
        for (const Action::Item& item : action.items) {
            runs_.push_back(item.need != Action::Need::Optional);
        }
    }

    Status choose(const Choices& choices) {
        for (const std::string& name : choices.enable) {
            TRY(turn(name, true));
        }
        for (const std::string& name : choices.disable) {
            TRY(turn(name, false));
        }
        for (const std::string& value : choices.values) {
            TRY(set(value));
        }
        return {};
    }

    Selection selected() && {
        for (size_t i = 0; i < runs_.size(); ++i) {
            if (runs_[i]) {
                found_.procedures.push_back(found_.action->items[i].block);
            }
        }
        return std::move(found_);
    }

private:
    [[nodiscard]] const std::string& name_of(const Action::Item& item) const {
        return program_.blocks[item.block].name;
    }

    // Whether the action has a procedure of this name.
    [[nodiscard]] bool has(std::string_view name) const {
        return std::any_of(
            found_.action->items.begin(), found_.action->items.end(),
            [&](const Action::Item& item) { return same_name(name_of(item), name); });
    }

    [[nodiscard]] std::string free_names() const {
        std::vector<std::string> names;
        for (const Action::Item& item : found_.action->items) {
            if (item.need != Action::Need::Always) {
                names.push_back(name_of(item));
            }
        }
        return names.empty() ? fmt::format("{} leaves no procedure open", found_.action->name)
                             : fmt::format("those that {} leaves open: {}", found_.action->name,
                                           joined(names));
    }

    Status turn(const std::string& name, bool runs) {
        if (!has(name)) {
            return usage_error(name, fmt::format("{} has no such procedure", found_.action->name),
                               free_names());
        }
        for (size_t i = 0; i < runs_.size(); ++i) {
            const Action::Item& item = found_.action->items[i];
            if (same_name(name_of(item), name)) {
                if (item.need == Action::Need::Always && !runs) {
                    return usage_error(name,
                                       fmt::format("{} cannot do without it", found_.action->name),
                                       free_names());
                }
                runs_[i] = runs;
            }
        }
        return {};
    }

    Status set(const std::string& text) {
        const size_t equals = text.find('=');
        const std::optional<int32_t> value =
            equals == std::string::npos ? std::nullopt
                                        : number_of(std::string_view(text).substr(equals + 1));
        if (!value) {
            return usage_error(text, "is not NAME=VALUE with an integer of 32 bits",
                               "hexadecimal values begin with $ or 0x");
        }
        const std::string name = text.substr(0, equals);
        if (has(name)) {
            return turn(name, *value != 0);
        }
        bool any = false;
        for (size_t i = 0; i < program_.variables.size(); ++i) {
            const Variable& variable = program_.variables[i];
            if (!variable.is_array && same_name(variable.name, name)) {
                found_.values[static_cast<uint32_t>(i)] =
                    variable.type == Type::Boolean ? (*value != 0 ? 1 : 0) : *value;
                any = true;
            }
        }
        return any ? Status()
                   : usage_error(name,
                                 fmt::format("{} has no such variable, and {} no such "
                                             "procedure",
                                             program_.file, found_.action->name),
                                 "variables are those of one value, not arrays");
    }

    const Program& program_;
    Selection found_;
    std::vector<bool> runs_; // by item
};

} // namespace

std::string action_names(const Program& program) {
    std::vector<std::string> names;
    for (const Action& action : program.actions) {
        names.push_back(action.name);
    }
    return joined(names);
}

Result<Selection> select(const Program& program, const Choices& choices) {
    const Action* action = program.actions.empty() ? nullptr : &program.actions.front();
    if (!choices.action.empty()) {
        action = program.action(choices.action);
        if (action == nullptr) {
            return usage_error(choices.action, fmt::format("{} has no such action", program.file),
                               fmt::format("its actions are {}", action_names(program)));
        }
    } else if (program.actions.size() != 1) {
        return usage_error(program.file, fmt::format("it has {} actions", program.actions.size()),
                           fmt::format("name one with --action: {}", action_names(program)));
    }
    Selector selector(program, *action);
    TRY(selector.choose(choices));
    return std::move(selector).selected();
}

} // namespace talvor::stapl
