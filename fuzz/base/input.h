// Bytes of the fuzzer as values. Behind the end everything reads 0, so that each prefix of an input
// is an input.
#pragma once

#include <algorithm>
#include <cstddef>
#include <cstdint>
#include <span>
#include <string_view>

namespace talvor::fuzz {

using Bytes = std::span<const uint8_t>;

inline std::string_view text_of(Bytes bytes) {
    return {reinterpret_cast<const char*>(bytes.data()), bytes.size()};
}

class Input {
public:
    explicit Input(Bytes bytes) : rest_(bytes) {}

    [[nodiscard]] bool empty() const { return rest_.empty(); }
    [[nodiscard]] Bytes rest() const { return rest_; }

    // Up to `count` bytes.
    Bytes take(size_t count) {
        const Bytes taken = rest_.first(std::min(count, rest_.size()));
        rest_ = rest_.subspan(taken.size());
        return taken;
    }
    // Little-endian numbers.
    uint8_t byte() { return static_cast<uint8_t>(number(1)); }
    uint16_t half() { return static_cast<uint16_t>(number(2)); }
    uint32_t word() { return number(4); }
    // 0 to most, from one byte.
    uint8_t up_to(uint8_t most) { return static_cast<uint8_t>(byte() % (most + 1U)); }

private:
    uint32_t number(size_t bytes) {
        uint32_t value = 0;
        unsigned shift = 0;
        for (const uint8_t one : take(bytes)) {
            value |= uint32_t{one} << shift;
            shift += 8;
        }
        return value;
    }

    Bytes rest_;
};

} // namespace talvor::fuzz
