// Markers: random bits that tell by where they come out how long a register is.
#pragma once

#include "host/jtag/bits.h"

#include <cstddef>
#include <cstdint>
#include <optional>

namespace talvor {

// Bits of a marker. The return path holds some of it back behind a register as long as the scan;
// what is seen all the same proves the length.
inline constexpr size_t kMarkerBits = 48;
// So many bits of a marker must have come out for it to count: chance gives them once in four
// thousand million places.
inline constexpr size_t kMarkerProofBits = 32;

// Random bits, the same sequence for the same seed.
class MarkerSource {
public:
    explicit MarkerSource(uint64_t seed = 0) noexcept : state_(seed) {}

    [[nodiscard]] uint64_t next_marker() noexcept {
        return next() & ((uint64_t{1} << kMarkerBits) - 1);
    }
    // Puts `count` random bits behind `bits`.
    void append(Bits& bits, size_t count);

private:
    [[nodiscard]] uint64_t next() noexcept;

    uint64_t state_;
};

// Where a marker came out.
struct Echo {
    enum class Kind : uint8_t { None, Found, Several };
    Kind kind = Kind::None;
    size_t at = 0; // of its first bit, behind what was skipped
};

// A stream that went into a register, marker first, and what came out of it.
struct EchoSearch {
    uint64_t marker = 0;
    const Bits& in;
    const Bits& out;
    size_t skip = 0; // bits of `out` that came before the first one of this stream

    // Bits of `out` behind those.
    [[nodiscard]] size_t seen() const noexcept { return out.size() > skip ? out.size() - skip : 0; }
    // Whether so much of the marker as could have come out there did.
    [[nodiscard]] bool marker_at(size_t at) const noexcept;
    // Everywhere from `from` on. Several: more than one place cannot be told from the others by all
    // that went in behind the marker.
    [[nodiscard]] Echo find(size_t from = 0) const;
    // By how many bits, 1 to `most`, the start of the stream is missing where it should come out at
    // once; nothing when it is not what came out.
    [[nodiscard]] std::optional<size_t> missing_start(size_t most) const;

private:
    [[nodiscard]] bool stream_at(size_t at) const noexcept;
    [[nodiscard]] std::optional<size_t> next_from(size_t at) const noexcept;
};

} // namespace talvor
