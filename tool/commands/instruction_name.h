// Instructions by the names that a device's BSDL file gives them.
#pragma once

#include "common/result.h"
#include "host/chain/chain.h"
#include "host/jtag/bits.h"

#include <cstdint>
#include <optional>
#include <string>
#include <string_view>

namespace talvor {

class Context;

// Whether a word can be a name: it begins with a letter. It may be a hexadecimal number as well.
[[nodiscard]] bool may_be_name(std::string_view word) noexcept;

// The bits of an instruction for the device `index` of the chain. A word that the file of
// the device knows as a name stands for its first opcode, with 0 for bits that do not matter; every
// other one is a hexadecimal number. A note says that an instruction is private to its maker.
// Errors (ErrorKind::Usage): the word is neither; no file describes the device; its opcode is as
// wide as another instruction register.
[[nodiscard]] Result<Bits> parse_instruction(const Context& context, const Chain& chain,
                                             size_t index, const std::string& word);

// The length of the register that an instruction of that name selects; nothing when no file says
// it.
[[nodiscard]] std::optional<size_t> register_bits(const ChainDevice& device,
                                                  std::string_view instruction);

} // namespace talvor
