#include "tool/commands/play_picture.h"

#include "host/session/shift_passes.h"
#include "host/waveform/svg.h"
#include "tool/output/text_file.h"

#include <fmt/format.h>

#include <utility>

namespace talvor {

Result<PlayPicture> PlayPicture::prepare(Context& context, PictureOptions options, bool plays_on) {
    if (!context.options.simulate) {
        return usage_error("--svg", "only the simulated pod sees every edge",
                           "add --simulate, or leave --svg away");
    }
    if (context.on_shift) {
        return usage_error("--svg", "trace draws already", "give --svg to trace or to svf");
    }
    Result<TemporaryFile> file = TemporaryFile::create();
    if (!file) {
        return file_error(file.error().thing, file.error().reason, "set TMPDIR");
    }
    // What fails ends the playing, so it stands at the end of the waveform.
    const bool last = options.line == 0 && !plays_on;
    TRY(context.start_simulator(WaveformFile{.path = file->path(), .keep_last = last}));
    return PlayPicture(context, std::move(options), *std::move(file));
}

PlayPicture::PlayPicture(Context& context, PictureOptions options, TemporaryFile file)
    : context_(&context), options_(std::move(options)), file_(std::move(file)),
      clocks_(std::make_shared<Clocks>()) {
    context.on_shift = [clocks = clocks_](const ShiftMark& mark) {
        clocks->shifted += mark.clocks;
        add_pass(clocks->passes, mark);
    };
}

PlayPicture::~PlayPicture() {
    if (clocks_) {
        context_->on_shift = nullptr;
    }
}

// The statement that begins at the line, or the last that begins before it.
bool PlayPicture::is_wanted(uint64_t line) const {
    return options_.line != 0 && (line <= options_.line || !chosen_);
}

void PlayPicture::begin_statement(uint64_t line) {
    if (now_ && is_wanted(now_->line)) {
        chosen_ = now_;
        chosen_->shifts.end = clocks_->shifted;
    }
    now_ = Statement{line, {clocks_->shifted, clocks_->shifted}};
}

void PlayPicture::fail() {
    if (options_.line == 0 && !chosen_ && now_) {
        chosen_ = now_;
        chosen_->shifts.end = clocks_->shifted;
    }
}

Status PlayPicture::draw(const std::string& name, bool failed) {
    if (failed) {
        fail();
    }
    begin_statement(UINT64_MAX);
    TRY(context_->close());
    if (chosen_) {
        return draw_statement(name, *chosen_);
    }
    if (options_.line != 0) {
        return file_error(name, fmt::format("nothing was played of line {}", options_.line),
                          "name a line that is played");
    }
    context_->out.line("{}: not drawn, for nothing failed; --around LINE draws a statement",
                       options_.svg);
    return {};
}

Status PlayPicture::draw_statement(const std::string& name, const Statement& statement) {
    const waveform::Window window = TRY(waveform::window_of_shifts(file_.path(), statement.shifts));
    waveform::Waveform seen = TRY(waveform::read_vcd_file(file_.path(), window));
    seen.passes = std::move(clocks_->passes);
    TRY(write_text_file(
        options_.svg,
        waveform::to_svg(seen, {.title = fmt::format("{}:{}", name, statement.line)})));
    context_->out.line("{}: the statement at line {}, TCKs {} to {} of {}", options_.svg,
                       statement.line, seen.first_tck, seen.first_tck + seen.samples.size(),
                       seen.total_tcks);
    return {};
}

} // namespace talvor
