// Device identification codes (IEEE 1149.1, clause 12.1).
#pragma once

#include <cstdint>

namespace talvor {

struct IdCode {
    uint32_t value = 0;

    [[nodiscard]] uint32_t version() const noexcept { return value >> 28U; }
    [[nodiscard]] uint32_t part() const noexcept { return (value >> 12U) & 0xFFFFU; }
    // The manufacturer, 11 bits: the upper four count the continuation codes, the lower seven are
    // its code without parity.
    [[nodiscard]] uint32_t manufacturer() const noexcept { return (value >> 1U) & 0x7FFU; }
    // The bank of the manufacturer list, from 1, and the code in it, from 1 to 126.
    [[nodiscard]] uint32_t bank() const noexcept { return (manufacturer() >> 7U) + 1; }
    [[nodiscard]] uint32_t bank_code() const noexcept { return manufacturer() & 0x7FU; }
    // Bit 0 is 1, and the manufacturer is not 000 0111 1111, which no device may have.
    [[nodiscard]] bool legal() const noexcept {
        return (value & 1U) != 0 && manufacturer() != 0x07FU;
    }

    friend bool operator==(const IdCode&, const IdCode&) = default;
};

} // namespace talvor
