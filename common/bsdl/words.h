// The words by which BSDL calls what the model holds as values.
#pragma once

#include "common/bsdl/model.h"

#include <optional>
#include <string>
#include <string_view>

namespace talvor::bsdl {

// As the standard writes them: "inout", "linkage"; "output3", "observe_only"; "Z", "PULL1".
[[nodiscard]] std::string_view port_mode_word(PortMode mode) noexcept;
[[nodiscard]] std::string_view cell_function_word(CellFunction function) noexcept;
[[nodiscard]] std::string_view disable_result_word(DisableResult result) noexcept;
// "warning", "error".
[[nodiscard]] std::string_view severity_word(Severity severity) noexcept;

// Capitals or not. Nothing for a word that is none of them.
[[nodiscard]] std::optional<PortMode> port_mode(std::string_view word) noexcept;
[[nodiscard]] std::optional<CellFunction> cell_function(std::string_view word) noexcept;
[[nodiscard]] std::optional<DisableResult> disable_result(std::string_view word) noexcept;

// A name in the form in which same_name() compares them.
[[nodiscard]] std::string folded(std::string_view name);

} // namespace talvor::bsdl
