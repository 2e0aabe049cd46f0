#include "common/temporary.h"
#include "tool/commands/gang_words.h"

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <fstream>
#include <sys/stat.h>

namespace talvor {
namespace {

using testing::ElementsAre;
using testing::HasSubstr;

TEST(GangWordsTest, KeepTheCommandAndItsOptions) {
    const GangWords words = take_gang_words({"--pods",
                                             "all",
                                             "--board=x.toml",
                                             "-v",
                                             "svf",
                                             "a.svf",
                                             "--keep-going",
                                             "--retry",
                                             "2",
                                             "--stop-on-first",
                                             "--log",
                                             "l.csv",
                                             "--junit=j.xml",
                                             "--progress",
                                             "never",
                                             "--json",
                                             "--simulate-description",
                                             "d.toml",
                                             "--tck",
                                             "1MHz"});
    EXPECT_THAT(words.kept, ElementsAre("svf", "a.svf", "--keep-going", "--tck", "1MHz"));
    EXPECT_EQ(words.junit, "j.xml");
    EXPECT_EQ(words.progress, "never");
}

TEST(GangWordsTest, AreLeftAsTheyAreBehindTwoDashes) {
    EXPECT_THAT(take_gang_words({"--pods=5", "svf", "--", "--json"}).kept,
                ElementsAre("svf", "--", "--json"));
}

TEST(CheckWordsTest, RefuseWhatIsForOnePod) {
    EXPECT_TRUE(check_words({"svf", "a.svf", "--tck", "1MHz"}, {"--svg"}));
    const Status svg = check_words({"svf", "--svg=x", "a.svf"}, {"--svg"});
    ASSERT_FALSE(svg);
    EXPECT_EQ(headline(svg.error()), "--svg: is for one pod alone");
}

TEST(CheckWordsTest, RefuseWhatOneProgramAloneCanRead) {
    const TemporaryFolder folder = TemporaryFolder::create().value();
    const std::string pipe = folder.path() + "/pipe";
    ASSERT_EQ(mkfifo(pipe.c_str(), 0600), 0);
    for (const std::string& word : {std::string("-"), std::string("/dev/stdin"), pipe}) {
        const Status checked = check_words({"svf", word}, {});
        ASSERT_FALSE(checked);
        EXPECT_THAT(headline(checked.error()), HasSubstr(word + ": can be read by one program"));
    }
}

TEST(WithSerialTest, StandsInThePlaceOfEachMark) {
    EXPECT_EQ(with_serial("MAC={serial},{serial}", 17), "MAC=17,17");
    EXPECT_EQ(with_serial("{serial", 17), "{serial");
}

TEST(BoardOfTest, IsInTheFolderOrHasTheNumberInItsName) {
    const TemporaryFolder folder = TemporaryFolder::create().value();
    EXPECT_EQ(board_of(folder.path(), 7), folder.path() + "/7.toml");
    EXPECT_EQ(board_of(folder.path() + "/", 7), folder.path() + "/7.toml");
    EXPECT_EQ(board_of("b/{serial}.toml", 7), "b/7.toml");
    EXPECT_EQ(board_of("common.toml", 7), "common.toml");
}

TEST(ParsePodsTest, AreAllOrAList) {
    EXPECT_EQ(parse_pods("all").value(), std::nullopt);
    EXPECT_THAT(*parse_pods("9,5,4294967295").value(), ElementsAre(9U, 5U, 4294967295U));
    for (const char* wrong :
         {"", "5,", ",5", "5,,7", "5 ,7", "0", "5,-1", "x", "4294967296", "all,5", "0x5"}) {
        const auto pods = parse_pods(wrong);
        ASSERT_FALSE(pods) << wrong;
        EXPECT_EQ(headline(pods.error()), "--pods: " + std::string(wrong) +
                                              ": expected 'all', or serial numbers as in 5,7,9");
    }
    EXPECT_EQ(headline(parse_pods("5,7,5").error()), "--pods: 5,7,5: pod 5 is named twice");
}

} // namespace
} // namespace talvor
