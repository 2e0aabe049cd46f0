// A scan whose answer was another one than the file expects.
#pragma once

#include "common/result.h"
#include "host/jtag/bits.h"
#include "host/svf/statement.h"

#include <cstddef>
#include <cstdint>
#include <optional>
#include <string>
#include <string_view>
#include <vector>

namespace talvor::svf {

struct Mismatch {
    uint64_t line = 1; // of the SDR or SIR
    StatementKind kind =
        StatementKind::Sdr; // whose TDO it is: a header or trailer counts for itself
    Bits expected;
    Bits got;
    Bits mask;
    std::vector<uint64_t> first_bits; // the lowest differing positions, at most kMaxFirstBits
    uint64_t differing_bits = 0;

    static constexpr size_t kMaxFirstBits = 8;
};

// Compares `got` with `expected` where `mask` (null: everywhere) is one; all of one size. Fills the
// parts of a mismatch that follow from them, line and kind excepted; nothing when they agree.
[[nodiscard]] std::optional<Mismatch> compare(const Bits& got, const Bits& expected,
                                              const Bits* mask);

// The mismatch as an error of the kind Target: what differs, expected, got and mask in hex (long
// values cut to the neighbourhood of the first difference), the first differing bits.
[[nodiscard]] Error to_error(const Mismatch& mismatch, std::string_view source_name);

} // namespace talvor::svf
