#include "tool/commands/play_device.h"

#include "tool/commands/context.h"
#include "tool/commands/device_choice.h"

#include <utility>

namespace talvor {

PlayDevice::PlayDevice(Session& session, std::string choice, Look look)
    : session_(session), choice_(std::move(choice)), look_(look), port_(session.port()) {}

JtagPort& PlayDevice::port() noexcept {
    return choice_.empty() ? static_cast<JtagPort&>(session_.port()) : port_;
}

Status PlayDevice::stand(const Chain& chain, IdCodes codes) {
    const size_t index = TRY(find_device(chain, choice_));
    port_.stand_at(place_of(chain, index, codes));
    number_ = index + 1;
    name_ = chain.devices[index].name;
    return {};
}

Status PlayDevice::describe(const Context& context) {
    if (choice_.empty()) {
        return {};
    }
    if (const auto chain = TRY(session_.described_chain())) {
        return stand(*chain, IdCodes::Unknown);
    }
    if (look_ == Look::ResetsNothing) {
        return usage_error("--device", "finding the other devices would reset the TAPs",
                           "list the devices in the board file or with --ir-lengths, or leave "
                           "--no-reset away");
    }
    if (look_ == Look::ShiftsNothing) {
        context.out.note("whether the chain has device " + choice_ +
                         " is seen when the file is played; with the devices in the board file or "
                         "--ir-lengths it is checked");
    }
    return {};
}

Status PlayDevice::find() {
    if (choice_.empty() || look_ != Look::Yes) {
        return {};
    }
    return stand(TRY(discover_with_lengths(session_)), IdCodes::Read);
}

Status PlayDevice::leave() {
    if (choice_.empty()) {
        return {};
    }
    TRY(port_.leave());
    return session_.port().flush();
}

} // namespace talvor
