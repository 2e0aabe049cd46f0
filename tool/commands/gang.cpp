#include "tool/commands/gang.h"

#include "common/interrupt.h"
#include "common/system_calls.h"
#include "common/text.h"
#include "host/driver/device_table.h"
#include "tool/commands/gang_commands.h"
#include "tool/commands/gang_words.h"
#include "tool/gang/gang.h"
#include "tool/output/junit.h"
#include "tool/output/record_log.h"

#include <algorithm>
#include <chrono>
#include <cstring>
#include <ctime>
#include <fcntl.h>
#include <optional>

namespace talvor {
namespace {

using Clock = std::chrono::steady_clock;

// So that the gang's own limit comes first, which says whose it is.
constexpr double kLaterSeconds = 0.05;

const std::vector<std::string>& log_heads() {
    static const std::vector<std::string> heads{"time",        "command", "pod",
                                                "revision",    "result",  "attempts",
                                                "exit_status", "seconds", "what"};
    return heads;
}

std::string utc_now() {
    const std::time_t now = std::time(nullptr);
    std::tm parts{};
    gmtime_r(&now, &parts);
    return fmt::format("{:04}-{:02}-{:02}T{:02}:{:02}:{:02}Z", parts.tm_year + 1900,
                       parts.tm_mon + 1, parts.tm_mday, parts.tm_hour, parts.tm_min, parts.tm_sec);
}

// Everything that is known before the first pod is touched.
struct Plan {
    const GangCommand* command = nullptr;
    GangWords words;
    std::string text; // the command as it was written
    std::vector<Member> members;
    std::optional<RecordLog> log;
    Clock::time_point end = Clock::time_point::max(); // of --timeout
};

Result<const GangCommand*> gang_command(const std::string& path) {
    if (const GangCommand* found = find_gang_command(path)) {
        return found;
    }
    std::string known;
    for (const GangCommand& command : gang_commands()) {
        known += fmt::format("{}{}", known.empty() ? "" : ", ", command.path);
    }
    return usage_error("--pods", fmt::format("'{}' works on one pod", path),
                       "name it with --pod; on several at once work: " + known);
}

// In the order in which they were named, or of the table.
Result<std::vector<PodRecord>> chosen_pods(const std::string& text) {
    const auto serials = TRY(parse_pods(text));
    DeviceTable table = TRY(living_proxy());
    if (!serials && table.pods.empty()) {
        return pod_error("--pods all", "the proxy has no pod", "plug one in");
    }
    if (!serials) {
        return std::move(table.pods);
    }
    std::vector<PodRecord> pods;
    for (const uint32_t serial : *serials) {
        pods.push_back(TRY(choose_pod(table, serial)));
    }
    return pods;
}

// The board file of each pod as options. All are there, or nothing begins.
Result<std::vector<std::string>> board_words(const Context& context, uint32_t serial) {
    const std::optional<std::string>& path = context.board().path;
    if (!path) {
        return std::vector<std::string>{"--no-board"};
    }
    const std::string own = board_of(*path, serial);
    struct stat facts {};
    if (system_calls.stat(own.c_str(), &facts) != 0) {
        const std::string reason = std::strerror(errno);
        return file_error(
            own, fmt::format("the board file of pod {} cannot be read: {}", serial, reason),
            "nothing was begun; write it, as 'talvor --pod SERIAL init' does");
    }
    return std::vector<std::string>{"--board", own};
}

Result<Member> member_of(const Context& context, const PodRecord& pod, const GangWords& words) {
    Member member;
    member.serial = pod.serial;
    member.revision = revision_text(pod.revision);
    member.arguments = {"--json", "--pod", fmt::format("{}", pod.serial)};
    const std::vector<std::string> board = TRY(board_words(context, pod.serial));
    member.arguments.insert(member.arguments.end(), board.begin(), board.end());
    for (const std::string& word : words.kept) {
        member.arguments.push_back(with_serial(word, pod.serial));
    }
    return member;
}

Result<Plan> make_plan(Context& context, const std::string& path,
                       const std::vector<std::string>& words) {
    const GangRequest& request = context.options.gang;
    Plan plan;
    plan.command = TRY(gang_command(path));
    plan.words = take_gang_words(words);
    TRY(check_words(plan.words.kept, plan.command->refused));
    for (const std::string& word : plan.words.kept) {
        plan.text += (plan.text.empty() ? "" : " ") + word;
    }
    TRY(parse_pods(*request.pods));
    if (context.options.timeout_seconds > 0) {
        plan.end = Clock::now() +
                   std::chrono::duration_cast<Clock::duration>(std::chrono::duration<double>(
                       std::min(context.options.timeout_seconds, 1e8)));
    }
    TRY(context.start_simulator());
    for (const PodRecord& pod : TRY(chosen_pods(*request.pods))) {
        plan.members.push_back(TRY(member_of(context, pod, plan.words)));
    }
    if (!request.log.empty()) {
        plan.log.emplace(TRY(RecordLog::open(request.log, log_heads())));
        if (!plan.log->torn().empty()) {
            context.out.note(fmt::format("{}: its last line was cut short, by a crash perhaps, and "
                                         "stands in {} now",
                                         request.log, plan.log->torn_path()));
        }
    }
    return plan;
}

GangOptions gang_options(const Context& context, Plan& plan) {
    const GangRequest& request = context.options.gang;
    GangOptions options;
    options.retries = request.retries;
    options.stop_on_first = request.stop_on_first;
    options.summary = plan.command->summary;
    options.bars =
        plan.words.progress == "always" || (plan.words.progress == "auto" && context.out.watched());
    options.on_end = [&plan](const Member& member) -> Status {
        if (!plan.log) {
            return {};
        }
        return plan.log->append(
            {utc_now(), plan.text, fmt::format("{}", member.serial), member.revision,
             member.state == MemberState::Failed ? "failed" : std::string(state_text(member.state)),
             fmt::format("{}", member.attempts), fmt::format("{}", member.exit_status),
             fmt::format("{:.3f}", member.seconds), member.what});
    };
    options.attempt_words = [&plan]() -> std::vector<std::string> {
        if (plan.end == Clock::time_point::max()) {
            return {};
        }
        const std::chrono::duration<double> left = plan.end - Clock::now();
        return {"--timeout", fmt::format("{:.3f}", std::max(left.count(), 0.0) + kLaterSeconds)};
    };
    return options;
}

size_t count_in(const std::vector<Member>& members, MemberState state) {
    return static_cast<size_t>(
        std::ranges::count_if(members, [state](const Member& one) { return one.state == state; }));
}

Json together_of(const Plan& plan, const std::vector<Member>& members) {
    std::vector<const Json*> documents;
    for (const Member& member : members) {
        if (member.state == MemberState::Passed && member.document) {
            documents.push_back(&*member.document);
        }
    }
    return plan.command->together != nullptr ? plan.command->together(documents) : Json::array();
}

Tone tone_of(MemberState state) {
    return state == MemberState::Passed   ? Tone::Good
           : state == MemberState::Failed ? Tone::Bad
                                          : Tone::Plain;
}

void print(const Output& out, const std::vector<Member>& members, const Json& together) {
    TextTable table({"pod", "result", "attempts", "seconds", ""});
    for (const Member& member : members) {
        table.add({fmt::format("{}", member.serial), std::string(state_text(member.state)),
                   fmt::format("{}", member.attempts), fmt::format("{:.2f}", member.seconds),
                   member.what});
    }
    out.table(table);
    for (size_t i = 0; i < together.size(); ++i) {
        out.line("{}", *together.find(fmt::format("{}.text", i))->scalar_text());
    }
    const size_t passed = count_in(members, MemberState::Passed);
    const size_t stopped = count_in(members, MemberState::Stopped);
    const std::string verdict =
        fmt::format("{} of {} passed{}", passed, count_text(members.size(), "pod"),
                    stopped == 0 ? "" : fmt::format(", {} stopped", stopped));
    out.line("{}",
             out.tone(tone_of(passed == members.size() ? MemberState::Passed : MemberState::Failed),
                      verdict));
}

Json document(const std::string& command, const std::vector<Member>& members, Json together) {
    Json pods = Json::array();
    for (const Member& member : members) {
        pods.push_back(to_json(member));
    }
    return Json{{"command", command},
                {"passed", count_in(members, MemberState::Passed)},
                {"failed", count_in(members, MemberState::Failed)},
                {"stopped", count_in(members, MemberState::Stopped)},
                {"pods", std::move(pods)},
                {"together", std::move(together)}};
}

Status write_junit(const Plan& plan, const std::vector<Member>& members) {
    if (plan.words.junit.empty()) {
        return {};
    }
    Junit suite("talvor " + plan.text);
    for (const Member& member : members) {
        suite.add(junit_case(member, plan.text));
    }
    return suite.write(plan.words.junit);
}

// What the gang ends with.
Status verdict(const Plan& plan, const std::vector<Member>& members) {
    std::string failed;
    bool wrong_from_the_start = true;
    for (const Member& member : members) {
        if (member.state == MemberState::Failed) {
            failed += fmt::format("{}{}", failed.empty() ? "" : ", ", member.serial);
            wrong_from_the_start = wrong_from_the_start && !member.may_do_better();
        }
    }
    if (failed.empty()) {
        return {};
    }
    const auto error = wrong_from_the_start ? file_error : target_error;
    return error(
        fmt::format("{} on {}", plan.command->path, count_text(members.size(), "pod")),
        fmt::format("failed on {} of them: {}", count_in(members, MemberState::Failed), failed),
        "");
}

} // namespace

void add_gang_options(Command& program, CommonOptions& options, const Option& pod) {
    GangRequest& gang = options.gang;
    Option pods = program.option("--pods", gang.pods,
                                 "Several pods at the same time: all, or serial numbers as in "
                                 "5,7,9; for commands that play files, chain, tclk search, bench");
    pods.type_name("SERIAL,...").excludes(pod);
    program.option("--retry", gang.retries, "With --pods: try a pod that failed so often again")
        .type_name("N")
        .needs(pods);
    program
        .flag("--stop-on-first", gang.stop_on_first,
              "With --pods: when one has failed, the others end")
        .needs(pods);
    program.option("--log", gang.log, "With --pods: append a line a pod to this CSV file")
        .type_name("FILE")
        .needs(pods);
    program
        .option("--junit", gang.junit,
                "With --pods: write the results as JUnit XML, a case a pod, into this file")
        .type_name("FILE")
        .needs(pods);
    program.option("--member", options.member, "").hidden("--pods");
}

Status run_gang(Context& context, const std::string& command,
                const std::vector<std::string>& words) {
    Plan plan = TRY(make_plan(context, command, words));
    Gang gang(context.out, std::move(plan.members), gang_options(context, plan));
    const Status logged = gang.run();
    const std::vector<Member>& members = gang.members();
    Json together = together_of(plan, members);
    print(context.out, members, together);
    context.out.result(document(plan.text, members, std::move(together)));
    // The document, where one was asked for, has been printed: errors are only said.
    context.out.set_json(false);
    TRY(write_junit(plan, members));
    TRY(check_interrupt());
    TRY(logged);
    return verdict(plan, members);
}

void serve_the_gang(Context& context) {
    const auto descriptor = static_cast<int>(*context.options.member);
    fcntl(descriptor, F_SETFD, FD_CLOEXEC);
    end_with_the_gang(descriptor);
    context.out.report_progress_to(descriptor);
}

} // namespace talvor
