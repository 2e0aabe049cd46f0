// What a file says, held against the rules of the standard.
#pragma once

#include "common/bsdl/draft.h"

namespace talvor::bsdl {

// Reports what the device lacks and what contradicts itself. A thing that is missing stands at the
// name of the entity.
void check_device(const Draft& draft);

// The parts of it, each of one kind of attribute.
void check_ports(const Draft& draft);
void check_instructions(const Draft& draft);
void check_registers(const Draft& draft);
void check_cells(const Draft& draft);

} // namespace talvor::bsdl
