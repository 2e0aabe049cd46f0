// What the nets of a board are driven to, vector by vector.
#pragma once

#include <cstddef>
#include <cstdint>
#include <vector>

namespace talvor::interconnect {

// One level for each net, nets counted from 0.
struct Vector {
    enum class Kind : uint8_t {
        Code,    // bit `number` of the net's code
        Inverse, // the same, inverted
        All,     // every net alike: `value`
        Walk,    // net `number` alone is at `value`, all others at its opposite
    };

    Kind kind = Kind::Code;
    uint32_t number = 0;
    bool value = false;

    [[nodiscard]] bool level(size_t net) const noexcept;

    friend bool operator==(const Vector&, const Vector&) = default;
};

// Bits of a code that tells `nets` nets apart and is never all zeros or all ones, so that no net
// looks like one that stands still: ceil(log2(nets + 2)). None for no nets.
[[nodiscard]] size_t code_bits(size_t nets) noexcept;
// The counting sequence and its complement: 2 * code_bits(nets) vectors. With it any two nets
// differ in a vector where the one is high and the other low, and in one where it is the other way
// round.
[[nodiscard]] std::vector<Vector> counting_sequence(size_t nets);
// What tells the causes apart that the counting sequence leaves alike: all low, all high, then each
// of `nets` alone high and alone low.
[[nodiscard]] std::vector<Vector> closer_look(const std::vector<size_t>& nets);

} // namespace talvor::interconnect
