#include "tool/commands/pin_chain.h"

#include "host/boundary/members.h"
#include "tool/commands/context.h"

#include <utility>

namespace talvor {

Result<PinChain> find_pin_chain(Context& context, const std::string& device, PinUse use) {
    Session* const session = TRY(context.session());
    auto made = TRY(boundary::members_of(TRY(session->discover()), device));
    if (use == PinUse::Drive) {
        TRY(std::move(made.drivable));
    }
    for (const std::string& note : made.notes) {
        context.out.note(note);
    }
    return PinChain{session, std::move(made.members)};
}

} // namespace talvor
