// Each request for memory that the programs make is refused, once and for good. Wanted: no crash,
// an exit status of their own, words on the standard error stream, nothing left in /dev/shm, and
// the same command done afterwards. The heap is that of a preloaded library, so that the C
// library's and the driver's requests count too.
#include "bound.h"
#include "common/child_process.h"
#include "common/temporary.h"
#include "host.h"
#include "support/podsim_process.h"

#include <fmt/format.h>
#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <algorithm>
#include <array>
#include <cctype>
#include <csignal>
#include <cstdlib>
#include <fcntl.h>
#include <fstream>
#include <sstream>
#include <unistd.h>

namespace torture {
namespace {

using test_support::built_program;
using testing::AnyOf;
using testing::HasSubstr;
using testing::IsEmpty;

constexpr long kBoundedRequests = 20; // of a command, spread over it

struct Command {
    std::string name;
    std::string program;
    std::vector<std::string> arguments;
    bool serves = false; // runs until it is told to end
};

std::ostream& operator<<(std::ostream& out, const Command& command) {
    return out << command.name;
}

struct Result {
    int status = -1; // as a shell's
    std::string errors;
    bool refused = false;
    long served = 0;
};

std::string read_all(const std::string& path) {
    std::ostringstream text;
    text << std::ifstream(path).rdbuf();
    return text.str();
}

class AllocationTest : public testing::TestWithParam<Command> {
protected:
    void SetUp() override {
        if (std::string_view(FAILING_MALLOC).empty()) {
            GTEST_SKIP() << "sanitizers and coverage leave no heap that could refuse";
        }
    }
    [[nodiscard]] Result run(long fail, bool lasting) const;

    talvor::TemporaryFolder folder_ = *talvor::TemporaryFolder::create();
};

// Sends the end to one that serves as soon as it says that it does.
int wait_for(talvor::ChildProcess& child, int output, bool serves) {
    std::array<char, 4096> bytes{};
    while (read(output, bytes.data(), bytes.size()) > 0) {
        if (serves) {
            child.signal(SIGTERM);
        }
    }
    return child.wait().shell_status();
}

Result AllocationTest::run(long fail, bool lasting) const {
    const Command& command = GetParam();
    const std::string report = folder_.path() + "/report";
    const std::string errors = folder_.path() + "/errors";
    unlink(report.c_str());
    std::vector<std::string> line{"timeout",
                                  "60",
                                  "env",
                                  fmt::format("LD_PRELOAD={}", FAILING_MALLOC),
                                  fmt::format("TALVOR_MALLOC_PROGRAM={}", command.program),
                                  fmt::format("TALVOR_MALLOC_FAIL={}", fail),
                                  fmt::format("TALVOR_MALLOC_REPORT={}", report)};
    if (lasting) {
        line.emplace_back("TALVOR_MALLOC_LASTING=1");
    }
    line.push_back(built_program(command.program));
    line.insert(line.end(), command.arguments.begin(), command.arguments.end());
    std::array<int, 2> ends{};
    EXPECT_EQ(pipe2(ends.data(), O_CLOEXEC), 0);
    const talvor::FileDescriptor output(ends[0]);
    talvor::FileDescriptor to_child(ends[1]);
    const talvor::FileDescriptor words =
        talvor::open_file(errors.c_str(), O_WRONLY | O_CREAT | O_TRUNC, 0600);
    auto child = talvor::ChildProcess::spawn(
        {.arguments = line, .output = to_child.get(), .errors = words.get()});
    to_child.reset();
    EXPECT_TRUE(child);
    Result result;
    result.status = wait_for(*child, output.get(), command.serves);
    result.errors = read_all(errors);
    std::ifstream told(report);
    for (std::string word; told >> word;) {
        result.refused = result.refused || word == "refused";
        if (word == "served") {
            told >> result.served;
        }
    }
    return result;
}

TEST_P(AllocationTest, ARequestThatIsRefusedEndsTheProgramInOrder) {
    const Result whole = run(0, false);
    ASSERT_EQ(whole.status, 0) << whole.errors;
    ASSERT_GT(whole.served, 0);
    const long step = full() ? 1 : std::max(1L, whole.served / kBoundedRequests);
    unsigned runs = 0;
    unsigned ended = 0;
    for (const bool lasting : {false, true}) {
        for (long request = 1; request <= whole.served; request += step) {
            SCOPED_TRACE(
                fmt::format("request {}{}", request, lasting ? " and all later ones" : ""));
            const Result result = run(request, lasting);
            if (!result.refused) {
                continue; // threads do not always ask in the same order
            }
            ++runs;
            EXPECT_LE(result.status, 2) << result.errors;
            if (result.status != 0) {
                ++ended;
                // A thread that could not be made is told in the C library's words.
                EXPECT_THAT(result.errors, AnyOf(HasSubstr("memory"), HasSubstr("starting a")));
            }
            EXPECT_THAT(talvor::podsim::proxy::shm_objects(), IsEmpty());
        }
        EXPECT_EQ(run(0, false).status, 0);
    }
    std::printf("%s: %ld requests, %u refused, %u ended the program\n", GetParam().name.c_str(),
                whole.served, runs, ended);
    EXPECT_GT(ended, 0U);
}

std::vector<Command> commands() {
    const std::string examples = SOURCE_FOLDER "/examples";
    const std::string svf = examples + "/demo.svf";
    const std::string board = "--simulate=" + examples + "/board/pod.toml";
    const std::string devices = "--board=" + examples + "/board/board.toml";
    const std::string cpld = "--simulate=" + examples + "/cpld.toml";
    return {
        {"Info", "talvor", {"--simulate", "info"}},
        {"Chain", "talvor", {"--simulate", "chain"}},
        {"ChainJson", "talvor", {"--simulate", "--json", "chain"}},
        {"SvfDryRun", "talvor", {"--simulate", "svf", "--dry-run", svf}},
        {"Bsdl", "talvor", {"bsdl", "--json", examples + "/board/tlc44.bsd"}},
        {"Pins", "talvor", {board, devices, "pins"}},
        {"Interconnect", "talvor", {board, devices, "interconnect", examples + "/board/nets.toml"}},
        {"Stapl", "talvor", {cpld, "stapl", "--action", "READ_IDCODE", examples + "/cpld.stapl"}},
        {"Record", "talvor", {"--simulate", "record", "/dev/null", "chain"}},
        {"Gang", "talvor", {"--simulate=" + examples + "/two-pods.toml", "--pods=all", "chain"}},
        {"Serve", "talvor-podsim", {}, true},
        {"ServeACommand", "talvor-podsim", {"--private", "true"}},
    };
}

INSTANTIATE_TEST_SUITE_P(Programs, AllocationTest, testing::ValuesIn(commands()),
                         [](const testing::TestParamInfo<Command>& tested) {
                             return tested.param.name;
                         });

} // namespace
} // namespace torture
