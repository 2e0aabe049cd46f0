#include "host/waveform/vcd.h"

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

constexpr size_t kBufferBytes = size_t{1} << 16;
constexpr size_t kMaxWord = 4096;
constexpr size_t kMaxSectionWords = 64;
constexpr size_t kCommentWords = 16; // that are looked at
constexpr uint64_t kMostMissing = UINT64_MAX / 2;
constexpr size_t kShownWord = 40; // characters of a word in a message

// Words between blanks, with the line each stands on.
class Words {
public:
    explicit Words(std::istream& stream) : stream_(stream), buffer_(kBufferBytes) {}

    // The next word, good until the next call; empty at the end.
    std::string_view next() {
        word_.clear();
        cut_ = true;
        for (int c = get(); c >= 0; c = get()) {
            const bool blank = c == ' ' || (c >= '\t' && c <= '\r');
            if (!blank && word_.size() < kMaxWord) {
                word_.push_back(static_cast<char>(c));
                continue;
            }
            if (blank && !word_.empty()) {
                --at_; // the newline is counted with the next word
                cut_ = false;
                break;
            }
            line_ += c == '\n' ? 1 : 0;
        }
        return word_;
    }

    [[nodiscard]] uint64_t line() const { return line_; }
    // Whether the file ends with the last word, which then may be the start of a longer one.
    [[nodiscard]] bool cut() const { return cut_; }

private:
    int get() {
        if (at_ == end_) {
            stream_.read(buffer_.data(), static_cast<std::streamsize>(buffer_.size()));
            at_ = 0;
            end_ = static_cast<size_t>(stream_.gcount());
            if (end_ == 0) {
                return -1;
            }
        }
        return static_cast<unsigned char>(buffer_[at_++]);
    }

    std::istream& stream_;
    std::vector<char> buffer_;
    size_t at_ = 0;
    size_t end_ = 0;
    std::string word_;
    bool cut_ = false;
    uint64_t line_ = 1;
};

// The signals that mean something; Pin p is at TrstN + p, bit b of the state at StateBit0 + b.
enum class Signal : uint8_t {
    Tck,
    Tms,
    Tdi,
    Tdo,
    TapState,
    TrstN,
    Emu0,
    Emu1,
    TargetReset,
    StateBit0,
};
constexpr size_t kSignalCount = 9; // that have a name of their own
constexpr size_t kStateBits = 4;
constexpr std::array<std::string_view, kSignalCount> kSignals{
    "tck", "tms", "tdi", "tdo", "tap_state", "trstn", "emu0", "emu1", "treset"};
constexpr size_t kNeededSignals = 4;
constexpr unsigned kUnknown = 2; // a level that counts as 1 where 0 or 1 is wanted

constexpr size_t index_of(Signal signal) {
    return static_cast<size_t>(signal);
}

class Reader {
public:
    Reader(std::istream& stream, std::string name, const Window& window)
        : words_(stream), name_(std::move(name)), window_(window) {
        values_.fill(1);
        values_[index_of(Signal::Tck)] = 0;
        values_[index_of(Signal::TargetReset)] = 0;
        values_[index_of(Signal::TapState)] = 0;
    }

    // The window of read_all() for some Shift clocks.
    Result<Window> find(const ShiftSpan& span) {
        span_ = span;
        TRY(read_all());
        const bool lost = waveform_.first_shift_tck > span.first ||
                          (waveform_.ends_early && span_end_ == UINT64_MAX);
        if (lost) {
            return file_error(name_, "the waveform had reached its limit, and lost that part",
                              "play less of it at a time");
        }
        return Window{span_begin_, std::min(span_end_, tcks_) - span_begin_};
    }

