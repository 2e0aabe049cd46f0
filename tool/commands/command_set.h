// The commands of the program; each of the files beside this one adds one.
#pragma once

#include <functional>
#include <string>

#include <CLI/CLI.hpp>

#include "commands/context.h"
#include "support/result.h"

namespace talvor {

using Action = std::function<Status(Context&)>;

class CommandSet {
public:
    explicit CommandSet(CLI::App& app) : app_(app) {}

    // A command, or with `parent` a command of a command. The action runs when it was chosen, after
    // everything has been parsed. Without an action a subcommand must follow.
    CLI::App& add(const std::string& name, const std::string& description, Action action,
                  CLI::App* parent = nullptr);

    [[nodiscard]] CLI::App& app() noexcept { return app_; }
    // What was chosen; empty when nothing was.
    [[nodiscard]] const Action& chosen() const noexcept { return chosen_; }

private:
    CLI::App& app_;
    Action chosen_;
};

// Options of a command live as long as its action.
template <typename T>
std::shared_ptr<T> command_options() {
    return std::make_shared<T>();
}

void add_info(CommandSet& commands);
void add_chain(CommandSet& commands);
void add_ir(CommandSet& commands);
void add_dr(CommandSet& commands);
void add_state(CommandSet& commands);
void add_reset(CommandSet& commands);
void add_status(CommandSet& commands);
void add_link(CommandSet& commands);
void add_reg(CommandSet& commands);
void add_tclk(CommandSet& commands);
void add_svf(CommandSet& commands);
void add_trace(CommandSet& commands);
void add_bench(CommandSet& commands);
void add_doctor(CommandSet& commands);
void add_completion(CommandSet& commands);

} // namespace talvor
