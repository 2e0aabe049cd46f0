// What a person is told about /dev/shm and the objects in it.
#pragma once

#include "common/result.h"

#include <cstddef>
#include <cstdint>
#include <optional>
#include <string>
#include <sys/stat.h>

namespace talvor {

inline constexpr const char* kShmFolder = "/dev/shm";

// "PATH belongs to user NAME (1000) and has the mode 0600".
[[nodiscard]] std::string owner_text(const std::string& path, const struct stat& facts);
// How many bytes may still be allocated; nothing when that cannot be told.
[[nodiscard]] std::optional<uint64_t> shm_free_bytes();
// `what` failed because /dev/shm has no room for that many bytes.
[[nodiscard]] Failure shm_is_full(std::string what, size_t needed_bytes);

} // namespace talvor
