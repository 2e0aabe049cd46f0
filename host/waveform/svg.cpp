#include "host/waveform/svg.h"

#include "common/text.h"
#include "host/drawing/svg_page.h"
#include "host/waveform/layout.h"

#include <fmt/format.h>

#include <algorithm>
#include <array>
#include <iterator>
#include <string_view>
#include <vector>

namespace talvor::waveform {

namespace {

// Everything in pixels.
constexpr double kMargin = 20;
constexpr double kLabels = 64;
constexpr double kCell = 24;
constexpr double kTitleHeight = 34;
constexpr double kRulerHeight = 20;
constexpr double kLaneHeight = 30; // of which the line takes the part below
constexpr double kSwing = 16;      // from low to high
constexpr double kBandHeight = 24;
constexpr double kNoteHeight = 18;
constexpr double kRowGap = 26;
constexpr double kLegendGap = 24;
constexpr double kLegendLine = 15;
constexpr double kSlant = 4;       // of the ends of a state's shape
constexpr double kPulse = 6;       // the width of a pulse between two samples
constexpr double kStateText = 6.3; // the width of a character
constexpr double kNoteText = 6.7;

struct Paint {
    std::string_view fill;
    std::string_view stroke;
    std::string_view text;
};

Paint paint_of(TapState state) {
    switch (state) {
    case TapState::TestLogicReset:
        return {"#e2e8f0", "#94a3b8", "#1e293b"};
    case TapState::RunTestIdle:
        return {"#f1f5f9", "#b6c2d1", "#334155"};
    case TapState::ShiftDr:
        return {"#dbeafe", "#5b9bf5", "#1e3a8a"};
    case TapState::ShiftIr:
        return {"#ede9fe", "#a08bf0", "#4c1d95"};
    case TapState::PauseDr:
    case TapState::PauseIr:
        return {"#fef3c7", "#e8b04a", "#78350f"};
    default:
        return {"#ffffff", "#cbd5e1", "#64748b"};
    }
}

constexpr std::string_view kTckColor = "#334155";
constexpr std::string_view kTmsColor = "#b45309";
constexpr std::string_view kTdiColor = "#1d4ed8";
constexpr std::string_view kTdoColor = "#047857";
constexpr std::string_view kPinColor = "#9f1239";

class Drawing : SvgPage {
public:
    Drawing(const Waveform& waveform, const SvgOptions& options)
        : waveform_(waveform), options_(options), shifts_(shift_runs(waveform)),
          rows_(lay_out(waveform, {options.columns_per_row, options.longest_run,
                                   options.columns_per_row / 4})),
          written_(shifts_.size()) {
        for (size_t p = 0; p < kPinCount; ++p) {
            if (const auto pin = static_cast<Pin>(p); waveform.changes(pin)) {
                pins_.push_back(pin);
            }
        }
    }

    std::string draw() {
        size_t columns = 12; // so that the title has room
        for (const Row& row : rows_) {
            columns = std::max(columns, row.columns.size());
        }
        const double row_height = kRulerHeight + 4 * kLaneHeight + kBandHeight + 2 * kNoteHeight +
                                  static_cast<double>(pins_.size()) * kLaneHeight;
        const double width = 2 * kMargin + kLabels + static_cast<double>(columns) * kCell;
        double y = kMargin + (options_.title.empty() ? 0 : kTitleHeight);
        heading(kMargin, options_.title);
        for (const Row& row : rows_) {
            draw_row(row, y);
            y += row_height + kRowGap;
        }
        y = draw_legend(y - kRowGap + kLegendGap, width - 2 * kMargin);
        return document(width, y + kMargin);
    }

private:
    static double x(size_t column) {
        return kMargin + kLabels + static_cast<double>(column) * kCell;
    }

