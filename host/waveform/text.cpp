#include "host/waveform/text.h"

#include "common/text.h"
#include "host/waveform/layout.h"

#include <fmt/format.h>

#include <algorithm>
#include <array>
#include <string_view>
#include <vector>

namespace talvor::waveform {

namespace {

constexpr size_t kLabelWidth = 6;
constexpr size_t kCell = 4; // characters of a TCK: two low, two high

struct Glyphs {
    std::string_view low;
    std::string_view high;
    std::string_view undriven;
    std::string_view skipped; // for each line of a column that stands for many
    std::string_view border;  // at the start of a state
    std::string_view fill;    // of a state, around its name
};
constexpr Glyphs kUnicode{"▁", "▔", "┈", "⋯", "│", "─"};
constexpr Glyphs kAscii{"_", "~", ".", ":", "|", "-"};

enum class Ink : uint8_t { Plain, Dim, Tck, Tms, Tdi, Tdo, Pin, Dr, Ir, Pause };
constexpr std::array<std::string_view, 10> kEscapes{
    "",         "\x1b[2m",  "\x1b[37m",   "\x1b[33m",   "\x1b[34m",
    "\x1b[32m", "\x1b[31m", "\x1b[1;36m", "\x1b[1;35m", "\x1b[33m"};

Ink ink_of(TapState state) {
    switch (state) {
    case TapState::ShiftDr:
        return Ink::Dr;
    case TapState::ShiftIr:
        return Ink::Ir;
    case TapState::PauseDr:
    case TapState::PauseIr:
        return Ink::Pause;
    default:
        return Ink::Plain;
    }
}

class Writing {
public:
    Writing(const Waveform& waveform, const TextOptions& options)
        : waveform_(waveform), options_(options), glyphs_(options.unicode ? kUnicode : kAscii),
          width_(std::max<size_t>(options.width, kLabelWidth + 4 * kCell)),
          shifts_(shift_runs(waveform)),
          rows_(lay_out(waveform, {.columns_per_row = (width_ - kLabelWidth) / kCell,
                                   .longest_run = options.longest_run})) {}

    std::string write() {
        for (const Row& row : rows_) {
            write_row(row);
        }
        write_legend();
        return std::move(text_);
    }

private:
    void ink(Ink color, std::string_view text) {
        if (options_.color && color != Ink::Plain) {
            text_ += kEscapes[static_cast<size_t>(color)];
            text_ += text;
            text_ += "\x1b[0m";
        } else {
            text_ += text;
        }
    }
    void ink_line(Ink color, std::string_view text) {
        ink(color, text);
        text_ += '\n';
    }
    void label(Ink color, std::string_view text) {
        ink(color, fmt::format("{:<{}}", text, kLabelWidth));
    }
    static std::string times(std::string_view glyph, size_t count) {
        std::string text;
        for (size_t i = 0; i < count; ++i) {
            text += glyph;
        }
        return text;
    }

    void write_row(const Row& row) {
        write_ruler(row);
        label(Ink::Tck, "TCK");
        lane(row, Ink::Tck, [this](const Sample&) {
            return times(glyphs_.low, kCell / 2) + times(glyphs_.high, kCell / 2);
        });
        write_level(row, Ink::Tms, "TMS", [](const Sample& sample) { return sample.tms; });
        write_states(row);
        write_level(row, Ink::Tdi, "TDI", [](const Sample& sample) { return sample.tdi; });
        label(Ink::Tdo, "TDO");
        lane(row, Ink::Tdo, [this](const Sample& sample) {
            const bool driven = is_shift(sample.state) && sample.tdo_known;
            return times(driven ? level_glyph(sample.tdo) : glyphs_.undriven, kCell);
        });
        write_pins(row);
        write_shifts(row);
        text_ += '\n';
    }

    template <typename Draw>
    void lane(const Row& row, Ink color, Draw draw) {
        std::string line;
        for (const Column& column : row.columns) {
            line += column.skipped != 0 ? times(glyphs_.skipped, kCell)
                                        : draw(waveform_.samples[column.sample]);
        }
        ink_line(color, line);
    }

    template <typename Level>
    void write_level(const Row& row, Ink color, std::string_view name, Level level) {
        label(color, name);
        lane(row, color,
             [&](const Sample& sample) { return times(level_glyph(level(sample)), kCell); });
    }

    // The time of the first edge, and how many TCKs are left out where some are.
    void write_ruler(const Row& row) {
        std::string line = fmt::format(
            "{:<{}}TCK {} at {}", "", kLabelWidth, waveform_.first_tck + row.columns.front().sample,
            time_text(waveform_.samples[row.columns.front().sample].time_ps));
        for (size_t c = 0; c < row.columns.size(); ++c) {
            if (row.columns[c].skipped == 0) {
                continue;
            }
            const size_t at = std::max(kLabelWidth + c * kCell, line.size() + 1);
            line += std::string(at - line.size(), ' ') + fmt::format("+{}", row.columns[c].skipped);
        }
        ink_line(Ink::Dim, line.substr(0, width_));
    }

