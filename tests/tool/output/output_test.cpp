#include "host/driver/error_text.h"
#include "tool/output/output.h"

#include <gtest/gtest.h>
#include <nlohmann/json.hpp>

namespace talvor {
namespace {

TEST(TonedTest, StandsBetweenTheCodesOfItsTone) {
    EXPECT_EQ(toned(Tone::Plain, "x"), "x");
    EXPECT_EQ(toned(Tone::Strong, "x"), "\033[1mx\033[0m");
    EXPECT_EQ(toned(Tone::Good, "x"), "\033[32mx\033[0m");
    EXPECT_EQ(toned(Tone::Bad, "x"), "\033[31mx\033[0m");
    EXPECT_EQ(toned(Tone::Faint, "x"), "\033[2mx\033[0m");
}

TEST(ErrorJsonTest, HoldsEverythingThatIsThere) {
    const Failure failed = library_error("connecting the pod", -180);
    const auto full = nlohmann::json::parse(to_json(failed.value()).text());
    EXPECT_EQ(full.at("kind"), "pod");
    EXPECT_EQ(full.at("thing"), "connecting the pod");
    EXPECT_EQ(full.at("code"), -180);
    EXPECT_EQ(full.at("name"), "eJTI_ERROR_NO_POWER");
    EXPECT_FALSE(full.at("next_step").get<std::string>().empty());
}

TEST(ErrorJsonTest, LeavesOutWhatIsNotThere) {
    EXPECT_EQ(to_json(usage_error("x", "is wrong").value()).text(),
              "{\n  \"kind\": \"usage\",\n  \"thing\": \"x\",\n  \"reason\": \"is wrong\"\n}");
}

} // namespace
} // namespace talvor
