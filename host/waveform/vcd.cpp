#include "host/waveform/vcd.h"

#include "host/waveform/sampler.h"
#include "host/waveform/vcd_words.h"

#include <fmt/format.h>

#include <algorithm>
#include <array>
#include <cerrno>
#include <charconv>
#include <cstring>
#include <fstream>
#include <map>
#include <optional>
#include <string_view>
#include <sys/stat.h>
#include <vector>

namespace talvor::waveform {

namespace {

constexpr size_t kMaxSectionWords = 64;
constexpr size_t kCommentWords = 16; // that are looked at
constexpr uint64_t kMostMissing = UINT64_MAX / 2;
constexpr size_t kShownWord = 40; // characters of a word in a message

constexpr std::array<std::string_view, kSignalCount> kSignals{
    "tck", "tms", "tdi", "tdo", "tap_state", "trstn", "emu0", "emu1", "treset"};
constexpr size_t kNeededSignals = 4;

class Reader {
public:
    Reader(std::istream& stream, std::string name, const Window& window, const ShiftSpan& span)
        : words_(stream), name_(std::move(name)), sampler_(window, span) {}

    // The TCKs of the span.
    Result<Window> find() {
        TRY(read_all());
        if (const std::optional<Window> window = sampler_.found()) {
            return *window;
        }
        return file_error(name_, "the waveform had reached its limit, and lost that part",
                          "play less of it at a time");
    }

    Result<Waveform> read() {
        TRY(read_all());
        return std::move(sampler_).waveform();
    }

private:
    [[nodiscard]] Failure bad(std::string reason, std::string next_step = "") const {
        return file_error(fmt::format("{}:{}", name_, words_.line()), std::move(reason),
                          std::move(next_step));
    }
    Status read_all() {
        TRY(read_header());
        TRY(read_changes());
        sampler_.end_moment();
        return {};
    }

    [[nodiscard]] Failure no_dump() const {
        return file_error(name_, "this is no value change dump", "record one with talvor trace");
    }

    // The words up to $end.
    Result<std::vector<std::string>> section() {
        std::vector<std::string> words;
        while (words.size() < kMaxSectionWords) {
            const std::string_view word = words_.next();
            if (word == "$end") {
                return words;
            }
            if (word.empty()) {
                return no_dump();
            }
            words.emplace_back(word);
        }
        return bad("a section without $end");
    }

    Status skip_section() {
        for (std::string_view word = words_.next(); word != "$end"; word = words_.next()) {
            if (word.empty()) {
                return no_dump();
            }
        }
        return {};
    }

    Status read_header() {
        while (true) {
            const std::string keyword(words_.next());
            if (keyword.empty() || keyword[0] != '$') {
                return no_dump();
            }
            if (keyword == "$enddefinitions") {
                return finish_header();
            }
            TRY(keyword == "$var"         ? read_variable()
                : keyword == "$timescale" ? read_timescale()
                : keyword == "$comment"   ? read_comment()
                                          : skip_section());
        }
    }

    Status finish_header() {
        for (size_t i = 0; i < kNeededSignals; ++i) {
            if (!known_[i]) {
                return file_error(name_, fmt::format("there is no signal {}", kSignals[i]),
                                  "a trace of a JTAG port has tck, tms, tdi and tdo");
            }
        }
        if (known_[index_of(Signal::TapState)]) {
            sampler_.take_states();
        }
        return skip_section();
    }

    // $var wire 1 ! tck $end, with a bit range behind the name or not.
    Status read_variable() {
        const std::vector<std::string> words = TRY(section());
        if (words.size() < 4) {
            return bad("a $var without type, size, code and name");
        }
        const std::string& identifier = words[2];
        if (const std::optional<size_t> bit = state_bit(words)) {
            signals_[identifier].push_back(static_cast<Signal>(index_of(Signal::StateBit0) + *bit));
            state_bits_ |= 1U << *bit;
            known_[index_of(Signal::TapState)] =
                known_[index_of(Signal::TapState)] || state_bits_ == (1U << kStateBits) - 1;
            return {};
        }
        const std::string signal_name = words[3].substr(0, words[3].find('['));
        for (size_t i = 0; i < kSignalCount; ++i) {
            if (kSignals[i] == signal_name && !known_[i]) {
                known_[i] = true;
                signals_[identifier].push_back(static_cast<Signal>(i));
            }
        }
        return {};
    }