    void write_states(const Row& row) {
        label(Ink::Plain, "state");
        for (const StatePlace& place : state_places(row, waveform_)) {
            // A half column is two characters, the first of which is the border.
            const size_t room = (place.end_half - place.begin_half) * (kCell / 2) - 1;
            std::string_view name = name_of(place.state);
            if (name.size() > room) {
                name = short_name(place.state);
                if (name.size() > room) {
                    name = "";
                } else {
                    short_names_[index_of(place.state)] = true;
                }
            }
            const size_t left = (room - name.size()) / 2;
            text_ += glyphs_.border;
            ink(ink_of(place.state), times(glyphs_.fill, left) + std::string(name) +
                                         times(glyphs_.fill, room - name.size() - left));
        }
        text_ += '\n';
    }

    void write_pins(const Row& row) {
        for (size_t p = 0; p < kPinCount; ++p) {
            const auto pin = static_cast<Pin>(p);
            if (waveform_.changes(pin)) {
                label(Ink::Pin, name(pin));
                ink_line(Ink::Pin, pin_line(row, pin));
            }
        }
    }

    [[nodiscard]] std::string pin_line(const Row& row, Pin pin) const {
        bool level = waveform_.pins_at_start[static_cast<size_t>(pin)];
        auto next = waveform_.pin_changes.begin();
        std::string line;
        for (const Column& column : row.columns) {
            std::string cell;
            for (; next != waveform_.pin_changes.end() && next->before_sample <= column.sample;
                 ++next) {
                if (next->pin != pin || next->level == level) {
                    continue;
                }
                level = next->level;
                // A pulse between two samples takes one character, as long as there is room.
                if (next->before_sample == column.sample && pulse_room(cell)) {
                    cell += level_glyph(level);
                }
            }
            const size_t drawn = cell.size() / glyphs_.low.size();
            line += cell + times(level_glyph(level), kCell - drawn);
        }
        return line;
    }
    [[nodiscard]] bool pulse_room(const std::string& cell) const {
        return cell.size() / glyphs_.low.size() + 1 < kCell;
    }
    [[nodiscard]] std::string_view level_glyph(bool level) const {
        return level ? glyphs_.high : glyphs_.low;
    }

    // The shifts that begin in this row, in as many lines as their digits need.
    void write_shifts(const Row& row) {
        for (const Place& place : shift_places(row, shifts_)) {
            const ShiftRun& shift = shifts_[place.index];
            if (row.columns[place.begin].sample == shift.first) {
                write_shift(shift);
            }
        }
    }

    void write_shift(const ShiftRun& shift) {
        const std::string head =
            fmt::format("  {} {}{}{}{}", shift.path == ScanPath::Dr ? "DR" : "IR",
                        count_text(shift.tdi.size(), "bit"), shift.pass.empty() ? "" : " ",
                        shift.pass, shift.cut() ? " (cut)" : "");
        const std::string tdi = shift.tdi.to_hex();
        const std::string tdo = shift.tdo_known ? shift.tdo.to_hex() : "not read";
        const Ink color = shift.pass.empty() ? ink_of(shift.state()) : Ink::Dim;
        if (head.size() + tdi.size() + tdo.size() + 12 <= width_) {
            ink(color, head);
            ink(shift.pass.empty() ? Ink::Tdi : Ink::Dim, "  TDI " + tdi);
            ink_line(Ink::Tdo, "  TDO " + tdo);
            return;
        }
        ink_line(color, head);
        write_value(shift.pass.empty() ? Ink::Tdi : Ink::Dim, "TDI", tdi);
        write_value(Ink::Tdo, "TDO", tdo);
    }

    // The whole of it, whatever lines that takes.
    void write_value(Ink color, std::string_view name, std::string_view digits) {
        constexpr size_t kIndent = 8;
        for (const std::string& part : wrapped(digits, width_ - kIndent)) {
            ink_line(color, fmt::format("{:>{}} {}", name, kIndent - 1, part));
            name = "";
        }
    }

    void write_legend() {
        for (const std::string& line : limit_notes(waveform_, width_)) {
            ink_line(Ink::Plain, line);
        }
        for (const std::string& line : legend(short_names_, 2, width_)) {
            ink_line(Ink::Dim, line);
        }
    }

    const Waveform& waveform_;
    const TextOptions& options_;
    const Glyphs& glyphs_;
    size_t width_;
    std::vector<ShiftRun> shifts_;
    std::vector<Row> rows_;
    ShortNames short_names_{};
    std::string text_;
};

} // namespace

std::string to_text(const Waveform& waveform, const TextOptions& options) {
    return Writing(waveform, options).write();
}

} // namespace talvor::waveform
