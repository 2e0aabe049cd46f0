#include "sys/object_name.h"

#include "sys/hash.h"

#include <cinttypes>
#include <cstdio>
#include <cstring>
#include <initializer_list>

namespace {

constexpr uint32_t kShortestObjectLength = 12;
constexpr size_t kObjectNameSize = sizeof "JTI-01234567";
constexpr size_t kPortTextSize = sizeof "01234567";

uint32_t hash_of_names(std::initializer_list<const char*> names) {
    uint32_t hash = sys_StrHashFirst();
    for (const char* name : names) {
        hash = sys_StrHashAgain(hash, name);
    }
    return hash;
}

} // namespace

int sys_Str0GetObjectName(char* objectName, uint32_t objectLength, const char* extraName0,
                          const char* extraName1, const char* extraName2, char* driverName,
                          uint32_t driverPort) {
    if (objectName == nullptr || extraName0 == nullptr || extraName1 == nullptr ||
        extraName2 == nullptr || driverName == nullptr) {
        return 1;
    }
    // Kept: the name with its NUL is one byte longer than the length that is asked for.
    if (objectLength < kShortestObjectLength) {
        return 1;
    }
    char port[kPortTextSize];
    std::snprintf(port, sizeof port, "%08" PRIx32, driverPort);
    const uint32_t hash = hash_of_names({extraName0, extraName1, extraName2, driverName, port});
    std::memset(objectName, 0, objectLength);
    std::snprintf(objectName, kObjectNameSize, "JTI-%08" PRIx32, hash);
    return 0;
}