    void draw_row(const Row& row, double y) {
        draw_ruler(row, y);
        y += kRulerHeight;
        const double bottom = y + 4 * kLaneHeight + kBandHeight + 2 * kNoteHeight +
                              static_cast<double>(pins_.size()) * kLaneHeight;
        draw_grid(row, y, bottom);
        draw_breaks(row, y, bottom);
        const std::vector<Place> places = shift_places(row, shifts_);
        const double data_y = y + 2 * kLaneHeight + kBandHeight;
        draw_shift_grounds(places, data_y);
        draw_control_lanes(row, y);
        draw_data_lanes(row, places, data_y);
        y = data_y + 2 * (kLaneHeight + kNoteHeight);
        for (const Pin pin : pins_) {
            label(name(pin), kPinColor, y);
            draw_pin(row, pin, y);
            y += kLaneHeight;
        }
    }

    // TCK, TMS and the states that they lead through.
    void draw_control_lanes(const Row& row, double y) {
        label("TCK", kTckColor, y);
        draw_clock(row, y);
        y += kLaneHeight;
        label("TMS", kTmsColor, y);
        draw_level(row, y, kTmsColor, [](const Sample& sample) { return sample.tms; });
        y += kLaneHeight;
        put("<text x=\"{:g}\" y=\"{:g}\" font-size=\"12\" font-weight=\"600\" "
            "fill=\"#475569\">state</text>\n",
            kMargin, y + kBandHeight / 2 + 4);
        draw_states(row, y);
    }

    // TDI and TDO, each with the bits of its shifts.
    void draw_data_lanes(const Row& row, const std::vector<Place>& places, double y) {
        label("TDI", kTdiColor, y);
        draw_level(row, y, kTdiColor, [](const Sample& sample) { return sample.tdi; });
        draw_veils(places, y);
        y += kLaneHeight;
        draw_notes(places, y, "TDI", kTdiColor, &ShiftRun::tdi);
        y += kNoteHeight;
        label("TDO", kTdoColor, y);
        draw_tdo(row, y);
        y += kLaneHeight;
        draw_notes(places, y, "TDO", kTdoColor, &ShiftRun::tdo);
    }

    void label(std::string_view text, std::string_view color, double y) {
        put("<text x=\"{:g}\" y=\"{:g}\" font-size=\"12\" font-weight=\"600\" "
            "fill=\"{}\">{}</text>\n",
            kMargin, y + kLaneHeight / 2 + 4, color, text);
    }

    void draw_ruler(const Row& row, double y) {
        put("<text x=\"{:g}\" y=\"{:g}\" font-size=\"10\" fill=\"#64748b\">{}</text>\n", kMargin,
            y + 11, time_text(waveform_.samples[row.columns.front().sample].time_ps));
        const auto skips = [&row](size_t c) {
            return c < row.columns.size() && row.columns[c].skipped != 0;
        };
        for (size_t c = 1; c < row.columns.size(); ++c) {
            const uint64_t tck = waveform_.first_tck + row.columns[c].sample;
            if (tck % 8 == 0 && !skips(c - 1) && !skips(c) && !skips(c + 1) && !skips(c + 2)) {
                put("<text x=\"{:g}\" y=\"{:g}\" font-size=\"9\" fill=\"#94a3b8\" "
                    "text-anchor=\"middle\">{}</text>\n",
                    x(c) + kCell / 2, y + 11, tck);
            }
        }
    }

    // A line at each rising edge, on which everything is sampled.
    void draw_grid(const Row& row, double top, double bottom) {
        std::string path;
        for (size_t c = 0; c < row.columns.size(); ++c) {
            if (row.columns[c].skipped == 0) {
                fmt::format_to(std::back_inserter(path), "M{:g} {:g}V{:g}", x(c) + kCell / 2, top,
                               bottom);
            }
        }
        put("<path d=\"{}\" stroke=\"#eef2f6\" fill=\"none\"/>\n", path);
    }

    void draw_shift_grounds(const std::vector<Place>& places, double y) {
        for (const Place& place : places) {
            const Paint paint = paint_of(shifts_[place.index].state());
            put("<rect x=\"{:g}\" y=\"{:g}\" width=\"{:g}\" height=\"{:g}\" rx=\"3\" fill=\"{}\" "
                "opacity=\"0.4\"/>\n",
                x(place.begin), y + 2, x(place.end) - x(place.begin),
                2 * kLaneHeight + 2 * kNoteHeight - 4, paint.fill);
        }
    }

