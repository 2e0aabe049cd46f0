// Netlists, KiCad's and our own: reading one, placing its nets on a chain of two described devices
// and one that nobody describes, and planning and judging the test of them. The input is the file.
#include "common/bsdl/reader.h"
#include "fuzz/base/check.h"
#include "fuzz/base/heap_meter.h"
#include "fuzz/targets.h"
#include "host/boundary/image.h"
#include "host/interconnect/matrix_svg.h"
#include "host/interconnect/netlist_file.h"
#include "host/interconnect/test_plan.h"

#include <algorithm>
#include <cstdlib>
#include <memory>
#include <set>
#include <string>
#include <utility>

namespace talvor::fuzz {
namespace {

using namespace interconnect;
using boundary::Level;
using boundary::Member;

constexpr const char* kName = "a.net";
// A pin of a few letters has a part, a name and a line of its own; a list doubles as it grows.
constexpr size_t kMostBytes = size_t{1} << 20U;
constexpr size_t kMostBytesEach = 512;

// Each kind of pin: what always drives, what is enabled alone, together with another and by itself,
// what only hears, what has no cell, what a test must leave alone.
constexpr const char* kDevice = R"bsdl(entity PART is
  generic (PHYSICAL_PIN_MAP : string := "SO20");
  port (TCK, TMS, TDI, MODE, RX, RY, GO : in bit; TDO, TX, TY, EN, PLAIN : out bit;
        OC : buffer bit; PA : inout bit_vector (1 downto 0); PB : inout bit; VCC : linkage bit);
  use STD_1149_1_2001.all;
  attribute COMPONENT_CONFORMANCE of PART : entity is "STD_1149_1_2001";
  attribute PIN_MAP of PART : entity is PHYSICAL_PIN_MAP;
  constant SO20 : PIN_MAP_STRING := "TCK : 1, TMS : 2, TDI : 3, TDO : 4, MODE : 5, RX : 6, RY : 7," &
    "TX : 8, TY : 9, EN : 10, PLAIN : 11, OC : 12, PA : (13, 14), PB : 15, VCC : 16, GO : 17";
  attribute TAP_SCAN_IN of TDI : signal is true;
  attribute TAP_SCAN_OUT of TDO : signal is true;
  attribute TAP_SCAN_MODE of TMS : signal is true;
  attribute TAP_SCAN_CLOCK of TCK : signal is (10.0e6, BOTH);
  attribute COMPLIANCE_PATTERNS of PART : entity is "(MODE) (1)";
  attribute INSTRUCTION_LENGTH of PART : entity is 4;
  attribute INSTRUCTION_OPCODE of PART : entity is
    "EXTEST (0000), SAMPLE (0010), PRELOAD (0010), BYPASS (1111)";
  attribute INSTRUCTION_CAPTURE of PART : entity is "XX01";
  attribute BOUNDARY_LENGTH of PART : entity is 14;
  attribute BOUNDARY_REGISTER of PART : entity is
    "0 (BC_1, TX, output2, 1), 1 (BC_1, TY, output2, 0), 2 (BC_2, RX, input, X)," &
    "3 (BC_4, RY, observe_only, X), 4 (BC_1, *, control, 1), 5 (BC_7, PA(0), bidir, X, 4, 1, Z)," &
    "6 (BC_7, PA(1), bidir, X, 4, 1, Z), 7 (BC_1, *, controlr, 0)," &
    "8 (BC_1, PB, output3, X, 7, 0, PULL1), 9 (BC_1, PB, input, X)," &
    "10 (BC_1, OC, output2, 1, 10, 1, PULL1), 11 (BC_1, *, control, 0)," &
    "12 (BC_9, EN, output3, X, 11, 0, Z), 13 (BC_1, GO, clock, X)";
end PART;
)bsdl";

const std::vector<Member>& chain() {
    static const std::vector<Member> members = [] {
        const Result<bsdl::Description> part = bsdl::parse_bsdl(kDevice, "part.bsd");
        FUZZ_CHECK(part && part->usable(), "the part is described");
        auto plan = boundary::Plan::make(std::make_shared<bsdl::Device>(part->device));
        FUZZ_CHECK(plan.has_value(), "the part has a boundary register");
        const auto shared = std::make_shared<const boundary::Plan>(*std::move(plan));
        return std::vector<Member>{{"u1", 4, shared}, {"u2", 4, shared}, {"u3", 4, nullptr}};
    }();
    return members;
}

// ---- the file ---------------------------------------------------------------------------------

bool is_kicad(std::string_view text) {
    const size_t first = text.find_first_not_of(" \t\r\n\xEF\xBB\xBF");
    return first != std::string_view::npos && text[first] == '(';
}

uint64_t lines_of(std::string_view text) {
    return static_cast<uint64_t>(std::count(text.begin(), text.end(), '\n')) + 1;
}

// "a.net:12", or "a.net" alone for what is about the whole file.
void check_refusal(const Error& error, std::string_view text) {
    check_error(error, kName);
    const std::string rest = error.thing.substr(std::string_view(kName).size());
    if (!rest.empty()) {
        const unsigned long line = std::strtoul(rest.c_str() + 1, nullptr, 10);
        FUZZ_CHECK(rest[0] == ':' && line >= 1 && line <= lines_of(text),
                   "an error names a line of the file: " + error.thing);
    }
}

void check_netlist(const Netlist& netlist, std::string_view text) {
    FUZZ_CHECK(netlist.file == kName, "a netlist is called after its file");
    FUZZ_CHECK(netlist.package_pins == is_kicad(text), "KiCad names pins of packages");
    const uint64_t lines = lines_of(text);
    const auto in_file = [lines](uint32_t line) { return line >= 1 && line <= lines; };
    for (const Net& net : netlist.nets) {
        FUZZ_CHECK(in_file(net.line), "a net stands in a line of the file");
        for (const NetPin& pin : net.pins) {
            FUZZ_CHECK(!pin.part.empty() && !pin.pin.empty(), "a pin is one of a part");
            FUZZ_CHECK(in_file(pin.line), "a pin stands in a line of the file");
        }
    }
    for (const PartDevice& device : netlist.devices) {
        FUZZ_CHECK(in_file(device.line), "a device stands in a line of the file");
    }
}

// What is cut short is not taken for a whole board, and what stands behind it changes nothing.
void check_end(const Netlist& netlist, std::string_view text) {
    const Result<Netlist> longer = parse_netlist(std::string(text) + "\n", kName);
    FUZZ_CHECK(longer && longer->nets.size() == netlist.nets.size(),
               "a blank behind a netlist changes nothing");
    if (is_kicad(text)) {
        FUZZ_CHECK(!parse_netlist(text.substr(0, text.rfind(')')), kName),
                   "a netlist without its last parenthesis is none");
    }
}

// ---- the board --------------------------------------------------------------------------------

void check_placed(const std::vector<PlacedNet>& placed, const Netlist& netlist) {
    FUZZ_CHECK(placed.size() == netlist.nets.size(), "each net has a place");
    std::set<std::pair<size_t, size_t>> seen;
    for (size_t net = 0; net < placed.size(); ++net) {
        FUZZ_CHECK(placed[net].pins.size() + placed[net].others.size() +
                           placed[net].unknown.size() <=
                       netlist.nets[net].pins.size(),
                   "no net grows");
        for (const DevicePin& pin : placed[net].pins) {
            FUZZ_CHECK(pin.device < chain().size() && chain()[pin.device].plan != nullptr,
                       "a pin is one of a described device");
            FUZZ_CHECK(seen.emplace(pin.device, pin.signal).second, "a pin is in one net");
        }
    }
}

// Two outputs that drive against each other may be the end of both.
void check_alone(const PlacedNet& net, const boundary::Images& images) {
    size_t driving = 0;
    for (const DevicePin& pin : net.pins) {
        const boundary::Plan& plan = *chain()[pin.device].plan;
        const boundary::Pin* cells = plan.find(pin.signal);
        driving += cells != nullptr && cells->drive &&
                   driven_level(plan, *cells, images[pin.device]) != Level::Z;
    }
    FUZZ_CHECK(driving <= 1, "no two outputs drive one net: " + net.name);
}

void check_vector(const TestPlan& plan, const std::vector<PlacedNet>& placed,
                  const Vector& vector) {
    boundary::Images images = plan.rest;
    put_vector(plan, vector, images);
    for (size_t net = 0; net < plan.nets.size(); ++net) {
        const Driver& driver = plan.nets[net].driver;
        const Bits& image = images[driver.pin.device];
        FUZZ_CHECK(image[driver.cell] == vector.level(net), "a driver has the level of its net");
        FUZZ_CHECK(!driver.enable || image[*driver.enable] == driver.enable_level,
                   "a driver is enabled");
    }
    for (const PlacedNet& net : placed) {
        check_alone(net, images);
    }
}

void check_plan(const TestPlan& plan, const std::vector<PlacedNet>& placed) {
    FUZZ_CHECK(plan.nets.size() + plan.untested.size() == placed.size(),
               "each net is tested, or there is a reason");
    for (const UntestedNet& net : plan.untested) {
        FUZZ_CHECK(!net.reason.empty(), "there is a reason");
    }
    for (size_t device = 0; device < chain().size(); ++device) {
        const Member& member = chain()[device];
        FUZZ_CHECK(plan.rest[device].size() == (member.plan ? member.plan->bits() : 1),
                   "an image is as long as the register");
    }
    for (const TestedNet& net : plan.nets) {
        FUZZ_CHECK(std::any_of(net.receivers.begin(), net.receivers.end(),
                               [](const Receiver& one) { return !one.at_driver; }),
                   "a tested net has a receiver");
    }
}

// ---- the verdict ------------------------------------------------------------------------------

// What a whole board reads, or one whose first net stands at 0.
TestResult result_of(const TestPlan& plan, bool broken) {
    TestResult result;
    result.vectors = counting_sequence(plan.nets.size());
    result.counting = result.vectors.size();
    for (size_t net = 0; net < plan.nets.size(); ++net) {
        Bits bits(result.vectors.size());
        for (size_t v = 0; v < result.vectors.size(); ++v) {
            bits.set(v, result.vectors[v].level(net) && !(broken && net == 0));
        }
        result.readings.emplace_back(plan.nets[net].receivers.size(), bits);
    }
    result.diagnosis = diagnose(plan.nets, result.vectors, result.readings);
    return result;
}

void check_picture(const TestPlan& plan, const TestResult& result) {
    const std::string svg = to_svg(plan, result, {.title = plan.nets[0].name});
    FUZZ_CHECK(svg.starts_with("<svg ") || svg.starts_with("<?xml"), "a picture is an SVG file");
    FUZZ_CHECK(std::count(svg.begin(), svg.end(), '<') == std::count(svg.begin(), svg.end(), '>'),
               "names of nets are no elements of a picture");
}

void check_verdicts(const TestPlan& plan) {
    FUZZ_CHECK(result_of(plan, false).diagnosis.good(), "a whole board is good");
    if (plan.nets.empty()) {
        return;
    }
    const TestResult broken = result_of(plan, true);
    FUZZ_CHECK(!broken.diagnosis.good(), "a net that stands still is found");
    const std::vector<size_t>& nets = broken.diagnosis.findings.front().nets;
    FUZZ_CHECK(std::find(nets.begin(), nets.end(), 0U) != nets.end(),
               "it is the one that is named");
    check_picture(plan, broken);
}

void test_board_of(const Netlist& netlist) {
    const Result<std::vector<PlacedNet>> placed = place_nets(netlist, chain());
    if (!placed) {
        check_error(placed.error(), kName);
        return;
    }
    check_placed(*placed, netlist);
    const Result<TestPlan> plan = plan_test(*placed, chain());
    if (!plan) {
        check_error(plan.error(), "net ");
        return;
    }
    check_plan(*plan, *placed);
    for (const Vector& vector : counting_sequence(plan->nets.size())) {
        check_vector(*plan, *placed, vector);
    }
    check_verdicts(*plan);
}

} // namespace

void run_netlist(Bytes input) {
    const std::string_view text = text_of(input);
    const HeapMeter meter;
    const Result<Netlist> netlist = parse_netlist(text, kName);
    FUZZ_CHECK(meter.peak_bytes() <= kMostBytes + kMostBytesEach * text.size(),
               "memory is bounded: " + std::to_string(meter.peak_bytes()) + " bytes");
    if (!netlist) {
        check_refusal(netlist.error(), text);
        return;
    }
    check_netlist(*netlist, text);
    check_end(*netlist, text);
    test_board_of(*netlist);
}

} // namespace talvor::fuzz
