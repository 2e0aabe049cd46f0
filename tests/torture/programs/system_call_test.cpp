// Every call to the system that simulator and host library make fails once, and for ever, with each
// error that its manual names. Wanted: no crash, no hang, an error that says what and why, nothing
// left behind, and the same action done afterwards.
#include "bound.h"
#include "common/temporary.h"
#include "failing_calls.h"
#include "host.h"
#include "scenario.h"

#include <fmt/format.h>
#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <algorithm>
#include <array>
#include <cerrno>
#include <csignal>
#include <filesystem>
#include <set>
#include <sys/mman.h>
#include <sys/wait.h>
#include <unistd.h>

namespace torture {
namespace {

using testing::AnyOf;
using testing::HasSubstr;
using testing::IsEmpty;

constexpr unsigned kHangSeconds = 40;
constexpr size_t kMostEntries = 100;

// What a run tells its parent.
struct Note {
    bool met;
    bool done;
    std::array<unsigned, kMostEntries> calls;
};

struct Outcome {
    int status = -1; // waitpid's
    Note note{};
    std::string errors;
    std::vector<std::string> left; // in /dev/shm and in the folder, what is new and no output

    [[nodiscard]] bool exited() const { return WIFEXITED(status); }
    [[nodiscard]] int exit_status() const { return WEXITSTATUS(status); }
};

std::vector<std::string> left_in(const std::string& folder) {
    const std::set<std::string> output{"trace.vcd", "log"};
    std::vector<std::string> names = talvor::podsim::proxy::shm_objects();
    for (const auto& entry : std::filesystem::directory_iterator(folder)) {
        if (const std::string name = entry.path().filename(); !output.contains(name)) {
            names.push_back(name);
        }
    }
    return names;
}

[[noreturn]] void run_child(const Scenario& scenario, const std::string& folder,
                            const std::optional<Fault>& fault, Note& note, int errors) {
    dup2(errors, STDOUT_FILENO);
    dup2(errors, STDERR_FILENO);
    alarm(kHangSeconds);
    if (scenario.begin != nullptr) {
        scenario.begin(folder);
    }
    watch(fault);
    const Ending ending = scenario.run(folder);
    note.met = met();
    note.done = ending.done;
    for (size_t entry = 0; entry < entries().size(); ++entry) {
        note.calls[entry] = calls(entry);
    }
    std::fflush(nullptr);
    _exit(ending.status);
}

std::string text_in(int fd) {
    std::string text(static_cast<size_t>(lseek(fd, 0, SEEK_END)), '\0');
    EXPECT_EQ(pread(fd, text.data(), text.size(), 0), static_cast<ssize_t>(text.size()));
    return text;
}

Outcome run(const Scenario& scenario, const std::string& folder,
            const std::optional<Fault>& fault) {
    static auto* const note = static_cast<Note*>(
        mmap(nullptr, sizeof(Note), PROT_READ | PROT_WRITE, MAP_SHARED | MAP_ANONYMOUS, -1, 0));
    *note = {};
    if (scenario.prepare != nullptr) {
        scenario.prepare(folder);
    }
    const std::vector<std::string> before = left_in(folder);
    const talvor::FileDescriptor errors(memfd_create("errors", MFD_CLOEXEC));
    std::fflush(nullptr);
    const pid_t child = fork();
    if (child == 0) {
        run_child(scenario, folder, fault, *note, errors.get());
    }
    Outcome outcome;
    EXPECT_EQ(waitpid(child, &outcome.status, 0), child);
    outcome.note = *note;
    outcome.errors = text_in(errors.get());
    outcome.left = left_in(folder);
    std::erase_if(outcome.left, [&](const std::string& name) {
        return !outcome.note.done && std::ranges::count(before, name) > 0;
    });
    return outcome;
}

// What a call that takes a name away leaves when it fails, and what a lock that was not given does.
bool may_leave(const Fault& fault, const std::string& name) {
    const std::string& entry = entries()[fault.entry].name;
    if (entry.ends_with("unlink")) {
        return true;
    }
    return name == "talvor_proxy_gbl_owner.lock" &&
           (entry == "flock" || entry == "fstat" || entry == "stat");
}

bool has_remedy(int error) {
    const std::set<int> known{ENOSPC, EDQUOT, EMFILE, ENFILE, ENOMEM, ENOBUFS,
                              EAGAIN, EACCES, EPERM,  EROFS,  EIO};
    return known.contains(error);
}

// The error is told: what, why and, where anything helps, what to do.
void check_told(const Outcome& outcome, const Fault& fault) {
    EXPECT_THAT(outcome.errors, HasSubstr("talvor-podsim: "));
    EXPECT_THAT(outcome.errors,
                AnyOf(HasSubstr(reason_of(fault)), HasSubstr("/dev/shm is full"),
                      HasSubstr("already serves this machine"), HasSubstr("File exists"),
                      HasSubstr("Address already in use"), HasSubstr("nobody knows how"),
                      HasSubstr("Cannot assign requested address"), HasSubstr("does not get ready"),
                      HasSubstr("has closed the connection"), HasSubstr("does not answer"),
                      HasSubstr("went away without an answer")));
    if (has_remedy(fault.error)) {
        EXPECT_THAT(outcome.errors,
                    AnyOf(HasSubstr("\n  next: "), HasSubstr("; stop it first"),
                          HasSubstr("warning: "), HasSubstr("has lost the connection"),
                          HasSubstr(": lost: "), HasSubstr("a client cannot be taken"),
                          HasSubstr("cannot be waited for"), HasSubstr("does not answer"),
                          HasSubstr("went away without an answer")));
    }
}

void check(const Scenario& scenario, const std::string& folder, const Fault& fault) {
    SCOPED_TRACE(scenario.name + ": " + text_of(fault));
    const Outcome outcome = run(scenario, folder, fault);
    ASSERT_TRUE(outcome.exited()) << "ended by signal " << WTERMSIG(outcome.status) << '\n'
                                  << outcome.errors;
    EXPECT_TRUE(outcome.exit_status() <= 1 || outcome.exit_status() >= 126);
    if (outcome.exit_status() != 0 || !outcome.note.done) {
        EXPECT_NE(fault.error, EINTR) << "an interrupt must be invisible: " << outcome.errors;
        check_told(outcome, fault);
    }
    for (const std::string& name : outcome.left) {
        EXPECT_TRUE(may_leave(fault, name)) << "left behind: " << name;
        std::filesystem::remove_all(folder + "/" + name);
    }
}

void check_clean_run(const Scenario& scenario, const std::string& folder) {
    SCOPED_TRACE(scenario.name + " without a fault");
    const Outcome outcome = run(scenario, folder, std::nullopt);
    ASSERT_TRUE(outcome.exited()) << outcome.errors;
    EXPECT_EQ(outcome.exit_status(), 0) << outcome.errors;
    EXPECT_TRUE(outcome.note.done) << outcome.errors;
    EXPECT_THAT(outcome.left, IsEmpty());
}

// The calls of an entry that are made to fail: all, or in the bounded form the first ones and some
// of the others.
std::vector<unsigned> sites(unsigned count, bool first_error) {
    constexpr unsigned kBoundedSites = 4;
    std::vector<unsigned> chosen;
    const unsigned step = full() ? 1 : std::max(1U, count / kBoundedSites);
    for (unsigned call = 1; call <= count; call += step) {
        chosen.push_back(call);
        if (!full() && !first_error) {
            break;
        }
    }
    return chosen;
}

// What ends one call, or one caller, says nothing of the next.
bool can_last(int error) {
    return error != EINTR && error != ECONNABORTED;
}

void torture(const Scenario& scenario) {
    const auto folder = talvor::TemporaryFolder::create();
    ASSERT_TRUE(folder);
    const std::string& path = folder->path();
    check_clean_run(scenario, path);
    const Outcome counted = run(scenario, path, std::nullopt);
    unsigned runs = 0;
    for (size_t index = 0; index < entries().size(); ++index) {
        const Entry& entry = entries()[index];
        for (const int error : entry.errors) {
            const bool first = error == entry.errors.front();
            for (const unsigned call : sites(counted.note.calls[index], first)) {
                check(scenario, path, {index, error, call, false});
                ++runs;
                if (can_last(error) && (full() || (first && call == 1))) {
                    check(scenario, path, {index, error, call, true});
                    ++runs;
                }
                if (testing::Test::HasFatalFailure()) {
                    return;
                }
            }
        }
        if (counted.note.calls[index] > 0) {
            check_clean_run(scenario, path);
        }
    }
    std::printf("%s: %u failures of a call\n", scenario.name.c_str(), runs);
    EXPECT_GT(runs, 0U);
}

class SystemCallTest : public testing::TestWithParam<Scenario> {};

TEST_P(SystemCallTest, FailsWithEachErrorAtEachPlaceAndNothingBreaks) {
    torture(GetParam());
}

// "serve a command" as a name that a test may have.
std::string name_of(const testing::TestParamInfo<Scenario>& tested) {
    std::string name;
    bool capital = true;
    for (const char letter : tested.param.name) {
        if (letter != ' ') {
            name += static_cast<char>(capital ? std::toupper(letter) : letter);
        }
        capital = letter == ' ';
    }
    return name;
}

INSTANTIATE_TEST_SUITE_P(Programs, SystemCallTest, testing::ValuesIn(scenarios()), name_of);

TEST(FailingCallsTest, KnowTheWholeTableAndEveryEntryIsReached) {
    ASSERT_EQ(entries().size() * sizeof(void (*)()), sizeof(talvor::SystemCalls));
    const auto folder = talvor::TemporaryFolder::create();
    ASSERT_TRUE(folder);
    std::vector<unsigned> calls(entries().size(), 0);
    for (const Scenario& scenario : scenarios()) {
        const Outcome outcome = run(scenario, folder->path(), std::nullopt);
        for (size_t entry = 0; entry < entries().size(); ++entry) {
            calls[entry] += outcome.note.calls[entry];
        }
    }
    for (size_t entry = 0; entry < entries().size(); ++entry) {
        EXPECT_GT(calls[entry], 0U) << entries()[entry].name;
    }
}

} // namespace
} // namespace torture
