// A program's command line as data, which completions and manual pages are made from.
#pragma once

#include <string>
#include <utility>
#include <vector>

namespace talvor {

// An option, or a value that stands by itself.
struct OptionDescription {
    std::vector<std::string> names{}; // "--link", "-h"; empty: it stands by itself
    std::string value{};  // what the help calls its value, as in "FILE"; "": it has none
    std::string text{};   // what it does
    std::string preset{}; // the value without it; "": the help does not tell
    std::vector<std::string> words{}; // values that are worth offering; empty: any
    bool value_optional = false;      // given as --option=VALUE only
    bool required = false;
    bool takes_program = false; // some other program and its arguments follow
};

struct CommandDescription {
    std::string name{};
    std::string text{};
    std::vector<OptionDescription> options{};     // hidden ones left out
    std::vector<OptionDescription> positionals{}; // in their order
    std::vector<CommandDescription> commands{};
    bool takes_outer_options = false; // those of the program, too
    bool takes_command = false;       // a command of the program and its options follow
};

// Whether the value is the name of a file.
[[nodiscard]] bool is_file(const OptionDescription& option);

// What is offered for values of a name.
using ValueWords = std::vector<std::pair<std::string, std::vector<std::string>>>;
// Enters the words for each value whose name is in the list and that has none yet.
void enter_words(CommandDescription& command, const ValueWords& words);

// The description of a CLI::App, without a need to see its header here.
template <typename App>
CommandDescription describe_app(const App& app);

namespace detail {

// What CLI11 appends to a value's name, as in "TEXT:{always,never}", taken off it.
void read_value_name(const std::string& text, OptionDescription& option);

template <typename Option>
OptionDescription describe_option(const Option& option) {
    OptionDescription described;
    for (const std::string& name : option.get_lnames()) {
        described.names.push_back("--" + name);
    }
    for (const std::string& name : option.get_snames()) {
        described.names.push_back("-" + name);
    }
    described.text = option.get_description();
    described.required = option.get_required();
    if (option.get_items_expected_max() != 0) {
        described.preset = option.get_default_str();
        read_value_name(option.get_type_name(), described);
    }
    if (described.names.empty()) {
        described.value = option.get_name(true);
    }
    return described;
}

} // namespace detail

template <typename App>
CommandDescription describe_app(const App& app) {
    CommandDescription command;
    command.name = app.get_name();
    command.text = app.get_description();
    command.takes_command = app.get_prefix_command();
    command.takes_outer_options = app.get_fallthrough();
    for (const auto* option : app.get_options()) {
        // What has no group is hidden.
        if (!option->get_group().empty()) {
            OptionDescription described = detail::describe_option(*option);
            auto& into = described.names.empty() ? command.positionals : command.options;
            into.push_back(std::move(described));
        }
    }
    for (const auto* inner : app.get_subcommands([](const App*) { return true; })) {
        if (!inner->get_group().empty()) {
            command.commands.push_back(describe_app(*inner));
        }
    }
    return command;
}

} // namespace talvor
