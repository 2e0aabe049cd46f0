// The pins of a chain through its boundary registers: sampled, or driven.
#include "common/bsdl/words.h"
#include "host/boundary/compliance.h"
#include "host/boundary/members.h"
#include "host/boundary/pin_drive.h"
#include "host/boundary/pin_rows.h"
#include "python/src/connection.h"
#include "python/src/named_chain.h"
#include "python/src/parts.h"

#include <fmt/format.h>

#include <algorithm>
#include <optional>
#include <pybind11/stl.h>
#include <string>
#include <tuple>
#include <utility>
#include <vector>

namespace talvor::python {
namespace {

using boundary::Access;
using boundary::Images;
using boundary::Instruction;
using boundary::Level;
using boundary::Member;
using boundary::PinRow;
using boundary::PinSetting;

using Levels = std::vector<std::optional<int>>; // 0, 1, 2 for Z; nothing: not known
using Notes = std::vector<std::string>;

// The devices of a chain with their pins, in the order in which levels are told.
struct Pins : boundary::ChainMembers {
    std::vector<PinRow> rows{};
    // The last samples', as long as nobody else has used the pod since.
    std::optional<Access> access{};
    uint64_t last_call = 0;
};

// Pins that are driven until they are let go.
class DrivenPins final : public Holder {
public:
    DrivenPins(JtagPort& port, const Pins& pins, boundary::DriveWays ways)
        : access_(port, pins.members), ways_(ways) {}

    Status enter(const std::vector<PinSetting>& settings, Notes& notes) {
        images_ = TRY(images_with(access_, settings, ways_, access_.safe(), notes));
        instructions_ = instructions_for(access_, settings, ways_.instruction);
        const Notes driving = notes_of_driving(access_, instructions_, settings);
        notes.insert(notes.end(), driving.begin(), driving.end());
        return drive(test_, access_, instructions_, images_);
    }
    Status set(const std::vector<PinSetting>& settings, Notes& notes) {
        TRY(check_settings(settings));
        const Images images = TRY(images_with(access_, settings, ways_, images_, notes));
        TRY(access_.exchange(images, nullptr));
        images_ = images;
        return access_.flush();
    }
    Result<Levels> read(const std::vector<PinRow>& rows) {
        Images captured;
        TRY(access_.exchange(images_, &captured));
        Levels levels;
        for (const PinRow& row : rows) {
            levels.push_back(level_of(row, captured));
        }
        return levels;
    }
    [[nodiscard]] bool readable() const noexcept { return selects_boundary(ways_.instruction); }
    [[nodiscard]] bool entered() const noexcept { return test_.entered(); }

    Status let_go() override { return test_.leave(); }
    [[nodiscard]] Error refusal() const override {
        return {ErrorKind::Refused, 0, "pod", "its pins are driven",
                "leave the with block of pins.drive(), or call its leave()"};
    }

private:
    // Only devices that are in the test mode, and only by a scan of their boundary registers.
    [[nodiscard]] Status check_settings(const std::vector<PinSetting>& settings) const {
        if (!readable()) {
            return refused_error(std::string(name_of(ways_.instruction)),
                                 "holds the levels that it began with",
                                 "let go, and drive others, or drive by EXTEST");
        }
        for (const PinSetting& setting : settings) {
            if (instructions_[setting.address.device] == Instruction::Bypass) {
                return refused_error(pin_text(access_.members(), setting.address),
                                     "its device is in BYPASS, since no pin of it was named",
                                     "name one where driving begins, or none of any device");
            }
        }
        return {};
    }
    [[nodiscard]] std::optional<int> level_of(const PinRow& row, const Images& captured) const {
        const size_t device = row.address.device;
        if (instructions_[device] != ways_.instruction) {
            return std::nullopt;
        }
        const boundary::Plan& plan = *access_.members()[device].plan;
        const boundary::Pin& pin = *plan.find(row.address.signal);
        const std::optional<Level> level =
            ways_.instruction == Instruction::Intest
                ? intest_level(plan, pin, captured[device])
                : extest_level(plan, pin, captured[device], images_[device]);
        return level ? std::optional(static_cast<int>(*level)) : std::nullopt;
    }

