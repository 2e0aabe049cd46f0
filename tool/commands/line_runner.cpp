#include "tool/commands/line_runner.h"

#include "common/interrupt.h"
#include "tool/commands/app.h"
#include "tool/commands/commands.h"
#include "tool/commands/context.h"
#include "tool/commands/script_line.h"
#include "tool/output/standard_streams.h"

#include <algorithm>
#include <array>
#include <string_view>
#include <utility>

namespace talvor {
namespace {

// Commands that begin with a connection, or a simulated pod, of their own.
constexpr std::array<std::string_view, 4> kOutside{"trace", "record", "shell", "completion"};

void print_text(const Output& out, const std::string& text) {
    if (out.json()) {
        out.result(Json{{"text", text}});
    } else {
        write_output(text);
    }
}

} // namespace

LineRunner::LineRunner(Context& context, std::string name)
    : context_(context), name_(std::move(name)), json_(context.out.json()) {
    context_.out.set_json_lines(true);
}

LineRunner::~LineRunner() {
    context_.out.on_result(nullptr);
}

void LineRunner::build(CommandLine& line, bool& json) {
    Command program = line.program();
    program.flag("--json", json, "Print the result as a JSON document in one line");
    add_session_commands(program);
    add_expect(program);
    add_help(program);
    add_exit(program);
}

Status LineRunner::run(const std::string& line, uint64_t number) {
    Status done = check_interrupt();
    if (done) {
        const auto words = split_words(line);
        done = words ? run_words(*words, line, number) : Status(Failure(words.error()));
    }
    if (!done && !name_.empty()) {
        Error& error = done.error();
        error.thing =
            fmt::format("{}:{}{}{}", name_, number, error.thing.empty() ? "" : ": ", error.thing);
    }
    return done;
}

Status LineRunner::run_words(const std::vector<std::string>& words, const std::string& text,
                             uint64_t number) {
    if (words.empty()) {
        return {};
    }
    context_.out.set_json(json_);
    context_.out.set_frame(Json{{"line", number}, {"command", text}});
    if (std::find(kOutside.begin(), kOutside.end(), words.front()) != kOutside.end()) {
        return usage_error(words.front(), "is no command of a session",
                           "run it by itself, as in: talvor " + words.front());
    }
    bool json = json_;
    CommandLine line("", "Commands of this session; the options of the connection are its own.");
    build(line, json);
    if (TRY(line.parse(words)) == CommandLine::Outcome::Printed) {
        print_text(context_.out, line.printed());
        return {};
    }
    context_.out.set_json(json);
    context_.out.on_result([this](const Json& result) { last_ = result; });
    TRY(context_.renew());
    const Status done = line.chosen()(context_);
    context_.out.on_result(nullptr);
    return done;
}

Status LineRunner::expect(Context& context, const Expectation& expectation) const {
    const Comparison compared = TRY(compare(expectation, last_));
    if (!compared.equal) {
        return target_error(compared.path,
                            fmt::format("expected {}, got {}{}{}", compared.expected, compared.got,
                                        expectation.mask.empty() ? "" : ", mask ",
                                        expectation.mask));
    }
    // The result that is looked at stays the last one.
    context.out.on_result(nullptr);
    context.out.result(
        Json{{"expected", compared.expected}, {"got", compared.got}, {"path", compared.path}});
    return {};
}

void LineRunner::add_expect(Command& program) {
    struct Words {
        std::vector<std::string> words;
        std::string mask;
    };
    const auto given = command_options<Words>();
    Command command = program.command(
        "expect", "Fail unless the last result has this value",
        [this, given](Context& context) -> Status {
            if (given->words.size() > 2) {
                return usage_error(given->words[2], "is not expected here", "run 'expect --help'");
            }
            const bool named = given->words.size() == 2;
            return expect(context,
                          {named ? given->words[0] : "", given->words.back(), given->mask});
        });
    command.option("VALUE", given->words, "[MEMBER] VALUE; a number in decimal or with 0x, a word")
        .required();
    command.option("--mask", given->mask, "Hexadecimal: compare these bits alone");
}

void LineRunner::add_help(Command& program) {
    const auto about = command_options<std::vector<std::string>>();
    Command command = program.command("help", "List the commands, or say more about one",
                                      [this, about](Context& context) {
                                          std::vector<std::string> words = *about;
                                          words.emplace_back("--help");
                                          bool json = false;
                                          CommandLine line("", "Commands of this session");
                                          build(line, json);
                                          return line.parse(words).map([&](const auto&) {
                                              print_text(context.out, line.printed());
                                              return Done();
                                          });
                                      });
    command.option("COMMAND", *about, "As in: help link find");
}

void LineRunner::add_exit(Command& program) {
    program.command("exit", "End the session", [this](Context&) -> Status {
        done_ = true;
        return {};
    });
}

} // namespace talvor
