#include "common/bsdl/checks.h"

#include "common/bsdl/words.h"

#include <fmt/format.h>

#include <array>

namespace talvor::bsdl {
namespace {

// The signals of the test access port by what the file calls their roles.
struct Role {
    const char* name;
    const std::optional<size_t>* signal;
    PortMode mode;
    bool required;
};

void check_role(const Draft& draft, const Role& role) {
    if (!*role.signal) {
        if (role.required && !draft.source.ports.empty()) {
            draft.report.error(draft.source.place,
                               fmt::format("no {} says which port it is", role.name));
        }
        return;
    }
    const Signal& signal = draft.device.signals[**role.signal];
    if (signal.mode != role.mode) {
        draft.report.warning(signal.place,
                             fmt::format("{} is an '{}' port, and as {} it should be '{}'",
                                         signal.name, port_mode_word(signal.mode), role.name,
                                         port_mode_word(role.mode)));
    }
}

} // namespace

void check_ports(const Draft& draft) {
    if (draft.source.ports.empty()) {
        draft.report.warning(draft.source.place, "the device has no ports");
    }
    if (draft.device.edition == 0) {
        draft.report.warning(draft.source.place,
                             "no use clause names the standard, as in 'use STD_1149_1_2001.all;'");
    }
    const TapSignals& tap = draft.device.tap;
    for (const Role& role : {Role{"TAP_SCAN_IN", &tap.tdi, PortMode::In, true},
                             Role{"TAP_SCAN_MODE", &tap.tms, PortMode::In, true},
                             Role{"TAP_SCAN_CLOCK", &tap.tck, PortMode::In, true},
                             Role{"TAP_SCAN_OUT", &tap.tdo, PortMode::Out, true},
                             Role{"TAP_SCAN_RESET", &tap.trst, PortMode::In, false}}) {
        check_role(draft, role);
    }
}

void check_device(const Draft& draft) {
    check_ports(draft);
    check_instructions(draft);
    check_registers(draft);
    check_cells(draft);
}

} // namespace talvor::bsdl
