// Names of shared objects that belong to one instance of a driver.
#pragma once

#include "jti_typedef.h"

// Writes "JTI-" and eight hexadecimal digits, a hash over the three extra names, the driver's name
// and its port. `objectLength` bytes at objectName are cleared first, then 13 bytes are written,
// NUL included: with the shortest length that is accepted, 12, the buffer still needs 13.
// Returns 0; 1, with objectName unchanged, for a null pointer or an objectLength below 12.
JTI_EXPORT int sys_Str0GetObjectName(char* objectName, uint32_t objectLength,
                                     const char* extraName0, const char* extraName1,
                                     const char* extraName2, char* driverName, uint32_t driverPort);
