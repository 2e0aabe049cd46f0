// talvor shell: a session by hand.
#include "common/interrupt.h"
#include "tool/commands/app.h"
#include "tool/commands/commands.h"
#include "tool/commands/context.h"
#include "tool/commands/line_completion.h"
#include "tool/commands/line_runner.h"
#include "tool/commands/run.h"
#include "tool/output/standard_streams.h"
#include "tool/terminal/history_file.h"
#include "tool/terminal/line_editor.h"

#include <csignal>
#include <unistd.h>

namespace talvor {
namespace {

constexpr const char* kPrompt = "talvor> ";

class Shell {
public:
    explicit Shell(Context& context)
        : context_(context), runner_(context, ""),
          editor_([this](std::string_view before) { return complete(before); }),
          history_(HistoryFile::default_path()) {
        for (const std::string& line : history_.load()) {
            editor_.remember(line);
        }
    }

    // Until the end of the input, `exit`, or a signal other than Ctrl-C.
    void run() {
        greet();
        while (!runner_.done()) {
            (void)flush_output();
            const LineEditor::Event event = editor_.read(kPrompt);
            if (event == LineEditor::Event::End || !survives_signal()) {
                return;
            }
            if (event == LineEditor::Event::Line) {
                take(editor_.text());
                if (!survives_signal()) {
                    return;
                }
            }
        }
    }

private:
    void greet() const {
        context_.out.line(
            "One connection for all commands. 'help' lists them, 'exit' or Ctrl-D ends "
            "it.");
        if (!LineEditor::edits()) {
            context_.out.line("Built without libedit: no editing, no history, no completion.");
        }
    }

    // Ctrl-C ends what is under way, and not the shell.
    static bool survives_signal() {
        if (interrupt_signal() == SIGINT) {
            forget_interrupt();
        }
        return interrupt_signal() == 0;
    }

    void take(const std::string& line) {
        if (line.find_first_not_of(" \t") == std::string::npos) {
            return;
        }
        remember(line);
        const Status done = runner_.run(line, ++number_);
        if (done) {
            return;
        }
        context_.report(done.error());
        if (done.error().kind == ErrorKind::Pod && !context_.renew()) {
            context_.drop_session();
            context_.out.note("the connection is given up; the next command connects anew");
        }
    }

    void remember(const std::string& line) {
        editor_.remember(line);
        const Status kept = history_.append(line);
        if (!kept && !told_) {
            told_ = true;
            context_.out.note(headline(kept.error()) + "; " + kept.error().next_step);
        }
    }

    std::vector<std::string> complete(std::string_view before) {
        bool json = false;
        CommandLine line("", "");
        runner_.build(line, json);
        return complete_line(line.program(), before);
    }

    Context& context_;
    LineRunner runner_;
    LineEditor editor_;
    HistoryFile history_;
    uint64_t number_ = 0;
    bool told_ = false; // that the history is not kept
};

Status shell(Context& context) {
    if (isatty(STDIN_FILENO) != 1) {
        return run_script(context, "-");
    }
    Shell(context).run();
    return time_is_over() ? check_interrupt() : Status();
}

} // namespace

void add_shell(Command& program) {
    program.command("shell", "Run commands as they are typed, over one connection", shell);
}

} // namespace talvor
