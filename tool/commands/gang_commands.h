// The commands that work on several pods at once. Another one joins by an entry in the table.
#pragma once

#include "tool/output/json.h"

#include <span>
#include <string>
#include <string_view>
#include <vector>

namespace talvor {

struct GangCommand {
    std::string_view path; // the words of it
    // What its document tells, in a few words, for table and log.
    std::string (*summary)(const Json& document);
    // What the documents of all tell together, an array of objects with a "text" each; null:
    // nothing.
    Json (*together)(const std::vector<const Json*>& documents) = nullptr;
    // Options that are for one pod alone.
    std::vector<std::string_view> refused{};
};

[[nodiscard]] std::span<const GangCommand> gang_commands();
// Null: it is none of them.
[[nodiscard]] const GangCommand* find_gang_command(std::string_view path);

} // namespace talvor
