#include "podsim/external/remote_bitbang.h"

#include <fmt/format.h>

#include <array>
#include <bit>
#include <cstring>

namespace talvor::podsim::external {
namespace {

constexpr int kTckPin = 4;
constexpr int kTmsPin = 2;
constexpr int kTdiPin = 1;
constexpr char kReadRequest = 'R';
constexpr char kQuitRequest = 'Q';
constexpr unsigned kByteBits = 8;

// r, s, t, u for (TRST, SRST).
char reset_request(bool trst, bool srst) {
    return static_cast<char>('r' + (trst ? 2 : 0) + (srst ? 1 : 0));
}

// The bytes of eight clocks with TMS 0, for each value of eight bits of TDI.
template <bool kWanted>
constexpr auto kClockBytes = [] {
    constexpr size_t kBytes = kWanted ? 3 : 2;
    std::array<std::array<char, kBytes * kByteBits>, 256> table{};
    for (unsigned tdi = 0; tdi < table.size(); ++tdi) {
        for (unsigned i = 0; i < kByteBits; ++i) {
            const char level = static_cast<char>((tdi >> i) & 1U);
            char* bytes = table[tdi].data() + kBytes * i;
            *bytes++ = static_cast<char>('0' + level);
            if (kWanted) {
                *bytes++ = kReadRequest;
            }
            *bytes = static_cast<char>('0' + kTckPin + level);
        }
    }
    return table;
}();

bool is_level(char byte) {
    return byte == '0' || byte == '1';
}

static_assert(std::endian::native == std::endian::little, "eight answers are looked at as one");

// Eight answers at once; nothing where one of them is none.
std::optional<unsigned> eight_levels(const char* bytes) {
    constexpr uint64_t kOnes = 0x0101'0101'0101'0101;
    uint64_t eight = 0;
    std::memcpy(&eight, bytes, sizeof eight);
    if ((eight & ~kOnes) != '0' * kOnes) {
        return std::nullopt;
    }
    // Bit 0 of byte i goes to bit 56 + i.
    constexpr uint64_t kGather = 0x0102'0408'1020'4080;
    return static_cast<unsigned>(((eight & kOnes) * kGather) >> (kWordBits - kByteBits));
}

} // namespace

void RemoteBitbang::set_pins(bool tck, bool tms, bool tdi) {
    const int pins = (tck ? kTckPin : 0) | (tms ? kTmsPin : 0) | (tdi ? kTdiPin : 0);
    if (pins != pins_) {
        put(static_cast<char>('0' + pins));
        pins_ = pins;
    }
}

void RemoteBitbang::clock(bool tms, bool tdi, bool wanted) {
    set_pins(false, tms, tdi);
    if (wanted) {
        put(kReadRequest);
        exchange().expect(1);
    }
    set_pins(true, tms, tdi);
}

void RemoteBitbang::clock_byte(unsigned tdi, bool wanted) {
    if (wanted) {
        exchange().out().append(kClockBytes<true>[tdi].data(), kClockBytes<true>[tdi].size());
        exchange().expect(kByteBits);
    } else {
        exchange().out().append(kClockBytes<false>[tdi].data(), kClockBytes<false>[tdi].size());
    }
    pins_ = kTckPin | ((tdi >> (kByteBits - 1)) != 0 ? kTdiPin : 0);
}

void RemoteBitbang::move(uint64_t tms, unsigned count, bool tdi) {
    for (unsigned i = 0; i < count; ++i) {
        clock(((tms >> i) & 1U) != 0, tdi, false);
    }
}

void RemoteBitbang::shift(std::span<const uint64_t> tdi, uint64_t count, bool leave,
                          uint64_t unwanted) {
    const uint64_t held = count - (leave ? 1 : 0); // clocks with TMS 0
    for (uint64_t i = 0; i < count;) {
        const bool tck_high = pins_ >= 0 && (pins_ & kTckPin) != 0;
        const bool wanted = i >= unwanted;
        const bool alike = wanted || i + kByteBits <= unwanted;
        if (tck_high && alike && i + kByteBits <= held) {
            clock_byte(static_cast<unsigned>(get_bits(tdi, i, kByteBits)), wanted);
            i += kByteBits;
        } else {
            clock(i >= held, get_bits(tdi, i, 1) != 0, wanted);
            ++i;
        }
    }
}

void RemoteBitbang::pulse_trst() {
    put(reset_request(true, false));
    put(reset_request(false, false));
}

void RemoteBitbang::set_reset(bool asserted) {
    put(reset_request(false, asserted));
}

// TCK rests low.
void RemoteBitbang::finish() {
    if (pins_ >= 0) {
        set_pins(false, (pins_ & kTmsPin) != 0, (pins_ & kTdiPin) != 0);
    }
}

void RemoteBitbang::quit() {
    put(kQuitRequest);
}

std::optional<std::string> RemoteBitbang::take(std::span<const char> bytes) {
    while (!bytes.empty()) {
        if (bytes.size() >= kByteBits) {
            if (const auto eight = eight_levels(bytes.data())) {
                levels().append(*eight, kByteBits);
                bytes = bytes.subspan(kByteBits);
                continue;
            }
        }
        if (!is_level(bytes.front())) {
            return fmt::format("has answered with the byte 0x{:02x} instead of 0 or 1",
                               static_cast<unsigned char>(bytes.front()));
        }
        levels().append(bytes.front() == '1' ? 1 : 0, 1);
        bytes = bytes.subspan(1);
    }
    return std::nullopt;
}

} // namespace talvor::podsim::external
