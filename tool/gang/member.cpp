#include "tool/gang/member.h"

#include <fmt/format.h>

#include <utility>

namespace talvor {
namespace {

std::string text_at(const Json& document, std::string_view path) {
    const Json* found = document.find(path);
    return found == nullptr ? std::string() : found->scalar_text().value_or("");
}

// "thing: reason", as headline() has it.
std::string error_text(const Json& error) {
    const std::string thing = text_at(error, "thing");
    return thing.empty() ? text_at(error, "reason") : thing + ": " + text_at(error, "reason");
}

// The member's own name says the first part already.
std::string without_name(std::string text, const Member& member) {
    const std::string name = name_of(member) + ": ";
    return text.starts_with(name) ? text.substr(name.size()) : text;
}

MemberState state_after(const AttemptEnd& end) {
    constexpr int kEndedBySignal = 128;
    constexpr int kTimeIsOver = 124;
    if (end.exit_status == 0) {
        return MemberState::Passed;
    }
    const bool broken_off = end.exit_status > kEndedBySignal || end.exit_status == kTimeIsOver;
    return end.stopped && broken_off ? MemberState::Stopped : MemberState::Failed;
}

} // namespace

std::string_view state_text(MemberState state) {
    switch (state) {
    case MemberState::Waiting:
        return "waiting";
    case MemberState::Running:
        return "at work";
    case MemberState::Passed:
        return "passed";
    case MemberState::Failed:
        return "FAILED";
    case MemberState::Stopped:
        return "stopped";
    }
    return "";
}

std::string name_of(const Member& member) {
    return fmt::format("pod {}", member.serial);
}

void take_end(Member& member, const AttemptEnd& end, std::string (*summary)(const Json&)) {
    member.seconds += end.seconds;
    member.exit_status = end.exit_status;
    member.state = state_after(end);
    member.document = Json::parse(end.printed);
    member.error.reset();
    if (const Json* error = member.document ? member.document->find("error") : nullptr) {
        member.error = *error;
    }
    if (member.error && member.document->size() == 1) {
        member.document.reset();
    }
    if (member.state == MemberState::Passed) {
        member.what = member.document ? summary(*member.document) : "";
    } else if (member.error && member.state == MemberState::Failed) {
        member.what = without_name(error_text(*member.error), member);
    } else if (member.state == MemberState::Stopped) {
        member.what = "was asked to end";
    } else {
        member.what = end.end;
    }
}

Json to_json(const Member& member) {
    const bool failed = member.state == MemberState::Failed;
    Json json{{"pod", member.serial},
              {"revision", member.revision},
              {"result", failed ? "failed" : state_text(member.state)},
              {"attempts", member.attempts},
              {"seconds", member.seconds},
              {"exit_status", member.exit_status},
              {"summary", member.what}};
    if (member.document) {
        json["document"] = *member.document;
    }
    if (member.error) {
        json["error"] = *member.error;
    }
    return json;
}

JunitCase junit_case(const Member& member, const std::string& command) {
    JunitCase result;
    result.name = name_of(member);
    result.class_name = command;
    result.seconds = member.seconds;
    switch (member.state) {
    case MemberState::Passed:
        break;
    case MemberState::Failed: {
        // The target's wrong answers are failures; that it could not be asked is an error.
        const bool target = member.error && text_at(*member.error, "kind") == "target";
        result.outcome = target ? JunitCase::Outcome::Failed : JunitCase::Outcome::Error;
        result.message = member.what;
        result.text = member.error ? text_at(*member.error, "next_step") : "";
        break;
    }
    default:
        result.outcome = JunitCase::Outcome::Skipped;
        break;
    }
    return result;
}

} // namespace talvor
