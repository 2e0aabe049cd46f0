#include "tool/commands/inner_command.h"

#include "tool/commands/app.h"
#include "tool/commands/context.h"
#include "tool/output/standard_streams.h"

#include <memory>

namespace talvor {

Result<Action> inner_action(Context& context, const std::vector<std::string>& words,
                            const std::string& next_step) {
    if (words.empty()) {
        return usage_error("", "A command is required", next_step);
    }
    const auto line = std::make_shared<CommandLine>("talvor", "");
    build_command_line(*line, context.options);
    const auto outcome = line->parse(join_simulate(words));
    if (!outcome) {
        return usage_error(outcome.error().thing, outcome.error().reason, next_step);
    }
    if (*outcome == CommandLine::Outcome::Printed) {
        write_output(line->printed());
        return Action();
    }
    // The options live as long as the action is kept.
    return Action([line](Context& inner) { return line->chosen()(inner); });
}

} // namespace talvor
