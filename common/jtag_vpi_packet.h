// The packet of the jtag_vpi protocol, the same in both directions.
#pragma once

#include <array>
#include <bit>
#include <cstddef>
#include <cstdint>

namespace talvor {

// What a client asks for. Scans are answered with a packet, nothing else is.
enum class JtagVpiCommand : uint32_t {
    Reset = 0,
    MoveByTms = 1,
    Scan = 2,         // TMS 0
    ScanAndLeave = 3, // the last bit with TMS 1
    End = 4,
};

// Numbers are little-endian, whatever the machine.
struct JtagVpiPacket {
    static constexpr size_t kDataBytes = 512;
    static constexpr uint32_t kMostBits = 8 * kDataBytes;

    uint32_t command;                    // a JtagVpiCommand, if it is one
    std::array<uint8_t, kDataBytes> out; // TMS, or TDI; the first bit in bit 0 of byte 0
    std::array<uint8_t, kDataBytes> in;  // TDO, in an answer
    uint32_t bytes;                      // in use
    uint32_t bits;
};
static_assert(sizeof(JtagVpiPacket) == 1036, "the packet is the one on the wire");
static_assert(std::endian::native == std::endian::little, "numbers are stored as they stand");

} // namespace talvor