    static double level_y(double y, bool level) {
        const double low = y + (kLaneHeight + kSwing) / 2;
        return level ? low - kSwing : low;
    }

    void stroke(const std::string& path, std::string_view color, std::string_view more = "") {
        if (!path.empty()) {
            put("<path d=\"{}\" fill=\"none\" stroke=\"{}\" stroke-width=\"1.6\" "
                "stroke-linejoin=\"round\"{}/>\n",
                path, color, more);
        }
    }

    void draw_clock(const Row& row, double y) {
        std::string path;
        for (size_t c = 0; c < row.columns.size(); ++c) {
            if (row.columns[c].skipped != 0) {
                continue;
            }
            const bool joins = c > 0 && row.columns[c - 1].skipped == 0;
            fmt::format_to(std::back_inserter(path), "{}{:g} {:g}", joins ? "L" : "M", x(c),
                           level_y(y, false));
            fmt::format_to(std::back_inserter(path), "H{:g}V{:g}H{:g}V{:g}", x(c) + kCell / 2,
                           level_y(y, true), x(c + 1), level_y(y, false));
        }
        stroke(path, kTckColor);
    }

    template <typename Level>
    void draw_level(const Row& row, double y, std::string_view color, Level level) {
        std::string path;
        for (size_t c = 0; c < row.columns.size(); ++c) {
            if (row.columns[c].skipped != 0) {
                continue;
            }
            const double at = level_y(y, level(waveform_.samples[row.columns[c].sample]));
            const bool joins = c > 0 && row.columns[c - 1].skipped == 0;
            if (joins) {
                fmt::format_to(std::back_inserter(path), "V{:g}H{:g}", at, x(c + 1));
            } else {
                fmt::format_to(std::back_inserter(path), "M{:g} {:g}H{:g}", x(c), at, x(c + 1));
            }
        }
        stroke(path, color);
    }

    // TDO is driven in the Shift states only (IEEE 1149.1, clause 4.5).
    void draw_tdo(const Row& row, double y) {
        std::string driven;
        std::string idle;
        bool before = false;
        for (size_t c = 0; c < row.columns.size(); ++c) {
            if (row.columns[c].skipped != 0) {
                before = false;
                continue;
            }
            const Sample& sample = waveform_.samples[row.columns[c].sample];
            if (!is_shift(sample.state) || !sample.tdo_known) {
                fmt::format_to(std::back_inserter(idle), "M{:g} {:g}H{:g}", x(c),
                               y + kLaneHeight / 2, x(c + 1));
                before = false;
                continue;
            }
            const double at = level_y(y, sample.tdo);
            if (before) {
                fmt::format_to(std::back_inserter(driven), "V{:g}H{:g}", at, x(c + 1));
            } else {
                fmt::format_to(std::back_inserter(driven), "M{:g} {:g}H{:g}", x(c), at, x(c + 1));
            }
            before = true;
        }
        stroke(idle, "#cbd5e1", " stroke-dasharray=\"2 4\"");
        stroke(driven, kTdoColor);
    }

    void draw_states(const Row& row, double y) {
        for (const StatePlace& place : state_places(row, waveform_)) {
            const Paint paint = paint_of(place.state);
            const double left =
                kMargin + kLabels + static_cast<double>(place.begin_half) * kCell / 2;
            const double right =
                kMargin + kLabels + static_cast<double>(place.end_half) * kCell / 2;
            const double mid = y + kBandHeight / 2;
            const double top = y + 2;
            const double low = y + kBandHeight - 2;
            put("<g><title>{}</title><path d=\"M{:g} {:g}L{:g} {:g}H{:g}L{:g} {:g}L{:g} {:g}H{:g}"
                "Z\" fill=\"{}\" stroke=\"{}\"/>",
                name_of(place.state), left, mid, left + kSlant, top, right - kSlant, right, mid,
                right - kSlant, low, left + kSlant, paint.fill, paint.stroke);
            const std::string_view text = fitting_name(place.state, right - left - kSlant);
            if (!text.empty()) {
                put("<text x=\"{:g}\" y=\"{:g}\" font-size=\"10\" text-anchor=\"middle\" "
                    "fill=\"{}\">{}</text>",
                    (left + right) / 2, mid + 3.5, paint.text, text);
            }
            put("</g>\n");
        }
    }