    Result<Waveform> read() {
        TRY(read_all());
        waveform_.total_tcks = tcks_;
        waveform_.first_tck =
            std::clamp(window_.first_tck, waveform_.missing_tcks, waveform_.total_tcks);
        return std::move(waveform_);
    }

private:
    [[nodiscard]] Failure bad(std::string reason, std::string next_step = "") const {
        return file_error(fmt::format("{}:{}", name_, words_.line()), std::move(reason),
                          std::move(next_step));
    }
    Status read_all() {
        TRY(read_header());
        TRY(read_changes());
        apply_moment();
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
        waveform_.ends_early =
            waveform_.ends_early || starts_with({"The", "trace", "ends", "here:"});
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
        if (started_ || !changes_.empty() || tcks_ != 0) {
            return bad("the trace begins a second time");
        }
        tcks_ = clocks;
        waveform_.missing_tcks = clocks;
        waveform_.first_shift_tck = shifting;
        shifts_ = shifting;
        span_begin_ = shifting == span_.first ? clocks : span_begin_;
        return {};
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
        if (time * tick_ps_ < time_ps_) {
            return bad("the time goes backwards");
        }
        apply_moment();
        time_ps_ = time * tick_ps_;
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
            changes_.push_back({signal, value});
        }
    }

    // Everything that changes at one moment changes together: a sample holds what stood on the
    // lines before it.
    void apply_moment() {
        for (const Change& change : changes_) {
            if (change.signal == Signal::Tck && change.value == 1 &&
                values_[index_of(Signal::Tck)] == 0 && started_) {
                sample();
                break;
            }
        }
        for (const Change& change : changes_) {
            apply(change.signal, change.value);
        }
        started_ = started_ || !changes_.empty();
        changes_.clear();
    }

    void apply(Signal signal, unsigned value) {
        if (signal >= Signal::StateBit0) {
            const unsigned bit = 1U << (index_of(signal) - index_of(Signal::StateBit0));
            unsigned& state = values_[index_of(Signal::TapState)];
            state = value != 0 ? state | bit : state & ~bit;
            return;
        }
        unsigned& held = values_[index_of(signal)];
        const bool changed = held != value;
        held = value;
        if (index_of(signal) < index_of(Signal::TrstN)) {
            return;
        }
        if (signal == Signal::TrstN && value == 0) {
            followed_ = talvor::TapState::TestLogicReset;
        }
        const size_t pin = index_of(signal) - index_of(Signal::TrstN);
        if (!started_ || (changed && tcks_ < window_.first_tck)) {
            waveform_.pins_at_start[pin] = value != 0;
        } else if (changed && tcks_ - window_.first_tck <= window_.count) {
            waveform_.pin_changes.push_back(
                {time_ps_, waveform_.samples.size(), static_cast<Pin>(pin), value != 0});
        }
    }

    void sample() {
        const bool tms = values_[index_of(Signal::Tms)] != 0;
        const talvor::TapState state =
            known_[index_of(Signal::TapState)]
                ? static_cast<talvor::TapState>(values_[index_of(Signal::TapState)])
                : followed_;
        followed_ = next_state(state, tms);
        if (is_shift(state)) {
            note_shift();
        }
        waveform_.first_shift_tck += tcks_ < window_.first_tck && is_shift(state) ? 1 : 0;
        if (tcks_ >= window_.first_tck && tcks_ - window_.first_tck < window_.count) {
            waveform_.samples.push_back({time_ps_, tms, values_[index_of(Signal::Tdi)] != 0,
                                         values_[index_of(Signal::Tdo)] != 0, state,
                                         values_[index_of(Signal::Tdo)] != kUnknown});
        }
        ++tcks_;
    }

    // The present TCK is a Shift clock.
    void note_shift() {
        if (shifts_ == span_.end) {
            span_end_ = tcks_;
        }
        ++shifts_;
        if (shifts_ == span_.first) {
            span_begin_ = tcks_ + 1;
        }
    }

    struct Change {
        Signal signal;
        unsigned value;
    };

    Words words_;
    std::string name_;
    Window window_;
    uint64_t tick_ps_ = 1000;
    std::array<bool, kSignalCount> known_{};
    std::map<std::string, std::vector<Signal>, std::less<>> signals_;
    unsigned state_bits_ = 0; // that have a signal
    std::array<unsigned, kSignalCount> values_{};
    std::vector<Change> changes_;
    bool started_ = false; // the first values are no changes
    uint64_t time_ps_ = 0;
    uint64_t tcks_ = 0;
    uint64_t shifts_ = 0;
    ShiftSpan span_{0, UINT64_MAX}; // of which the TCKs are wanted
    uint64_t span_begin_ = 0;
    uint64_t span_end_ = UINT64_MAX;
    talvor::TapState followed_ = talvor::TapState::TestLogicReset;
    Waveform waveform_;
};

} // namespace

Result<Waveform> read_vcd(std::istream& stream, const std::string& name, const Window& window) {
    return Reader(stream, name, window).read();
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
    return Reader(stream, path, {0, 0}).find(span);
}

} // namespace talvor::waveform
