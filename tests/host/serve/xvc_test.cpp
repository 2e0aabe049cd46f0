// What XVC clients send, and what they are answered.
#include "bare_port.h"
#include "conversation.h"
#include "host/serve/wire_bits.h"
#include "host/serve/xvc.h"

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <random>

namespace talvor {
namespace {

using testing::ElementsAre;
using testing::HasSubstr;

Bytes shift_of(const Bits& tms, const Bits& tdi) {
    Bytes bytes;
    put(bytes, "shift:");
    append_u32(bytes, static_cast<uint32_t>(tms.size()));
    append_bits(bytes, tms, 0, tms.size());
    append_bits(bytes, tdi, 0, tdi.size());
    return bytes;
}

Bits noise(size_t count, std::mt19937_64& random) {
    Bits bits(count);
    for (size_t i = 0; i < count; ++i) {
        bits.set(i, (random() & 1U) != 0);
    }
    return bits;
}

// Vectors of all small lengths and some others, which wander through the sixteen states.
std::vector<std::pair<Bits, Bits>> some_vectors() {
    std::mt19937_64 random(1);
    std::vector<std::pair<Bits, Bits>> vectors;
    for (const unsigned length :
         {1U, 2U, 3U, 5U, 7U, 8U, 9U, 15U, 16U, 17U, 31U, 32U, 33U, 63U, 64U, 65U, 300U, 1U}) {
        Bits tms = noise(length, random);
        tms &= noise(length, random); // more shifting than moving
        vectors.emplace_back(tms, noise(length, random));
    }
    return vectors;
}

// What a chain of its own answers to each.
Bytes answers_to(const std::vector<std::pair<Bits, Bits>>& vectors) {
    BarePort port(two_devices());
    Bytes answers;
    for (const auto& [tms, tdi] : vectors) {
        Bits tdo;
        EXPECT_TRUE(port.clock(tms, tdi, &tdo, nullptr));
        append_bits(answers, tdo, 0, tdo.size());
    }
    return answers;
}

Bytes requests_of(const std::vector<std::pair<Bits, Bits>>& vectors) {
    Bytes bytes;
    for (const auto& [tms, tdi] : vectors) {
        put(bytes, shift_of(tms, tdi));
    }
    return bytes;
}

TEST(XvcTest, TellsHowMuchItTakes) {
    BarePort port(two_devices());
    Xvc xvc(port);
    Bytes bytes;
    put(bytes, "getinfo:");
    const Heard heard = talk(xvc, bytes);
    EXPECT_EQ(std::string(heard.answer.begin(), heard.answer.end()), "xvcServer_v1.0:1064960\n");
    EXPECT_GE(Xvc::kDefaultBytes, size_t{1} << 20);
    // What is left of it in sixteen bits is a size that serves, too.
    EXPECT_GE(Xvc::kDefaultBytes & 0xFFFFU, 4096u);
}

TEST(XvcTest, AnswersWhatTheChainAnswers) {
    const auto vectors = some_vectors();
    BarePort port(two_devices());
    Xvc xvc(port);
    const Heard heard = talk(xvc, requests_of(vectors));
    EXPECT_EQ(heard.answer, answers_to(vectors));
    EXPECT_EQ(heard.unused, 0u);
    EXPECT_FALSE(heard.over);
}

TEST(XvcTest, MakesWhatCameTogetherInOneGo) {
    BarePort port(two_devices());
    Xvc xvc(port);
    talk(xvc, requests_of(some_vectors()));
    EXPECT_EQ(port.calls.size(), 1u);
}

TEST(XvcTest, TakesRequestsCutAnywhere) {
    auto vectors = some_vectors();
    Bytes bytes;
    put(bytes, "getinfo:");
    put(bytes, requests_of(vectors));
    put(bytes, "settck:");
    append_u32(bytes, 200);
    put(bytes, requests_of({vectors.begin(), vectors.begin() + 3}));
    BarePort port(two_devices());
    Xvc whole(port);
    const Bytes wanted = talk(whole, bytes).answer;
    for (size_t cut = 0; cut <= bytes.size(); ++cut) {
        BarePort other(two_devices());
        Xvc xvc(other);
        const Heard heard = talk(xvc, bytes, {cut});
        ASSERT_EQ(heard.answer, wanted) << cut;
        ASSERT_FALSE(heard.error) << cut;
    }
    BarePort other(two_devices());
    Xvc xvc(other);
    EXPECT_EQ(talk(xvc, bytes, cut_everywhere(bytes)).answer, wanted);
}

TEST(XvcTest, AnswersAVectorWithoutBits) {
    BarePort port(two_devices());
    Xvc xvc(port);
    Bytes bytes = shift_of({}, {});
    put(bytes, "getinfo:");
    const Heard heard = talk(xvc, bytes);
    EXPECT_EQ(heard.answer.front(), 'x');
    EXPECT_TRUE(port.calls.empty());
}

uint32_t period_after(BarePort& port, uint32_t wanted) {
    Xvc xvc(port);
    Bytes bytes;
    put(bytes, "settck:");
    append_u32(bytes, wanted);
    const Heard heard = talk(xvc, bytes);
    EXPECT_EQ(heard.answer.size(), 4u);
    return heard.answer.size() == 4 ? read_u32(heard.answer) : 0;
}

TEST(XvcTest, SetsTheTestClockAndTellsWhatIsInForce) {
    BarePort port(two_devices());
    EXPECT_EQ(period_after(port, 1000), 1000u);
    EXPECT_EQ(port.hertz(), 1e6);
    EXPECT_EQ(period_after(port, 10), 100u) << "the port's fastest is 10 MHz";
    EXPECT_EQ(period_after(port, 0), 100u) << "0 asks for nothing";
    EXPECT_EQ(period_after(port, 0xFFFFFFFF), 100u) << "slower than the slowest changes nothing";
}

TEST(XvcTest, EndsWithWhatIsNoCommand) {
    for (const char* text : {"x", "geto", "GET / HTTP/1.1\r\n", "shifu:", "\x01"}) {
        BarePort port(two_devices());
        Xvc xvc(port);
        Bytes bytes;
        put(bytes, text);
        const Heard heard = talk(xvc, bytes);
        ASSERT_TRUE(heard.error) << text;
        EXPECT_EQ(heard.error->kind, ErrorKind::Refused);
        EXPECT_THAT(heard.error->reason, HasSubstr("is no command"));
    }
}

TEST(XvcTest, ShowsWhatItDoesNotKnow) {
    BarePort port(two_devices());
    Xvc xvc(port);
    const Heard heard = talk(xvc, {'Q', 0x07, 0xFF, 'a'});
    ASSERT_TRUE(heard.error);
    EXPECT_EQ(headline(*heard.error), "XVC: 'Q\\x07\\xffa' is no command of version 1.0");
}

// Twice what is advertised, which is meant for both vectors.
TEST(XvcTest, TakesTwiceWhatItTellsAndNoMore) {
    constexpr size_t kBytes = 128;
    for (const size_t bits : {8 * kBytes, 8 * kBytes + 1}) {
        BarePort port(two_devices());
        Xvc xvc(port, kBytes);
        const Heard heard = talk(xvc, shift_of(Bits(bits), Bits(bits)));
        EXPECT_EQ(heard.error.has_value(), bits > 8 * kBytes) << bits;
        EXPECT_EQ(heard.answer.size(), bits > 8 * kBytes ? 0 : kBytes);
    }
}

TEST(XvcTest, BelievesNoLength) {
    BarePort port(two_devices());
    Xvc xvc(port);
    Bytes bytes;
    put(bytes, "shift:");
    append_u32(bytes, 0xFFFFFFFF);
    const Heard heard = talk(xvc, bytes);
    ASSERT_TRUE(heard.error);
    EXPECT_THAT(heard.error->reason, HasSubstr("4294967295 bits needs 536870912 bytes a vector"));
}

TEST(XvcTest, HandsErrorsOfThePortOn) {
    BarePort port(two_devices());
    port.error = pod_error("pod", "it has no power").value();
    Xvc xvc(port);
    const Heard heard = talk(xvc, shift_of(Bits(3), Bits(3)));
    ASSERT_TRUE(heard.error);
    EXPECT_EQ(headline(*heard.error), "pod: it has no power");
}

} // namespace
} // namespace talvor
