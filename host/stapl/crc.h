// The checksum at the end of a STAPL file: 16 bits, x^16 + x^12 + x^5 + 1, lowest bit first, all
// ones before and inverted behind. Carriage returns do not count, so that a file may change its
// line ends.
#pragma once

#include <array>
#include <cstdint>

namespace talvor::stapl {

namespace detail {

constexpr std::array<uint16_t, 256> crc_table() {
    std::array<uint16_t, 256> table{};
    for (unsigned byte = 0; byte < table.size(); ++byte) {
        unsigned rest = byte;
        for (int bit = 0; bit < 8; ++bit) {
            rest = (rest & 1U) != 0 ? (rest >> 1) ^ 0x8408U : rest >> 1;
        }
        table[byte] = static_cast<uint16_t>(rest);
    }
    return table;
}
inline constexpr std::array<uint16_t, 256> kCrcTable = crc_table();

} // namespace detail

class Crc {
public:
    constexpr void add(char byte) noexcept {
        if (byte != '\r') {
            rest_ = static_cast<uint16_t>(
                (rest_ >> 8) ^
                detail::kCrcTable[(rest_ ^ static_cast<unsigned char>(byte)) & 0xFFU]);
        }
    }
    // Of all bytes so far.
    [[nodiscard]] constexpr uint16_t value() const noexcept {
        return static_cast<uint16_t>(~rest_ & 0xFFFF);
    }

private:
    uint16_t rest_ = 0xFFFF;
};

} // namespace talvor::stapl