    std::string_view fitting_name(TapState state, double room) {
        if (static_cast<double>(name_of(state).size()) * kStateText <= room) {
            return name_of(state);
        }
        if (3 * kStateText > room + 2) {
            return "";
        }
        short_names_[index_of(state)] = true;
        return short_name(state);
    }

    // Over the TDI of passes that are not the client's.
    void draw_veils(const std::vector<Place>& places, double y) {
        for (const Place& place : places) {
            if (!shifts_[place.index].pass.empty()) {
                put("<rect x=\"{:g}\" y=\"{:g}\" width=\"{:g}\" height=\"{:g}\" "
                    "fill=\"#f1f5f9\" opacity=\"0.75\"/>\n",
                    x(place.begin), y + 4, x(place.end) - x(place.begin), kLaneHeight - 4);
            }
        }
    }

    void draw_notes(const std::vector<Place>& places, double y, std::string_view line,
                    std::string_view color, Bits ShiftRun::*bits) {
        for (const Place& place : places) {
            const ShiftRun& shift = shifts_[place.index];
            if (bits == &ShiftRun::tdo && !shift.tdo_known) {
                continue;
            }
            const double left = x(place.begin) + 2;
            const double right = x(place.end) - 2;
            const std::string text = note(shift, line, shift.*bits, right - left);
            bool& written =
                bits == &ShiftRun::tdi ? written_[place.index].tdi : written_[place.index].tdo;
            written = written || text.find((shift.*bits).to_hex()) != std::string::npos;
            const double mid = y + 4;
            put("<path d=\"M{0:g} {1:g}V{2:g}M{0:g} {3:g}H{4:g}M{4:g} {1:g}V{2:g}\" stroke=\"{5}\" "
                "stroke-width=\"0.8\" opacity=\"0.55\" fill=\"none\"/>\n",
                left, mid - 3, mid + 3, mid, right, color);
            const double half = static_cast<double>(text.size()) * kNoteText / 2 + 3;
            const double center = (left + right) / 2;
            put("<rect x=\"{:g}\" y=\"{:g}\" width=\"{:g}\" height=\"14\" rx=\"3\" "
                "fill=\"#ffffff\" "
                "opacity=\"0.85\"/>\n",
                center - half, mid - 6, 2 * half);
            put("<text x=\"{:g}\" y=\"{:g}\" font-size=\"11\" font-weight=\"600\" "
                "text-anchor=\"middle\" fill=\"{}\">{}</text>\n",
                center, mid + 5, color, text);
        }
    }

    // As much as there is room for.
    static std::string note(const ShiftRun& shift, std::string_view line, const Bits& bits,
                            double room) {
        const std::string_view path = shift.path == ScanPath::Dr ? "DR" : "IR";
        const std::string digits = bits.to_hex();
        const std::string_view cut = shift.cut() ? " (cut)" : "";
        // What comes out meanwhile is the target's.
        const std::string_view pass = line == "TDI" ? shift.pass : std::string_view();
        const auto fits = [room](const std::string& text) {
            return static_cast<double>(text.size()) * kNoteText <= room;
        };
        for (const std::string& text :
             {fmt::format("{} {} {}{}{}: 0x{}{}", path, line, count_text(bits.size(), "bit"),
                          pass.empty() ? "" : " ", pass, digits, cut),
              fmt::format("{}{}0x{}{}", pass, pass.empty() ? "" : " ", digits, cut),
              fmt::format("0x{}{}", digits, cut), fmt::format("0x{}", digits), digits}) {
            if (fits(text)) {
                return text;
            }
        }
        return shortened(digits, std::max<size_t>(static_cast<size_t>(room / kNoteText), 1));
    }

