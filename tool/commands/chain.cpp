// talvor chain: every device of the scan chain.
#include "tool/commands/chain_text.h"
#include "tool/commands/commands.h"
#include "tool/commands/context.h"
#include "tool/commands/part_option.h"

namespace talvor {
namespace {

Status chain(Context& context, const std::string& parts) {
    const PartNames names = TRY(part_names(parts));
    Session& session = *TRY(context.session());
    const Chain found = TRY(session.discover());
    for (const Error& fault : TRY(session.descriptions())->folder.faults()) {
        context.out.note("passing over " + headline(fault));
    }
    print_chain(context.out, found, names);
    context.out.result(to_json(found, names));
    return {};
}

} // namespace

void add_chain(Command& program) {
    const auto parts = command_options<std::string>();
    Command command =
        program.command("chain", "Find every device of the scan chain (resets the TAPs)",
                        [parts](Context& context) { return chain(context, *parts); });
    add_parts_option(command, *parts);
}

} // namespace talvor
