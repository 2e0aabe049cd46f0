#include "podsim/control/script.h"
#include "tests/podsim/reason.h"

#include <gtest/gtest.h>

namespace talvor::podsim::control {
namespace {

TEST(ScriptTest, TiesCommandsToTheStartAndToBatches) {
    const auto script = parse_script("# faults\n"
                                     "power off\n"
                                     "\n"
                                     "  batch 12: pod 42 fail 2\r\n"
                                     "batch 1:power on",
                                     "faults.txt");
    ASSERT_TRUE(script) << reason_of(script);
    const std::vector<Step>& steps = script.value();
    ASSERT_EQ(steps.size(), 3U);
    EXPECT_EQ(steps[0].batch, 0U);
    EXPECT_EQ(steps[0].command, (Command{.verb = Verb::Power, .on = false}));
    EXPECT_EQ(steps[0].place, "faults.txt:2");
    EXPECT_EQ(steps[1].batch, 12U);
    EXPECT_EQ(steps[1].command, (Command{.verb = Verb::Fail, .number = 2, .serial = 42}));
    EXPECT_EQ(steps[1].place, "faults.txt:4");
    EXPECT_EQ(steps[2].batch, 1U);
    EXPECT_EQ(steps[2].command, (Command{.verb = Verb::Power, .on = true}));
}

TEST(ScriptTest, AnEmptyScriptHasNoSteps) {
    const auto script = parse_script("", "faults.txt");
    ASSERT_TRUE(script);
    EXPECT_TRUE(script.value().empty());
    const auto file = read_script("/dev/null");
    ASSERT_TRUE(file) << reason_of(file);
    EXPECT_TRUE(file.value().empty());
}

TEST(ScriptTest, ErrorsNameFileAndLine) {
    const auto reason = [](const char* text) {
        return reason_of(parse_script(text, "faults.txt"));
    };
    constexpr const char* kForm = "faults.txt:2: expected 'batch N: COMMAND' with N from 1 on";
    EXPECT_EQ(reason("plug\nbatch 0: plug\n"), kForm);
    EXPECT_EQ(reason("plug\nbatch plug\n"), kForm);
    EXPECT_EQ(reason("plug\nbatch 3 plug\n"), kForm);
    EXPECT_EQ(reason("plug\nbatch -3: plug\n"), kForm);
    EXPECT_EQ(reason("plug\nbatch : plug\n"), kForm);
    EXPECT_EQ(reason("batch 3: power sideways\n"),
              "faults.txt:1: power takes off or on, not 'sideways'");
    EXPECT_EQ(reason("batch 3:\n"), "faults.txt:1: a command is missing");
    EXPECT_EQ(reason("status\n"), "faults.txt:1: a script cannot ask for the status");
    EXPECT_EQ(reason_of(read_script("/nowhere/script")),
              "reading the script /nowhere/script: No such file or directory");
}

} // namespace
} // namespace talvor::podsim::control
