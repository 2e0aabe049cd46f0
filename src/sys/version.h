// The version record: one constant, filled when the library was built.
#pragma once

#include "jti_typedef.h"
#include "sys/version_record.h"

// The record, which stays the library's and never changes. The build date and time in it are the
// compiler's ("May 23 2017", "14:47:32"); with SOURCE_DATE_EPOCH set they are that moment's, in
// UTC. The version numbers are placeholders and are kept as such.
JTI_EXPORT const Str0VersionInform* sys_Str0FormatVersion();
