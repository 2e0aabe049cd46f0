// talvor record: runs another command, and writes what it shifted as SVF.
#include "common/text.h"
#include "host/svf/recorder.h"
#include "tool/commands/commands.h"
#include "tool/commands/context.h"
#include "tool/commands/inner_command.h"
#include "tool/output/text_file.h"

#include <optional>
#include <string>
#include <vector>

#ifndef TALVOR_VERSION
#define TALVOR_VERSION "unknown"
#endif

namespace talvor {
namespace {

constexpr const char* kNextStep =
    "write the command and its options last, as in: talvor record chain.svf chain";

struct RecordOptions {
    std::string file;
    std::vector<std::string> command;
};

Status check(const Context& context, const RecordOptions& options) {
    if (options.file == "-") {
        return usage_error("-", "the command prints there", "name a file for the recording");
    }
    return context.watcher == nullptr ? Status()
                                      : usage_error("record", "a recording is under way already",
                                                    "leave one of them away");
}

std::string command_text(const RecordOptions& options) {
    std::string text = "Recorded by talvor " TALVOR_VERSION ": talvor";
    for (const std::string& word : options.command) {
        text += " " + word;
    }
    return text;
}

void tell(const Output& out, const std::string& file, const svf::Recorder& recorder) {
    for (const auto& [what, times] : recorder.losses()) {
        out.note(fmt::format("{}: SVF has no words for {}{}; a comment stands there", file, what,
                             times == 1 ? "" : fmt::format(", {} times", times)));
    }
    const svf::Recorder::Count& count = recorder.count();
    const std::string text =
        fmt::format("{}: {} of {}, {} with answers", file, count_text(count.scans, "scan"),
                    count_text(count.bits, "bit"), count.answered);
    if (recorder.incomplete()) {
        out.note(text + "; not complete, as its last line says");
    } else {
        out.line("{}", text);
    }
}

// The file, which is made when there is something to record: a command that is refused leaves an
// older one as it was.
class RecordedFile {
public:
    explicit RecordedFile(const RecordOptions& options) : options_(options) {}

    [[nodiscard]] Status add(std::string_view text) {
        if (!file_) {
            file_.emplace(TRY(TextFile::create(options_.file)));
            TRY(recorder.comment(command_text(options_)));
        }
        return file_->add(text);
    }
    [[nodiscard]] bool made() const noexcept { return file_.has_value(); }
    [[nodiscard]] Status finish(const Status& done) {
        TRY(recorder.finish(done));
        return file_->close();
    }

    svf::Recorder recorder{[this](std::string_view text) { return add(text); }};

private:
    const RecordOptions& options_;
    std::optional<TextFile> file_;
};

Status record(Context& context, const RecordOptions& options) {
    TRY(check(context, options));
    const Action action = TRY(inner_action(context, options.command, kNextStep));
    if (!action) {
        return {};
    }
    context.out.set_json(context.options.json);
    RecordedFile file(options);
    context.watcher = &file.recorder;
    const Status done = action(context);
    context.watcher = nullptr;
    // What is told of the session's end would come behind the last line.
    context.drop_session();
    if (!file.made()) {
        TRY(done);
        context.out.note(options.file + " was not written: the command used no pod");
        return {};
    }
    const Status written = file.finish(done);
    if (written) {
        tell(context.out, options.file, file.recorder);
    }
    return done ? written : done;
}

} // namespace

void add_record(Command& program) {
    const auto options = command_options<RecordOptions>();
    Command command =
        program.command("record", "Run another command, and write what it shifted as SVF",
                        [options](Context& context) { return record(context, *options); });
    command.option("FILE", options->file, "The new SVF file").type_name("FILE").required();
    command.footer("COMMAND and its options stand last: talvor record chain.svf chain");
    // Everything from the inner command on is its own.
    command.take_rest(options->command);
}

} // namespace talvor
