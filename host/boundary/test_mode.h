// A chain in a test mode, and the way out of it, which is gone whatever happens in between.
#pragma once

#include "common/interrupt.h"
#include "common/result.h"
#include "host/boundary/access.h"

#include <optional>
#include <span>
#include <vector>

namespace talvor::boundary {

// While one lives, pins are the boundary registers' to drive. Its end gives every boundary register
// its safe values, then every device BYPASS, then Test-Logic-Reset; each of these steps is taken
// even if the one before it failed, and also when a signal has asked for the end; a second signal
// does not kill meanwhile.
//
//   TestMode test(access);
//   TRY(test.enter(Instruction::Extest));      // with safe values
//   TRY(access.exchange(images, nullptr));     // as often as it takes
//   TRY(access.exchange(images, &answers));
//   return test.leave();                       // or its destructor, on every other way out
class TestMode {
public:
    // The access outlives this. Moves nothing.
    explicit TestMode(Access& access) noexcept : access_(access) {}
    // As leave(); nobody is told of an error then.
    ~TestMode();
    TestMode(const TestMode&) = delete;
    TestMode& operator=(const TestMode&) = delete;

    // PRELOADs `images`, then loads the instructions, one for each device: the pins go from the
    // system logic's levels straight to those of `images`. On an error the chain is left as by
    // leave(). Errors: as for Access.
    [[nodiscard]] Status enter(std::span<const Instruction> instructions, const Images& images);
    // Every described device, with safe values.
    [[nodiscard]] Status enter(Instruction instruction);

    // Safe values, BYPASS, Test-Logic-Reset; everything has reached the target when it returns.
    // Nothing is done when no test mode was entered, or it was left already. The first error of
    // these steps.
    [[nodiscard]] Status leave();

    [[nodiscard]] bool entered() const noexcept { return entered_; }

private:
    [[nodiscard]] Status put_safe_values();

    Access& access_;
    std::vector<Instruction> instructions_;
    // From the first step in to the last one out: who is impatient finds no driven pins behind.
    std::optional<SignalsOnlyAsk> signals_;
    bool entered_ = false; // or on the way
    bool driving_ = false; // a test mode may have the pins
};

} // namespace talvor::boundary
