// talvor convert: writes a file of one format as one of another.
#include "common/interrupt.h"
#include "common/text.h"
#include "host/format/format.h"
#include "host/jtag/null_port.h"
#include "host/svf/writer.h"
#include "host/xsvf/writer.h"
#include "tool/commands/commands.h"
#include "tool/commands/context.h"
#include "tool/output/text_file.h"

#include <map>
#include <memory>
#include <optional>
#include <string>
#include <variant>

namespace talvor {
namespace {

constexpr size_t kPieceBytes = size_t{1} << 20; // of the new file, kept before it is written

struct ConvertOptions {
    std::string from;
    std::string to;
    std::string format;
    bool strict = false;
};

// What the new file cannot say: how often, and where first.
struct Lost {
    uint64_t count = 0;
    uint64_t line = 0;
    std::string statement;
};
using Losses = std::map<std::string, Lost>;

class StepWriter {
public:
    explicit StepWriter(FileFormat format) {
        if (format == FileFormat::Xsvf) {
            writer_ = xsvf::Writer();
        }
    }

    [[nodiscard]] std::optional<std::string> add(const play::Step& step, std::string& text) {
        return std::visit([&](auto& writer) { return writer.add(step, text); }, writer_);
    }
    void finish(std::string& text) {
        if (auto* writer = std::get_if<xsvf::Writer>(&writer_)) {
            writer->finish(text);
        }
    }

private:
    std::variant<svf::Writer, xsvf::Writer> writer_;
};

Result<FileFormat> target_format(const ConvertOptions& options) {
    if (options.format == "svf") {
        return FileFormat::Svf;
    }
    if (options.format == "xsvf") {
        return FileFormat::Xsvf;
    }
    const std::optional<FileFormat> format = format_by_name(options.to);
    if (!format) {
        return usage_error(options.to, "its name tells no format",
                           "end it in .svf or .xsvf, or say --to svf or --to xsvf");
    }
    return *format;
}

Result<uint64_t> convert(play::StepSource& source, FileFormat format, TextFile& file,
                         Losses& losses) {
    StepWriter writer(format);
    play::Step step;
    std::string text;
    uint64_t steps = 0;
    while (TRY(source.next(step))) {
        if (step.refusal) {
            return Failure(*step.refusal);
        }
        ++steps;
        if (const std::optional<std::string> left = writer.add(step, text)) {
            Lost& lost = losses[*left];
            if (lost.count++ == 0) {
                lost.line = step.line;
                lost.statement = source.statements()[step.statement];
            }
        }
        if (text.size() >= kPieceBytes) {
            TRY(check_interrupt());
            TRY(file.add(text));
            text.clear();
        }
    }
    writer.finish(text);
    TRY(file.add(text));
    return steps;
}

// A pass that writes nowhere, so that nothing is left behind that --strict does not want.
Status refuse_losses(play::StepSource& source, FileFormat format) {
    Losses losses;
    TextFile nowhere = TRY(TextFile::create("/dev/null"));
    TRY(convert(source, format, nowhere, losses));
    if (losses.empty()) {
        return source.rewind();
    }
    const auto& [what, lost] = *losses.begin();
    return refused_error(
        fmt::format("{}:{}", source.name(), lost.line),
        fmt::format("{}: {} has no words for {}", lost.statement, name_of(format), what),
        "leave --strict away to convert the rest");
}

Status convert_command(Context& context, const ConvertOptions& options) {
    const FileFormat to = TRY(target_format(options));
    const auto source = TRY(play::FileSource::open(options.from));
    const FileFormat from = TRY(format_by_content(*source));
    if (from == FileFormat::Stapl) {
        return refused_error(options.from,
                             "it is a STAPL file: what such a program shifts depends on what the "
                             "target answers",
                             "play it; the vendor's program that made it may write SVF, too");
    }
    const NullPort port;
    const std::unique_ptr<play::StepSource> steps = open_steps(from, *source, port, false);
    if (options.strict) {
        TRY(refuse_losses(*steps, to));
    }
    Losses losses;
    TextFile file = TRY(TextFile::create(options.to));
    const uint64_t count = TRY(convert(*steps, to, file, losses));
    TRY(file.close());
    Json lost = Json::array();
    for (const auto& [what, where] : losses) {
        context.out.note(
            fmt::format("{}:{}: {}: {} has no words for {}{}", options.from, where.line,
                        where.statement, name_of(to), what,
                        where.count == 1 ? "" : fmt::format(", {} times in all", where.count)));
        lost.push_back(Json{{"what", what}, {"line", where.line}, {"count", where.count}});
    }
    if (options.to != "-") {
        context.out.line("{}: {} of {}, as {}", options.to, count_text(count, "step"), options.from,
                         name_of(to));
        context.out.result(Json{{"from", options.from},
                                {"to", options.to},
                                {"format", std::string(name_of(to))},
                                {"steps", count},
                                {"lost", std::move(lost)}});
    }
    return {};
}

} // namespace

void add_convert(Command& program) {
    const auto options = command_options<ConvertOptions>();
    Command command =
        program.command("convert", "Write an SVF file as XSVF, or an XSVF file as SVF",
                        [options](Context& context) { return convert_command(context, *options); });
    command.option("FROM", options->from, "SVF or XSVF file, told apart by the content")
        .type_name("FILE")
        .required();
    command.option("INTO", options->to, "The new file; - is the standard output")
        .type_name("FILE")
        .required();
    command.option("--to", options->format, "Its format; without it the end of its name tells")
        .one_of({"svf", "xsvf"});
    command.flag("--strict", options->strict,
                 "Refuse what the new format has no words for, and write nothing");
    command.makes_no_use_of(pod_options({"--simulate", "--board", "--library"}));
}

} // namespace talvor
