// talvor chain: every device of the scan chain.
#include "commands/chain_text.h"
#include "commands/command_set.h"

namespace talvor {
namespace {

Status chain(Context& context) {
    const Result<Session*> session = context.session();
    if (!session) {
        return session.error();
    }
    const Result<Chain> found = (*session)->discover();
    if (!found) {
        return found.error();
    }
    print_chain(context.out, *found);
    context.out.result(to_json(*found));
    return {};
}

} // namespace

void add_chain(CommandSet& commands) {
    commands.add("chain", "Find every device of the scan chain (resets the TAPs)", chain);
}

} // namespace talvor
