#include "tool/command_line/command_line.h"

#include <CLI/CLI.hpp>
#include <fmt/format.h>

#include <algorithm>
#include <cerrno>
#include <cmath>
#include <cstdlib>
#include <limits>
#include <sstream>
#include <type_traits>
#include <utility>

namespace talvor {
namespace {

// The numbers that a type holds, as a check counts them.
template <typename Value>
constexpr NumberRange kWhole{std::is_integral_v<Value>,
                             static_cast<long double>(std::numeric_limits<Value>::lowest()),
                             static_cast<long double>(std::numeric_limits<Value>::max())};

// A number of any type; nothing when the text is none.
std::optional<long double> number_in(const std::string& text, bool integral) {
    long double number = 0;
    if (!integral) {
        return CLI::detail::lexical_cast(text, number) && std::isfinite(number)
                   ? std::optional(number)
                   : std::nullopt;
    }
    // As CLI11 converts it afterwards, but without wrapping, and without "0b101", which C libraries
    // take since C23.
    errno = 0;
    char* end = nullptr;
    const bool negative = text.starts_with('-');
    if (const size_t sign = negative || text.starts_with('+') ? 1 : 0;
        text.compare(sign, 2, "0b") == 0 || text.compare(sign, 2, "0B") == 0) {
        return std::nullopt;
    }
    const auto whole = negative ? static_cast<long double>(std::strtoll(text.c_str(), &end, 0))
                                : static_cast<long double>(std::strtoull(text.c_str(), &end, 0));
    return !text.empty() && *end == '\0' && errno == 0 ? std::optional(whole) : std::nullopt;
}

// "0 to 31", "0 or more", "more than 0".
std::string range_text(const NumberRange& range) {
    if (range.integral) {
        return fmt::format("a number from {:.0f} to {:.0f}", range.least, range.most);
    }
    if (range.least == 0) {
        return range.least_is_in ? "a number, 0 or more" : "a number of more than 0";
    }
    return "a number";
}

// What is wrong with `text`, "" for nothing.
std::string range_complaint(const std::string& text, const NumberRange& range) {
    const std::optional<long double> number = number_in(text, range.integral);
    const bool fits = number && *number <= range.most &&
                      (range.least_is_in ? *number >= range.least : *number > range.least);
    return fits ? "" : fmt::format("{}: expected {}", text, range_text(range));
}

// The name by which the check of a number is found again.
constexpr const char* kNumberCheck = "number";

Option numeric(CLI::Option& option, const NumberRange& range) {
    option.check(
        CLI::Validator([range](const std::string& text) { return range_complaint(text, range); },
                       "", kNumberCheck));
    return Option(option, range);
}

template <typename Value>
Option checked(CLI::Option& option) {
    if constexpr (std::is_arithmetic_v<Value>) {
        return numeric(option, kWhole<Value>);
    } else {
        return Option(option);
    }
}

template <typename Value>
Option add_option(CLI::App& app, const std::string& name, Value& value,
                  const std::string& description) {
    return checked<Value>(*app.add_option(name, value, description));
}

// One that is only set when it is given.
template <typename Value>
Option add_option(CLI::App& app, const std::string& name, std::optional<Value>& value,
                  const std::string& description) {
    return checked<Value>(*app.add_option_function<Value>(
        name, [&value](const Value& given) { value = given; }, description));
}

Error usage(std::string thing, std::string reason) {
    return {ErrorKind::Usage, 0, std::move(thing), std::move(reason), ""};
}

// What CLI11 says about an option begins with the option's name.
Error option_error(const CLI::ParseError& error, std::string_view between) {
    const std::string text = error.what();
    const size_t at = text.find(between);
    return at == std::string::npos ? usage("", text)
                                   : usage(text.substr(0, at), text.substr(at + between.size()));
}

// What CLI11 says about a word that it cannot place does not name the word.
// `met`: the level that could not place it; `deepest`: that to which the command line had come.
Error placed_error(const CLI::App& met, const CLI::App& deepest, const CLI::ParseError& error) {
    const std::vector<std::string> left = met.remaining();
    if (left.empty()) {
        return usage("", error.what());
    }
    const bool command_wanted =
        deepest.get_require_subcommand_min() != 0 && !left.front().starts_with('-');
    return usage(left.front(), command_wanted ? "is no command" : "is not expected here");
}

// The level to which the command line had come.
const CLI::App& deepest_level(const CLI::App& app) {
    const CLI::App* at = &app;
    while (!at->get_subcommands().empty()) {
        at = at->get_subcommands().front();
    }
    return *at;
}

// The words that lead to a level.
std::string path_of(const CLI::App& level) {
    if (level.get_parent() == nullptr) {
        return level.get_name();
    }
    const std::string before = path_of(*level.get_parent());
    return before.empty() ? level.get_name() : before + " " + level.get_name();
}

// The option that an error is about comes before words that have no place.
Error error_of(const CLI::App& app, const CLI::App& deepest, const CLI::ParseError& error) {
    if (error.get_name() == "ValidationError" || error.get_name() == "ConversionError") {
        return option_error(error, ": ");
    }
    if (error.get_name() == "ArgumentMismatch") {
        Error missing = option_error(error, ": ");
        missing.reason = "needs a value";
        return missing;
    }
    if (error.get_name() == "RequiresError") {
        Error needed = option_error(error, " requires ");
        needed.reason = "has no effect without " + needed.reason;
        return needed;
    }
    if (error.get_name() == "ExcludesError") {
        Error excluded = option_error(error, " excludes ");
        excluded.reason = "cannot be had with " + excluded.reason;
        return excluded;
    }
    return placed_error(deepest.remaining().empty() ? app : deepest, deepest, error);
}

// What is wrong with a command line, and where its help is.
Failure parse_failure(const CLI::App& app, const CLI::ParseError& error) {
    const CLI::App& deepest = deepest_level(app);
    Error usage = error_of(app, deepest, error);
    const std::string path = path_of(deepest);
    usage.next_step = path.empty() ? "run 'help'" : "run '" + path + " --help'";
    return Failure(std::move(usage));
}

// Whether help was asked for about a command that there is none of.
bool asks_about_nothing(const CLI::App& app) {
    const CLI::App& deepest = deepest_level(app);
    const std::vector<std::string> left =
        deepest.remaining().empty() ? app.remaining() : deepest.remaining();
    const bool has_commands =
        !deepest.get_subcommands([](const CLI::App*) { return true; }).empty();
    return has_commands && !left.empty() && !left.front().starts_with('-');
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

Option& Option::hidden(const std::string& stands_for) {
    option_->group("");
    option_->description(stands_for);
    return *this;
}

Option& Option::limit(const NumberRange& range) {
    range_ = range;
    option_->get_validator(kNumberCheck)->operation([range](std::string& text) {
        return range_complaint(text, range);
    });
    return *this;
}

Option& Option::range(int32_t least, int32_t most) {
    option_->get_validator(kNumberCheck)->description(fmt::format("{} to {}", least, most));
    return limit(
        {range_.integral, static_cast<long double>(least), static_cast<long double>(most)});
}

Option& Option::range(uint32_t least, uint32_t most) {
    option_->get_validator(kNumberCheck)->description(fmt::format("{} to {}", least, most));
    return limit(
        {range_.integral, static_cast<long double>(least), static_cast<long double>(most)});
}

Option& Option::positive() {
    return limit({range_.integral, range_.integral ? 1.0L : 0.0L, range_.most, range_.integral});
}

Option& Option::not_negative() {
    return limit({range_.integral, 0, range_.most});
}

Option& Option::one_of(const std::vector<std::string>& words) {
    option_->check(CLI::IsMember(words));
    return *this;
}

Option& Option::needs(const Option& other) {
    option_->needs(other.option_);
    return *this;
}

Option& Option::excludes(const Option& other) {
    option_->excludes(other.option_);
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
    CLI::Option& added = *app_->add_option(name, values, description);
    // An option takes one value each time that it is given, so that a positional may follow.
    added.allow_extra_args(!name.starts_with('-'));
    return checked<std::vector<std::string>>(added);
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

void Command::makes_no_use_of(std::vector<std::string> options) {
    line_->unused_[app_] = std::move(options);
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
        if (asks_about_nothing(*app_)) {
            return parse_failure(*app_, CLI::ExtrasError(std::vector<std::string>()));
        }
        std::ostringstream text;
        app_->exit(error, text, text);
        printed_ = text.str();
        return Outcome::Printed;
    }
    TRY(check_unused());
    return Outcome::Chosen;
}

std::string CommandLine::chosen_path() const {
    const std::string path = path_of(deepest_level(*app_));
    const std::string& program = app_->get_name();
    if (program.empty()) {
        return path;
    }
    return path == program ? std::string() : path.substr(program.size() + 1);
}

std::vector<std::string> CommandLine::given() const {
    std::vector<std::string> names;
    for (const CLI::Option* option : app_->get_options()) {
        if (option->count() != 0) {
            const bool hidden = option->get_group().empty();
            names.push_back(hidden ? option->get_description() : option->get_name());
        }
    }
    return names;
}

Status CommandLine::check_unused() const {
    const CLI::App& chosen = deepest_level(*app_);
    const auto unused = unused_.find(&chosen);
    if (unused == unused_.end()) {
        return {};
    }
    for (const std::string& name : given()) {
        if (std::find(unused->second.begin(), unused->second.end(), name) != unused->second.end()) {
            return usage_error(name, fmt::format("'{}' makes no use of it", path_of(chosen)),
                               "leave it away");
        }
    }
    return {};
}

} // namespace talvor
