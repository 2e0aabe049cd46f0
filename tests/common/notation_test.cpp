#include "common/notation.h"
#include "shm_structs.h"

#include <gmock/gmock.h>
#include <gtest/gtest.h>

namespace talvor::notation {
namespace {

using testing::ElementsAre;
using Words = std::vector<uint16_t>;

TEST(NotationTest, NamesEveryItemOfABatch) {
    const Words words{SHM_WORD_RESERVED,
                      SHM_MARKER_OPEN,
                      0x400A,
                      0x4080,
                      22,
                      SHM_WAIT_WRITE_ONE,
                      SHM_WAIT_WRITE_MANY,
                      SHM_WAIT_READ_ONE,
                      SHM_WAIT_READ_MANY,
                      SHM_WAIT_DONE,
                      SHM_MARKER_FULL};
    EXPECT_THAT(lines(words), ElementsAre("reserved", "marker", "write 10 4080", "read 22",
                                          "wait send", "wait send many", "wait recv",
                                          "wait recv many", "wait done", "marker full"));
}

TEST(NotationTest, AValueThatLooksLikeAMarkerIsAValue) {
    EXPECT_THAT(lines(Words{0x4017, SHM_MARKER_OPEN, 0x4017, 0x9011, 31}),
                ElementsAre("write 23 c000", "write 23 9011", "read 31"));
}

TEST(NotationTest, ShowsWhatNoDriverWrites) {
    EXPECT_THAT(lines(Words{0x9999, 0x0028, 0x7FFF, 0x0001, 0x400A}),
                ElementsAre("control 9999", "read 40", "write 16383 0001", "write 10 ?"));
}

TEST(NotationTest, OneTextHasALineAnItem) {
    EXPECT_EQ(text(Words{0x400A, 0x7001, 16}), "write 10 7001\nread 16\n");
    EXPECT_EQ(text(Words{}), "");
}

TEST(NotationTest, AnItemKnowsItsLength) {
    EXPECT_EQ(length_words({Kind::Write, 1, 2}), 2U);
    EXPECT_EQ(length_words({Kind::WriteCut, 1, 0}), 1U);
    EXPECT_EQ(length_words({Kind::Read, 1, 0}), 1U);
    EXPECT_EQ(length_words({Kind::WaitDone, 0, 0}), 1U);
}

TEST(NotationTest, EverySingleWordSurvivesTheWayToTextAndBack) {
    for (unsigned word = 0; word <= 0xFFFF; ++word) {
        const Words words{static_cast<uint16_t>(word)};
        ASSERT_EQ(parse(text(words)), words) << text(words);
    }
}

TEST(NotationTest, ParsesLinesAndSemicolonsWithFreeBlanks) {
    EXPECT_EQ(parse(" write  10 4080;read 22\n\n  wait   done ;"),
              (Words{0x400A, 0x4080, 22, SHM_WAIT_DONE}));
    EXPECT_EQ(parse(""), Words{});
}

TEST(NotationTest, RefusesWhatIsNotOfTheNotation) {
    for (const char* wrong :
         {"write", "write 10", "write 10 4080 1", "write x 1", "write 10 10000", "write 10 g",
          "write 16384 0", "read", "read 16384", "read 1 2", "wait", "wait forever", "marker half",
          "control", "control 7fff", "control 18000", "halt"}) {
        EXPECT_EQ(parse(wrong), std::nullopt) << wrong;
    }
}

} // namespace
} // namespace talvor::notation
