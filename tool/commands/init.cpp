// talvor init: writes a board file from what it finds.
#include "common/system_calls.h"
#include "common/text.h"
#include "host/session/board_search.h"
#include "host/session/chain_trial.h"
#include "tool/commands/board_text.h"
#include "tool/commands/commands.h"
#include "tool/commands/context.h"
#include "tool/commands/part_option.h"
#include "tool/output/text_file.h"

#include <sys/stat.h>

namespace talvor {
namespace {

struct InitOptions {
    std::string file = kBoardFileName;
    std::string parts;
    bool force = false;
};

Status exists_already(const std::string& path) {
    return usage_error(path, "is there already",
                       "name another file, or write over it with --force");
}

// A chain that does not answer is worth a comment, a pod that does not is an error.
Result<BoardFacts> find_facts(Session& session) {
    BoardFacts facts;
    facts.serial = session.record().serial;
    facts.generation = generation(session.board());
    facts.formula = session.board().clock;
    facts.clock = session.port().clock().setting(session.board().keys);
    facts.hertz = session.port().hertz();
    facts.link_delay = TRY(read_link_delay(session.pod())).applied();
    facts.chain = session.discover();
    if (!facts.chain && facts.chain.error().kind != ErrorKind::Target) {
        return Failure(facts.chain.error());
    }
    return facts;
}

void report(const Output& out, const InitOptions& options, const BoardFacts& facts,
            const std::string& text) {
    if (!facts.chain) {
        out.note("the chain could not be found: " + headline(facts.chain.error()));
    }
    const size_t devices = facts.chain ? facts.chain->devices.size() : 0;
    if (options.file == "-") {
        out.line("{}", text.substr(0, text.size() - 1)); // the line brings its own end
    } else {
        out.line("{}: written: pod {}, {}", options.file, facts.serial,
                 count_text(devices, "device"));
    }
    out.result(Json{{"file", options.file},
                    {"serial", facts.serial},
                    {"devices", devices},
                    {"chain_found", facts.chain.has_value()},
                    {"text", text}});
}

Status init(Context& context, const InitOptions& options) {
    const bool to_file = options.file != "-";
    struct stat facts {}; // what cannot be looked at cannot be written either
    if (to_file && !options.force && system_calls.lstat(options.file.c_str(), &facts) == 0) {
        return exists_already(options.file);
    }
    const PartNames names = TRY(part_names(options.parts));
    const BoardFacts found = TRY(find_facts(*TRY(context.session())));
    const std::string text = board_text(found, names);
    if (to_file) {
        TRY(write_text_file(options.file, text,
                            options.force ? Existing::Replaced : Existing::Kept));
    }
    report(context.out, options, found, text);
    return {};
}

} // namespace

void add_init(Command& program) {
    const auto options = command_options<InitOptions>();
    Command command =
        program.command("init", "Write a board file from what pod and chain say (resets the TAPs)",
                        [options](Context& context) { return init(context, *options); });
    command.option("FILE", options->file, "Where it goes; - is the standard output").show_default();
    command.flag("--force", options->force, "Write over a file that is there");
    add_parts_option(command, options->parts);
}

} // namespace talvor
