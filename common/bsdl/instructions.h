// The instruction register, the instructions, and the registers that they select.
#pragma once

#include "common/bsdl/draft.h"

namespace talvor::bsdl {

void read_instruction_length(Draft& draft, const Attribute& attribute);
void read_instruction_opcode(Draft& draft, const Attribute& attribute);
void read_instruction_capture(Draft& draft, const Attribute& attribute);
void read_instruction_private(Draft& draft, const Attribute& attribute);
void read_idcode_register(Draft& draft, const Attribute& attribute);
void read_usercode_register(Draft& draft, const Attribute& attribute);
void read_register_access(Draft& draft, const Attribute& attribute);

// What the standard says and a file may leave out: BYPASS, and which of its registers its
// instructions select. After all attributes.
void add_implied(Draft& draft);

} // namespace talvor::bsdl
