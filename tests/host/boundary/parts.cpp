#include "tests/host/boundary/parts.h"

#include <gtest/gtest.h>

#include <algorithm>

namespace talvor::boundary {
namespace {

using bsdl::Cell;
using bsdl::CellFunction;
using bsdl::Device;

bsdl::Signal signal(const std::string& name, bsdl::PortMode mode, const std::string& pin) {
    bsdl::Signal made;
    made.name = name;
    made.port = name.substr(0, name.find('('));
    if (made.port != name) {
        made.index = name[made.port.size() + 1] - '0';
    }
    made.mode = mode;
    made.pin = pin;
    return made;
}

struct Disable {
    size_t cell;
    char disable;
    bsdl::DisableResult result = bsdl::DisableResult::Z;
};

Cell cell(size_t number, const char* type, std::optional<size_t> of, CellFunction function,
          char safe, std::optional<Disable> control = {}) {
    Cell made;
    made.number = number;
    made.type = type;
    made.signal = of;
    made.function = function;
    made.safe = safe;
    if (control) {
        made.control = control->cell;
        made.disable_value = control->disable;
        made.disable_result = control->result;
    }
    return made;
}

void add_instruction(Device& device, const char* name, const char* code) {
    device.instructions.push_back({name, {bsdl::Pattern{code}}, false, {}});
}

void add_instructions(Device& device, const PartOptions& options) {
    device.instruction_bits = 4;
    device.instruction_capture.text = "XX01";
    add_instruction(device, "BYPASS", "1111");
    add_instruction(device, "EXTEST", "0000");
    add_instruction(device, "SAMPLE", "0001");
    add_instruction(device, "PRELOAD", options.one_opcode ? "0001" : "0101");
    if (options.intest) {
        add_instruction(device, "INTEST", "0010");
    }
    if (options.clamp) {
        add_instruction(device, "CLAMP", "0011");
    }
    if (options.highz) {
        add_instruction(device, "HIGHZ", "0100");
    }
}

} // namespace

std::shared_ptr<const Device> make_part(const PartOptions& options) {
    auto device = std::make_shared<Device>();
    device->name = "PART15";
    using enum bsdl::PortMode;
    device->signals = {
        signal("CLK", In, "1"),      signal("IN", In, "2"),       signal("OUT", Out, "3"),
        signal("PA(0)", InOut, "4"), signal("PA(1)", InOut, "5"), signal("PB", InOut, "6"),
        signal("OC", Out, "7"),      signal("SELF", Out, "8"),    signal("IN2", In, "9"),
        signal("OUT2", Out, "10"),   signal("VCC", Linkage, "11")};
    add_instructions(*device, options);
    device->boundary_bits = 15;
    using enum CellFunction;
    const Disable pa{7, '1'};
    device->cells = {
        cell(0, "BC_4", 0, Clock, 'X'),
        cell(1, "BC_1", 1, Input, 'X'),
        cell(2, "BC_1", 2, Output2, '1'),
        cell(3, "BC_4", 3, ObserveOnly, 'X'),
        cell(4, "BC_1", 3, Output3, 'X', pa),
        cell(5, "BC_1", 4, Input, 'X'),
        cell(6, "BC_1", 4, Output3, '1', pa),
        cell(7, "BC_1", {}, bsdl::CellFunction::Control, 'X'),
        cell(8, "BC_7", 5, Bidir, 'X', Disable{9, '0'}),
        cell(9, "BC_1", {}, bsdl::CellFunction::Control, '0'),
        cell(10, "BC_1", 6, Output2, '1', Disable{10, '1', bsdl::DisableResult::Weak1}),
        cell(11, "BC_9", 7, Output3, 'X', Disable{12, '0'}),
        cell(12, "BC_1", {}, bsdl::CellFunction::Control, '0'),
        cell(13, "BC_2", 8, Input, 'X'),
        cell(13, "BC_2", 9, Output2, '0'),
        cell(14, "BC_1", {}, Internal, '1'),
    };
    return device;
}

size_t signal_of(const Device& device, const std::string& name) {
    for (size_t i = 0; i < device.signals.size(); ++i) {
        if (device.signals[i].name == name) {
            return i;
        }
    }
    ADD_FAILURE() << "no signal " << name;
    return 0;
}

PartPort::PartPort(const std::vector<PartTap>& taps) {
    for (const PartTap& tap : taps) {
        const size_t bits = tap.device ? tap.device->boundary_bits : 0;
        taps_.push_back({tap, "", Bits(bits, true)});
        core.emplace_back(bits);
    }
}

bool PartPort::in_test_mode(const Moment& moment, size_t tap) const {
    const std::string& name = moment.instructions[tap];
    return name == "EXTEST" || name == "CLAMP" || name == "INTEST" || name == "HIGHZ";
}

size_t PartPort::instruction_bits(const Tap& tap) const {
    return tap.part.device ? tap.part.device->instruction_bits : tap.part.instruction_bits;
}

bool PartPort::boundary_selected(const Tap& tap) {
    return tap.instruction == "EXTEST" || tap.instruction == "SAMPLE" ||
           tap.instruction == "PRELOAD" || tap.instruction == "INTEST";
}

std::string PartPort::decode(const Tap& tap, const Bits& code) {
    if (tap.part.device) {
        for (const bsdl::Instruction& instruction : tap.part.device->instructions) {
            if (instruction.opcodes.front().value() == code.to_uint()) {
                return instruction.name;
            }
        }
    }
    return "BYPASS";
}

bool PartPort::pin_level(size_t tap, const Cell& cell) const {
    const Tap& part = taps_[tap];
    const bool testing = part.instruction == "EXTEST" || part.instruction == "CLAMP";
    const Bits& image = testing ? part.latch : core[tap];
    for (const Cell& other : part.part.device->cells) {
        const bool drives =
            other.signal == cell.signal &&
            (other.function == CellFunction::Output2 || other.function == CellFunction::Output3 ||
             other.function == CellFunction::Bidir) &&
            (!other.control || image[*other.control] != (other.disable_value == '1'));
        if (drives) {
            return image[other.number];
        }
    }
    const auto given = outside.find({tap, *cell.signal});
    return given != outside.end() && given->second;
}

bool PartPort::captured(size_t tap, const Cell& cell) const {
    const Tap& part = taps_[tap];
    switch (cell.function) {
    case CellFunction::Input:
    case CellFunction::Clock:
    case CellFunction::ObserveOnly:
    case CellFunction::Bidir:
        return pin_level(tap, cell);
    default:
        break;
    }
    if (part.instruction == "EXTEST" && cell.type == "BC_9") {
        return pin_level(tap, cell);
    }
    return part.instruction == "EXTEST" ? part.latch[cell.number] : core[tap][cell.number];
}

void PartPort::capture(ScanPath path, size_t tap, Line& line) const {
    const Tap& part = taps_[tap];
    if (path == ScanPath::Ir) {
        for (size_t i = 0; i < instruction_bits(part); ++i) {
            line.push_back(i == 0);
        }
        return;
    }
    if (!boundary_selected(part)) {
        line.push_back(false);
        return;
    }
    Bits image(part.latch.size());
    // A merged cell captures its pin.
    for (const Cell& cell : part.part.device->cells) {
        image.set(cell.number, image[cell.number] || captured(tap, cell));
    }
    for (size_t i = 0; i < image.size(); ++i) {
        line.push_back(image[i]);
    }
}

void PartPort::update(ScanPath path, Tap& tap, Line& line) {
    const bool whole = path == ScanPath::Dr && boundary_selected(tap);
    Bits bits(path == ScanPath::Ir ? instruction_bits(tap) : whole ? tap.latch.size() : 1);
    for (size_t i = 0; i < bits.size(); ++i) {
        bits.set(i, line.front());
        line.pop_front();
    }
    if (path == ScanPath::Ir) {
        tap.instruction = decode(tap, bits);
    } else if (whole) {
        tap.latch = bits;
    }
}

void PartPort::remember() {
    Moment moment;
    for (const Tap& tap : taps_) {
        moment.instructions.push_back(tap.instruction);
        moment.latches.push_back(tap.latch);
    }
    moments.push_back(std::move(moment));
}

Status PartPort::reset_tap() {
    for (Tap& tap : taps_) {
        tap.instruction.clear();
    }
    remember();
    return {};
}

Status PartPort::scan(const Scan& scan) {
    const size_t number = scans();
    ++(scan.path == ScanPath::Ir ? instruction_scans : data_scans);
    if (fails_at && (number == *fails_at || (fails_for_good && number > *fails_at))) {
        return pod_error("test port", "this scan was to fail");
    }
    Line line;
    for (size_t i = taps_.size(); i-- > 0;) {
        capture(scan.path, i, line);
    }
    Bits in(scan.out->size());
    for (size_t i = 0; i < in.size(); ++i) {
        line.push_back((*scan.out)[i]);
        in.set(i, line.front());
        line.pop_front();
    }
    for (size_t i = taps_.size(); i-- > 0;) {
        update(scan.path, taps_[i], line);
    }
    if (scan.in != nullptr) {
        *scan.in = scan.path == ScanPath::Ir && wrong_capture ? *wrong_capture : in;
    }
    remember();
    return {};
}

std::vector<Member> members_of(const std::vector<PartTap>& taps) {
    std::vector<Member> members;
    for (const PartTap& tap : taps) {
        Member member;
        member.name = "u" + std::to_string(members.size() + 1);
        member.instruction_bits =
            static_cast<uint32_t>(tap.device ? tap.device->instruction_bits : tap.instruction_bits);
        if (tap.device) {
            member.plan = std::make_shared<const Plan>(*Plan::make(tap.device));
        }
        members.push_back(std::move(member));
    }
    return members;
}

} // namespace talvor::boundary
