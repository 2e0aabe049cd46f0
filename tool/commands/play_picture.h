// A picture of one statement of a file that is played: the one that failed, or the one at a line.
#pragma once

#include "common/temporary.h"
#include "host/play/player.h"
#include "host/waveform/vcd.h"
#include "tool/commands/context.h"

#include <cstdint>
#include <memory>
#include <optional>
#include <string>
#include <vector>

namespace talvor {

struct PictureOptions {
    std::string svg;   // where it goes; "": none
    uint64_t line = 0; // of the statement; 0: of the one that fails
};

// What was sent is told by the session's Shift clocks, what the target saw by the simulator's
// waveform.
class PlayPicture {
public:
    // Has the simulator write a waveform, so it must come before the session is opened; `context`
    // outlives the picture. `plays_on`: past what fails. Errors: there is no simulated pod.
    [[nodiscard]] static Result<PlayPicture> prepare(Context& context, PictureOptions options,
                                                     bool plays_on);
    PlayPicture(PlayPicture&&) = default;
    PlayPicture& operator=(PlayPicture&&) = delete;
    ~PlayPicture();

    // A statement of `line` is about to be played, each in its turn.
    void begin_statement(uint64_t line);
    // It has failed.
    void fail();
    // The playing is over. Ends the simulator, whose waveform is only then whole, and draws; `name`
    // is what the picture calls the file, `failed` whether what was played last is to blame.
    [[nodiscard]] Status draw(const std::string& name, bool failed);

private:
    struct Statement {
        uint64_t line = 0;
        waveform::ShiftSpan shifts;
    };

    PlayPicture(Context& context, PictureOptions options, TemporaryFile file);

    [[nodiscard]] bool is_wanted(uint64_t line) const;
    [[nodiscard]] Status draw_statement(const std::string& name, const Statement& statement);

    struct Clocks {
        uint64_t shifted = 0;
        std::vector<waveform::ShiftPass> passes;
    };

    Context* context_;
    PictureOptions options_;
    TemporaryFile file_;
    std::shared_ptr<Clocks> clocks_; // the session's hook holds it, too
    std::optional<Statement> now_;   // the one that is being played
    std::optional<Statement> chosen_;
};

} // namespace talvor
