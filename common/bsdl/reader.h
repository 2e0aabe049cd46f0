// Reads BSDL (IEEE 1149.1-2001, annex B, and what files of the 2013 edition use of it).
#pragma once

#include "common/bsdl/model.h"
#include "common/result.h"

#include <optional>
#include <string>
#include <string_view>
#include <vector>

namespace talvor::bsdl {

struct ReadOptions {
    std::optional<std::string> package; // a pin map by its name; without one the file's default
};

struct Description {
    Device device;
    std::vector<Finding> findings; // in the order of their lines; errors among them

    [[nodiscard]] bool usable() const noexcept; // no finding is an error
};

// Reads and checks a file. Errors (ErrorKind::BadFile): it cannot be read; it is no BSDL (file,
// line, column, and what was expected there). What the checks find goes into the findings.
[[nodiscard]] Result<Description> read_bsdl(const std::string& path, const ReadOptions& = {});
// The same for text; `name` is what messages call it.
[[nodiscard]] Result<Description> parse_bsdl(std::string_view text, const std::string& name,
                                             const ReadOptions& = {});

} // namespace talvor::bsdl
