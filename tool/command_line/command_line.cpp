#include "tool/command_line/command_line.h"

#include <CLI/CLI.hpp>

#include <sstream>
#include <utility>

namespace talvor {
namespace {

template <typename Value>
Option add_option(CLI::App& app, const std::string& name, Value& value,
                  const std::string& description) {
    return Option(*app.add_option(name, value, description));
}

// One that is only set when it is given.
template <typename Value>
Option add_option(CLI::App& app, const std::string& name, std::optional<Value>& value,
                  const std::string& description) {
    return Option(*app.add_option_function<Value>(
        name, [&value](const Value& given) { value = given; }, description));
}

// What CLI11 says about a word that it cannot place does not name the word.
// `met`: the level that could not place it; `deepest`: that to which the command line had come.
Error placed_error(const CLI::App& met, const CLI::App& deepest, const CLI::ParseError& error) {
    const std::vector<std::string> left = met.remaining();
    if (left.empty()) {
        return Error{ErrorKind::Usage, 0, "", error.what(), ""};
    }
    const bool command_wanted =
        deepest.get_require_subcommand_min() != 0 && !left.front().starts_with('-');
    return Error{ErrorKind::Usage, 0, left.front(),
                 command_wanted ? "is no command" : "is not expected here", ""};
}

// What is wrong with a command line, and where its help is.
Failure parse_failure(const CLI::App& app, const CLI::ParseError& error) {
    const CLI::App* at = &app;
    std::string name = app.get_name();
    while (!at->get_subcommands().empty()) {
        at = at->get_subcommands().front();
        name += " " + at->get_name();
    }
    Error usage = placed_error(at->remaining().empty() ? app : *at, *at, error);
    usage.next_step = "run '" + name + " --help'";
    return Failure(std::move(usage));
}

} // namespace

Option& Option::required() {
    option_->required();
    return *this;
}

Option& Option::type_name(const std::string& name) {
    option_->type_name(name);
    return *this;
}

Option& Option::show_default() {
    option_->capture_default_str();
    return *this;
}

Option& Option::hidden() {
    option_->group("");
    return *this;
}

Option& Option::range(int32_t least, int32_t most) {
    option_->check(CLI::Range(least, most));
    return *this;
}

Option& Option::range(uint32_t least, uint32_t most) {
    option_->check(CLI::Range(least, most));
    return *this;
}

Option& Option::positive() {
    option_->check(CLI::PositiveNumber);
    return *this;
}

Option& Option::not_negative() {
    option_->check(CLI::NonNegativeNumber);
    return *this;
}

Option& Option::one_of(const std::vector<std::string>& words) {
    option_->check(CLI::IsMember(words));
    return *this;
}

Command Command::command(const std::string& name, const std::string& description, Action action) {
    CLI::App* added = app_->add_subcommand(name, description);
    // The common options may also stand behind the command.
    added->fallthrough();
    if (!action) {
        added->require_subcommand(1);
        return {*added, *line_};
    }
    // A subcommand's callback runs before that of the command it belongs to.
    added->final_callback([line = line_, action = std::move(action)] {
        if (!line->chosen_) {
            line->chosen_ = action;
        }
    });
    return {*added, *line_};
}

Option Command::option(const std::string& name, std::string& value,
                       const std::string& description) {
    return add_option(*app_, name, value, description);
}

Option Command::option(const std::string& name, double& value, const std::string& description) {
    return add_option(*app_, name, value, description);
}

Option Command::option(const std::string& name, uint32_t& value, const std::string& description) {
    return add_option(*app_, name, value, description);
}

Option Command::option(const std::string& name, uint64_t& value, const std::string& description) {
    return add_option(*app_, name, value, description);
}

Option Command::option(const std::string& name, std::vector<std::string>& values,
                       const std::string& description) {
    return add_option(*app_, name, values, description);
}

Option Command::option(const std::string& name, std::optional<std::string>& value,
                       const std::string& description) {
    return add_option(*app_, name, value, description);
}

Option Command::option(const std::string& name, std::optional<uint32_t>& value,
                       const std::string& description) {
    return add_option(*app_, name, value, description);
}

Option Command::option(const std::string& name, std::optional<int32_t>& value,
                       const std::string& description) {
    return add_option(*app_, name, value, description);
}

Option Command::option(const std::string& name, TakeText take, const std::string& description) {
    // It is refused in CLI11's way, since it happens while it parses.
    return Option(*app_->add_option_function<std::string>(
        name,
        [take = std::move(take)](const std::string& text) {
            if (const Status taken = take(text); !taken) {
                throw CLI::ValidationError(taken.error().thing, taken.error().reason);
            }
        },
        description));
}

Option Command::flag(const std::string& name, bool& value, const std::string& description) {
    return Option(*app_->add_flag(name, value, description));
}

void Command::footer(const std::string& text) {
    app_->footer(text);
}

void Command::take_rest(std::vector<std::string>& rest) {
    app_->fallthrough(false);
    app_->prefix_command();
    app_->parse_complete_callback([app = app_, &rest] { rest = app->remaining(); });
}

std::string Command::name() const {
    return app_->get_name();
}

std::string Command::description() const {
    return app_->get_description();
}

std::vector<std::string> Command::option_names() const {
    std::vector<std::string> names;
    for (const CLI::Option* option : app_->get_options()) {
        for (const std::string& name : option->get_lnames()) {
            // What has no group is hidden.
            if (!option->get_group().empty()) {
                names.push_back("--" + name);
            }
        }
    }
    return names;
}

std::vector<Command> Command::commands() const {
    std::vector<Command> all;
    for (CLI::App* one : app_->get_subcommands([](CLI::App*) { return true; })) {
        all.emplace_back(*one, *line_);
    }
    return all;
}

CommandLine::CommandLine(const std::string& name, const std::string& description)
    : app_(std::make_unique<CLI::App>(description, name)) {
    app_->require_subcommand(1);
}

CommandLine::~CommandLine() = default;

CommandDescription CommandLine::description() const {
    return describe_app(*app_);
}

void CommandLine::set_version(const std::string& text) {
    app_->set_version_flag("--version", text);
}

Result<CommandLine::Outcome> CommandLine::parse(const std::vector<std::string>& words) {
    try {
        // CLI11 takes the words from the back.
        app_->parse(std::vector<std::string>(words.rbegin(), words.rend()));
    } catch (const CLI::ParseError& error) {
        // CLI11's own codes are its affair: help and version are done, everything else is usage.
        if (error.get_exit_code() != 0) {
            return parse_failure(*app_, error);
        }
        std::ostringstream text;
        app_->exit(error, text, text);
        printed_ = text.str();
        return Outcome::Printed;
    }
    return Outcome::Chosen;
}

} // namespace talvor
