// The library's error codes in words.
#pragma once

#include "common/result.h"

#include <cstdint>
#include <span>
#include <string>
#include <string_view>

namespace talvor {

// One code of the library, or of the configuration table that this tool hands to it.
struct CodeText {
    int32_t code = 0;
    std::string_view name;      // as the headers call it
    std::string_view sentence;  // what happened, no full stop
    std::string_view next_step; // what to do about it
    ErrorKind kind = ErrorKind::Pod;
};

// The text of `code`, or null when the code is none of the library's.
[[nodiscard]] const CodeText* find_code(int32_t code) noexcept;
[[nodiscard]] std::span<const CodeText> all_codes() noexcept;

// "-180 eJTI_ERROR_NO_POWER", or just the number.
[[nodiscard]] std::string code_label(int32_t code);

// What a person is told about a call that answered `code`, which is not 0; `thing` is what the call
// was about.
[[nodiscard]] Failure library_error(std::string thing, int32_t code);

} // namespace talvor
