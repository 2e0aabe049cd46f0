// What remote_bitbang clients send, and what they are answered.
#include "bare_port.h"
#include "conversation.h"
#include "host/serve/remote_bitbang.h"

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <random>

namespace talvor {
namespace {

using testing::ElementsAre;
using testing::HasSubstr;

std::string text_of(const Bytes& bytes) {
    return {bytes.begin(), bytes.end()};
}

Bytes bytes_of(std::string_view text) {
    return {text.begin(), text.end()};
}

char pins(bool tck, bool tms, bool tdi) {
    return static_cast<char>('0' + (tck ? 4 : 0) + (tms ? 2 : 0) + (tdi ? 1 : 0));
}

// How clients differ.
enum class Asks : uint8_t { BeforeTheEdge, AfterTheEdge };

// `count` random edges with a question at many of them, and what a chain of its own answers.
struct Walk {
    std::string requests;
    std::string answers;
};

Walk random_walk(Asks asks, size_t count) {
    std::mt19937_64 random(7);
    BarePort port(two_devices());
    Walk walk;
    for (size_t i = 0; i < count; ++i) {
        const bool tms = random() % 5 == 0;
        const bool tdi = random() % 2 == 0;
        const bool asked = random() % 3 != 0;
        Bits tdo;
        EXPECT_TRUE(port.clock(Bits(1, tms), Bits(1, tdi), &tdo, nullptr));
        walk.requests += pins(false, tms, tdi);
        walk.requests += asked && asks == Asks::BeforeTheEdge ? "R" : "";
        walk.requests += pins(true, tms, tdi);
        walk.requests += asked && asks == Asks::AfterTheEdge ? "R" : "";
        walk.answers += asked ? (tdo[0] ? "1" : "0") : "";
        if (random() % 4 == 0) {
            walk.requests += pins(true, tms, tdi); // no edge
        }
        if (random() % 4 == 0) {
            walk.requests += pins(false, !tms, !tdi); // nor here
            walk.requests += pins(false, tms, !tdi);
        }
    }
    return walk;
}

class RemoteBitbangWalkTest : public testing::TestWithParam<Asks> {};

TEST_P(RemoteBitbangWalkTest, AnswersWhatTheChainAnswers) {
    const Walk walk = random_walk(GetParam(), 3000);
    BarePort port(two_devices());
    RemoteBitbang protocol(port);
    const Heard heard = talk(protocol, bytes_of(walk.requests));
    EXPECT_EQ(text_of(heard.answer), walk.answers);
}

TEST_P(RemoteBitbangWalkTest, TakesRequestsCutAnywhere) {
    const Walk walk = random_walk(GetParam(), 150);
    for (size_t cut = 0; cut <= walk.requests.size(); ++cut) {
        BarePort port(two_devices());
        RemoteBitbang protocol(port);
        const Heard heard = talk(protocol, bytes_of(walk.requests), {cut});
        ASSERT_EQ(text_of(heard.answer), walk.answers) << cut;
    }
}

TEST_P(RemoteBitbangWalkTest, AnswersAtOnceWhatCameByteByByte) {
    const Walk walk = random_walk(GetParam(), 500);
    const Bytes bytes = bytes_of(walk.requests);
    BarePort port(two_devices());
    RemoteBitbang protocol(port);
    EXPECT_EQ(text_of(talk(protocol, bytes, cut_everywhere(bytes)).answer), walk.answers);
}

// A client that is silent behind each byte.
TEST_P(RemoteBitbangWalkTest, AnswersTheSameBehindASilence) {
    const Walk walk = random_walk(GetParam(), 500);
    BarePort port(two_devices());
    RemoteBitbang protocol(port);
    std::string answers;
    for (const char c : walk.requests) {
        answers += text_of(talk(protocol, {static_cast<uint8_t>(c)}).answer);
        ASSERT_TRUE(protocol.idle());
    }
    EXPECT_EQ(answers, walk.answers);
}

INSTANTIATE_TEST_SUITE_P(Clients, RemoteBitbangWalkTest,
                         testing::Values(Asks::BeforeTheEdge, Asks::AfterTheEdge));

TEST(RemoteBitbangTest, MakesWhatCameTogetherInOneGo) {
    const Walk walk = random_walk(Asks::BeforeTheEdge, 255);
    BarePort port(two_devices());
    RemoteBitbang protocol(port);
    talk(protocol, bytes_of(walk.requests));
    EXPECT_LE(port.calls.size(), 1u);
}

TEST(RemoteBitbangTest, AsksNothingThatNobodyAsked) {
    BarePort port(two_devices());
    RemoteBitbang protocol(port);
    const Heard heard = talk(protocol, bytes_of("0404040404040"));
    EXPECT_TRUE(heard.answer.empty());
    EXPECT_EQ(port.answered_calls, 0);
    EXPECT_EQ(port.peeks, 0);
    EXPECT_THAT(port.calls, ElementsAre(6u));
}

TEST(RemoteBitbangTest, KeepsTheLastEdgeBackUntilTckFalls) {
    BarePort port(two_devices());
    RemoteBitbang protocol(port);
    talk(protocol, bytes_of("0404"));
    EXPECT_THAT(port.calls, ElementsAre(1u));
    talk(protocol, bytes_of("0"));
    EXPECT_THAT(port.calls, ElementsAre(1u, 1u));
}

TEST(RemoteBitbangTest, MakesTheEdgeThatItKeptWhenTheClientIsSilent) {
    BarePort port(two_devices());
    RemoteBitbang protocol(port);
    talk(protocol, bytes_of("04"));
    EXPECT_TRUE(port.calls.empty());
    ASSERT_TRUE(protocol.idle());
    EXPECT_THAT(port.calls, ElementsAre(1u));
    ASSERT_TRUE(protocol.idle());
    EXPECT_THAT(port.calls, ElementsAre(1u));
}

TEST(RemoteBitbangTest, AsksNothingOnTheWayOut) {
    BarePort port(two_devices());
    RemoteBitbang protocol(port);
    EXPECT_TRUE(talk(protocol, bytes_of("0404Q")).over);
    EXPECT_THAT(port.calls, ElementsAre(2u));
    EXPECT_EQ(port.answered_calls, 0);
}

TEST(RemoteBitbangTest, DrivesTheResetLines) {
    BarePort port(two_devices());
    RemoteBitbang protocol(port);
    talk(protocol, bytes_of("r0404"));
    EXPECT_EQ(port.state(), TapState::RunTestIdle);
    talk(protocol, bytes_of("t"));
    EXPECT_TRUE(port.trst);
    EXPECT_FALSE(port.srst);
    EXPECT_EQ(port.state(), TapState::TestLogicReset);
    talk(protocol, bytes_of("u"));
    EXPECT_TRUE(port.trst);
    EXPECT_TRUE(port.srst);
    talk(protocol, bytes_of("s"));
    EXPECT_FALSE(port.trst);
    EXPECT_TRUE(port.srst);
    talk(protocol, bytes_of("r"));
    EXPECT_FALSE(port.srst);
    EXPECT_EQ(port.trst_pulses, 1);
    EXPECT_EQ(port.srst_pulses, 1);
}

TEST(RemoteBitbangTest, MakesTheEdgesBeforeAResetFirst) {
    BarePort port(two_devices());
    RemoteBitbang protocol(port);
    talk(protocol, bytes_of("0404t04"));
    EXPECT_THAT(port.calls, ElementsAre(2u));
}

TEST(RemoteBitbangTest, EndsWithAGoodBye) {
    BarePort port(two_devices());
    RemoteBitbang protocol(port);
    const Heard heard = talk(protocol, bytes_of("04RQ"));
    EXPECT_TRUE(heard.over);
    EXPECT_EQ(text_of(heard.answer), "1");
    EXPECT_THAT(port.calls, ElementsAre(1u));
}

TEST(RemoteBitbangTest, DoesNothingForLightsAndLineEnds) {
    BarePort port(two_devices());
    RemoteBitbang protocol(port);
    const Heard heard = talk(protocol, bytes_of("Bb\r\n"));
    EXPECT_FALSE(heard.error);
    EXPECT_TRUE(port.calls.empty());
}

TEST(RemoteBitbangTest, EndsWithWhatIsNoRequest) {
    const std::string known = "01234567RrstuBbQ\r\n";
    for (int byte = 0; byte < 256; ++byte) {
        BarePort port(two_devices());
        RemoteBitbang protocol(port);
        const Heard heard = talk(protocol, {static_cast<uint8_t>(byte)});
        const bool is_known = known.find(static_cast<char>(byte)) != std::string::npos;
        EXPECT_EQ(heard.error.has_value(), !is_known) << byte;
    }
    BarePort port(two_devices());
    RemoteBitbang protocol(port);
    EXPECT_EQ(headline(*talk(protocol, bytes_of("g")).error),
              "remote_bitbang: 'g' is no request of a JTAG client");
    EXPECT_EQ(headline(*talk(protocol, {0x80}).error),
              "remote_bitbang: the byte 0x80 is no request of a JTAG client");
}

} // namespace
} // namespace talvor
