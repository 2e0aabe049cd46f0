// What a person chooses of a file that is a program (STAPL), and what is told about its run.
#pragma once

#include "common/result.h"
#include "host/jtag/port.h"
#include "host/play/source.h"
#include "host/stapl/playable.h"
#include "host/stapl/program_run.h"
#include "tool/command_line/command_line.h"
#include "tool/output/json.h"
#include "tool/output/output.h"
#include "tool/output/progress_bar.h"

#include <memory>
#include <string>

namespace talvor {

// --action, -D, --enable, --disable, --ignore-crc.
void add_program_options(Command& command, stapl::PlayableOptions& options);

// One line of text: the action, and how it ended.
[[nodiscard]] std::string verdict_text(const Output& out, const stapl::ProgramRun& run);
// What a document has beside that of other formats.
void add_to_document(Json& json, const stapl::ProgramRun& run);

// Reads all of the file, which the port outlives. Errors: see stapl::Playable::open(), and a signal
// that asked for the end meanwhile.
[[nodiscard]] Result<std::unique_ptr<stapl::Playable>>
open_program(play::ByteSource& source, const JtagPort& port, const stapl::PlayableOptions& options);

// Keeps in `run` what a program says, and prints its texts, which clears `bar`. All outlive the
// listener.
[[nodiscard]] stapl::Listener listener(const Output& out, ProgressBar& bar, stapl::ProgramRun& run);

// Prints notes, actions and procedures of a program.
[[nodiscard]] Status list_program(const Output& out, play::ByteSource& source);

} // namespace talvor
