// Board files that are found, and written.
#include "program.h"

#include <gmock/gmock.h>
#include <gtest/gtest.h>
#include <nlohmann/json.hpp>

#include <filesystem>
#include <fstream>

namespace talvor::cli {
namespace {

using testing::HasSubstr;
using testing::StartsWith;

// talvor in a folder, as a shell starts it; `settings` stands before it.
Outcome talvor_in(const std::string& folder, const std::string& settings, const std::string& rest) {
    const auto result =
        test_support::run_program({"/bin/sh", "-c",
                                   "cd " + folder + "; " + settings + " " +
                                       test_support::built_program("talvor") + " " + rest});
    return {result.status, result.output, result.errors};
}

TEST(FoundBoardTest, IsNamedWithWhereItWasFound) {
    const TemporaryFolder folder = TemporaryFolder::create().value();
    std::filesystem::create_directories(folder.path() + "/a/b");
    std::ofstream(folder.path() + "/a/talvor.toml") << "[VEXIL]\nLINKDLY = 3\n";
    const std::string below = folder.path() + "/a/b";
    EXPECT_THAT(talvor_in(below, "", "info").out,
                StartsWith("Board file\n  " + folder.path() +
                           "/a/talvor.toml, found in this folder or above it\n"));
    EXPECT_THAT(talvor_in(below, "", "info --no-board").out,
                StartsWith("Board file\n  none: the pod's own defaults\n"));
    const std::string example = source_file("examples/board.toml");
    EXPECT_THAT(talvor_in(below, "TALVOR_BOARD=" + example, "-v info").err,
                StartsWith("talvor: board file " + example + ", from $TALVOR_BOARD\n"));
    EXPECT_THAT(talvor_in("/", "XDG_CONFIG_HOME=" + folder.path(), "info").out,
                StartsWith("Board file\n  none"));
    std::filesystem::rename(folder.path() + "/a", folder.path() + "/talvor");
    EXPECT_THAT(talvor_in("/", "XDG_CONFIG_HOME=" + folder.path(), "info").out,
                HasSubstr("/talvor/talvor.toml, found in the user's settings\n"));
}

TEST(FoundBoardTest, IsUsedForThePodButNotForASimulatedOne) {
    const PodsimProcess simulator(five());
    const TemporaryFolder folder = TemporaryFolder::create().value();
    std::ofstream(folder.path() + "/talvor.toml")
        << std::ifstream(source_file("examples/board.toml")).rdbuf();
    EXPECT_THAT(talvor_in(folder.path(), "", "chain").out, HasSubstr("1  gate "));
    EXPECT_THAT(talvor_in(folder.path(), "", "chain --no-board").out, Not(HasSubstr("1  gate ")));
    EXPECT_THAT(talvor_in(folder.path(), "", "chain --simulate").out, Not(HasSubstr("gate")));
    EXPECT_THAT(talvor_in(folder.path(), "", "doctor").out,
                HasSubstr("6 keys for the driver; found in this folder or above it\n"));
    EXPECT_EQ(talvor_in(folder.path(), "", "chain --no-board --board x").status, 2);
}

TEST(InitTest, WritesABoardFileThatFits) {
    const TemporaryFolder folder = TemporaryFolder::create().value();
    const Outcome written = talvor_in(folder.path(), "", "--simulate init");
    EXPECT_EQ(written.status, 0) << written.err;
    EXPECT_EQ(written.out, "talvor.toml: written: pod 5, 5 devices\n");
    const Outcome doctor =
        simulated({"--board", folder.path() + "/talvor.toml", "--json", "doctor"});
    const auto document = nlohmann::json::parse(doctor.out);
    EXPECT_EQ(document.at("healthy"), true) << doctor.out;
    for (const auto& check : document.at("checks")) {
        EXPECT_NE(check.at("verdict"), "wrong") << check.dump();
        if (check.at("check") == "board keys") {
            EXPECT_EQ(check.at("verdict"), "ok") << check.dump();
        }
    }
    EXPECT_THAT(simulated({"--board", folder.path() + "/talvor.toml", "chain"}).out,
                HasSubstr("device5"));
}

TEST(InitTest, WritesOverAFileOnlyWhenItIsTold) {
    const TemporaryFolder folder = TemporaryFolder::create().value();
    const std::string path = folder.path() + "/mine.toml";
    std::ofstream(path) << "mine";
    const Outcome refused = simulated({"init", path});
    EXPECT_EQ(refused.status, 2);
    EXPECT_EQ(refused.err, "talvor: " + path +
                               ": is there already\n"
                               "  next: name another file, or write over it with --force\n");
    EXPECT_EQ(read_file(path), "mine");
    EXPECT_EQ(simulated({"init", path, "--force"}).status, 0);
    EXPECT_THAT(read_file(path), StartsWith("# A board file for talvor"));
    EXPECT_EQ(simulated({"init", "/nonexistent/x"}).status, 2);
    EXPECT_EQ(std::distance(std::filesystem::directory_iterator(folder.path()),
                            std::filesystem::directory_iterator()),
              1)
        << "nothing else is left";
}

TEST(InitTest, WritesToTheStandardOutput) {
    const Outcome outcome = simulated({"init", "-"});
    EXPECT_THAT(outcome.out, HasSubstr("\n[[device]] # IDCODE 0x1A2B3C4D\nname = \"device2\"\n"
                                       "ir = 4\n"));
    EXPECT_EQ(nlohmann::json::parse(simulated({"init", "-", "--json"}).out).at("text"),
              outcome.out);
}

TEST(InitTest, SaysInTheFileThatThereIsNoChain) {
    const Outcome outcome = simulated({"--link", "0", "init", "-"});
    EXPECT_EQ(outcome.status, 0) << outcome.err;
    EXPECT_THAT(outcome.out, HasSubstr("\n# The chain could not be found: "));
    EXPECT_THAT(outcome.err, StartsWith("talvor: the chain could not be found: "));
}

TEST(PartsTest, AreNamedInChainAndBoardFile) {
    const TemporaryFolder folder = TemporaryFolder::create().value();
    // Device 2 of the simulated chain: manufacturer 0x626, part 0xA2B3, version 1.
    std::filesystem::create_directories(folder.path() + "/acme/cpu");
    std::ofstream(folder.path() + "/MANUFACTURERS") << "11000100110 acme Acme\n";
    std::ofstream(folder.path() + "/acme/PARTS") << "1010001010110011 cpu CPU-9\n";
    std::ofstream(folder.path() + "/acme/cpu/STEPPINGS") << "0001 cpu B0\n";
    EXPECT_THAT(simulated({"chain", "--parts", folder.path()}).out,
                HasSubstr("0x1A2B3C4D  0x626 Acme             0xA2B3 CPU-9  1 B0     4\n"));
    const auto document =
        nlohmann::json::parse(simulated({"chain", "--parts", folder.path(), "--json"}).out);
    EXPECT_EQ(document.at("devices").at(1).at("manufacturer_name"), "Acme");
    EXPECT_EQ(document.at("devices").at(1).at("part_name"), "CPU-9");
    EXPECT_EQ(document.at("devices").at(1).at("stepping"), "B0");
    EXPECT_THAT(simulated({"init", "-", "--parts", folder.path()}).out,
                HasSubstr("# IDCODE 0x1A2B3C4D, Acme, CPU-9\nname = \"cpu-9\"\n"));
    EXPECT_THAT(talvor_in("/", "TALVOR_PARTS=" + folder.path(), "--simulate chain").out,
                HasSubstr("CPU-9"));
    EXPECT_EQ(simulated({"chain", "--parts", "/nonexistent"}).status, 2);
}

} // namespace
} // namespace talvor::cli
