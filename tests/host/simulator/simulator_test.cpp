#include "common/temporary.h"
#include "common/toml_reader.h"
#include "host/simulator/simulator.h"

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <fstream>
#include <sys/stat.h>
#include <unistd.h>

namespace talvor {
namespace {

// A simulator of a few lines of shell, in a folder of its own.
class SimulatorTest : public testing::Test {
protected:
    // `lines` come behind those that find where to write the ready line in $ready and keep the
    // arguments.
    [[nodiscard]] SimulatorOptions options(const std::string& lines) const {
        const std::string path = folder.path() + "/podsim";
        std::ofstream(path) << "#!/bin/sh\necho \"$@\" > " << folder.path() << "/arguments\n"
                            << "ready=/proc/self/fd/$4\n"
                            << lines << "\n";
        chmod(path.c_str(), 0700);
        SimulatorOptions made;
        made.program = path;
        made.description = "/some/description.toml";
        return made;
    }
    [[nodiscard]] std::string arguments() const {
        std::ifstream file(folder.path() + "/arguments");
        std::string line;
        std::getline(file, line);
        return line;
    }
    TemporaryFolder folder = *TemporaryFolder::create();
};

TEST_F(SimulatorTest, IsToldItsArgumentsAndThatItEndsWithThisProgram) {
    SimulatorOptions wanted =
        options("trap 'exit 0' TERM; echo ready > $ready; while :; do sleep 0.01; done");
    wanted.vcd = WaveformFile{.path = "trace.vcd"};
    auto simulator = Simulator::start(wanted);
    ASSERT_TRUE(simulator) << headline(simulator.error());
    EXPECT_THAT(arguments(), testing::MatchesRegex("--end-with " + std::to_string(getpid()) +
                                                   " --ready-fd [0-9]+ --vcd trace.vcd "
                                                   "/some/description.toml"));
    EXPECT_TRUE(simulator->stop());
    EXPECT_TRUE(simulator->stop());
}

TEST_F(SimulatorTest, IsToldTheBoundsOfTheWaveform) {
    SimulatorOptions wanted =
        options("trap 'exit 0' TERM; echo ready > $ready; while :; do sleep 0.01; done");
    wanted.vcd = WaveformFile{.path = "trace.vcd", .bytes = 5000, .keep_last = true};
    const auto simulator = Simulator::start(wanted);
    ASSERT_TRUE(simulator) << headline(simulator.error());
    EXPECT_NE(arguments().find(" --vcd trace.vcd --vcd-bytes 5000 --vcd-last /some/"),
              std::string::npos)
        << arguments();
}

TEST_F(SimulatorTest, GetsTheBuiltInDescriptionAsAFileToRead) {
    SimulatorOptions wanted =
        options("cat $5; trap 'exit 0' TERM; echo ready > $ready; while :; do sleep 0.01; done");
    wanted.description.clear();
    const auto simulator = Simulator::start(wanted);
    ASSERT_TRUE(simulator) << headline(simulator.error());
    EXPECT_TRUE(simulator->last_words().ends_with("value = 0x54414C56 # \"TALV\""))
        << simulator->last_words();
}

TEST_F(SimulatorTest, AnEndBeforeItIsReadyIsToldInItsOwnWords) {
    const auto ended = Simulator::start(options("echo the pod broke; exit 1"));
    ASSERT_FALSE(ended);
    EXPECT_EQ(headline(ended.error()), "simulator: the pod broke");
    EXPECT_EQ(ended.error().exit_status(), 1);

    const auto bad_file = Simulator::start(options("echo \"$5:3: no such key\" >&2; exit 2"));
    ASSERT_FALSE(bad_file);
    EXPECT_EQ(headline(bad_file.error()), "simulator: /some/description.toml:3: no such key");
    EXPECT_EQ(bad_file.error().exit_status(), 2);

    const SimulatorOptions silent = options("exit 3");
    const auto without_words = Simulator::start(silent);
    ASSERT_FALSE(without_words);
    EXPECT_EQ(headline(without_words.error()),
              "simulator: " + *silent.program + " ended with status 3");
}

TEST_F(SimulatorTest, AProgramThatIsNotThereIsNamed) {
    SimulatorOptions wanted = options("");
    wanted.program = "/nonexistent/podsim";
    const auto none = Simulator::start(wanted);
    ASSERT_FALSE(none);
    EXPECT_EQ(headline(none.error()), "simulator: /nonexistent/podsim: No such file or directory");
}

TEST_F(SimulatorTest, ABadEndIsAnError) {
    auto simulator = Simulator::start(
        options("trap 'exit 7' TERM; echo ready > $ready; while :; do sleep 0.01; done"));
    ASSERT_TRUE(simulator) << headline(simulator.error());
    const Status ended = simulator->stop();
    ASSERT_FALSE(ended);
    EXPECT_EQ(headline(ended.error()), "simulator: talvor-podsim ended with status 7");
}

TEST_F(SimulatorTest, ABadEndIsToldByTheComplaintBehindTheLog) {
    const std::string lines =
        "trap 'echo warning: much; echo talvor-podsim: writing t.vcd: no "
        "room; echo \"  next: make some\"; exit 1' TERM; echo ready > $ready; "
        "while :; do sleep 0.01; done";
    for (const bool named : {true, false}) {
        SimulatorOptions wanted = options(lines);
        wanted.vcd = WaveformFile{.path = named ? "t.vcd" : "other.vcd"};
        auto simulator = Simulator::start(wanted);
        ASSERT_TRUE(simulator) << headline(simulator.error());
        const Status ended = simulator->stop();
        ASSERT_FALSE(ended);
        EXPECT_EQ(headline(ended.error()), "simulator: writing t.vcd: no room");
        EXPECT_EQ(ended.error().next_step, "make some");
        EXPECT_EQ(ended.error().kind, named ? ErrorKind::BadFile : ErrorKind::Pod);
    }
}

TEST(BuiltInDescriptionTest, IsAWholeTomlFile) {
    const auto parsed = parse_toml(built_in_description(), "built-in");
    ASSERT_TRUE(parsed) << headline(parsed.error());
    TomlErrors errors("built-in");
    EXPECT_EQ(TomlReader(*parsed, "", errors).tables("pod").size(), 1U);
}

TEST_F(SimulatorTest, OneThatDoesNotEndIsKilled) {
    SimulatorOptions wanted =
        options("trap '' TERM; echo ready > $ready; while :; do sleep 0.01; done");
    wanted.end_patience = std::chrono::milliseconds(50);
    wanted.vcd = WaveformFile{.path = "trace.vcd"};
    auto simulator = Simulator::start(wanted);
    ASSERT_TRUE(simulator) << headline(simulator.error());
    const Status stopped = simulator->stop();
    ASSERT_FALSE(stopped);
    EXPECT_EQ(headline(stopped.error()),
              "simulator: it did not end for 50 ms after SIGTERM and was killed; trace.vcd may not "
              "be complete");
    EXPECT_EQ(stopped.error().kind, ErrorKind::Pod);
    EXPECT_TRUE(simulator->stop());
}

} // namespace
} // namespace talvor
