// The pass over a file before anything is shifted.
#pragma once

#include "common/result.h"
#include "host/play/plan.h"
#include "host/play/progress.h"
#include "host/play/step_source.h"
#include "host/play/summary.h"

#include <array>
#include <cstdint>
#include <string>
#include <vector>

namespace talvor::play {

// What is played otherwise than it is written: how often of each kind, and the first of them.
struct Notes {
    struct Listed {
        uint64_t line = 1;
        std::string statement;
        Note note;
    };
    static constexpr size_t kListed = 100; // kept one by one; the others are counted

    uint64_t count = 0;
    std::array<uint64_t, kNoteKinds> by_kind{};
    std::vector<Listed> list;

    void add(const Step& step, std::string_view statement);
};

struct CheckReport {
    static constexpr size_t kListed = 1000;

    Summary summary;
    Notes notes;
    std::vector<Error> refusals; // the first of them, in the order of the file
    uint64_t refusal_count = 0;

    [[nodiscard]] bool can_be_played() const noexcept { return refusal_count == 0; }
};

struct CheckOptions {
    ProgressHook progress; // may be empty
    Plan* plan = nullptr;  // takes the steps; may be null
};

// Reads `source` from its start to its end. What cannot be played is listed, each with file and
// line, and the reading goes on; an error that ends the reading (a file that breaks its format,
// BadFile) is the last on the list. Errors: a hook that stopped it (Usage).
[[nodiscard]] Result<CheckReport> check(StepSource& source, const CheckOptions& options = {});

} // namespace talvor::play
