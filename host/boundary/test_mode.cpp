#include "host/boundary/test_mode.h"

#include <utility>

namespace talvor::boundary {
namespace {

// Keeps the first error of steps that are all taken.
void note(Status& first, Status step) {
    if (first && !step) {
        first = std::move(step);
    }
}

} // namespace

TestMode::~TestMode() {
    (void)leave();
}

Status TestMode::enter(std::span<const Instruction> instructions, const Images& images) {
    instructions_.assign(instructions.begin(), instructions.end());
    signals_.emplace();
    entered_ = true;
    driving_ = false;
    Status done = access_.preload(images);
    if (done) {
        driving_ = true; // also when the answer to this scan is an error
        done = access_.load(instructions_);
    }
    if (!done) {
        (void)leave();
    }
    return done;
}

Status TestMode::enter(Instruction instruction) {
    return enter(access_.for_all(instruction), access_.safe());
}

// CLAMP has the boundary register aside; EXTEST reaches it, and takes the same levels to the pins.
// HIGHZ drives nothing, whatever the register holds.
Status TestMode::put_safe_values() {
    std::vector<Instruction> reach = instructions_;
    for (Instruction& instruction : reach) {
        if (instruction == Instruction::Clamp) {
            instruction = Instruction::Extest;
        }
    }
    TRY(access_.load(reach));
    return access_.exchange(access_.safe(), nullptr);
}

Status TestMode::leave() {
    if (!entered_) {
        return {};
    }
    const InterruptsHeld held;
    entered_ = false;
    Status first;
    if (std::exchange(driving_, false)) {
        note(first, put_safe_values());
    }
    note(first, access_.load(Instruction::Bypass));
    note(first, access_.reset());
    note(first, access_.flush());
    signals_.reset();
    return first;
}

} // namespace talvor::boundary
