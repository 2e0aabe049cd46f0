#include "host/stapl/scope.h"

#include <fmt/format.h>

#include <algorithm>

namespace talvor::stapl {

const uint32_t* Scope::seen(uint32_t name) const {
    const auto in = [&](uint32_t block) -> const uint32_t* {
        const auto found = declared_[block].find(name);
        return found == declared_[block].end() ? nullptr : &found->second;
    };
    if (const uint32_t* const own = in(block_)) {
        return own;
    }
    for (const uint32_t used : program_.blocks[block_].uses) {
        if (const uint32_t* const found = in(used)) {
            return found;
        }
    }
    return nullptr;
}

Result<uint32_t> Scope::variable(uint32_t name) const {
    if (const uint32_t* const found = seen(name)) {
        return *found;
    }
    for (size_t other = 0; other < declared_.size(); ++other) {
        if (declared_[other].contains(name)) {
            const std::string& owner = program_.blocks[other].name;
            return file_error(
                "", fmt::format("{} is a variable of {}", text(name), owner),
                fmt::format("write USES {} where {} begins", owner, program_.blocks[block_].name));
        }
    }
    return file_error("", fmt::format("there is no variable {:.64}", text(name)));
}

bool Scope::is_bits(uint32_t name) const {
    const uint32_t* const found = seen(name);
    return found != nullptr && at(*found).is_array && at(*found).type == Type::Boolean;
}

Result<uint32_t> Scope::procedure(uint32_t name) const {
    const Block& caller = program_.blocks[block_];
    const auto found =
        std::find_if(program_.blocks.begin(), program_.blocks.end(), [&](const Block& block) {
            return !block.is_data && block.name == text(name);
        });
    if (found == program_.blocks.end()) {
        return file_error("", fmt::format("there is no procedure {:.64}", text(name)));
    }
    const auto place = static_cast<uint32_t>(found - program_.blocks.begin());
    if (place != block_ &&
        std::find(caller.uses.begin(), caller.uses.end(), place) == caller.uses.end()) {
        return file_error("", fmt::format("{} does not use {}", caller.name, found->name),
                          fmt::format("write USES {} where {} begins", found->name, caller.name));
    }
    return place;
}

} // namespace talvor::stapl
