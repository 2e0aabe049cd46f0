// What a file says of its ports beside their pins: the test access port, what must hold for the
// device to comply, and signals in pairs.
#pragma once

#include "common/bsdl/draft.h"

namespace talvor::bsdl {

// One attribute of a signal each.
void read_scan_in(Draft& draft, const Attribute& attribute);
void read_scan_out(Draft& draft, const Attribute& attribute);
void read_scan_mode(Draft& draft, const Attribute& attribute);
void read_scan_reset(Draft& draft, const Attribute& attribute);
void read_scan_clock(Draft& draft, const Attribute& attribute);

void read_compliance_patterns(Draft& draft, const Attribute& attribute);
void read_port_grouping(Draft& draft, const Attribute& attribute);

} // namespace talvor::bsdl
