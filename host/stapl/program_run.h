// What came of a STAPL program's run, so far as it is kept.
#pragma once

#include "host/jtag/bits.h"
#include "host/stapl/machine.h"

#include <cstddef>
#include <cstdint>
#include <functional>
#include <optional>
#include <string>
#include <string_view>
#include <variant>
#include <vector>

namespace talvor::stapl {

struct ProgramRun {
    static constexpr size_t kListed = 10'000; // texts and values that are kept

    struct Export {
        std::string key;
        std::variant<int32_t, Bits> value;
    };

    std::string action;
    std::optional<Outcome> outcome; // nothing: it was not played to its end
    bool open_ended = false;        // the check saw only a part
    uint64_t statements = 0;        // that were run when it was played
    std::vector<std::string> printed;
    std::vector<Export> exports;

    // Keeps the first of what a program says here, which outlives the listener. Each text goes on
    // to `print`, which may be empty.
    [[nodiscard]] Listener listener(std::function<void(std::string_view)> print);
};

} // namespace talvor::stapl
