#include "host/stapl/playable.h"

#include "host/stapl/compiler.h"

#include <fmt/format.h>

#include <utility>

namespace talvor::stapl {

bool PlayableOptions::any_chosen() const noexcept {
    return !choices.action.empty() || !choices.enable.empty() || !choices.disable.empty() ||
           !choices.values.empty() || ignore_crc;
}

Status check_no_choices(const PlayableOptions& options, const std::string& file,
                        std::string_view format) {
    return options.any_chosen()
               ? usage_error(
                     file,
                     fmt::format("it is an {} file, which has no actions and variables", format),
                     "leave the options of STAPL away")
               : Status();
}

Result<std::unique_ptr<Playable>> Playable::open(play::ByteSource& source, const JtagPort& port,
                                                 const PlayableOptions& options,
                                                 std::function<bool()> hook) {
    auto opened = std::make_unique<Playable>();
    opened->program_ = TRY(compile(source, {}, std::move(hook)));
    const Program& program = opened->program_;
    if (!program.crc_is_right() && !options.ignore_crc) {
        return file_error(program.file,
                          fmt::format("its checksum is {:04X}, and it says {:04X}: it was changed "
                                      "or damaged",
                                      program.crc, *program.expected_crc),
                          "get it again, or play it as it is with --ignore-crc");
    }
    Selection selection = TRY(select(program, options.choices));
    ReaderOptions how;
    how.strict = options.strict;
    opened->reader_ = std::make_unique<Reader>(program, std::move(selection), port, how);
    return opened;
}

void Playable::perform(Listener listener) {
    reader_->perform(std::move(listener));
}

void Playable::tell(ProgramRun& run, bool played) const {
    run.action = reader_->action().name;
    if (played) {
        run.outcome = reader_->outcome();
        run.statements = reader_->executed();
    } else {
        run.open_ended = reader_->open_ended();
    }
}

} // namespace talvor::stapl
