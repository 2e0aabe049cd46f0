#include "common/text.h"

#include "hardware/pod_revision.h"

#include <fmt/format.h>

namespace talvor {

std::string count_text(uint64_t count, std::string_view noun, std::string_view plural) {
    if (count == 1) {
        return fmt::format("1 {}", noun);
    }
    return plural.empty() ? fmt::format("{} {}s", count, noun)
                          : fmt::format("{} {}", count, plural);
}

std::string revision_text(uint16_t revision) {
    return fmt::format("{:x}.{:x}", pod_revision_major(revision), pod_revision_minor(revision));
}

} // namespace talvor
