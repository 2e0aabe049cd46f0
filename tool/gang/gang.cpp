#include "tool/gang/gang.h"

#include "common/interrupt.h"
#include "common/system_calls.h"
#include "common/text.h"

#include <fmt/format.h>

#include <algorithm>
#include <chrono>

namespace talvor {
namespace {

constexpr int kDrawEveryMs = 100;
constexpr int kForEver = -1;

size_t count_in(const std::vector<Member>& members, MemberState state) {
    return static_cast<size_t>(
        std::ranges::count_if(members, [state](const Member& one) { return one.state == state; }));
}

} // namespace

Gang::Gang(const Output& out, std::vector<Member> members, GangOptions options)
    : out_(out), members_(std::move(members)), options_(std::move(options)),
      processes_(members_.size()), bars_(options_.bars) {}

Status Gang::run() {
    for (size_t i = 0; i < members_.size(); ++i) {
        begin(i);
    }
    while (running()) {
        wait();
        if (interrupt_signal() != 0) {
            stop_all();
        }
        for (size_t i = 0; i < members_.size(); ++i) {
            take(i);
        }
        draw();
    }
    bars_.clear();
    return ended_;
}

bool Gang::running() const {
    return std::ranges::any_of(processes_, [](const auto& one) { return one.has_value(); });
}

void Gang::begin(size_t index) {
    Member& member = members_[index];
    if (stopping_ || interrupt_signal() != 0) {
        member.state = MemberState::Stopped;
        member.what = "was not begun";
        return conclude(member, index);
    }
    std::vector<std::string> words =
        options_.attempt_words ? options_.attempt_words() : std::vector<std::string>();
    words.insert(words.end(), member.arguments.begin(), member.arguments.end());
    ++member.attempts;
    member.state = MemberState::Running;
    Result<MemberProcess> process = MemberProcess::start(words);
    if (process) {
        processes_[index].emplace(*std::move(process));
        return;
    }
    // More attempts at once would meet the same want of the machine.
    member.state = MemberState::Failed;
    member.exit_status = 1;
    member.error = to_json(process.error());
    member.what = headline(process.error());
    say(member, member.what);
    member.attempts = std::max(member.attempts, options_.retries + 1);
    conclude(member, index);
}

void Gang::wait() {
    std::vector<pollfd> waits;
    if (!stopping_) {
        // It stays readable.
        waits.push_back({.fd = interrupt_descriptor(), .events = POLLIN, .revents = 0});
    }
    for (const auto& process : processes_) {
        if (process) {
            process->add_waits(waits);
        }
    }
    // What interrupts it is looked at by who called; what else may fail is no reason to stop.
    if (system_calls.poll(waits.data(), waits.size(), bars_.shown() ? kDrawEveryMs : kForEver) <
            0 &&
        errno != EINTR) {
        sleep_unless_interrupted(std::chrono::milliseconds(kDrawEveryMs));
    }
}

void Gang::take(size_t index) {
    std::optional<MemberProcess>& process = processes_[index];
    if (!process) {
        return;
    }
    process->take([&](const std::string& line) { relay(members_[index], line); });
    if (process->finished()) {
        finish(index);
    }
}

void Gang::finish(size_t index) {
    Member& member = members_[index];
    AttemptEnd end = processes_[index]->wait();
    // A signal of the terminal reaches all of us, and may have ended it first.
    end.stopped = end.stopped || interrupt_signal() != 0;
    processes_[index].reset();
    take_end(member, end, options_.summary);
    conclude(member, index);
}

void Gang::conclude(Member& member, size_t index) {
    if (member.may_do_better() && member.attempts <= options_.retries && !stopping_) {
        say(member, fmt::format("attempt {} of {} has failed; once more", member.attempts,
                                options_.retries + 1));
        return begin(index);
    }
    if (options_.on_end) {
        Status told = options_.on_end(member);
        ended_ = ended_ ? std::move(told) : std::move(ended_);
    }
    if (options_.stop_on_first && member.state == MemberState::Failed && !stopping_) {
        stop_all();
    }
}

void Gang::stop_all() {
    stopping_ = true;
    for (auto& process : processes_) {
        // One that has a limit of time keeps it by itself, even where its proxy is silent.
        if (process && !time_is_over()) {
            process->stop();
        }
    }
}

void Gang::relay(const Member& member, const std::string& line) {
    // That it was asked to end is no news.
    if (stopping_ || line.empty()) {
        return;
    }
    constexpr std::string_view kProgram = "talvor: ";
    say(member, line.starts_with(kProgram) ? line.substr(kProgram.size()) : line);
}

void Gang::say(const Member& member, const std::string& text) {
    const std::string name = name_of(member);
    bars_.clear();
    out_.note(text.starts_with(name + ":") ? text : name + ": " + text);
}

void Gang::draw() {
    if (!bars_.due()) {
        return;
    }
    std::vector<std::string> lines;
    for (size_t i = 0; i < members_.size(); ++i) {
        lines.push_back(bar(i));
    }
    bars_.show(lines, overall());
}

std::string Gang::bar(size_t index) const {
    const Member& member = members_[index];
    const std::string name = fmt::format("{:<10} ", name_of(member));
    const std::optional<MemberProcess>& process = processes_[index];
    if (!process) {
        return name + std::string(state_text(member.state));
    }
    if (const auto& report = process->progress(); report && report->total != 0) {
        return name + progress_line(report->what, report->done, report->total, process->elapsed());
    }
    return fmt::format(
        "{}{}  {}", name,
        process->progress() ? process->progress()->what : state_text(member.state),
        clock_text(std::chrono::duration_cast<std::chrono::seconds>(process->elapsed())));
}

std::string Gang::overall() const {
    return fmt::format(
        "... {} of {} done, {} failed",
        std::ranges::count_if(members_, [](const Member& one) { return one.ended(); }),
        count_text(members_.size(), "pod"), count_in(members_, MemberState::Failed));
}

} // namespace talvor
