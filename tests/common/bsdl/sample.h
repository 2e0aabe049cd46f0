// A small device that tests take apart: each changes a part of its file.
#pragma once

#include "common/bsdl/reader.h"

#include <gtest/gtest.h>

#include <string>
#include <string_view>

namespace talvor::bsdl {

// A file of ten pins: a vector of two bidirectional ports with one control cell, an input, an
// output. It has no findings.
inline std::string sample() {
    return R"bsdl(entity SMALL is
  generic (PHYSICAL_PIN_MAP : string := "SO10");
  port (
    TCK, TMS, TDI : in bit;
    TDO : out bit;
    PA : inout bit_vector (1 downto 0);
    RX : in bit;
    TX : out bit;
    VCC, GND : linkage bit
  );
  use STD_1149_1_2001.all;
  attribute COMPONENT_CONFORMANCE of SMALL : entity is "STD_1149_1_2001";
  attribute PIN_MAP of SMALL : entity is PHYSICAL_PIN_MAP;
  constant SO10 : PIN_MAP_STRING :=
    "TCK : 1, TMS : 2, TDI : 3, TDO : 4, PA : (5, 6)," &
    "RX : 7, TX : 8, VCC : 9, GND : 10";
  attribute TAP_SCAN_IN of TDI : signal is true;
  attribute TAP_SCAN_OUT of TDO : signal is true;
  attribute TAP_SCAN_MODE of TMS : signal is true;
  attribute TAP_SCAN_CLOCK of TCK : signal is (10.0e6, BOTH);
  attribute INSTRUCTION_LENGTH of SMALL : entity is 4;
  attribute INSTRUCTION_OPCODE of SMALL : entity is
    "EXTEST (0000), SAMPLE (0010), PRELOAD (0010), BYPASS (1111)," &
    "IDCODE (0001), SELF (0100, 011X)";
  attribute INSTRUCTION_CAPTURE of SMALL : entity is "XX01";
  attribute IDCODE_REGISTER of SMALL : entity is
    "XXXX" & "0000000000000001" & "01010000000" & "1";
  attribute REGISTER_ACCESS of SMALL : entity is
    "BOUNDARY (EXTEST, SAMPLE, PRELOAD), STATUS[3] (SELF captures 10X)";
  attribute BOUNDARY_LENGTH of SMALL : entity is 7;
  attribute BOUNDARY_REGISTER of SMALL : entity is
    "0 (BC_1, TX, output2, 1)," &
    "1 (BC_2, RX, input, X)," &
    "2 (BC_1, *, control, 1)," &
    "3 (BC_1, PA(0), output3, X, 2, 1, PULL1)," &
    "4 (BC_1, PA(0), input, X)," &
    "5 (BC_7, PA(1), bidir, X, 2, 1, Z)," &
    "6 (BC_0, *, internal, 0)";
end SMALL;
)bsdl";
}

// The sample with `old` once replaced; `old` is in it.
inline std::string sample_with(std::string_view old, std::string_view replacement) {
    std::string text = sample();
    const size_t place = text.find(old);
    EXPECT_NE(place, std::string::npos) << old;
    return text.replace(place == std::string::npos ? 0 : place, old.size(), replacement);
}

// The device of a text, whatever is found in it.
inline Description read(std::string_view text, const ReadOptions& options = {}) {
    Result<Description> description = parse_bsdl(text, "a.bsd", options);
    EXPECT_TRUE(description) << (description ? "" : headline(description.error()));
    return description ? *std::move(description) : Description{};
}

// "3:12: error: text" of each finding, a line each.
inline std::string findings_of(std::string_view text) {
    std::string lines;
    for (const Finding& finding : read(text).findings) {
        lines += std::to_string(finding.place.line) + ":" + std::to_string(finding.place.column) +
                 (finding.severity == Severity::Error ? ": error: " : ": warning: ") +
                 finding.text + "\n";
    }
    return lines;
}

// The error of a text that cannot be read, in one line.
inline std::string fault_of(std::string_view text, const ReadOptions& options = {}) {
    const Result<Description> description = parse_bsdl(text, "a.bsd", options);
    EXPECT_FALSE(description) << "a fault was expected";
    return description ? "" : headline(description.error());
}

} // namespace talvor::bsdl
