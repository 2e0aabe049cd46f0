// Runs a STAPL text on a port that writes down what is asked of it.
#pragma once

#include "host/play/checker.h"
#include "host/play/player.h"
#include "host/stapl/compiler.h"
#include "host/stapl/reader.h"
#include "tests/host/svf/recording_port.h"

#include <fmt/format.h>

#include <string>
#include <string_view>
#include <vector>

namespace talvor::stapl {

using Lines = std::vector<std::string>;

struct Played {
    Lines printed; // with "KEY = value" for what was exported
    Lines asked;   // of the port, without the reset before and the flush behind
    int32_t code = 0;
    std::string error; // of the run, or what the program itself says
};

struct HowToPlay {
    Choices choices;
    ReaderOptions reader;
};

inline Listener listener_of(Lines& printed) {
    Listener listener;
    listener.print = [&printed](std::string_view text) { printed.emplace_back(text); };
    listener.number = [&printed](std::string_view key, int32_t value) {
        printed.push_back(fmt::format("{} = {}", key, value));
    };
    listener.bits = [&printed](std::string_view key, const Bits& bits) {
        printed.push_back(fmt::format("{} = {}:{}", key, bits.size(), bits.to_hex()));
    };
    return listener;
}

inline Played played(const std::string& text, svf::RecordingPort& port, const HowToPlay& how = {}) {
    Played result;
    play::TextSource source(text, "a.stapl");
    const Result<Program> program = compile(source);
    if (!program) {
        result.error = headline(program.error());
        return result;
    }
    Result<Selection> selection = select(*program, how.choices);
    if (!selection) {
        result.error = headline(selection.error());
        return result;
    }
    Reader reader(*program, *std::move(selection), port, how.reader);
    reader.perform(listener_of(result.printed));
    play::Player player(port, {});
    const Status status = player.play(reader);
    result.code = reader.outcome().code;
    const std::optional<Error>& verdict = player.report().verdict;
    result.error = !status ? headline(status.error()) : verdict ? headline(*verdict) : "";
    for (const std::string& line : port.log) {
        if (line != "reset" || &line != &port.log.front()) {
            result.asked.push_back(line);
        }
    }
    if (status && !result.asked.empty()) {
        result.asked.pop_back(); // the flush
    }
    return result;
}

// A file of one action and one procedure with this body.
inline std::string with_body(std::string_view body) {
    return fmt::format("ACTION RUN = MAIN;\nPROCEDURE MAIN;\n{}\nENDPROC;\n", body);
}

inline Played played_body(std::string_view body) {
    svf::RecordingPort port;
    return played(with_body(body), port);
}

} // namespace talvor::stapl
