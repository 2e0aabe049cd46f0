// How fast a BSDL file of a large device is read and checked.
#include "common/bsdl/reader.h"

#include <benchmark/benchmark.h>

#include <cstdint>
#include <string>

namespace {

using namespace talvor;

std::string ports(size_t pins) {
    std::string text = "port (TCK, TMS, TDI : in bit; TDO : out bit;\n";
    for (size_t i = 0; i < pins; ++i) {
        text += "  IO_" + std::to_string(i) + " : inout bit;\n";
    }
    return text + "  VCC : linkage bit_vector (1 to 400); GND : linkage bit_vector (1 to 400));\n";
}

std::string vector_pins(const char* name, char row) {
    std::string text = std::string("\"") + name + " : (";
    for (size_t i = 0; i < 400; ++i) {
        text += (i == 0       ? ""
                 : i % 8 == 0 ? ",\" &\n  \""
                              : ", ") +
                std::string(1, row) + std::to_string(i);
    }
    return text + ")";
}

std::string pin_map(size_t pins) {
    std::string text =
        "constant BGA : PIN_MAP_STRING :=\n  \"TCK:A1, TMS:A2, TDI:A3, TDO:A4,\" &\n";
    for (size_t i = 0; i < pins; ++i) {
        text += "  \"IO_" + std::to_string(i) + " : B" + std::to_string(i) + ",\" &\n";
    }
    return text + "  " + vector_pins("VCC", 'V') + ",\" &\n  " + vector_pins("GND", 'G') + "\";\n";
}

// Three cells a pin, as programmable devices have them.
std::string boundary(size_t pins) {
    std::string text = "attribute BOUNDARY_LENGTH of BIG : entity is " + std::to_string(3 * pins) +
                       ";\nattribute BOUNDARY_REGISTER of BIG : entity is\n";
    for (size_t i = 0; i < pins; ++i) {
        const std::string port = "IO_" + std::to_string(i);
        const std::string control = std::to_string(3 * i);
        text += "  \" " + control + " (BC_2, *, controlr, 1),\" &\n";
        text += "  \" " + std::to_string(3 * i + 1) + " (BC_2, " + port + ", output3, X, " +
                control + ", 1, PULL1),\" &  -- PAD" + std::to_string(i) + "\n";
        text += "  \" " + std::to_string(3 * i + 2) + " (BC_2, " + port + ", input, X)" +
                (i + 1 == pins ? "\";\n" : ",\" &\n");
    }
    return text;
}

constexpr const char* kInstructions = R"bsdl(
attribute TAP_SCAN_IN of TDI : signal is true;
attribute TAP_SCAN_OUT of TDO : signal is true;
attribute TAP_SCAN_MODE of TMS : signal is true;
attribute TAP_SCAN_CLOCK of TCK : signal is (66.0e6, BOTH);
attribute INSTRUCTION_LENGTH of BIG : entity is 6;
attribute INSTRUCTION_OPCODE of BIG : entity is
  "EXTEST (000000), SAMPLE (000001), PRELOAD (000001), BYPASS (111111)";
attribute INSTRUCTION_CAPTURE of BIG : entity is "XXXX01";
)bsdl";

std::string make_file(size_t pins) {
    return "entity BIG is\ngeneric (PHYSICAL_PIN_MAP : string := \"BGA\");\n" + ports(pins) +
           "use STD_1149_1_2001.all;\n" + pin_map(pins) + kInstructions + boundary(pins) +
           "end BIG;\n";
}

void read_file(benchmark::State& state) {
    const std::string text = make_file(static_cast<size_t>(state.range(0)));
    for (auto _ : state) {
        const Result<bsdl::Description> description = bsdl::parse_bsdl(text, "bench");
        if (!description || !description->findings.empty()) {
            state.SkipWithError("the file is not sound");
        }
        benchmark::DoNotOptimize(description);
    }
    state.SetBytesProcessed(state.iterations() * static_cast<int64_t>(text.size()));
    state.counters["bytes"] = static_cast<double>(text.size());
    state.counters["cells"] = static_cast<double>(3 * state.range(0));
}

BENCHMARK(read_file)->ArgName("pins")->Arg(100)->Arg(1000)->Arg(3000)->Unit(
    benchmark::kMillisecond);

} // namespace
