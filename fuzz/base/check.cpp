#include "fuzz/base/check.h"

#include <cstdio>
#include <cstdlib>

namespace talvor::fuzz {

void violated(const char* file, int line, std::string_view text) {
    std::fprintf(stderr, "%s:%d: this does not hold: %.*s\n", file, line,
                 static_cast<int>(text.size()), text.data());
    std::abort();
}

void check_error(const Error& error, std::string_view thing) {
    FUZZ_CHECK(!error.thing.empty() || thing.empty(), "an error names the thing");
    FUZZ_CHECK(error.thing.starts_with(thing), "an error begins with the thing: " + error.thing);
    FUZZ_CHECK(!error.reason.empty(), "an error has a reason");
}

} // namespace talvor::fuzz
