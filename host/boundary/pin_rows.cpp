#include "host/boundary/pin_rows.h"

#include "common/interrupt.h"
#include "host/boundary/plan.h"

#include <fmt/format.h>

#include <algorithm>
#include <string>
#include <utility>

namespace talvor::boundary {
namespace {

bool fits(const Member& member, const bsdl::Signal& signal, std::string_view filter) {
    return fits_filter(signal.name, filter) || fits_filter(signal.pin, filter) ||
           fits_filter(member.name + "." + signal.name, filter);
}

} // namespace

std::vector<PinRow> pin_rows(const std::vector<Member>& members, std::string_view filter) {
    std::vector<PinRow> rows;
    for (size_t i = 0; i < members.size(); ++i) {
        if (!members[i].plan) {
            continue;
        }
        for (const Pin& pin : members[i].plan->pins()) {
            if (fits(members[i], members[i].plan->device().signals[pin.signal], filter)) {
                rows.push_back({{i, pin.signal}, std::nullopt, false});
            }
        }
    }
    return rows;
}

void enter_levels(const std::vector<Member>& members, const Images& samples,
                  std::vector<PinRow>& rows) {
    for (PinRow& row : rows) {
        const Plan& plan = *members[row.address.device].plan;
        const auto level =
            sampled_level(plan, *plan.find(row.address.signal), samples[row.address.device]);
        row.changed = std::exchange(row.level, level) != level;
    }
}

Status leave_samples(Access& access, Status done) {
    const InterruptsHeld held;
    Status reset = access.reset();
    if (reset) {
        reset = access.flush();
    }
    return done ? reset : done;
}

Package package_of(const std::vector<Member>& members, size_t device,
                   const std::vector<PinRow>& rows) {
    const bsdl::Device& description = members[device].plan->device();
    Package package;
    package.part = description.name;
    package.title =
        fmt::format("{}: {} {}", members[device].name, description.name, description.package);
    const bsdl::TapSignals& tap = description.tap;
    for (size_t i = 0; i < description.signals.size(); ++i) {
        const bsdl::Signal& signal = description.signals[i];
        PackagePin pin{signal.pin, signal.name, PinKind::Linkage, {}};
        if (i == tap.tck || i == tap.tms || i == tap.tdi || i == tap.tdo || i == tap.trst) {
            pin.kind = PinKind::Test;
        } else if (members[device].plan->find(i) != nullptr) {
            pin.kind = PinKind::Cell;
        }
        const auto row = std::ranges::find(rows, PinAddress{device, i}, &PinRow::address);
        if (row != rows.end()) {
            pin.level = row->level;
        }
        if (!pin.pin.empty()) {
            package.pins.push_back(std::move(pin));
        }
    }
    return package;
}

} // namespace talvor::boundary
