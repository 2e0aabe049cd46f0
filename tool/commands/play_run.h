// One run of a player over a file, and what is told about it: the same for every format.
#pragma once

#include "host/play/mismatch.h"
#include "host/play/performance.h"
#include "host/stapl/program_run.h"
#include "tool/output/json.h"
#include "tool/output/junit.h"
#include "tool/output/output.h"

#include <optional>
#include <string>
#include <vector>

namespace talvor {

// The device of the chain that a file is played on: nothing is all of them.
struct PlayedDevice {
    std::optional<size_t> number; // from 1, nearest TDI first
    std::string name;             // may be empty
};

struct PlayRun : play::Performance {
    std::string command; // "svf"
    std::string file;
    PlayedDevice device;
    bool dry_run = false;
    std::optional<stapl::ProgramRun> program; // of a file that is one
    std::vector<std::string> mismatch_lines;
    Json mismatches = Json::array();

    // Takes a mismatch into the lists.
    void note(const play::Mismatch& mismatch);
};

// The error that the command ends with, if it does: what ended the run, or what cannot be played,
// or the first wrong answer.
[[nodiscard]] std::optional<Error> error_of(const PlayRun& run);
// As text, but for the error that follows.
void print(const Output& out, const PlayRun& run);
// As a document; `error` is error_of() with what the command adds to it.
[[nodiscard]] Json document(const PlayRun& run, const std::optional<Error>& error);
[[nodiscard]] Junit junit_of(const PlayRun& run);

} // namespace talvor
