// One command on several pods at once: --pods.
#include "program.h"

#include <fmt/format.h>
#include <gmock/gmock.h>
#include <gtest/gtest.h>
#include <nlohmann/json.hpp>

#include <algorithm>
#include <csignal>
#include <fcntl.h>
#include <filesystem>
#include <sstream>
#include <sys/file.h>
#include <sys/mman.h>
#include <thread>

namespace talvor::cli {
namespace {

using nlohmann::json;
using testing::AllOf;
using testing::ContainsRegex;
using testing::HasSubstr;
using testing::Not;
using testing::StartsWith;

// Pods 11, 12, ... of all generations, each with one device and a register; `faults` of the n-th.
std::string pods(unsigned count, const std::vector<std::string>& faults = {}) {
    std::string text;
    for (unsigned i = 0; i < count; ++i) {
        text += fmt::format("[[pod]]\nserial = {}\nrevision = 0x0{}00\n", 11 + i, 1 + i % 4);
        if (i < faults.size() && !faults[i].empty()) {
            text += "faults = [\"" + faults[i] + "\"]\n";
        }
        text += "[[pod.tap]]\nname = \"a\"\nir_length = 4\nidcode = 0x1A2B3C4D\n"
                "idcode_instruction = 2\n";
    }
    return text;
}

std::string idcode_svf(const std::string& name = "idcode.svf", unsigned times = 1,
                       const std::string& code = "1A2B3C4D") {
    std::string text = "STATE RESET;\nSTATE IDLE;\n";
    for (unsigned i = 0; i < times; ++i) {
        text += "STATE RESET;\nSDR 32 TDI (0) TDO (" + code + ");\n";
    }
    return file_with(name, text);
}

// It plays for as long as nobody stops it.
std::string endless_svf() {
    std::string text = "STATE RESET;\n";
    for (int i = 0; i < 5000; ++i) {
        text += "RUNTEST 0.01 SEC;\n";
    }
    return file_with("endless-gang.svf", text);
}

json document(const Outcome& outcome) {
    return json::parse(outcome.out, nullptr, false);
}

// Results by pod.
std::vector<std::string> results(const json& whole) {
    std::vector<std::string> all;
    for (const json& pod : whole.at("pods")) {
        all.push_back(fmt::format("{} {}", pod.at("pod").get<unsigned>(),
                                  pod.at("result").get<std::string>()));
    }
    return all;
}

// Whether a pod of those has a host.
bool attached(const PodsimProcess& simulator, const std::vector<unsigned>& serials) {
    const json status = json::parse(simulator.ctl("status"));
    return std::ranges::any_of(status.at("pods"), [&serials](const json& pod) {
        return pod.at("attached") == true &&
               std::ranges::count(serials, pod.at("serial").get<unsigned>()) != 0;
    });
}

// All of them play.
bool play(const Running& gang, const std::vector<unsigned>& serials) {
    const std::string said = gang.err();
    return std::ranges::all_of(serials, [&said](unsigned serial) {
        return said.find(fmt::format("pod {}     play ", serial)) != std::string::npos;
    });
}

TEST(GangTest, PlaysOnAllPodsAndPrintsOneTable) {
    const PodsimProcess simulator(pods(4));
    const Outcome played = talvor({"svf", idcode_svf(), "--pods", "all"});
    EXPECT_EQ(played.status, 0) << played.err;
    EXPECT_EQ(played.err, "");
    EXPECT_THAT(played.out,
                ContainsRegex("^  pod  result  attempts  seconds\n"
                              "  11   passed  1         [0-9.]+     1 scan of 32 bits, 1 compared\n"
                              "  12   passed  1         [0-9.]+     1 scan of 32 bits, 1 compared\n"
                              "  13   passed  1 .*\n"
                              "  14   passed  1 .*\n"
                              "4 of 4 pods passed\n$"));
}

TEST(GangTest, WorksOnThePodsThatAreNamedInTheirOrder) {
    const PodsimProcess simulator(pods(4));
    const Outcome chain = talvor({"--pods", "14,12", "--json", "chain"});
    EXPECT_EQ(chain.status, 0) << chain.err;
    const json whole = document(chain);
    EXPECT_THAT(results(whole), testing::ElementsAre("14 passed", "12 passed"));
    EXPECT_EQ(whole.at("command"), "chain");
    EXPECT_EQ(whole.at("pods").at(0).at("revision"), "4.0");
    EXPECT_EQ(whole.at("pods").at(0).at("summary"), "1 device: 0x1A2B3C4D");
    EXPECT_EQ(whole.at("pods").at(0).at("document").at("devices").at(0).at("idcode"), "0x1A2B3C4D");
}

TEST(GangTest, HasASimulatorOfItsOwn) {
    const Outcome played = talvor({"--simulate", source_file("examples/eight-pods.toml"), "--pods",
                                   "all", "svf", source_file("examples/eight-pods.svf")});
    EXPECT_EQ(played.status, 0) << played.err;
    EXPECT_THAT(played.out, HasSubstr("8 of 8 pods passed\n"));
}

TEST(GangTest, SearchesAndMeasuresOnAll) {
    const PodsimProcess simulator(pods(2));
    const Outcome search = talvor({"tclk", "search", "--bits", "64", "--pods", "11,12"});
    EXPECT_EQ(search.status, 0) << search.err;
    EXPECT_THAT(search.out, ContainsRegex("  12   passed  1 .* MHz, with the margin .* MHz\n"));
    const Outcome bench =
        talvor({"--json", "--pods=all", "bench", "--seconds", "0.01", "--bits", "64"});
    EXPECT_EQ(bench.status, 0) << bench.err;
    const json whole = document(bench);
    ASSERT_EQ(whole.at("together").size(), 6U);
    const double sum = whole.at("together").at(0).at("rate");
    const double one = whole.at("together").at(0).at("slowest");
    const double other = whole.at("together").at(0).at("fastest");
    EXPECT_NEAR(sum, one + other, sum * 1e-9);
}

TEST(GangTest, OneThatFailsIsToldAndTheOthersGoOn) {
    const PodsimProcess simulator(pods(3, {"", "power off"}));
    const std::string svf = idcode_svf();
    const Outcome played = talvor({"--pods", "all", "svf", svf});
    EXPECT_EQ(played.status, 1);
    EXPECT_THAT(played.out,
                AllOf(ContainsRegex("  11   passed  1 "), ContainsRegex("  12   FAILED  1 "),
                      ContainsRegex("  13   passed  1 "), HasSubstr("2 of 3 pods passed\n")));
    EXPECT_THAT(played.err, AllOf(StartsWith("talvor: pod 12: "),
                                  HasSubstr("talvor: svf on 3 pods: failed on 1 of them: 12\n")));
}

TEST(GangTest, AnotherAttemptMayDoBetter) {
    const PodsimProcess simulator(pods(2, {"", "fail 3"}));
    const std::string log = file_with("retry.csv", "");
    const Outcome played =
        talvor({"--pods", "all", "--retry", "9", "--log", log, "--json", "svf", idcode_svf()});
    EXPECT_EQ(played.status, 0) << played.err;
    const json whole = document(played);
    EXPECT_THAT(results(whole), testing::ElementsAre("11 passed", "12 passed"));
    EXPECT_EQ(whole.at("pods").at(0).at("attempts"), 1);
    EXPECT_GT(whole.at("pods").at(1).at("attempts"), 1);
    EXPECT_THAT(played.err, HasSubstr("talvor: pod 12: attempt 1 of 10 has failed; once more\n"));
    EXPECT_THAT(read_file(log), ContainsRegex("Z,svf .*,12,2\\.0,passed,[2-9],0,"));
}

TEST(GangTest, AttemptsComeToAnEnd) {
    const PodsimProcess simulator(pods(1, {"power off"}));
    const Outcome played = talvor({"--pods", "11", "--retry", "2", "--json", "chain"});
    EXPECT_EQ(played.status, 1);
    EXPECT_EQ(document(played).at("pods").at(0).at("attempts"), 3);
}

// A wrong file is wrong the next time, too, and it is nobody's pod that fails.
TEST(GangTest, ABadFileIsNotTriedAgain) {
    const PodsimProcess simulator(pods(2));
    const Outcome played = talvor(
        {"--pods", "all", "--retry", "5", "--json", "svf", file_with("bad.svf", "NONSENSE;\n")});
    EXPECT_EQ(played.status, 2);
    EXPECT_EQ(document(played).at("pods").at(0).at("attempts"), 1);
    EXPECT_EQ(document(played).at("pods").at(0).at("exit_status"), 2);
}

TEST(GangTest, StopsTheOthersWhenOneFails) {
    const PodsimProcess simulator(pods(3, {"", "power off"}));
    const Outcome played =
        talvor({"--pods", "all", "--stop-on-first", "--json", "svf", endless_svf()});
    EXPECT_EQ(played.status, 1);
    EXPECT_THAT(results(document(played)),
                testing::ElementsAre("11 stopped", "12 failed", "13 stopped"));
    EXPECT_FALSE(attached(simulator, {11, 13}));
}

TEST(GangTest, AnInterruptStopsAllByTheirSafeWayAndIsToldOnce) {
    const PodsimProcess simulator(pods(3));
    for (const int signal : {SIGINT, SIGTERM}) {
        Running gang({"--pods", "all", "svf", "--progress", "always", endless_svf()});
        ASSERT_TRUE(await([&] { return play(gang, {11, 12, 13}); })) << gang.err();
        gang.signal(signal);
        EXPECT_EQ(gang.wait(), 128 + signal);
        EXPECT_THAT(gang.out(), AllOf(ContainsRegex("  11   stopped "), HasSubstr("3 stopped\n")));
        const std::string said = gang.err();
        const size_t at = said.find("talvor: interrupted: stopped at the user's request\n");
        EXPECT_NE(at, std::string::npos);
        EXPECT_EQ(said.find("interrupted", at + 20), std::string::npos) << "once";
        EXPECT_FALSE(attached(simulator, {11, 12, 13}));
    }
}

TEST(GangTest, ItsProgramsEndWithIt) {
    const PodsimProcess simulator(pods(2));
    Running gang({"--pods", "all", "svf", "--progress", "always", endless_svf()});
    ASSERT_TRUE(await([&] { return play(gang, {11, 12}); }));
    gang.signal(SIGKILL);
    EXPECT_EQ(gang.wait(), 128 + SIGKILL);
    EXPECT_TRUE(await(
        [&] { return simulator.ctl("status").find("\"attached\":true") == std::string::npos; }));
    EXPECT_EQ(talvor({"--pods", "all", "chain"}).status, 0);
}

TEST(GangTest, ATimeoutEndsAll) {
    const PodsimProcess simulator(pods(2));
    const Outcome played = talvor({"--pods", "all", "--timeout", "1", "svf", endless_svf()});
    EXPECT_EQ(played.status, 124);
    EXPECT_THAT(played.err, HasSubstr("timeout: the 1 second that --timeout gives is over\n"));
    EXPECT_THAT(played.out, HasSubstr("0 of 2 pods passed, 2 stopped\n"));
}

// The others do not wait for it, and it says whose it is.
TEST(GangTest, APodInUseFailsAlone) {
    const PodsimProcess simulator(pods(2));
    const FileDescriptor block(shm_open("/talvor_lcl_shm_000011", O_RDONLY | O_CLOEXEC, 0));
    ASSERT_TRUE(block.is_open());
    ASSERT_EQ(flock(block.get(), LOCK_EX | LOCK_NB), 0);
    const Outcome chain = talvor({"--pods", "all", "chain"});
    EXPECT_EQ(chain.status, 1);
    EXPECT_THAT(chain.out, AllOf(ContainsRegex("  11   FAILED .*used by `tool_cli_test"),
                                 ContainsRegex("  12   passed ")));
    EXPECT_THAT(chain.err, HasSubstr("talvor: pod 11: used by `tool_cli_test"));
    EXPECT_EQ(talvor({"--pods", "all", "--share", "chain"}).status, 0);
}

TEST(GangTest, AProxyThatIsSilentIsGivenUpByEachOfThem) {
    const PodsimProcess simulator(pods(2));
    const std::string svf = idcode_svf("busy.svf", 200'000);
    Running gang({"--pods", "all", "--patience", "0.3", "svf", "--progress", "always", svf});
    ASSERT_TRUE(await([&] { return play(gang, {11, 12}); }));
    kill(simulator.pid(), SIGSTOP);
    EXPECT_EQ(gang.wait(), 1);
    kill(simulator.pid(), SIGCONT);
    EXPECT_THAT(gang.out(), AllOf(HasSubstr("it has not answered for 0.3 seconds"),
                                  HasSubstr("0 of 2 pods passed\n")));
}

TEST(GangTest, OneThatIsUnpluggedFailsAlone) {
    const PodsimProcess simulator(pods(2));
    const std::string svf = idcode_svf("long.svf", 20'000);
    Running gang({"--pods", "all", "--json", "svf", "--progress", "always", svf});
    ASSERT_TRUE(await([&] { return play(gang, {12}); }));
    EXPECT_EQ(simulator.ctl("pod 12 unplug"), "ok");
    EXPECT_EQ(gang.wait(), 1);
    EXPECT_THAT(results(json::parse(gang.out())), testing::ElementsAre("11 passed", "12 failed"));
}

TEST(GangTest, ThirtyTwoPodsAreNoneTooMany) {
    const PodsimProcess simulator(pods(32));
    const Outcome chain = talvor({"--pods", "all", "chain"});
    EXPECT_EQ(chain.status, 0) << chain.err;
    EXPECT_THAT(chain.out, HasSubstr("32 of 32 pods passed\n"));
}

// ---- what is wrong from the start -------------------------------------------------------------

struct Mistake {
    std::vector<std::string> words;
    std::string said;
};

TEST(GangTest, MistakesAreToldBeforeAPodIsTouched) {
    const PodsimProcess simulator(pods(2));
    const std::string svf = idcode_svf();
    const Mistake mistakes[] = {
        {{"--pods", "11,11", "chain"}, "talvor: --pods: 11,11: pod 11 is named twice\n"},
        {{"--pods", "11,x", "chain"}, "talvor: --pods: 11,x: expected 'all', or serial numbers"},
        {{"--pods", "11,99", "chain"}, "talvor: pod 99: "},
        {{"--pods", "all", "--pod", "11", "chain"}, "cannot be had with --"},
        {{"--retry", "2", "chain"}, "talvor: --retry: has no effect without --pods\n"},
        {{"--stop-on-first", "chain"}, "talvor: --stop-on-first: has no effect without --pods\n"},
        {{"--log", "x", "chain"}, "talvor: --log: has no effect without --pods\n"},
        {{"--pods", "all", "shell"},
         "talvor: --pods: 'shell' works on one pod\n  next: name it with --pod; on several at once "
         "work: chain, "},
        {{"trace", "--pods", "all", "chain"}, "talvor: "},
        {{"--pods", "all", "svf", "-"}, "talvor: -: can be read by one program alone, and each"},
        {{"--pods", "all", "svf", svf, "--svg", "x.svg"}, "talvor: --svg: is for one pod alone\n"},
        {{"--pods", "all", "--log", "/dev/null", "chain"}, "talvor: /dev/null: is no plain file"},
        {{"--pods", "all", "--board", "b{serial}.toml", "chain"},
         "talvor: b11.toml: the board file of pod 11 cannot be read: No such file or directory\n"},
    };
    for (const Mistake& mistake : mistakes) {
        const Outcome outcome = talvor(mistake.words);
        EXPECT_NE(outcome.status, 0) << mistake.said;
        EXPECT_THAT(outcome.err, HasSubstr(mistake.said));
        EXPECT_EQ(outcome.out, "");
    }
    EXPECT_THAT(simulator.ctl("status"), Not(HasSubstr("\"batches\":1")));
}

TEST(GangTest, WithoutAProxyOrAPodItSaysSo) {
    const Outcome none = talvor({"--pods", "all", "chain"});
    EXPECT_EQ(none.status, 1);
    EXPECT_THAT(none.err, StartsWith("talvor: "));
    const PodsimProcess simulator(pods(1));
    EXPECT_EQ(simulator.ctl("unplug"), "ok");
    const Outcome empty = talvor({"--pods", "all", "chain"});
    EXPECT_EQ(empty.status, 1);
    EXPECT_THAT(empty.err, HasSubstr("talvor: --pods all: the proxy has no pod\n"));
}

// ---- board files ------------------------------------------------------------------------------

TEST(GangTest, EachPodMayHaveABoardFileOfItsOwn) {
    const PodsimProcess simulator(pods(2));
    const TemporaryFolder folder = TemporaryFolder::create().value();
    for (const char* serial : {"11", "12"}) {
        std::filesystem::copy(
            file_with("own.toml", fmt::format("[[device]]\nname = \"of-{}\"\nir = 4\n", serial)),
            folder.path() + "/" + serial + ".toml");
    }
    for (const std::string& board : {folder.path(), folder.path() + "/{serial}.toml"}) {
        const json whole = document(talvor({"--pods", "all", "--board", board, "--json", "chain"}));
        for (const json& pod : whole.at("pods")) {
            EXPECT_EQ(pod.at("document").at("devices").at(0).at("name"),
                      fmt::format("of-{}", pod.at("pod").get<unsigned>()));
        }
    }
}

// One that names the controller block of its own pod, which the others must not share.
TEST(GangTest, ACommonBoardFileLeavesEachPodItsBlock) {
    const PodsimProcess simulator(pods(3));
    const std::string board =
        file_with("common.toml", "[KELM]\nPOD_DRVR = \"bench\"\nPOD_PORT = 3\nPOD_SN = 12\n");
    Running gang({"--pods", "all", "--board", board, "svf", "--progress", "always", endless_svf()});
    const auto blocks = [] {
        return std::count_if(
            std::filesystem::directory_iterator("/dev/shm"), std::filesystem::directory_iterator(),
            [](const auto& entry) { return entry.path().filename().string().starts_with("JTI-"); });
    };
    EXPECT_TRUE(await([&] { return play(gang, {11, 12, 13}); }));
    EXPECT_GE(blocks(), 3);
    gang.signal(SIGTERM);
    EXPECT_EQ(gang.wait(), 128 + SIGTERM);
}

TEST(GangTest, TheSerialNumberStandsInWordsThatAskForIt) {
    const PodsimProcess simulator(pods(2));
    const std::string file = idcode_svf("for-11.svf");
    (void)idcode_svf("for-12.svf", 1, "00000001");
    const std::string pattern = file.substr(0, file.size() - 6) + "{serial}.svf";
    const Outcome played = talvor({"--pods", "all", "--json", "svf", pattern});
    EXPECT_THAT(results(document(played)), testing::ElementsAre("11 passed", "12 failed"));
}

// ---- reports ----------------------------------------------------------------------------------

TEST(GangTest, WritesACaseAPod) {
    const PodsimProcess simulator(pods(2, {"", "power off"}));
    for (const bool before : {true, false}) {
        const std::string junit = file_with("gang.xml", "");
        const std::string svf = idcode_svf();
        const Outcome played = before ? talvor({"--pods", "all", "--junit", junit, "svf", svf})
                                      : talvor({"svf", svf, "--junit", junit, "--pods", "all"});
        EXPECT_EQ(played.status, 1);
        const std::string xml = read_file(junit);
        EXPECT_THAT(xml, ContainsRegex("tests=\"2\" failures=\"0\" errors=\"1\" skipped=\"0\""));
        EXPECT_THAT(xml, ContainsRegex("<testcase classname=\"svf .*\" name=\"pod 11\""));
        EXPECT_THAT(xml, ContainsRegex("name=\"pod 12\" time=\"[0-9.]+\">\n    <error message="));
    }
}

TEST(GangTest, LogsALineAPodAndOneOfTheHeads) {
    const PodsimProcess simulator(pods(2, {"", "power off"}));
    const std::string log = file_with("results.csv", "");
    (void)talvor({"--pods", "all", "--log", log, "chain"});
    (void)talvor({"--pods", "11", "--log", log, "chain"});
    std::istringstream lines(read_file(log));
    std::string line;
    std::getline(lines, line);
    EXPECT_EQ(line, "time,command,pod,revision,result,attempts,exit_status,seconds,what");
    std::vector<std::string> pods_logged;
    while (std::getline(lines, line)) {
        EXPECT_THAT(line,
                    ContainsRegex("^20[0-9-]+T[0-9:]+Z,chain,1[12],[12]\\.0,(passed|failed),1,"
                                  "[01],[0-9]+\\.[0-9][0-9][0-9],"));
        pods_logged.push_back(line.substr(line.find(",chain,") + 7, 2));
    }
    EXPECT_THAT(pods_logged, testing::UnorderedElementsAre("11", "12", "11"));
}

TEST(GangTest, ALineThatACrashHasTornIsToldAndKept) {
    const PodsimProcess simulator(pods(1));
    const std::string log =
        file_with("torn.csv",
                  "time,command,pod,revision,result,attempts,exit_status,seconds,what\n2026-01-0");
    const Outcome chain = talvor({"--pods", "all", "--log", log, "chain"});
    EXPECT_EQ(chain.status, 0);
    EXPECT_EQ(chain.err, "talvor: " + log +
                             ": its last line was cut short, by a crash perhaps, and "
                             "stands in " +
                             log + ".torn now\n");
    EXPECT_EQ(read_file(log + ".torn"), "2026-01-0\n");
    std::filesystem::remove(log + ".torn");
}

// Killed at any moment: what the gang had told of a pod stands in its log.
TEST(GangTest, AKillAtAnyMomentLeavesAWholeLog) {
    const PodsimProcess simulator(pods(4));
    const std::string log = file_with("killed.csv", "");
    const std::string svf = idcode_svf();
    for (int round = 0; round < 6; ++round) {
        // What the one before has begun ends by itself, a moment later.
        Running gang({"--pods", "all", "--wait", "60", "--log", log, "svf", svf});
        std::this_thread::sleep_for(std::chrono::milliseconds(round * 23));
        gang.signal(SIGKILL);
        (void)gang.wait();
    }
    EXPECT_EQ(talvor({"--pods", "all", "--wait", "60", "--log", log, "svf", svf}).status, 0);
    std::istringstream lines(read_file(log));
    std::string line;
    std::getline(lines, line);
    EXPECT_EQ(line, "time,command,pod,revision,result,attempts,exit_status,seconds,what");
    size_t count = 0;
    for (; std::getline(lines, line); ++count) {
        EXPECT_THAT(line,
                    ContainsRegex("^20.*Z,.*svf .*,1[1-4],.*,passed,1,0,[0-9.]+,\"1 scan of 32 "
                                  "bits, 1 compared\"$"));
    }
    EXPECT_GE(count, 4U);
    EXPECT_FALSE(std::filesystem::exists(log + ".torn"));
}

} // namespace
} // namespace talvor::cli
