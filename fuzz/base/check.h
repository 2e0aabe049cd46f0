// What a target holds to be true of whatever it is given.
#pragma once

#include "common/result.h"

#include <string>
#include <string_view>

namespace talvor::fuzz {

// Ends the process with the place and the text: the fuzzer keeps the input then, and a replay
// fails.
[[noreturn]] void violated(const char* file, int line, std::string_view text);

// An error that a person can act on: it names the thing, when `thing` is not empty it begins with
// that, and it has a reason. Texts that came in from outside may be in it.
void check_error(const Error& error, std::string_view thing);

} // namespace talvor::fuzz

// `text` is a std::string_view and is made only when the condition is false.
#define FUZZ_CHECK(condition, text)                                                                \
    do {                                                                                           \
        if (!(condition)) {                                                                        \
            ::talvor::fuzz::violated(__FILE__, __LINE__, text);                                    \
        }                                                                                          \
    } while (false)
