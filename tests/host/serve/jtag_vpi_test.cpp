// What jtag_vpi clients send, and what they are answered.
#include "bare_port.h"
#include "conversation.h"
#include "host/serve/jtag_vpi.h"
#include "host/serve/wire_bits.h"

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <numeric>
#include <random>

namespace talvor {
namespace {

using testing::HasSubstr;

Bytes packet(uint32_t command, const Bits& out, uint32_t bits) {
    Bytes bytes;
    append_u32(bytes, command);
    append_bits(bytes, out, 0, out.size());
    bytes.resize(4 + JtagVpiPacket::kDataBytes);
    bytes.resize(4 + 2 * JtagVpiPacket::kDataBytes, 0xA5); // what a client has left there
    append_u32(bytes, static_cast<uint32_t>(bytes_of_bits(bits)));
    append_u32(bytes, bits);
    return bytes;
}

Bytes packet(uint32_t command, const Bits& out) {
    return packet(command, out, static_cast<uint32_t>(out.size()));
}

Bits in_of(const Bytes& answer, size_t packet_index, size_t bits) {
    const size_t at = packet_index * JtagVpi::kPacketBytes + 4 + JtagVpiPacket::kDataBytes;
    return read_bits(std::span(answer).subspan(at), bits);
}

// From Test-Logic-Reset to Shift-DR.
Bits to_shift_dr() {
    return Bits::from_uint(0b0010, 4);
}

TEST(JtagVpiTest, HasPacketsOf1036Bytes) {
    EXPECT_EQ(JtagVpi::kPacketBytes, 1036u);
}

TEST(JtagVpiTest, AnswersScansWithWhatTheChainAnswers) {
    std::mt19937_64 random(3);
    for (const size_t bits : {1U, 2U, 8U, 31U, 52U, 64U, 1000U, 4095U, 4096U}) {
        Bits tdi(bits);
        for (size_t i = 0; i < bits; ++i) {
            tdi.set(i, (random() & 1U) != 0);
        }
        BarePort bare(two_devices());
        Bits wanted;
        ASSERT_TRUE(bare.clock(to_shift_dr(), Bits(4), nullptr, nullptr));
        Bits tms(bits);
        tms.set(bits - 1, true);
        ASSERT_TRUE(bare.clock(tms, tdi, &wanted, nullptr));

        BarePort port(two_devices());
        JtagVpi vpi(port);
        Bytes bytes = packet(1, to_shift_dr());
        put(bytes, packet(3, tdi));
        const Heard heard = talk(vpi, bytes);
        ASSERT_EQ(heard.answer.size(), JtagVpi::kPacketBytes) << bits;
        EXPECT_EQ(in_of(heard.answer, 0, bits), wanted) << bits;
        EXPECT_EQ(in_of(heard.answer, 0, 4096).count_ones(), wanted.count_ones())
            << "the rest is 0";
        EXPECT_EQ(port.state(), TapState::Exit1Dr);
        EXPECT_EQ(port.calls.size(), 1u);
    }
}

TEST(JtagVpiTest, AnswersWithTheRequestButForItsData) {
    BarePort port(two_devices());
    JtagVpi vpi(port);
    const Bytes request = packet(2, Bits::from_uint(0x1234, 16));
    const Heard heard = talk(vpi, request);
    ASSERT_EQ(heard.answer.size(), request.size());
    const auto until = [](const Bytes& bytes, size_t first, size_t last) {
        return Bytes(bytes.begin() + static_cast<ptrdiff_t>(first),
                     bytes.begin() + static_cast<ptrdiff_t>(last));
    };
    EXPECT_EQ(until(heard.answer, 0, 516), until(request, 0, 516));
    EXPECT_EQ(until(heard.answer, 1028, 1036), until(request, 1028, 1036));
    EXPECT_EQ(port.state(), TapState::RunTestIdle) << "TMS stays low";
}

TEST(JtagVpiTest, ScansInPiecesAreOneScan) {
    BarePort bare(two_devices());
    Bits wanted;
    ASSERT_TRUE(bare.clock(to_shift_dr(), Bits(4), nullptr, nullptr));
    ASSERT_TRUE(bare.clock(Bits(52), Bits(52), &wanted, nullptr));
    BarePort port(two_devices());
    JtagVpi vpi(port);
    Bytes bytes = packet(1, to_shift_dr());
    put(bytes, packet(2, Bits(20)));
    put(bytes, packet(2, Bits(20)));
    put(bytes, packet(3, Bits(12)));
    const Heard heard = talk(vpi, bytes);
    ASSERT_EQ(heard.answer.size(), 3 * JtagVpi::kPacketBytes);
    Bits got = in_of(heard.answer, 0, 20);
    got.append(in_of(heard.answer, 1, 20));
    got.append(in_of(heard.answer, 2, 12));
    EXPECT_EQ(got, wanted);
    EXPECT_EQ(port.state(), TapState::Exit1Dr);
}

TEST(JtagVpiTest, TakesPacketsCutAnywhere) {
    Bytes bytes = packet(0, {});
    put(bytes, packet(1, to_shift_dr()));
    put(bytes, packet(2, Bits(30)));
    BarePort bare(two_devices());
    JtagVpi whole(bare);
    const Bytes wanted = talk(whole, bytes).answer;
    ASSERT_EQ(wanted.size(), JtagVpi::kPacketBytes);
    for (size_t cut = 0; cut <= bytes.size(); ++cut) {
        BarePort port(two_devices());
        JtagVpi vpi(port);
        const Heard heard = talk(vpi, bytes, {cut});
        ASSERT_EQ(heard.answer, wanted) << cut;
        ASSERT_EQ(heard.unused, 0u);
    }
}

TEST(JtagVpiTest, ResetsIntoRunTestIdle) {
    BarePort port(two_devices());
    JtagVpi vpi(port);
    Bytes bytes = packet(1, to_shift_dr());
    put(bytes, packet(0, {}));
    const Heard heard = talk(vpi, bytes);
    EXPECT_TRUE(heard.answer.empty());
    EXPECT_EQ(port.state(), TapState::RunTestIdle);
    EXPECT_EQ(std::accumulate(port.calls.begin(), port.calls.end(), size_t{0}), 10u);
}

TEST(JtagVpiTest, AsksNothingForMoves) {
    BarePort port(two_devices());
    JtagVpi vpi(port);
    talk(vpi, packet(1, to_shift_dr()));
    EXPECT_EQ(port.answered_calls, 0);
}

TEST(JtagVpiTest, EndsWithAStop) {
    BarePort port(two_devices());
    JtagVpi vpi(port);
    EXPECT_TRUE(talk(vpi, packet(4, {})).over);
}

TEST(JtagVpiTest, BelievesNoLength) {
    for (const uint32_t command : {0U, 1U, 2U, 3U}) {
        BarePort port(two_devices());
        JtagVpi vpi(port);
        const Heard heard = talk(vpi, packet(command, Bits(4096), 4097));
        ASSERT_TRUE(heard.error) << command;
        EXPECT_EQ(headline(*heard.error),
                  "jtag_vpi: a packet holds 4096 bits and says that it has 4097");
        EXPECT_TRUE(port.calls.empty());
    }
}

TEST(JtagVpiTest, EndsWithWhatIsNoCommand) {
    BarePort port(two_devices());
    JtagVpi vpi(port);
    const Heard heard = talk(vpi, packet(5, {}));
    ASSERT_TRUE(heard.error);
    EXPECT_EQ(headline(*heard.error), "jtag_vpi: 5 is no command");
}

TEST(JtagVpiTest, AnswersAScanWithoutBits) {
    BarePort port(two_devices());
    JtagVpi vpi(port);
    EXPECT_EQ(talk(vpi, packet(3, {})).answer.size(), JtagVpi::kPacketBytes);
    EXPECT_TRUE(port.calls.empty());
}

} // namespace
} // namespace talvor
