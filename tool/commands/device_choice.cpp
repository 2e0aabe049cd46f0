#include "tool/commands/device_choice.h"

#include "tool/commands/context.h"

namespace talvor {

Result<Chain> discover_with_lengths(Session& session) {
    Chain chain = TRY(session.discover());
    if (!chain.lengths_known) {
        return usage_error("--device", "the instruction lengths of the chain are ambiguous",
                           "give them with --ir-lengths; 'talvor chain' says more");
    }
    return chain;
}

} // namespace talvor
