// Commands one after the other over one connection: what scripts and the shell have in common.
#pragma once

#include "common/result.h"
#include "tool/command_line/command_line.h"
#include "tool/commands/expectation.h"
#include "tool/output/json.h"

#include <cstdint>
#include <optional>
#include <string>

namespace talvor {

class Context;

// Adds the commands that only a session has. A line is a command of the program with its options;
// the common options are the session's own, but for --json.
class LineRunner {
public:
    // `name`: of the script, for errors; "" is a person's typing. The context outlives it.
    LineRunner(Context& context, std::string name);
    ~LineRunner();
    LineRunner(const LineRunner&) = delete;
    LineRunner& operator=(const LineRunner&) = delete;

    // Runs one line. Errors are those of the command; in a script they begin with its name and
    // `number`.
    [[nodiscard]] Status run(const std::string& line, uint64_t number);
    // Whether a line has asked for the end.
    [[nodiscard]] bool done() const noexcept { return done_; }

    // The command line of a line, for help and completion: `json` is set when the line says --json.
    void build(CommandLine& line, bool& json);

private:
    [[nodiscard]] Status run_words(const std::vector<std::string>& words, const std::string& text,
                                   uint64_t number);
    void add_expect(Command& program);
    void add_help(Command& program);
    void add_exit(Command& program);
    [[nodiscard]] Status expect(Context& context, const Expectation& expectation) const;

    Context& context_;
    std::string name_;
    bool json_; // of every line
    std::optional<Json> last_;
    bool done_ = false;
};

} // namespace talvor
