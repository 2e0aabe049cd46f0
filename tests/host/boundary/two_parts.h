// A chain of two parts with descriptions and one without between them.
#pragma once

#include "common/bsdl/reader.h"
#include "host/boundary/access.h"

#include <memory>
#include <string>
#include <vector>

namespace talvor {

inline constexpr const char* kSmallPart = R"BSDL(
entity SMALL is
  generic (PHYSICAL_PIN_MAP : string := "QFP8");
  port (TCK, TMS, TDI : in bit; TDO : out bit;
        MODE : in bit; Q : inout bit_vector (0 to 1); VDD : linkage bit);
  use STD_1149_1_2001.all;
  attribute COMPONENT_CONFORMANCE of SMALL : entity is "STD_1149_1_2001";
  attribute PIN_MAP of SMALL : entity is PHYSICAL_PIN_MAP;
  constant QFP8 : PIN_MAP_STRING := "TCK:1, TMS:2, TDI:3, TDO:4, MODE:5, Q:(6, 7), VDD:8";
  attribute TAP_SCAN_IN of TDI : signal is true;
  attribute TAP_SCAN_OUT of TDO : signal is true;
  attribute TAP_SCAN_MODE of TMS : signal is true;
  attribute TAP_SCAN_CLOCK of TCK : signal is (10.0e6, BOTH);
  attribute COMPLIANCE_PATTERNS of SMALL : entity is "(MODE) (0)";
  attribute INSTRUCTION_LENGTH of SMALL : entity is 4;
  attribute INSTRUCTION_OPCODE of SMALL : entity is
    "BYPASS (1111), EXTEST (0000), SAMPLE (0001), PRELOAD (0001)";
  attribute INSTRUCTION_CAPTURE of SMALL : entity is "0001";
  attribute BOUNDARY_LENGTH of SMALL : entity is 4;
  attribute BOUNDARY_REGISTER of SMALL : entity is
    "0 (BC_1, MODE, input, X)," &
    "1 (BC_7, Q(0), bidir, X, 3, 0, Z)," &
    "2 (BC_7, Q(1), bidir, X, 3, 0, Z)," &
    "3 (BC_1, *, control, 0)";
end SMALL;
)BSDL";

// u1 and u3 are small parts, u2 has no description.
inline std::vector<boundary::Member> two_parts() {
    const auto read = bsdl::parse_bsdl(kSmallPart, "small.bsd");
    const auto device = std::make_shared<const bsdl::Device>(read->device);
    const auto plan = std::make_shared<const boundary::Plan>(*boundary::Plan::make(device));
    return {{"u1", 4, plan}, {"u2", 5, nullptr}, {"u3", 4, plan}};
}

} // namespace talvor
