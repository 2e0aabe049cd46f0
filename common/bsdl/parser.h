// The grammar of a BSDL file.
#pragma once

#include "common/bsdl/report.h"
#include "common/bsdl/source.h"

#include <string_view>

namespace talvor::bsdl {

// The first entity of a file; packages around it are passed over. What breaks the grammar is in
// `report` as a fault, and the source then holds what came before it. `text` outlives the source.
[[nodiscard]] Source parse_source(std::string_view text, Report& report);

} // namespace talvor::bsdl
