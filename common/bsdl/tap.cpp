#include "common/bsdl/tap.h"

#include "common/bsdl/number.h"
#include "common/bsdl/word_reader.h"
#include "common/text.h"

#include <fmt/format.h>

#include <algorithm>
#include <utility>

namespace talvor::bsdl {
namespace {

// The signal that an attribute is of.
std::optional<size_t> target_of(const Draft& draft, const Attribute& attribute) {
    JoinedText target;
    // As if it were a string, with a quote before it.
    target.add(attribute.target, {attribute.target_place.line, attribute.target_place.column - 1});
    WordReader words(target, title(attribute), draft.report);
    const PortReference reference = read_port(words, draft.ports, draft.report);
    if (reference.port != nullptr && !reference.signal) {
        draft.report.error(attribute.place, fmt::format("{} is of a whole vector, {}",
                                                        title(attribute), reference.text));
    }
    return reference.signal;
}

void set(const Draft& draft, const Attribute& attribute, std::optional<size_t>& signal) {
    const std::optional<size_t> target = target_of(draft, attribute);
    if (signal && target && *signal != *target) {
        draft.report.error(attribute.place, fmt::format("{} is of {} and of {}", title(attribute),
                                                        draft.device.signals[*signal].name,
                                                        draft.device.signals[*target].name));
        return;
    }
    signal = target ? target : signal;
}

void set_if_true(const Draft& draft, const Attribute& attribute, std::optional<size_t>& signal) {
    if (same_name(attribute.value.words, "true")) {
        set(draft, attribute, signal);
    } else if (!same_name(attribute.value.words, "false")) {
        draft.report.error(attribute.value.place,
                           fmt::format("expected 'true' as the value of {}", title(attribute)));
    }
}

} // namespace

void read_scan_in(Draft& draft, const Attribute& attribute) {
    set_if_true(draft, attribute, draft.device.tap.tdi);
}

void read_scan_out(Draft& draft, const Attribute& attribute) {
    set_if_true(draft, attribute, draft.device.tap.tdo);
}

void read_scan_mode(Draft& draft, const Attribute& attribute) {
    set_if_true(draft, attribute, draft.device.tap.tms);
}

void read_scan_reset(Draft& draft, const Attribute& attribute) {
    set_if_true(draft, attribute, draft.device.tap.trst);
}

// "(20.0e6, BOTH)".
void read_scan_clock(Draft& draft, const Attribute& attribute) {
    TapSignals& tap = draft.device.tap;
    set(draft, attribute, tap.tck);
    std::string_view words = attribute.value.words;
    const size_t comma = words.find(',');
    const bool parts = words.starts_with('(') && words.ends_with(')') && comma != words.npos;
    const auto hertz = parts ? real_value(words.substr(1, comma - 1)) : std::nullopt;
    const std::string_view stop = parts ? words.substr(comma + 1, words.size() - comma - 2) : "";
    tap.tck_stops_both = same_name(stop, "both");
    if (!hertz || *hertz <= 0 || (!tap.tck_stops_both && !same_name(stop, "low"))) {
        draft.report.error(attribute.value.place, "expected a frequency and LOW or BOTH as the "
                                                  "value of TAP_SCAN_CLOCK, as in (10.0e6, BOTH)");
    }
    tap.max_tck_hz = hertz && *hertz > 0 ? *hertz : 0;
}

// ---- compliance -------------------------------------------------------------------------------

// "(PORTS) (PATTERNS)".
void read_compliance_patterns(Draft& draft, const Attribute& attribute) {
    const JoinedText* text = text_of(attribute, draft.report);
    if (text == nullptr) {
        return;
    }
    CompliancePatterns& compliance = draft.device.compliance;
    compliance.place = attribute.place;
    WordReader words(*text, title(attribute), draft.report);
    (void)words.expect('(', "before the ports");
    do {
        const SignalRange range = signals_of(read_port(words, draft.ports, draft.report));
        if (range.count > draft.device.signals.size() - compliance.signals.size()) {
            words.fault("no more ports than the device has");
        }
        for (size_t i = 0; i < range.count && !words.at_end(); ++i) {
            compliance.signals.push_back(range.first + i);
        }
    } while (words.more());
    (void)words.expect(')', "behind the ports");
    (void)words.expect('(', "before the patterns");
    do {
        const Place place = words.place();
        if (const auto pattern = pattern_of(words.expect_words("a pattern"), place, draft.report)) {
            if (pattern->bits() != compliance.signals.size()) {
                draft.report.error(place,
                                   fmt::format("the pattern has {} for {}",
                                               count_text(pattern->bits(), "bit"),
                                               count_text(compliance.signals.size(), "signal")));
            } else {
                compliance.patterns.push_back(*pattern);
            }
        }
    } while (words.more());
    (void)words.expect(')', "behind the patterns");
}

// ---- pairs ------------------------------------------------------------------------------------

namespace {

// "(A_P, A_N)".
void read_pair(Draft& draft, WordReader& words, bool is_current) {
    (void)words.expect('(', "before a pair of ports");
    const PortReference first = read_port(words, draft.ports, draft.report);
    (void)words.expect(',', "between the ports of a pair");
    const PortReference second = read_port(words, draft.ports, draft.report);
    (void)words.expect(')', "behind a pair of ports");
    const SignalRange representative = signals_of(first);
    const SignalRange associated = signals_of(second);
    if (first.port == nullptr || second.port == nullptr) {
        return;
    }
    if (representative.count != associated.count) {
        draft.report.error(first.place, fmt::format("{} and {} are a pair of different widths",
                                                    first.text, second.text));
        return;
    }
    if (representative.count > draft.device.signals.size() - draft.device.pairs.size()) {
        words.fault("no more pairs than the device has signals");
        return;
    }
    for (size_t i = 0; i < representative.count; ++i) {
        draft.device.pairs.push_back({representative.first + i, associated.first + i, is_current});
    }
}

} // namespace

// "Differential_Voltage ((A_P, A_N), (B_P, B_N)), Differential_Current (...)".
void read_port_grouping(Draft& draft, const Attribute& attribute) {
    const JoinedText* text = text_of(attribute, draft.report);
    if (text == nullptr) {
        return;
    }
    WordReader words(*text, title(attribute), draft.report);
    do {
        const Word kind = words.expect_word("'Differential_Voltage' or 'Differential_Current'");
        const bool is_current = same_name(kind.text, "Differential_Current");
        if (!kind.is_end() && !is_current && !same_name(kind.text, "Differential_Voltage")) {
            draft.report.error(words.place_of(kind),
                               fmt::format("{} is no kind of group; expected "
                                           "'Differential_Voltage' or 'Differential_Current'",
                                           shown(kind.text)));
        }
        (void)words.expect('(', "before the pairs");
        do {
            read_pair(draft, words, is_current);
        } while (words.more());
        (void)words.expect(')', "behind the pairs");
    } while (words.more());
}

} // namespace talvor::bsdl
