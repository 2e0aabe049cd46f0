// Where steps come from: a file of some format, or a plan that was made of one.
#pragma once

#include "common/result.h"
#include "host/play/step.h"

#include <cstdint>
#include <functional>
#include <optional>
#include <span>
#include <string>
#include <string_view>

namespace talvor::play {

class StepSource {
public:
    virtual ~StepSource() = default;

    // Back to the first step. Errors (ErrorKind::BadFile): the file cannot be read again.
    [[nodiscard]] virtual Status rewind() = 0;
    // Fills `step` with the next one and answers true; false after the last. Errors
    // (ErrorKind::BadFile): the file cannot be read, or breaks its format so that nothing behind
    // can be trusted. What the port cannot do is no error here: see Step::refusal.
    [[nodiscard]] virtual Result<bool> next(Step& step) = 0;

    // What the scan of `step` brought, which asked to be told: all its bits, with header and
    // trailer. Before the next call of next(). A pass that shifts nothing does not answer.
    virtual void answer(const Step& /*step*/, const Bits& /*bits*/) {}
    // Whether the same steps come each time, whatever the target answers: only then can they be
    // kept and played later.
    [[nodiscard]] virtual bool fixed() const { return true; }
    // What the file itself says went wrong, when its last step has been played.
    [[nodiscard]] virtual std::optional<Error> verdict() const { return std::nullopt; }

    // How far it has come, and how far it is.
    [[nodiscard]] virtual uint64_t bytes_taken() const = 0;
    [[nodiscard]] virtual uint64_t line() const = 0;
    [[nodiscard]] virtual uint64_t total_bytes() const = 0;
    // What messages call the file.
    [[nodiscard]] virtual const std::string& name() const = 0;
    // The names of the format's statements, by StatementId.
    [[nodiscard]] virtual std::span<const std::string_view> statements() const = 0;
    // Called now and then while next() works through a long stretch; false ends it with an error.
    virtual void on_chunk(std::function<bool()> hook) = 0;
};

// `error`, said of a statement in a file.
[[nodiscard]] Failure at_statement(std::string_view file, uint64_t line, std::string_view statement,
                                   Error error);

} // namespace talvor::play
