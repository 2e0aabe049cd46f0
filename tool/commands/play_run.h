// One run of a player over a file, and what is told about it: the same for every format.
#pragma once

#include "host/play/checker.h"
#include "host/play/player.h"
#include "tool/commands/play_program.h"
#include "tool/output/json.h"
#include "tool/output/junit.h"
#include "tool/output/output.h"

#include <optional>
#include <string>
#include <vector>

namespace talvor {

// A file may have any number of mismatches; reports list the first ones.
inline constexpr size_t kListedMismatches = 1000;

// The device of the chain that a file is played on: nothing is all of them.
struct PlayedDevice {
    std::optional<size_t> number; // from 1, nearest TDI first
    std::string name;             // may be empty
};

struct PlayRun {
    std::string command; // "svf"
    std::string file;
    PlayedDevice device;
    bool dry_run = false;
    std::optional<play::CheckReport> checked; // nothing: not checked, or the check was stopped
    std::optional<play::PlayReport> played;   // nothing: nothing was played
    std::optional<Error> error;               // what ended the check or the playing
    std::optional<ProgramRun> program;        // of a file that is one
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
