// What a person chooses of a file that is a program (STAPL), and what is told about its run.
#pragma once

#include "common/result.h"
#include "host/jtag/port.h"
#include "host/play/source.h"
#include "host/play/step_source.h"
#include "host/stapl/program.h"
#include "host/stapl/reader.h"
#include "host/stapl/selection.h"
#include "tool/command_line/command_line.h"
#include "tool/output/json.h"
#include "tool/output/output.h"
#include "tool/output/progress_bar.h"

#include <cstdint>
#include <memory>
#include <optional>
#include <string>
#include <vector>

namespace talvor {

struct ProgramOptions {
    stapl::Choices choices;
    bool ignore_crc = false;

    [[nodiscard]] bool any_given() const;
};

// --action, -D, --enable, --disable, --ignore-crc.
void add_program_options(Command& command, ProgramOptions& options);

// What came of a program's run, so far as it is told.
struct ProgramRun {
    static constexpr size_t kListed = 10'000; // texts and values that are kept

    std::string action;
    std::optional<stapl::Outcome> outcome; // nothing: it was not played to its end
    bool open_ended = false;               // the check saw only a part
    uint64_t statements = 0;               // that were run when it was played
    std::vector<std::string> printed;
    Json exports = Json::array();
};

// One line of text: the action, and how it ended.
[[nodiscard]] std::string verdict_text(const Output& out, const ProgramRun& run);
// What a document has beside that of other formats.
void add_to_document(Json& json, const ProgramRun& run);

// A program that can be played.
class PlayProgram {
public:
    // Reads all of the file. Errors: those of the file (BadFile), a wrong checksum included, and of
    // the choices (Usage). The port outlives it.
    [[nodiscard]] static Result<std::unique_ptr<PlayProgram>> open(play::ByteSource& source,
                                                                   const JtagPort& port,
                                                                   const ProgramOptions& options,
                                                                   bool strict);

    [[nodiscard]] play::StepSource& steps() { return *reader_; }
    // To be called before it is played: from then on it prints, which clears `bar`, and what it
    // prints and exports is kept. All outlive the run.
    void perform(const Output& out, ProgressBar& bar, ProgramRun& run);
    // What there is to tell when it was played or checked.
    void tell(ProgramRun& run, bool played) const;

private:
    stapl::Program program_;
    std::unique_ptr<stapl::Reader> reader_;
};

// Prints notes, actions and procedures of a program.
[[nodiscard]] Status list_program(const Output& out, play::ByteSource& source);

} // namespace talvor
