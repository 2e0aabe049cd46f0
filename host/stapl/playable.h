// A STAPL file that is ready to be played: read, its checksum looked at, and what is run of it
// chosen.
#pragma once

#include "common/result.h"
#include "host/jtag/port.h"
#include "host/play/source.h"
#include "host/play/step_source.h"
#include "host/stapl/program.h"
#include "host/stapl/program_run.h"
#include "host/stapl/reader.h"
#include "host/stapl/selection.h"

#include <functional>
#include <memory>
#include <string>
#include <string_view>

namespace talvor::stapl {

struct PlayableOptions {
    Choices choices;
    bool ignore_crc = false;
    bool strict = false; // see ReaderOptions

    // Whether there is anything that only a program has.
    [[nodiscard]] bool any_chosen() const noexcept;
};

// An error (ErrorKind::Usage) where `options` choose something of `file`, which is of another
// format: "SVF".
[[nodiscard]] Status check_no_choices(const PlayableOptions& options, const std::string& file,
                                      std::string_view format);

class Playable {
public:
    // Reads all of the file. `hook`: see compile(). Errors: those of the file (BadFile), a wrong
    // checksum included, of the choices (Usage), and of a hook that stopped it (Usage). The port
    // outlives what is opened.
    [[nodiscard]] static Result<std::unique_ptr<Playable>> open(play::ByteSource& source,
                                                                const JtagPort& port,
                                                                const PlayableOptions& options,
                                                                std::function<bool()> hook = {});

    [[nodiscard]] play::StepSource& steps() { return *reader_; }
    // To be called before it is played: from then on it is run, not rehearsed, and says what it
    // has to say.
    void perform(Listener listener);
    // What there is to tell when it was played to its end, or not.
    void tell(ProgramRun& run, bool played) const;

private:
    Program program_;
    std::unique_ptr<Reader> reader_;
};

} // namespace talvor::stapl
