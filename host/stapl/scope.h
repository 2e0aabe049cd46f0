// The names that a block can see.
#pragma once

#include "common/result.h"
#include "host/stapl/program.h"
#include "host/stapl/token.h"

#include <cstdint>
#include <string_view>
#include <unordered_map>
#include <vector>

namespace talvor::stapl {

// By name, the variables that a block declares.
using Declared = std::unordered_map<uint32_t, uint32_t>;

// Those of a block, and of the blocks behind its USES. Everything outlives it.
class Scope {
public:
    Scope(const Tokens& tokens, const Program& program, const std::vector<Declared>& declared,
          uint32_t block)
        : tokens_(tokens), program_(program), declared_(declared), block_(block) {}

    // The variable of a name. Errors (ErrorKind::BadFile, without a place): there is none that the
    // block sees; where another block has one, the next step is to use it.
    [[nodiscard]] Result<uint32_t> variable(uint32_t name) const;
    // Whether `name` is a Boolean array that the block sees.
    [[nodiscard]] bool is_bits(uint32_t name) const;
    [[nodiscard]] const Variable& at(uint32_t variable) const {
        return program_.variables[variable];
    }
    // The procedure of a name that the block may call. Errors as above.
    [[nodiscard]] Result<uint32_t> procedure(uint32_t name) const;
    [[nodiscard]] std::string_view text(uint32_t name) const { return tokens_.names[name]; }
    [[nodiscard]] uint32_t block() const noexcept { return block_; }

private:
    [[nodiscard]] const uint32_t* seen(uint32_t name) const;

    const Tokens& tokens_;
    const Program& program_;
    const std::vector<Declared>& declared_;
    uint32_t block_;
};

} // namespace talvor::stapl
