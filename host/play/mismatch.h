// A scan whose answer was another one than the file expects.
#pragma once

#include "common/result.h"
#include "host/jtag/bits.h"

#include <cstddef>
#include <cstdint>
#include <optional>
#include <string>
#include <string_view>
#include <vector>

namespace talvor::play {

struct Mismatch {
    uint64_t line = 1;          // of the scan's statement
    std::string_view statement; // whose answer it is: a header or trailer counts for itself
    Bits expected;
    Bits got;
    Bits mask;
    std::vector<uint64_t> first_bits; // the lowest differing positions, at most kMaxFirstBits
    uint64_t differing_bits = 0;
    // The answer should have been an IDCODE, and so should every DR answer before it.
    bool of_idcode = false;

    static constexpr size_t kMaxFirstBits = 8;
};

// Compares `got` with `expected` where `mask` (null: everywhere) is one; both are the words of as
// many bits as `got` has, unused bits 0. Fills the parts of a mismatch that follow from them, line
// and statement excepted; nothing when they agree.
[[nodiscard]] std::optional<Mismatch> compare(const Bits& got, const uint16_t* expected,
                                              const uint16_t* mask);

// Whether a DR answer that is compared so can be what Test-Logic-Reset leaves in a chain: IDCODEs
// of 32 bits that begin with a 1, between them the single zeros of devices without one (IEEE
// 1149.1, clause 12.1), and most bits compared. Arguments as above.
[[nodiscard]] bool looks_like_idcode(uint64_t length_bits, const uint16_t* expected,
                                     const uint16_t* mask);

// The mismatch as an error of the kind Target: what differs, expected, got and mask in hex (long
// values cut to the neighbourhood of the first difference), the first differing bits.
[[nodiscard]] Error to_error(const Mismatch& mismatch, std::string_view source_name);

} // namespace talvor::play
