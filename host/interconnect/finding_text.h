// What is wrong with a board, in words.
#pragma once

#include "host/interconnect/diagnosis.h"

#include <span>
#include <string>
#include <vector>

namespace talvor::interconnect {

// "U2.A0 (pin 2)".
[[nodiscard]] std::string pin_text(const DevicePin& pin);
// The pin that a PinOf stands for.
[[nodiscard]] const DevicePin& pin_of(std::span<const TestedNet> nets, const PinOf& pin);

// "open at U2.A0 (pin 2), which reads 0", "stuck at 1, as if shorted to the supply".
[[nodiscard]] std::string fault_text(std::span<const TestedNet> nets, const Fault& fault);
// Its faults, one after the other.
[[nodiscard]] std::string explanation_text(std::span<const TestedNet> nets,
                                           const Explanation& explanation);
// The names of the nets that it is about: "A5, A6".
[[nodiscard]] std::string nets_text(std::span<const TestedNet> nets, const Finding& finding);
// A line for each explanation, the most likely first, and one for each pin that is unclear.
[[nodiscard]] std::vector<std::string> finding_lines(std::span<const TestedNet> nets,
                                                     const Finding& finding);
// "all 12 nets that U2 drives stand still: ..."; `device` is its name.
[[nodiscard]] std::string silent_text(const SilentDevice& silent, const std::string& device);

} // namespace talvor::interconnect
