// What one receiver has read over all vectors, in a word.
#pragma once

#include "host/interconnect/vectors.h"
#include "host/jtag/bits.h"

#include <cstddef>
#include <cstdint>
#include <optional>
#include <span>
#include <vector>

namespace talvor::interconnect {

struct Reading {
    enum class Kind : uint8_t {
        Right,   // what its net is driven to
        Still,   // `value` in every vector
        Follows, // what another net, the source, is driven to
        And,     // low when one of the sources is
        Or,      // high when one of the sources is
        Unclear, // it changes, and none of these
    };

    Kind kind = Kind::Right;
    bool value = false;
    std::vector<size_t> sources; // nets, ascending; of Follows, And, Or

    // Whether it is that of a node that several nets are joined in.
    [[nodiscard]] bool joined() const noexcept {
        return kind == Kind::Follows || kind == Kind::And || kind == Kind::Or;
    }
};

// Both outlive what they are given to.
class ReadingClassifier {
public:
    // `nets`: how many there are.
    ReadingClassifier(std::span<const Vector> vectors, size_t nets);

    // `bits`: what a receiver of `net` has read, a bit for each vector.
    [[nodiscard]] Reading classify(size_t net, const Bits& bits) const;
    [[nodiscard]] bool right(size_t net, const Bits& bits) const;
    // The net whose code the bits are in the counting sequence, where there is one.
    [[nodiscard]] std::optional<size_t> code_of(const Bits& bits) const;

private:
    // Whether the bits are what `sources` make together.
    [[nodiscard]] bool explains(const Reading& reading, const Bits& bits) const;
    [[nodiscard]] bool level(const Reading& reading, const Vector& vector) const;
    // The nets that take the bits along when they alone are at `value`.
    [[nodiscard]] std::vector<size_t> movers(const Bits& bits, bool value) const;

    std::span<const Vector> vectors_;
    size_t nets_;
};

} // namespace talvor::interconnect