    // Changes between two samples stand side by side at the start of the second one's column.
    void draw_pin(const Row& row, Pin pin, double y) {
        std::string path;
        bool level = waveform_.pins_at_start[static_cast<size_t>(pin)];
        auto next = waveform_.pin_changes.begin();
        for (size_t c = 0; c < row.columns.size(); ++c) {
            const size_t sample = row.columns[c].sample;
            double at = x(c);
            if (c == 0) {
                for (; next != waveform_.pin_changes.end() && next->before_sample < sample;
                     ++next) {
                    level = next->pin == pin ? next->level : level;
                }
                fmt::format_to(std::back_inserter(path), "M{:g} {:g}", at, level_y(y, level));
            }
            for (; next != waveform_.pin_changes.end() && next->before_sample <= sample; ++next) {
                if (next->pin == pin && next->level != level) {
                    level = next->level;
                    fmt::format_to(std::back_inserter(path), "H{:g}V{:g}", at, level_y(y, level));
                    at = std::min(at + kPulse, x(c + 1));
                }
            }
            fmt::format_to(std::back_inserter(path), "H{:g}", x(c + 1));
        }
        stroke(path, kPinColor);
    }

    void draw_breaks(const Row& row, double top, double bottom) {
        for (size_t c = 0; c < row.columns.size(); ++c) {
            const Column& column = row.columns[c];
            if (column.skipped != 0) {
                put("<rect x=\"{:g}\" y=\"{:g}\" width=\"{:g}\" height=\"{:g}\" fill=\"#f8fafc\" "
                    "stroke=\"#cbd5e1\" stroke-dasharray=\"3 3\"/>\n",
                    x(c) + 2, top, kCell - 4, bottom - top);
                put("<text x=\"{:g}\" y=\"{:g}\" font-size=\"9.5\" font-weight=\"600\" "
                    "text-anchor=\"middle\" fill=\"#475569\">{} more</text>\n",
                    x(c) + kCell / 2, top - kRulerHeight + 11, column.skipped);
            } else if (column.pause_before) {
                put("<path d=\"M{:g} {:g}V{:g}\" stroke=\"#94a3b8\" stroke-dasharray=\"4 3\"/>\n",
                    x(c), top, bottom);
            }
        }
    }

    // The values that had no room at their shifts.
    void add_values(std::vector<std::string>& lines, size_t width) const {
        for (size_t i = 0; i < shifts_.size(); ++i) {
            const ShiftRun& shift = shifts_[i];
            const auto add = [&](std::string_view line, const Bits& bits) {
                lines.push_back(fmt::format(
                    "{} {} {}{}{}:", shift.path == ScanPath::Dr ? "DR" : "IR", line,
                    count_text(bits.size(), "bit"), shift.pass.empty() ? "" : " ", shift.pass));
                for (const std::string& part : wrapped("0x" + bits.to_hex(), width)) {
                    lines.push_back(part);
                }
            };
            if (!written_[i].tdi) {
                add("TDI", shift.tdi);
            }
            if (shift.tdo_known && !written_[i].tdo) {
                add("TDO", shift.tdo);
            }
        }
    }

    // Long values, limits, and what the short names stand for, in lines of `width`; answers where
    // they end.
    double draw_legend(double y, double width) {
        const auto characters = static_cast<size_t>(width / kStateText);
        std::vector<std::string> lines;
        add_values(lines, characters);
        const std::vector<std::string> limits = limit_notes(waveform_, characters);
        lines.insert(lines.end(), limits.begin(), limits.end());
        const std::vector<std::string> names = legend(short_names_, 3, characters);
        lines.insert(lines.end(), names.begin(), names.end());
        for (const std::string& line : lines) {
            put("<text x=\"{:g}\" y=\"{:g}\" font-size=\"10\" fill=\"#64748b\" "
                "xml:space=\"preserve\">{}</text>\n",
                kMargin, y, line);
            y += kLegendLine;
        }
        return y - kLegendLine;
    }

    const Waveform& waveform_;
    const SvgOptions& options_;
    std::vector<ShiftRun> shifts_;
    std::vector<Row> rows_;
    // Which values of a shift stand in the drawing as a whole.
    struct Written {
        bool tdi = false;
        bool tdo = false;
    };
    std::vector<Written> written_;
    std::vector<Pin> pins_;
    ShortNames short_names_{};
};

} // namespace

std::string to_svg(const Waveform& waveform, const SvgOptions& options) {
    return Drawing(waveform, options).draw();
}

} // namespace talvor::waveform
