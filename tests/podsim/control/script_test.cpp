#include "podsim/control/script.h"

#include <gtest/gtest.h>

namespace podsim::control {
namespace {

TEST(Script, ties_commands_to_the_start_and_to_batches) {
    const auto script = parse_script("# faults\n"
                                     "power off\n"
                                     "\n"
                                     "  batch 12: pod 42 fail 2\r\n"
                                     "batch 1:power on",
                                     "faults.txt");
    ASSERT_FALSE(script.failed()) << script.reason();
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

TEST(Script, an_empty_script_has_no_steps) {
    const auto script = parse_script("", "faults.txt");
    ASSERT_FALSE(script.failed());
    EXPECT_TRUE(script.value().empty());
    const auto file = read_script("/dev/null");
    ASSERT_FALSE(file.failed()) << file.reason();
    EXPECT_TRUE(file.value().empty());
}

TEST(Script, errors_name_file_and_line) {
    const auto reason = [](const char* text) { return parse_script(text, "faults.txt").reason(); };
    constexpr const char* form = "faults.txt:2: expected 'batch N: COMMAND' with N from 1 on";
    EXPECT_EQ(reason("plug\nbatch 0: plug\n"), form);
    EXPECT_EQ(reason("plug\nbatch plug\n"), form);
    EXPECT_EQ(reason("plug\nbatch 3 plug\n"), form);
    EXPECT_EQ(reason("plug\nbatch -3: plug\n"), form);
    EXPECT_EQ(reason("plug\nbatch : plug\n"), form);
    EXPECT_EQ(reason("batch 3: power sideways\n"),
              "faults.txt:1: power takes off or on, not 'sideways'");
    EXPECT_EQ(reason("batch 3:\n"), "faults.txt:1: a command is missing");
    EXPECT_EQ(reason("status\n"), "faults.txt:1: a script cannot ask for the status");
    EXPECT_EQ(read_script("/nowhere/script").reason(),
              "reading the script /nowhere/script: No such file or directory");
}

} // namespace
} // namespace podsim::control
