// The words of commands that are about the board behind a pod.
#pragma once

#include "common/result.h"
#include "podsim/control/request.h"

#include <span>
#include <string>
#include <string_view>

namespace talvor::podsim::control {

using Words = std::span<const std::string_view>; // of a command, its own first

// Whether a command that begins with this word is about the board.
[[nodiscard]] bool takes_board(std::string_view word);
// Such a command. The reason of a failure names the word that is wrong and what was expected.
[[nodiscard]] Result<Command> parse_board(Words words);

// The failure of a command whose first argument is not what it takes.
[[nodiscard]] Failure wrong_argument(Words words, const std::string& expected);
// A failure where there are more than `taken` words.
[[nodiscard]] Status check_end(Words words, size_t taken);

} // namespace talvor::podsim::control
