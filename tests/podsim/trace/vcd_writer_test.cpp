#include "common/system_calls.h"
#include "podsim/model/chain.h"
#include "podsim/model/controller.h"
#include "podsim/trace/vcd_writer.h"
#include "shm_structs.h"
#include "tests/podsim/reason.h"

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <algorithm>
#include <array>
#include <cstdio>
#include <cstdlib>
#include <filesystem>
#include <fstream>
#include <map>
#include <set>
#include <sstream>
#include <unistd.h>

namespace talvor::podsim::trace {
namespace {

using testing::ElementsAre;
using testing::EndsWith;
using testing::HasSubstr;
using testing::Not;
using testing::StartsWith;

std::string trace_path() {
    return std::filesystem::temp_directory_path() /
           ("talvor-trace-" + std::to_string(getpid()) + ".vcd");
}

std::string read_file(const std::string& path) {
    std::ostringstream text;
    text << std::ifstream(path).rdbuf();
    return text.str();
}

// A value change: time, name of the signal, new value.
struct Change {
    uint64_t time;
    std::string signal;
    std::string value;
    bool operator==(const Change&) const = default;
};

// Parses a dump strictly: every identifier declared, times never going back, values of the
// declared kind.
std::vector<Change> parse(const std::string& text) {
    std::map<std::string, std::pair<std::string, std::string>> declared; // code: type and name
    std::vector<Change> changes;
    std::istringstream in(text);
    std::string token;
    uint64_t time = 0;
    while (in >> token) {
        if (token == "$var") {
            std::string type;
            std::string size;
            std::string code;
            std::string name;
            std::string end;
            in >> type >> size >> code >> name >> end;
            EXPECT_EQ(end, "$end");
            EXPECT_TRUE(declared.emplace(code, std::pair(type, name)).second) << code;
        } else if (token == "$dumpvars" || token == "$end") {
            continue;
        } else if (token.starts_with('$')) {
            while (in >> token && token != "$end") {
            }
        } else if (token.starts_with('#')) {
            const uint64_t next = std::stoull(token.substr(1));
            EXPECT_TRUE(next > time || changes.empty()) << token;
            time = next;
        } else {
            std::string code = token.substr(1);
            std::string value = token.substr(0, 1);
            if (value == "s") {
                value = code;
                in >> code;
                EXPECT_EQ(declared[code].first, "string");
            } else {
                EXPECT_THAT((std::vector<std::string>{"0", "1", "x", "z"}),
                            testing::Contains(value));
                EXPECT_EQ(declared[code].first, "wire") << token;
            }
            changes.push_back({time, declared[code].second, value});
        }
    }
    EXPECT_EQ(declared.size(), 13U);
    return changes;
}

class VcdTest : public testing::Test {
protected:
    VcdTest() : file_(std::tmpfile()), log(file_) {}
    ~VcdTest() override {
        unlink(trace_path().c_str());
        std::fclose(file_);
    }
    std::unique_ptr<VcdWriter> open(Limits limits = {}) {
        auto writer = VcdWriter::open(trace_path(), "pod_000042", limits, log);
        EXPECT_TRUE(writer) << reason_of(writer);
        return std::move(writer.value());
    }
    std::string logged() const {
        std::rewind(file_);
        char text[300] = {};
        return {text, std::fread(text, 1, sizeof(text), file_)};
    }

private:
    std::FILE* file_;

protected:
    Log log;
};

TEST_F(VcdTest, AnEmptyTraceDeclaresEverySignalAndItsLevelAtTheStart) {
    open().reset();
    EXPECT_EQ(read_file(trace_path()), "$version talvor-podsim $end\n"
                                       "$timescale 1 ns $end\n"
                                       "$scope module pod_000042 $end\n"
                                       "$var wire 1 ! tck $end\n"
                                       "$var wire 1 \" tms $end\n"
                                       "$var wire 1 # tdi $end\n"
                                       "$var wire 1 $ tdo $end\n"
                                       "$var wire 1 % trstn $end\n"
                                       "$var wire 1 & emu0 $end\n"
                                       "$var wire 1 ' emu1 $end\n"
                                       "$var wire 1 ( treset $end\n"
                                       "$var wire 1 ) tap_state[3] $end\n"
                                       "$var wire 1 * tap_state[2] $end\n"
                                       "$var wire 1 + tap_state[1] $end\n"
                                       "$var wire 1 , tap_state[0] $end\n"
                                       "$var string 1 - tap_state_name $end\n"
                                       "$upscope $end\n"
                                       "$enddefinitions $end\n"
                                       "#0\n"
                                       "$dumpvars\n"
                                       "0!\n1\"\n1#\nz$\n1%\n1&\n1'\n0(\n"
                                       "0)\n0*\n0+\n0,\nsTest-Logic-Reset -\n"
                                       "$end\n");
}

TEST_F(VcdTest, ARunShowsRealPulsesOfTckAndTheStateAfterEachRise) {
    auto writer = open();
    const uint64_t tms = 0b10; // to Run-Test/Idle, then to Select-DR-Scan
    EdgeRun run{.start_ns = 100, .period_ns = 40, .count = 2, .from = TapState::TestLogicReset};
    run.tms = std::span(&tms, 1);
    run.constant_tdi = false;
    writer->edges(run);
    writer.reset();
    const std::string text = read_file(trace_path());
    EXPECT_EQ(text.substr(text.find("#100")), "#100\n0\"\n0#\n"
                                              "#120\n1!\n1,\nsRun-Test/Idle -\n"
                                              "#140\n0!\n1\"\n"
                                              "#160\n1!\n1+\n0,\nsSelect-DR-Scan -\n"
                                              "#180\n0!\n");
}

TEST_F(VcdTest, APlainTraceHasWiresOnly) {
    auto writer = open({.plain = true});
    const uint64_t tms = 0;
    EdgeRun run{.start_ns = 100, .period_ns = 40, .count = 1, .from = TapState::TestLogicReset};
    run.tms = std::span(&tms, 1);
    writer->edges(run);
    writer.reset();
    const std::string text = read_file(trace_path());
    EXPECT_THAT(text, Not(HasSubstr("string")));
    EXPECT_THAT(text, Not(HasSubstr("\ns")));
    EXPECT_THAT(text, HasSubstr("1!\n1,\n#140\n"));
    EXPECT_THAT(text, HasSubstr("$var wire 1 , tap_state[0] $end\n"));
}

TEST_F(VcdTest, TdoIsShownInTheShiftStatesOnlyAndUnknownWhenNobodyLooked) {
    auto writer = open();
    const uint64_t tdi = 0b01;
    const uint64_t tdo = 0b10;
    EdgeRun run{.start_ns = 0, .period_ns = 20, .count = 2, .from = TapState::ShiftDr};
    run.tdi = std::span(&tdi, 1);
    run.tdo = std::span(&tdo, 1);
    run.last_tms = true;
    writer->edges(run);
    EdgeRun back{.start_ns = 40, .period_ns = 20, .count = 1, .from = TapState::Exit1Dr};
    writer->edges(back);
    EdgeRun unseen{.start_ns = 60, .period_ns = 20, .count = 1, .from = TapState::ShiftIr};
    writer->edges(unseen);
    writer.reset();
    std::vector<Change> changes = parse(read_file(trace_path()));
    std::erase_if(changes, [](const Change& change) { return change.signal != "tdo"; });
    EXPECT_EQ(changes, (std::vector<Change>{{0, "tdo", "z"},
                                            {0, "tdo", "0"},
                                            {20, "tdo", "1"},
                                            {40, "tdo", "z"},
                                            {60, "tdo", "x"}}));
}

TEST_F(VcdTest, PinsChangeAtTheirTime) {
    auto writer = open();
    writer->target_reset(10, true);
    writer->target_reset(30, false);
    writer->emu(40, {.emu0 = false, .emu1 = true});
    writer->emu(50, {.emu0 = true, .emu1 = false});
    writer->trst(60, false);
    writer->trst(70, true);
    writer.reset();
    std::vector<Change> changes = parse(read_file(trace_path()));
    changes.erase(changes.begin(), changes.begin() + 13);
    EXPECT_EQ(changes, (std::vector<Change>{{10, "treset", "1"},
                                            {30, "treset", "0"},
                                            {40, "emu0", "0"},
                                            {50, "emu0", "1"},
                                            {50, "emu1", "0"},
                                            {60, "trstn", "0"},
                                            {70, "trstn", "1"}}));
}

TEST_F(VcdTest, ALimitOfClocksEndsTheTraceThere) {
    auto writer = open({.bytes = 0, .clocks = 3});
    EdgeRun run{.start_ns = 0, .period_ns = 20, .count = 10, .from = TapState::RunTestIdle};
    writer->edges(run);
    writer->target_reset(500, true);
    writer.reset();
    const std::string text = read_file(trace_path());
    EXPECT_THAT(text, EndsWith("$comment The trace ends here: 3 test clocks. $end\n"));
    const std::vector<Change> changes = parse(text);
    EXPECT_EQ(std::count(changes.begin(), changes.end(), Change{50, "tck", "1"}), 1);
    EXPECT_EQ(std::count_if(changes.begin(), changes.end(),
                            [](const Change& change) {
                                return change.signal == "tck" && change.value == "1";
                            }),
              3);
    EXPECT_EQ(logged(), "the trace " + trace_path() + " ends: 3 test clocks\n");
}

TEST_F(VcdTest, ALimitOfBytesEndsTheTraceAtAWholeLine) {
    auto writer = open({.bytes = 5'000, .clocks = 0});
    EdgeRun run{.start_ns = 0, .period_ns = 20, .count = 1'000'000, .from = TapState::RunTestIdle};
    writer->edges(run);
    writer->flush();
    writer->edges(run);
    writer.reset();
    const std::string text = read_file(trace_path());
    constexpr std::string_view kClosing = "$comment The trace ends here: 5000 bytes. $end\n";
    EXPECT_THAT(text, EndsWith(std::string("\n").append(kClosing)));
    EXPECT_LE(text.size(), 5'000U + kClosing.size());
    EXPECT_GT(text.size(), 4'900U);
    parse(text);
}

// The clocks of a dump, and of those that it says it lacks.
struct Clocks {
    uint64_t kept = 0;
    uint64_t missing = 0;
    uint64_t missing_shifts = 0;
    uint64_t last_ns = 0; // the last rise
};

Clocks clocks_of(const std::string& text) {
    Clocks clocks;
    constexpr std::string_view kBegins = "$comment The trace begins here: ";
    if (const size_t at = text.find(kBegins); at != std::string::npos) {
        EXPECT_EQ(std::sscanf(text.c_str() + at + kBegins.size(),
                              "%lu test clocks, %lu shifting, are not kept. $end", &clocks.missing,
                              &clocks.missing_shifts),
                  2);
    }
    bool dumped = false; // the levels at the beginning are no edges
    uint64_t begin = 0;
    for (const Change& change : parse(text)) {
        begin = dumped ? begin : change.time;
        dumped = true;
        if (change.signal == "tck" && change.value == "1" && change.time > begin) {
            ++clocks.kept;
            clocks.last_ns = change.time;
        }
    }
    return clocks;
}

// Shift-DR: one clock of twenty ns after the other.
EdgeRun shifting(uint64_t first, uint64_t count) {
    return {.start_ns = first * 20, .period_ns = 20, .count = count, .from = TapState::ShiftDr};
}

TEST_F(VcdTest, TheLastPartIsTheWholeWhereItFits) {
    std::array<std::string, 2> texts;
    for (const bool keep_last : {false, true}) {
        auto writer = open({.bytes = 200'000, .clocks = 0, .keep_last = keep_last});
        writer->edges(shifting(0, 1'000));
        writer->target_reset(20'005, true);
        EXPECT_TRUE(writer->finish());
        texts[keep_last ? 1 : 0] = read_file(trace_path());
    }
    EXPECT_EQ(texts[0], texts[1]);
    EXPECT_EQ(logged(), "");
}

TEST_F(VcdTest, TheLastPartCountsWhatIsMissing) {
    for (const uint64_t count : {1'000U, 1'001U, 10'007U}) {
        auto writer = open({.bytes = 5'000, .clocks = 0, .keep_last = true});
        EdgeRun idle{.start_ns = 0, .period_ns = 20, .count = 7, .from = TapState::RunTestIdle};
        writer->edges(idle);
        for (uint64_t done = 0; done < count; done += 100) {
            writer->edges(shifting(7 + done, std::min<uint64_t>(100, count - done)));
            writer->flush();
        }
        EXPECT_TRUE(writer->finish());
        const std::string text = read_file(trace_path());
        const Clocks clocks = clocks_of(text);
        EXPECT_EQ(clocks.kept + clocks.missing, 7 + count);
        EXPECT_EQ(clocks.missing_shifts, clocks.missing - 7);
        EXPECT_EQ(clocks.last_ns, (7 + count) * 20 - 10);
        EXPECT_GT(clocks.kept, 2'000U / 20) << "about half of the limit at least";
        constexpr size_t kHeader = 500;
        EXPECT_LE(text.size(), 5'000U + kHeader);
        EXPECT_GE(text.size(), 2'200U);
    }
    EXPECT_EQ(logged(), "");
}

TEST_F(VcdTest, TheLastPartBeginsWithTheLevelsThatStandThere) {
    auto writer = open({.bytes = 5'000, .clocks = 0, .keep_last = true});
    writer->trst(1, false);
    writer->emu(2, {.emu0 = false, .emu1 = true});
    writer->edges(shifting(1, 10'000));
    EXPECT_TRUE(writer->finish());
    std::map<std::string, std::string> levels;
    const std::vector<Change> changes = parse(read_file(trace_path()));
    for (size_t i = 0; i < 13; ++i) {
        EXPECT_EQ(changes[i].time, changes[0].time);
        levels[changes[i].signal] = changes[i].value;
    }
    EXPECT_GT(changes[0].time, 20U * 5'000);
    EXPECT_EQ(levels["trstn"], "0");
    EXPECT_EQ(levels["emu0"], "0");
    EXPECT_EQ(levels["emu1"], "1");
    EXPECT_EQ(levels["tdo"], "x");
    EXPECT_EQ(levels["tap_state_name"], "Shift-DR");
}

TEST_F(VcdTest, TheLastClocksAreBoundedToo) {
    for (const uint64_t limit : {1U, 2U, 100U, 1'000U}) {
        auto writer = open({.bytes = 0, .clocks = limit, .keep_last = true});
        writer->edges(shifting(0, 30'000));
        EXPECT_TRUE(writer->finish());
        const Clocks clocks = clocks_of(read_file(trace_path()));
        EXPECT_EQ(clocks.kept + clocks.missing, 30'000U);
        EXPECT_LE(clocks.kept, std::max<uint64_t>(limit, 2));
        EXPECT_GE(clocks.kept, limit * 2 / 5);
    }
}

TEST_F(VcdTest, ALastPartThatCannotBeKeptOrJoinedIsLost) {
    auto full = VcdWriter::open("/dev/full", "pod", {.keep_last = true}, log);
    ASSERT_TRUE(full) << reason_of(full);
    full.value()->edges(shifting(0, 10));
    full.value()->flush();
    EXPECT_EQ(logged(), "") << "nothing is written before the end";
    const Status finished = full.value()->finish();
    ASSERT_FALSE(finished);
    EXPECT_EQ(headline(finished.error()), "writing the trace /dev/full: No space left on device");

    auto writer = open({.keep_last = true});
    const auto write = std::exchange(system_calls.write, [](int, const void*, size_t) {
        errno = ENOSPC;
        return ssize_t{-1};
    });
    writer->edges(shifting(0, 10));
    writer->flush();
    system_calls.write = write;
    const Status kept = writer->finish();
    ASSERT_FALSE(kept);
    EXPECT_THAT(headline(kept.error()), EndsWith(": No space left on device"));

    const std::string path = trace_path();
    setenv("TMPDIR", "/nonexistent", 1);
    const auto nowhere = VcdWriter::open(path, "pod", {.keep_last = true}, log);
    unsetenv("TMPDIR");
    ASSERT_FALSE(nowhere);
    EXPECT_THAT(reason_of(nowhere), StartsWith("making the temporary file /nonexistent/talvor-"));
}

TEST_F(VcdTest, AFileThatCannotBeMadeIsNamed) {
    const auto writer = VcdWriter::open("/nowhere/trace.vcd", "pod", {}, log);
    ASSERT_FALSE(writer);
    EXPECT_EQ(reason_of(writer), "writing the trace /nowhere/trace.vcd: No such file or directory");
}

TEST_F(VcdTest, ADiskThatIsFullEndsTheTraceWithAWord) {
    auto writer = VcdWriter::open("/dev/full", "pod", {.bytes = 0, .clocks = 0}, log);
    ASSERT_TRUE(writer);
    EdgeRun run{.start_ns = 0, .period_ns = 20, .count = 100'000, .from = TapState::RunTestIdle};
    writer.value()->edges(run);
    EXPECT_EQ(logged(), "warning: the trace ends, the pod goes on: "
                        "writing the trace /dev/full: No space left on device\n");
    for (int i = 0; i < 2; ++i) {
        const Status finished = writer.value()->finish();
        ASSERT_FALSE(finished) << i;
        EXPECT_EQ(headline(finished.error()),
                  "writing the trace /dev/full: No space left on device");
        EXPECT_EQ(finished.error().next_step, "make room on that file system");
    }
}

TEST_F(VcdTest, WhatIsFinishedIsWhole) {
    auto writer = open();
    EdgeRun run{.start_ns = 0, .period_ns = 20, .count = 1, .from = TapState::RunTestIdle};
    writer->edges(run);
    EXPECT_TRUE(writer->finish());
    EXPECT_THAT(read_file(trace_path()), EndsWith("#10\n1!\n#20\n0!\n"));
    writer->edges(run);
    EXPECT_TRUE(writer->finish());
    EXPECT_THAT(read_file(trace_path()), EndsWith("#10\n1!\n#20\n0!\n"));
}

TEST_F(VcdTest, AFileSystemThatRefusesAtTheCloseIsBelieved) {
    auto writer = open();
    static int result = 0;
    const auto close = std::exchange(system_calls.close, [](int fd) {
        ::close(fd);
        errno = EDQUOT;
        return result;
    });
    result = -1;
    const Status finished = writer->finish();
    system_calls.close = close;
    ASSERT_FALSE(finished);
    EXPECT_EQ(headline(finished.error()),
              "writing the trace " + trace_path() + ": Disk quota exceeded");
}

// A controller whose every operation is traced, and the dump checked against IEEE 1149.1.
TEST_F(VcdTest, TheTraceOfAControllerFollowsTheStandard) {
    auto writer = open();
    DeviceDescription device;
    device.name = "cpu";
    device.idcode = 0x1A2B3C4D;
    device.idcode_instruction = 2;
    Chain chain({.devices = {device}, .nets = {}});
    Controller controller({.return_pipeline_bits = 0, .cable_delay_bits = 0}, chain);
    controller.observe(writer.get());
    const auto operate = [&](uint16_t operation, uint16_t count) {
        ASSERT_TRUE(controller.write(TBC_PORT_COUNT_LOW, count));
        ASSERT_TRUE(controller.write(TBC_PORT_COUNT_HIGH, 0));
        ASSERT_TRUE(controller.write(TBC_PORT_OPERATION, operation));
        ASSERT_TRUE(controller.write(TBC_PORT_CONTROL, TBC_CONTROL_RUN));
        ASSERT_TRUE(controller.wait(SHM_WAIT_DONE));
    };
    operate(TBC_STATE_RESET, 0);
    operate(TBC_STATE_IDLE, 0);
    ASSERT_TRUE(controller.write(TBC_PORT_CONFIG, TBC_OPTION_ONES));
    operate(TBC_TRANSIT_SCAN | TBC_STATE_IDLE, 31);
    operate(TBC_TRANSIT_SCAN | TBC_STATE_IR_PATH | TBC_STATE_PAUSE_IR, 3);
    operate(TBC_TRANSIT_VIA_CAPTURE | TBC_STATE_PAUSE_DR, 0);
    ASSERT_TRUE(controller.write_support(SUPPORT_RESET));
    writer.reset();

    // Replay: TMS at each rise moves a reference state machine.
    std::map<std::string, std::string> now;
    TapState state = TapState::TestLogicReset;
    unsigned rises = 0;
    unsigned shifts = 0;
    bool tms_at_rise = true;
    std::set<TapState> visited;
    for (const Change& change : parse(read_file(trace_path()))) {
        if (change.time > 0 && (change.signal == "tms" || change.signal == "tdi")) {
            // Both change on the falling edge, never while TCK is high.
            EXPECT_EQ(now["tck"], "0") << change.time;
        }
        now[change.signal] = change.value;
        if (change.signal == "tck" && change.value == "1") {
            ++rises;
            tms_at_rise = now["tms"] == "1";
            shifts += is_shift(state) ? 1 : 0;
            EXPECT_EQ(now["tdo"] == "z", !is_shift(state)) << change.time;
            state = next_state(state, tms_at_rise);
            visited.insert(state);
        }
        if (change.signal == "tck" && change.value == "0" && change.time > 0) {
            EXPECT_EQ(now["tap_state_name"], name_of(state)) << change.time;
            EXPECT_EQ(std::stoul(now["tap_state[3]"] + now["tap_state[2]"] + now["tap_state[1]"] +
                                     now["tap_state[0]"],
                                 nullptr, 2),
                      index_of(state));
        }
    }
    EXPECT_GT(rises, 45U);
    EXPECT_EQ(shifts, 32U + 4U);
    EXPECT_TRUE(visited.contains(TapState::PauseIr));
    EXPECT_TRUE(visited.contains(TapState::PauseDr));
    EXPECT_EQ(state, TapState::TestLogicReset); // a target reset takes the TAP there
    EXPECT_EQ(now["treset"], "1");
}

} // namespace
} // namespace talvor::podsim::trace
