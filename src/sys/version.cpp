#include "sys/version.h"

namespace {

constexpr Str0VersionInform kVersion = {
    .valid = 0,
    .date = __DATE__,
    .time = __TIME__,
    .package = "12.34.56.78",
    .component = "87.65.43.21",
    .packageMajor = 12,
    .packageMinor = 34,
    .packageDefect = 56,
    .packagePatch = 78,
    .componentMajor = 87,
    .componentMinor = 65,
    .componentDefect = 43,
    .componentPatch = 21,
};

} // namespace

const Str0VersionInform* sys_Str0FormatVersion() {
    return &kVersion;
}
