// How much torture a run may take.
#pragma once

#include <cstdlib>
#include <string_view>

namespace torture {

// TALVOR_TORTURE=full: everything, however long it takes. Otherwise what a test run has time for.
inline bool full() {
    const char* wanted = std::getenv("TALVOR_TORTURE");
    return wanted != nullptr && std::string_view(wanted) == "full";
}

} // namespace torture