    // Which bit of the state: "wire 1 ) tap_state[3]", or with a blank before the bracket.
    static std::optional<size_t> state_bit(const std::vector<std::string>& words) {
        const std::string name = words[3] + (words.size() > 4 ? words[4] : "");
        const std::string start = std::string(kSignals[index_of(Signal::TapState)]) + "[";
        if (words[1] != "1" || name.size() != start.size() + 2 || !name.starts_with(start) ||
            name.back() != ']' || name[start.size()] < '0' ||
            name[start.size()] >= static_cast<char>('0' + kStateBits)) {
            return std::nullopt;
        }
        return static_cast<size_t>(name[start.size()] - '0');
    }

    // "1 ns" or "10ps".
    Status read_timescale() {
        const std::vector<std::string> words = TRY(section());
        std::string text;
        for (const std::string& word : words) {
            text += word;
        }
        struct Unit {
            std::string_view name;
            uint64_t ps;
        };
        constexpr std::array kUnits{Unit{"ps", 1}, Unit{"ns", 1000}, Unit{"us", 1000000},
                                    Unit{"ms", 1000000000}, Unit{"s", 1000000000000}};
        uint64_t number = 0;
        const auto [rest, error] = std::from_chars(text.data(), text.data() + text.size(), number);
        for (const Unit& unit : kUnits) {
            if (error == std::errc() && unit.name == rest && number != 0 &&
                number <= UINT64_MAX / unit.ps) {
                tick_ps_ = number * unit.ps;
                return {};
            }
        }
        return bad(fmt::format("'{}' is no time scale that a trace has", text));
    }

    Status read_changes() {
        for (std::string_view word = words_.next(); !word.empty(); word = words_.next()) {
            TRY(read_change(word));
        }
        return {};
    }

    Status read_change(std::string_view word) {
        const std::string_view rest = word.substr(1);
        switch (word[0]) {
        case '#':
            return read_time(rest);
        case '$':
            return read_keyword(word);
        case '0':
            set(rest, 0);
            return {};
        case '1':
        case 'z':
        case 'Z':
            set(rest, 1);
            return {};
        case 'x':
        case 'X':
            set(rest, kUnknown);
            return {};
        case 'b':
        case 'B':
            return read_vector(std::string(rest));
        case 's':
        case 'S':
        case 'r':
        case 'R':
            (void)words_.next(); // a text or a real: the code of what we do not use
            return {};
        default:
            return bad(fmt::format("'{}' is no change of a value", word.substr(0, kShownWord)));
        }
    }

    Status read_keyword(std::string_view word) {
        // The sections of values are read as any other values.
        if (word == "$comment") {
            return read_comment();
        }
        for (const std::string_view known :
             {"$dumpvars", "$dumpall", "$dumpon", "$dumpoff", "$end"}) {
            if (word == known) {
                return {};
            }
        }
        return bad(fmt::format("'{}' has no place among values", word.substr(0, kShownWord)));
    }

    // "The trace begins here: 1000 test clocks, 30 shifting, are not kept." and "The trace ends
    // here: 5000 bytes." mean something; anything else may stand in a comment, too.
    Status read_comment() {
        std::vector<std::string> words;
        for (std::string_view word = words_.next(); word != "$end"; word = words_.next()) {
            if (word.empty()) {
                return no_dump();
            }
            if (words.size() < kCommentWords) {
                words.emplace_back(word);
            }
        }
        const auto starts_with = [&words](std::array<std::string_view, 4> start) {
            return words.size() > start.size() &&
                   std::equal(start.begin(), start.end(), words.begin());
        };
        if (starts_with({"The", "trace", "begins", "here:"})) {
            return begin_late(words);
        }
        if (starts_with({"The", "trace", "ends", "here:"})) {
            sampler_.end_early();
        }
        return {};
    }

