#include "tool/commands/app.h"
#include "tool/commands/gang_commands.h"

#include <gtest/gtest.h>

#include <algorithm>
#include <sstream>

namespace talvor {
namespace {

// The command of those words, or null.
const CommandDescription* find(const CommandDescription& program, std::string_view path) {
    const CommandDescription* at = &program;
    std::istringstream words{std::string(path)};
    for (std::string word; at != nullptr && words >> word;) {
        const auto found = std::ranges::find(at->commands, word, &CommandDescription::name);
        at = found == at->commands.end() ? nullptr : &*found;
    }
    return at;
}

TEST(GangCommandsTest, AreCommandsWithTheOptionsThatAreRefused) {
    const CommandDescription program = describe_program();
    for (const GangCommand& command : gang_commands()) {
        const CommandDescription* found = find(program, command.path);
        ASSERT_NE(found, nullptr) << command.path;
        // "pins" alone lists them, and has commands that do other things.
        EXPECT_TRUE(found->commands.empty() || command.path == "pins") << command.path;
        for (const std::string_view refused : command.refused) {
            EXPECT_TRUE(std::ranges::any_of(found->options, [refused](const auto& option) {
                return std::ranges::count(option.names, refused) != 0;
            })) << refused;
        }
        EXPECT_EQ(find_gang_command(command.path), &command);
    }
    EXPECT_EQ(find_gang_command("shell"), nullptr);
    EXPECT_EQ(find_gang_command("tclk"), nullptr);
}

std::string summary(std::string_view path, std::string_view document) {
    return find_gang_command(path)->summary(*Json::parse(document));
}

TEST(GangCommandsTest, SayWhatADocumentTells) {
    EXPECT_EQ(summary("chain", R"({"devices": [{"idcode": "0x1A2B3C4D"}, {"idcode": null}]})"),
              "2 devices: 0x1A2B3C4D -");
    EXPECT_EQ(summary("chain", R"({"devices": []})"), "0 devices");
    EXPECT_EQ(summary("svf", R"({"summary": {"ir_scans": 1, "dr_scans": 2, "ir_bits": 10,
                                             "dr_bits": 64, "compared_scans": 2}})"),
              "3 scans of 74 bits, 2 compared");
    EXPECT_EQ(
        summary("tclk search", R"({"highest_hz": 20000000, "chosen": {"actual_hz": 12500000}})"),
        "20 MHz, with the margin 12.5 MHz");
    EXPECT_EQ(summary("bench", R"({"measurements": [{"name": "a", "rate": 1234.5, "unit": "1/s"},
                                                    {"name": "b", "rate": 2, "unit": "Mbit/s"}]})"),
              "a: 1234.5 1/s, b: 2 Mbit/s");
}

TEST(GangCommandsTest, SayWhatPinsRead) {
    EXPECT_EQ(summary("pins", R"({"devices": [{"pins": [{"level": "1"}, {"level": "0"}]},
                                              {"pins": [{"level": "1"}, {"level": null}]}]})"),
              "4 pins: 2 high, 1 low");
    EXPECT_EQ(summary("pins", R"({"devices": []})"), "0 pins: 0 high, 0 low");
    EXPECT_EQ(summary("pins get", R"json({"pins": [{"name": "PA(0)", "level": "1"},
                                                   {"name": "PB", "level": null}]})json"),
              "PA(0)=1 PB=-");
}

TEST(GangCommandsTest, ADocumentWithoutTheMembersIsNoCrash) {
    for (const GangCommand& command : gang_commands()) {
        (void)command.summary(*Json::parse("{}"));
        (void)command.summary(*Json::parse("[1]"));
        (void)command.summary(*Json::parse("null"));
    }
}

TEST(GangCommandsTest, RatesOfABenchAreAddedAndCompared) {
    const Json one =
        *Json::parse(R"({"measurements": [{"name": "a", "rate": 10, "unit": "1/s"}]})");
    const Json other = *Json::parse(R"({"measurements": [{"name": "a", "rate": 30, "unit": "1/s"},
                                                         {"name": "b", "rate": 1, "unit": "1/s"}]})");
    const Json together = find_gang_command("bench")->together({&one, &other});
    ASSERT_EQ(together.size(), 1U);
    EXPECT_EQ(*together.find("0.text")->scalar_text(),
              "a: 40.0 1/s together; the slowest pod has 10.0 1/s, the fastest 30.0 1/s");
    EXPECT_EQ(find_gang_command("bench")->together({}).size(), 0U);
}

} // namespace
} // namespace talvor
