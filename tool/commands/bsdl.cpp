// talvor bsdl: what a BSDL file says, and what is wrong with it.
#include "common/text.h"
#include "tool/commands/bsdl_text.h"
#include "tool/commands/commands.h"
#include "tool/commands/context.h"

#include <fmt/format.h>

#include <algorithm>
#include <optional>

namespace talvor {
namespace {

struct BsdlOptions {
    std::string file;
    std::optional<std::string> package;
    bool check = false;
};

size_t count_of(const bsdl::Description& description, bsdl::Severity severity) {
    return static_cast<size_t>(
        std::count_if(description.findings.begin(), description.findings.end(),
                      [severity](const auto& finding) { return finding.severity == severity; }));
}

std::string verdict(const bsdl::Description& description) {
    const size_t errors = count_of(description, bsdl::Severity::Error);
    const size_t warnings = count_of(description, bsdl::Severity::Warning);
    if (errors == 0 && warnings == 0) {
        return "nothing is wrong";
    }
    return fmt::format("{}, {}", count_text(errors, "error"), count_text(warnings, "warning"));
}

void print(const Output& out, const BsdlOptions& options, const bsdl::Description& description) {
    if (!options.check) {
        print_summary(out, options.file, description.device);
    }
    for (const bsdl::Finding& finding : description.findings) {
        out.line("{}", out.tone(finding.severity == bsdl::Severity::Error ? Tone::Bad : Tone::Plain,
                                finding_text(options.file, finding)));
    }
    if (options.check && description.usable()) {
        out.line("{}: {}", options.file, verdict(description));
    }
}

Status bsdl_command(Context& context, const BsdlOptions& options) {
    const bsdl::Description description =
        TRY(bsdl::read_bsdl(options.file, {.package = options.package}));
    print(context.out, options, description);
    context.out.result(to_json(options.file, description));
    if (options.check && !description.usable()) {
        // With --json the document has been printed.
        context.out.set_json(false);
        return file_error(options.file, verdict(description));
    }
    return {};
}

} // namespace

void add_bsdl(Command& program) {
    const auto options = command_options<BsdlOptions>();
    Command command =
        program.command("bsdl", "Say what a BSDL file describes, and what is wrong with it",
                        [options](Context& context) { return bsdl_command(context, *options); });
    command.option("FILE", options->file, "BSDL file").type_name("FILE").required();
    command
        .option("--package", options->package,
                "Take the pins of this package, where the file has several; else of its default")
        .type_name("PACKAGE");
    command.flag("--check", options->check,
                 "Print what is wrong and nothing else; errors end it with status 2");
    command.makes_no_use_of(pod_options({"--simulate", "--board", "--library"}));
}

} // namespace talvor
