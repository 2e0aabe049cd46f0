// The boundary register: its length and its cells.
#pragma once

#include "common/bsdl/draft.h"

namespace talvor::bsdl {

void read_boundary_length(Draft& draft, const Attribute& attribute);
void read_boundary_register(Draft& draft, const Attribute& attribute);

} // namespace talvor::bsdl
