// One pod of a gang: what is run for it, and what became of it.
#pragma once

#include "common/result.h"
#include "tool/output/json.h"
#include "tool/output/junit.h"

#include <cstdint>
#include <optional>
#include <string>
#include <vector>

namespace talvor {

enum class MemberState : uint8_t {
    Waiting, // not begun
    Running,
    Passed,
    Failed,
    Stopped, // asked to end, by a signal or because another one failed; or not begun by then
};

struct Member {
    uint32_t serial = 0;
    std::string revision;               // of the pod
    std::vector<std::string> arguments; // of the program, without its name
    MemberState state = MemberState::Waiting;
    uint32_t attempts = 0;
    double seconds = 0;           // of all attempts
    int exit_status = 0;          // of the last one, as a shell reports it
    std::optional<Json> document; // what it printed, where that was a result
    std::optional<Json> error;    // as --json prints an error
    std::string what;             // what came of it, in a few words: the result, or the error

    [[nodiscard]] bool ended() const noexcept { return state > MemberState::Running; }
    // Whether once more may do better: a wrong command line or a bad file stays what it is.
    [[nodiscard]] bool may_do_better() const noexcept {
        return state == MemberState::Failed && exit_status != kWrongFromTheStart;
    }

    static constexpr int kWrongFromTheStart = 2;
};

// "passed", "FAILED".
[[nodiscard]] std::string_view state_text(MemberState state);
// "pod 5".
[[nodiscard]] std::string name_of(const Member& member);

// How an attempt ended.
struct AttemptEnd {
    int exit_status = 0;  // as a shell reports it
    std::string end;      // in words
    std::string printed;  // on the standard output: a document
    double seconds = 0;   // that it took
    bool stopped = false; // it had been asked to end
};

// Enters how an attempt ended. `summary` says in a few words what a document tells.
void take_end(Member& member, const AttemptEnd& end, std::string (*summary)(const Json&));

[[nodiscard]] Json to_json(const Member& member);
[[nodiscard]] JunitCase junit_case(const Member& member, const std::string& command);

} // namespace talvor
