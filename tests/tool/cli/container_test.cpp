// In a container: the machine's /dev/shm has to do, and is left as it was.
#include "program.h"

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <csignal>
#include <filesystem>
#include <fstream>
#include <set>

namespace talvor::cli {
namespace {

using test_support::built_program;
using testing::HasSubstr;
using testing::StartsWith;

std::set<std::string> shm_objects() {
    std::set<std::string> names;
    for (const auto& entry : std::filesystem::directory_iterator("/dev/shm")) {
        names.insert(entry.path().filename());
    }
    return names;
}

std::vector<std::string> contained(std::vector<std::string> words) {
    std::vector<std::string> command{built_program("no_namespaces"), built_program("talvor"),
                                     "--simulate"};
    command.insert(command.end(), words.begin(), words.end());
    return command;
}

TEST(ContainerTest, TheSimulatedPodServesInTheMachinesShmAndLeavesNothing) {
    const std::set<std::string> before = shm_objects();
    const auto result = test_support::run_program(contained({"chain"}));
    EXPECT_EQ(result.status, 0) << result.errors;
    EXPECT_EQ(result.output, simulated({"chain"}).out);
    EXPECT_THAT(result.errors, StartsWith("talvor: no /dev/shm of its own can be had (a mount "
                                          "namespace: Operation not permitted): the simulated pod "
                                          "stands in the machine's"));
    EXPECT_EQ(shm_objects(), before);
}

TEST(ContainerTest, ADocumentStaysOneDocument) {
    const auto result = test_support::run_program(contained({"--json", "chain"}));
    EXPECT_EQ(result.status, 0) << result.errors;
    EXPECT_EQ(result.output, simulated({"--json", "chain"}).out);
}

TEST(ContainerTest, AProxyThatServesIsNamed) {
    const PodsimProcess podsim;
    ASSERT_TRUE(podsim.running());
    const auto result = test_support::run_program(contained({"chain"}));
    EXPECT_EQ(result.status, 1);
    EXPECT_EQ(result.output, "");
    EXPECT_THAT(result.errors,
                HasSubstr("talvor: simulator: a /dev/shm of its own: a mount namespace: Operation "
                          "not permitted; and a pod proxy serves the machine's (process " +
                          std::to_string(podsim.pid()) + ": talvor-podsim "));
    EXPECT_THAT(result.errors, HasSubstr("\n  next: use that proxy's pods, or stop it, "));
    // It goes on serving.
    EXPECT_EQ(talvor({"chain"}).status, 0);
}

TEST(ContainerTest, AnInterruptLeavesNothingEither) {
    const std::set<std::string> before = shm_objects();
    const TemporaryFile out = TemporaryFile::create().value();
    SpawnOptions options;
    options.arguments = contained({"status", "--watch", "0.05"});
    options.output = out.descriptor();
    options.errors = out.descriptor();
    ChildProcess process = ChildProcess::spawn(options).value();
    EXPECT_TRUE(await([&] { return read_file(out.path()).find("EMU0") != std::string::npos; }))
        << read_file(out.path());
    process.signal(SIGINT);
    EXPECT_EQ(process.wait().shell_status(), 128 + SIGINT) << read_file(out.path());
    EXPECT_EQ(shm_objects(), before);
}

} // namespace
} // namespace talvor::cli
