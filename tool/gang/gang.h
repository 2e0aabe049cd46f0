// The same command on several pods at the same time, a process each: a driver that hangs, or a
// board that is pulled, is the affair of one of them.
#pragma once

#include "common/result.h"
#include "tool/gang/member.h"
#include "tool/gang/member_process.h"
#include "tool/output/output.h"
#include "tool/output/progress_lines.h"

#include <cstdint>
#include <functional>
#include <optional>
#include <string>
#include <vector>

namespace talvor {

struct GangOptions {
    uint32_t retries = 0;                          // how often a member that failed begins anew
    bool stop_on_first = false;                    // the others end when one has failed for good
    bool bars = false;                             // show how far each is
    std::string (*summary)(const Json&) = nullptr; // what a document tells, in a few words
    // Is given each member as it ends for good; an error of it is told, and the others go on.
    std::function<Status(const Member&)> on_end;
    // More words in front of a member's arguments, asked for at each attempt; may be empty.
    std::function<std::vector<std::string>()> attempt_words;
};

class Gang {
public:
    // `out` outlives it.
    Gang(const Output& out, std::vector<Member> members, GangOptions options);

    // Runs them until all have ended. A signal that asks for the end (see check_interrupt) stops
    // those that run by their safe way. The first error of on_end, once all have ended.
    [[nodiscard]] Status run();

    [[nodiscard]] const std::vector<Member>& members() const noexcept { return members_; }

private:
    void begin(size_t index);
    // Waits until something has come.
    void wait();
    void take(size_t index);
    void finish(size_t index);
    // What follows an end: another attempt, or the record of it.
    void conclude(Member& member, size_t index);
    void stop_all();
    void relay(const Member& member, const std::string& line);
    void say(const Member& member, const std::string& text);
    void draw();
    [[nodiscard]] bool running() const;
    [[nodiscard]] std::string bar(size_t index) const;
    [[nodiscard]] std::string overall() const;

    const Output& out_;
    std::vector<Member> members_;
    GangOptions options_;
    std::vector<std::optional<MemberProcess>> processes_;
    ProgressLines bars_;
    Status ended_;
    bool stopping_ = false;
};

} // namespace talvor
