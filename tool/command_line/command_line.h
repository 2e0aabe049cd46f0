// The command line of a program: its commands, their options and values, what was chosen. It knows
// none of the commands itself.
#pragma once

#include "common/command_description.h"
#include "common/result.h"

#include <cstdint>
#include <functional>
#include <map>
#include <memory>
#include <optional>
#include <string>
#include <vector>

namespace CLI { // NOLINT(readability-identifier-naming): the library names it
class App;
class Option;
} // namespace CLI

namespace talvor {

class Context;
class CommandLine;

// What a command does with the program's context; the command line only keeps it.
using Action = std::function<Status(Context&)>;
// Takes an option's text; its error, "thing: reason", is an error of the command line.
using TakeText = std::function<Status(const std::string&)>;

// The numbers that an option takes.
struct NumberRange {
    bool integral = false;
    long double least = 0;
    long double most = 0;
    bool least_is_in = true; // the least one itself, too
};

// An option or a positional value of a command, named by its command line. What it is told to be
// stands in the help, too.
class Option {
public:
    explicit Option(CLI::Option& option) noexcept : option_(&option) {}
    // One whose values are numbers, which are checked already.
    Option(CLI::Option& option, const NumberRange& range) noexcept
        : option_(&option), range_(range) {}

    Option& required();
    // What the help calls its value: "FILE".
    Option& type_name(const std::string& name);
    // The help shows the value that the variable has now.
    Option& show_default();
    // Neither help nor completion know it; errors call it by the name of what it stands for.
    Option& hidden(const std::string& stands_for);

    // Every other value is an error that names what is expected. Those of numbers are for numbers.
    Option& range(int32_t least, int32_t most);
    Option& range(uint32_t least, uint32_t most);
    Option& positive();
    Option& not_negative();
    Option& one_of(const std::vector<std::string>& words);

    // It has no effect without the other, or beside it: then it is an error.
    Option& needs(const Option& other);
    Option& excludes(const Option& other);

private:
    Option& limit(const NumberRange& range);

    CLI::Option* option_;
    NumberRange range_;
};

// The program or one of its commands; a handle that is copied freely, good as long as its command
// line. Variables get their values while it parses, and live at least as long.
class Command {
public:
    Command(CLI::App& app, CommandLine& line) noexcept : app_(&app), line_(&line) {}

    // A command of this one. The action is what CommandLine::chosen() gives when it was chosen;
    // without one a command of its own must follow.
    Command command(const std::string& name, const std::string& description, Action action);

    // A name that begins with dashes is an option's, every other a positional value's.
    Option option(const std::string& name, std::string& value, const std::string& description);
    Option option(const std::string& name, double& value, const std::string& description);
    Option option(const std::string& name, uint32_t& value, const std::string& description);
    Option option(const std::string& name, uint64_t& value, const std::string& description);
    Option option(const std::string& name, std::vector<std::string>& values,
                  const std::string& description);
    Option option(const std::string& name, std::optional<std::string>& value,
                  const std::string& description);
    Option option(const std::string& name, std::optional<uint32_t>& value,
                  const std::string& description);
    Option option(const std::string& name, std::optional<int32_t>& value,
                  const std::string& description);
    Option option(const std::string& name, TakeText take, const std::string& description);
    Option flag(const std::string& name, bool& value, const std::string& description);

    // Options of the program, by their long names, that this command would pass over: to give one
    // is an error.
    void makes_no_use_of(std::vector<std::string> options);
    // What the help ends with.
    void footer(const std::string& text);
    // The first word that it does not know and all behind it go to `rest`.
    void take_rest(std::vector<std::string>& rest);

    [[nodiscard]] std::string name() const;
    [[nodiscard]] std::string description() const;
    // The long names, with their dashes; hidden ones left out.
    [[nodiscard]] std::vector<std::string> option_names() const;
    [[nodiscard]] std::vector<Command> commands() const;

private:
    CLI::App* app_;
    CommandLine* line_;
};

class CommandLine {
public:
    CommandLine(const std::string& name, const std::string& description);
    ~CommandLine();
    CommandLine(const CommandLine&) = delete;
    CommandLine& operator=(const CommandLine&) = delete;

    [[nodiscard]] Command program() noexcept { return {*app_, *this}; }
    // All of it as data.
    [[nodiscard]] CommandDescription description() const;
    // What --version prints.
    void set_version(const std::string& text);

    enum class Outcome : uint8_t {
        Chosen,  // chosen() is to be run
        Printed, // help or version was asked for: printed() is to be printed
    };
    // Parses the words behind the program's name. Errors (ErrorKind::Usage) name the word and the
    // help that lists what could stand there.
    [[nodiscard]] Result<Outcome> parse(const std::vector<std::string>& words);
    // The action of the command that was chosen; empty before.
    [[nodiscard]] const Action& chosen() const noexcept { return chosen_; }
    // The words of it, as in "tclk search"; "" before.
    [[nodiscard]] std::string chosen_path() const;
    // The program's own options that were given, by their long names.
    [[nodiscard]] std::vector<std::string> given() const;
    // The help or the version that was asked for; "" otherwise.
    [[nodiscard]] const std::string& printed() const noexcept { return printed_; }

private:
    friend class Command;

    [[nodiscard]] Status check_unused() const;

    std::map<const CLI::App*, std::vector<std::string>> unused_; // see makes_no_use_of()
    std::unique_ptr<CLI::App> app_;
    Action chosen_;
    std::string printed_;
};

} // namespace talvor