    Access access_;
    boundary::TestMode test_{access_};
    boundary::DriveWays ways_;
    std::vector<Instruction> instructions_;
    Images images_;
};

// Finds the chain, which resets the TAPs. `names` go before those of BSDL files.
std::shared_ptr<Pins> find_pins(Connection& connection, const std::string& device,
                                const std::vector<std::string>& names) {
    return connection.use(Length::Long, [&](Session& session) -> Result<std::shared_ptr<Pins>> {
        const Chain chain = TRY(named_chain(session, names));
        auto pins = std::make_shared<Pins>(Pins{TRY(boundary::members_of(chain, device))});
        pins->rows = boundary::pin_rows(pins->members, "");
        for (const Member& member : pins->members) {
            if (std::string sentence = boundary::compliance_sentence(member); !sentence.empty()) {
                pins->notes.push_back(std::move(sentence));
            }
        }
        return pins;
    });
}

// (device, its number from 1, part, signal, package pin, direction, observing, driving and control
// cell or None) of each pin.
py::list pin_facts(const Pins& pins) {
    py::list list;
    for (const PinRow& row : pins.rows) {
        const Member& member = pins.members[row.address.device];
        const bsdl::Device& device = member.plan->device();
        const bsdl::Signal& signal = device.signals[row.address.signal];
        const boundary::Pin& pin = *member.plan->find(row.address.signal);
        const auto number = [&device](std::optional<size_t> cell) {
            return cell ? std::optional<size_t>(device.cells[*cell].number) : std::nullopt;
        };
        list.append(py::make_tuple(member.name, row.address.device + 1, device.name, signal.name,
                                   signal.pin, std::string(bsdl::port_mode_word(signal.mode)),
                                   number(pin.observe), number(pin.drive), pin.enable));
    }
    return list;
}

// The place among the rows of the pin that a person calls `text`.
size_t find_row(const Pins& pins, const std::string& text) {
    const boundary::PinAddress address = value_of(find_pin(pins.members, text));
    const auto row = std::ranges::find(pins.rows, address, &PinRow::address);
    if (row == pins.rows.end()) {
        raise({ErrorKind::Refused, 0, pin_text(pins.members, address),
               "no cell of the boundary register reaches this pin",
               "list(pod.pins) has those "
               "that one does"});
    }
    return static_cast<size_t>(row - pins.rows.begin());
}

// One sample while the target runs on. `stay`: another one is to follow, and the TAPs are left in
// SAMPLE; else they are reset.
Levels sample(Connection& connection, Pins& pins, bool stay) {
    return connection.use(Length::Long, [&](Session& session) -> Result<Levels> {
        if (!pins.access || pins.last_call + 1 != connection.call_number()) {
            session.port().set_receive_mode(PodPort::ReceiveMode::Exact);
            pins.access.emplace(session.port(), pins.members);
        }
        pins.last_call = connection.call_number();
        Images images;
        Status done = pins.access->sample(images);
        if (!stay || !done) {
            done = leave_samples(*pins.access, std::move(done));
            pins.access.reset();
        }
        TRY(std::move(done));
        enter_levels(pins.members, images, pins.rows);
        Levels levels;
        for (const PinRow& row : pins.rows) {
            levels.push_back(row.level ? std::optional(static_cast<int>(*row.level))
                                       : std::nullopt);
        }
        return levels;
    });
}

// Behind samples that stayed: the TAPs are reset, unless somebody else has used the pod.
void leave_sampling(Connection& connection, Pins& pins) {
    connection.use(Length::Long, [&](Session& session) -> Status {
        const bool ours = pins.access && pins.last_call + 1 == connection.call_number();
        pins.access.reset();
        if (!ours) {
            return {};
        }
        Access access(session.port(), pins.members);
        return leave_samples(access, {});
    });
}

Result<std::vector<PinSetting>> settings_of(const Pins& pins,
                                            const std::vector<std::string>& words) {
    std::vector<PinSetting> settings;
    for (const std::string& word : words) {
        settings.push_back(TRY(parse_setting(pins.members, word)));
    }
    return settings;
}

Status check_compliance(const Pins& pins, bool met) {
    for (const Member& member : pins.members) {
        const std::string condition = compliance_condition(member);
        if (!met && !condition.empty()) {
            return refused_error(member.name, condition,
                                 "see to it, then give compliance_met=True");
        }
    }
    return {};
}

// `words` as in "u1.PA(3)=1".
std::tuple<std::shared_ptr<DrivenPins>, Notes> drive_pins(Connection& connection, const Pins& pins,
                                                          const std::vector<std::string>& words,
                                                          const std::string& instruction,
                                                          bool enable_others, bool compliance_met) {
    const auto way = boundary::driving_instruction(instruction);
    if (!way) {
        raise({ErrorKind::Usage, 0, instruction, "is no instruction that drives pins",
               "choose extest, clamp, highz or intest"});
    }
    const boundary::DriveWays ways{*way, enable_others};
    Notes notes;
    auto driven =
        connection.use(Length::Long, [&](Session& session) -> Result<std::shared_ptr<DrivenPins>> {
            TRY(pins.drivable);
            const auto settings = TRY(settings_of(pins, words));
            TRY(check_compliance(pins, compliance_met));
            session.port().set_receive_mode(PodPort::ReceiveMode::Exact);
            auto made = std::make_shared<DrivenPins>(session.port(), pins, ways);
            TRY(made->enter(settings, notes));
            connection.hold(made);
            return made;
        });
    return {std::move(driven), std::move(notes)};
}

Notes set_pins(Connection& connection, DrivenPins& driven, const Pins& pins,
               const std::vector<std::string>& words) {
    Notes notes;
    connection.use_as(&driven, Length::Long, [&](Session&) -> Status {
        if (!driven.entered()) {
            return refused_error("pins", "they have been let go", "drive them again");
        }
        return driven.set(TRY(settings_of(pins, words)), notes);
    });
    return notes;
}

Levels read_pins(Connection& connection, DrivenPins& driven, const Pins& pins) {
    return connection.use_as(&driven, Length::Long, [&](Session&) -> Result<Levels> {
        if (!driven.entered()) {
            return refused_error("pins", "they have been let go", "drive them again");
        }
        return driven.readable() ? driven.read(pins.rows) : Levels(pins.rows.size());
    });
}

// Safe values, BYPASS, Test-Logic-Reset; nothing where that was done already.
void let_go(Connection& connection, DrivenPins& driven) {
    if (connection.closed() || !driven.entered()) {
        return;
    }
    connection.use_as(&driven, Length::Long, [&](Session&) {
        connection.hold(nullptr);
        return driven.let_go();
    });
}

// The package of a device (its number from 1) with the levels of the last sample.
std::string package_svg(const Pins& pins, size_t device) {
    return boundary::to_svg(boundary::package_of(pins.members, device - 1, pins.rows));
}

} // namespace

void add_pins(py::module_& module, py::class_<Connection>& connection) {
    py::class_<Pins, std::shared_ptr<Pins>>(module, "Pins")
        .def("facts", pin_facts)
        .def("find", find_row)
        .def("package_svg", package_svg)
        .def_readonly("notes", &Pins::notes);
    py::class_<DrivenPins, std::shared_ptr<DrivenPins>>(module, "DrivenPins")
        .def("entered", &DrivenPins::entered);
    connection.def("find_pins", find_pins);
    connection.def("sample", sample);
    connection.def("leave_sampling", leave_sampling);
    connection.def("drive_pins", drive_pins);
    connection.def("set_pins", set_pins);
    connection.def("read_pins", read_pins);
    connection.def("let_go", let_go);
}

} // namespace talvor::python
