// talvor chain: every device of the scan chain.
#include "tool/commands/chain_text.h"
#include "tool/commands/commands.h"
#include "tool/commands/context.h"

namespace talvor {
namespace {

Status chain(Context& context) {
    Session& session = *TRY(context.session());
    const Chain found = TRY(session.discover());
    print_chain(context.out, found);
    context.out.result(to_json(found));
    return {};
}

} // namespace

void add_chain(Command& program) {
    program.command("chain", "Find every device of the scan chain (resets the TAPs)", chain);
}

} // namespace talvor
