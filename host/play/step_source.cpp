#include "host/play/step_source.h"

#include <fmt/format.h>

namespace talvor::play {

Failure at_statement(std::string_view file, uint64_t line, std::string_view statement,
                     Error error) {
    error.reason = fmt::format("{}: {}", statement, headline(error));
    error.thing = fmt::format("{}:{}", file, line);
    return Failure(std::move(error));
}

} // namespace talvor::play
