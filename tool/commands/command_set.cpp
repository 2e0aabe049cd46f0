#include "commands/command_set.h"

namespace talvor {

CLI::App& CommandSet::add(const std::string& name, const std::string& description, Action action,
                          CLI::App* parent) {
    CLI::App* command = (parent != nullptr ? parent : &app_)->add_subcommand(name, description);
    // The common options may also stand behind the command.
    command->fallthrough();
    if (!action) {
        command->require_subcommand(1);
        return *command;
    }
    // A subcommand's callback runs before that of the command it belongs to.
    command->final_callback([this, action = std::move(action)] {
        if (!chosen_) {
            chosen_ = action;
        }
    });
    return *command;
}

} // namespace talvor