    Status begin_late(const std::vector<std::string>& words) {
        constexpr size_t kClocksAt = 4;
        constexpr size_t kShiftingAt = 7;
        uint64_t clocks = 0;
        uint64_t shifting = 0;
        if (words.size() <= kShiftingAt || !read_number(words[kClocksAt], clocks) ||
            !read_number(words[kShiftingAt], shifting) || shifting > clocks ||
            clocks > kMostMissing) {
            return bad("a beginning that does not say how many test clocks are missing");
        }
        return sampler_.begin_late(clocks, shifting) ? Status()
                                                     : bad("the trace begins a second time");
    }

    static bool read_number(std::string_view text, uint64_t& number) {
        const char* const end = text.data() + text.size();
        const auto [rest, error] = std::from_chars(text.data(), end, number);
        return error == std::errc() && rest == end;
    }

    // A time that is cut short, as by a disk that got full, ends the trace before it.
    Status read_time(std::string_view digits) {
        if (words_.cut()) {
            return {};
        }
        uint64_t time = 0;
        const auto [end, error] =
            std::from_chars(digits.data(), digits.data() + digits.size(), time);
        if (error != std::errc() || end != digits.data() + digits.size()) {
            return bad(fmt::format("'#{}' is no time", digits.substr(0, kShownWord)));
        }
        if (time > UINT64_MAX / tick_ps_) {
            return bad(fmt::format("'#{}' is later than {} s", digits.substr(0, kShownWord),
                                   UINT64_MAX / 1'000'000'000'000));
        }
        if (time * tick_ps_ < sampler_.time_ps()) {
            return bad("the time goes backwards");
        }
        sampler_.begin_moment(time * tick_ps_);
        return {};
    }

    Status read_vector(const std::string& digits) {
        unsigned value = 0;
        for (const char digit : digits) {
            value = (value << 1) | (digit == '0' ? 0U : 1U);
        }
        set(words_.next(), value & 0xFU);
        return {};
    }

    void set(std::string_view identifier, unsigned value) {
        const auto found = signals_.find(identifier);
        if (found == signals_.end()) {
            return;
        }
        for (const Signal signal : found->second) {
            sampler_.change(signal, value);
        }
    }

    VcdWords words_;
    std::string name_;
    Sampler sampler_;
    uint64_t tick_ps_ = 1000;
    std::array<bool, kSignalCount> known_{};
    std::map<std::string, std::vector<Signal>, std::less<>> signals_;
    unsigned state_bits_ = 0; // that have a signal
};

} // namespace

Result<Waveform> read_vcd(std::istream& stream, const std::string& name, const Window& window) {
    return Reader(stream, name, window, {0, UINT64_MAX}).read();
}

namespace {

Result<std::ifstream> open_vcd(const std::string& path) {
    struct stat facts {};
    if (stat(path.c_str(), &facts) == 0 && !S_ISREG(facts.st_mode)) {
        return file_error(path, "is no regular file, so the waveform cannot be read back from it",
                          "name a file");
    }
    std::ifstream stream(path, std::ios::binary);
    if (!stream) {
        return file_error(path, fmt::format("cannot open it: {}", std::strerror(errno)),
                          "check the name");
    }
    return stream;
}

} // namespace

Result<Waveform> read_vcd_file(const std::string& path, const Window& window) {
    std::ifstream stream = TRY(open_vcd(path));
    return read_vcd(stream, path, window);
}

Result<Window> window_of_shifts(const std::string& path, const ShiftSpan& span) {
    std::ifstream stream = TRY(open_vcd(path));
    return Reader(stream, path, {0, 0}, span).find();
}

} // namespace talvor::waveform
