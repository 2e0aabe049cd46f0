// A device in the making: what its attributes are read into.
#pragma once

#include "common/bsdl/model.h"
#include "common/bsdl/ports.h"
#include "common/bsdl/report.h"
#include "common/bsdl/source.h"

#include <cstddef>
#include <optional>
#include <string>

namespace talvor::bsdl {

struct Draft {
    const Source& source;
    Report& report;
    Device device{};
    Ports ports{};
};

// "INSTRUCTION_OPCODE": what messages call an attribute.
[[nodiscard]] std::string title(const Attribute& attribute);
// The text of an attribute; null, with an error, when it is something else.
[[nodiscard]] const JoinedText* text_of(const Attribute& attribute, Report& report);
// The whole number of an attribute from 1 to `most`; nothing, with an error, for anything else.
[[nodiscard]] std::optional<size_t> count_of(const Attribute& attribute, size_t most,
                                             Report& report);
// A pattern of 0, 1 and X, with capitals; an error at `place` and nothing for another one.
[[nodiscard]] std::optional<Pattern> pattern_of(const std::string& text, Place place,
                                                Report& report);

} // namespace talvor::bsdl
