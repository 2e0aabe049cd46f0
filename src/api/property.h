// The description of the library, as a host gets it.
#pragma once

#include "jti_typedef.h"

// Makes the description.
//   ppProperty  out: the record, the caller's until zdl_PropertyDelete; null on failure
// -122 null pointer. -131 no memory. -603 the record came out incomplete. When loading the texts
// fails, the record that was to hold them is not released: kept, as hosts that count the driver's
// blocks know it so.
JTI_EXPORT int32_t zdl_PropertyCreate(JTI_Property** ppProperty);

// Releases a description.
//   ppProperty  in: the record; out: null
// -122 null pointer or null record.
JTI_EXPORT int32_t zdl_PropertyDelete(JTI_Property** ppProperty);

// Fills a record (`assign`) or releases its text block and empties it.
// -122 null record. -131 no memory for the texts; the record is then unchanged.
JTI_EXPORT int32_t PropertyLoad(bool assign, JTI_Property* pProperty);

// Whether the record has the version and count that hosts check for, and all of its texts.
bool property_is_complete(const JTI_Property& property);
