#include "common/text.h"
#include "host/boundary/package.h"
#include "host/drawing/svg_page.h"

#include <fmt/format.h>

#include <algorithm>
#include <array>
#include <string_view>

namespace talvor::boundary {
namespace {

// Everything in pixels.
constexpr double kMargin = 24;
constexpr double kTitleHeight = 40;
constexpr double kLegendHeight = 40;
constexpr double kPitch = 22; // from pin to pin of a ring
constexpr double kPinLength = 24;
constexpr double kPinWidth = 16;
constexpr double kNameWidth = 6.7; // of a character
constexpr double kBallPitch = 58;
constexpr double kBallRadius = 15;
constexpr size_t kBallName = 8; // characters that have room below a ball

struct Paint {
    std::string_view fill;
    std::string_view stroke;
    std::string_view text;
    std::string_view dash;
};

Paint paint_of(const PackagePin& pin) {
    if (pin.kind == PinKind::Test) {
        return {"#ede9fe", "#8b5cf6", "#4c1d95", ""};
    }
    if (pin.kind == PinKind::Linkage) {
        return {"#f1f5f9", "#cbd5e1", "#94a3b8", ""};
    }
    if (!pin.level) {
        return {"#ffffff", "#94a3b8", "#64748b", ""};
    }
    switch (*pin.level) {
    case Level::High:
        return {"#f59e0b", "#b45309", "#451a03", ""};
    case Level::Low:
        return {"#1e3a8a", "#172554", "#ffffff", ""};
    case Level::Z:
        break;
    }
    return {"#ffffff", "#475569", "#475569", " stroke-dasharray=\"3 2\""};
}

std::string level_mark(const PackagePin& pin) {
    return pin.kind == PinKind::Cell && pin.level ? std::string(text_of(*pin.level)) : "";
}

std::string about(const PackagePin& pin) {
    const std::string_view what = pin.kind == PinKind::Test      ? "test access port"
                                  : pin.kind == PinKind::Linkage ? "no cell"
                                  : pin.level                    ? text_of(*pin.level)
                                                                 : "level not known";
    return fmt::format("{}, pin {}: {}", pin.name, pin.pin, what);
}

class Picture : SvgPage {
public:
    explicit Picture(const Package& package) : package_(package) {}

    std::string draw() {
        const auto grid = grid_of(package_.pins);
        if (grid) {
            draw_grid(*grid);
        } else {
            draw_ring(ring_of(package_.pins));
        }
        return document(width_, height_);
    }

private:
    void begin(double width, double height) {
        width_ = std::max(width, 460.0); // the legend's
        height_ = height + kTitleHeight + kLegendHeight;
        text(kMargin, kMargin + 8, "start", 15, kTitleInk, package_.title);
        legend(height_ - kMargin);
    }

    void legend(double y) {
        struct Entry {
            PackagePin pin;
            std::string_view words;
        };
        const std::array<Entry, 5> entries{{{{"", "", PinKind::Cell, Level::Low}, "low"},
                                            {{"", "", PinKind::Cell, Level::High}, "high"},
                                            {{"", "", PinKind::Cell, Level::Z}, "disabled"},
                                            {{"", "", PinKind::Test, {}}, "test access port"},
                                            {{"", "", PinKind::Linkage, {}}, "no cell"}}};
        double x = kMargin;
        for (const Entry& entry : entries) {
            box(x, y - 11, 14, 14, entry.pin, false);
            text(x + 20, y, "start", 11, kInk, entry.words);
            x += 34 + kNameWidth * static_cast<double>(entry.words.size());
        }
    }

    void box(double x, double y, double width, double height, const PackagePin& pin, bool titled) {
        const Paint paint = paint_of(pin);
        put("<rect x=\"{:g}\" y=\"{:g}\" width=\"{:g}\" height=\"{:g}\" rx=\"2\" fill=\"{}\" "
            "stroke=\"{}\"{}>{}</rect>\n",
            x, y, width, height, paint.fill, paint.stroke, paint.dash,
            titled ? "<title>" + xml_text(about(pin)) + "</title>" : "");
        if (titled) {
            text(x + width / 2, y + height / 2 + 4, "middle", 10, paint.text, level_mark(pin));
        }
    }

    // ---- a ring ----

    void draw_ring(const Ring& ring) {
        size_t longest = 1;
        for (const PackagePin& pin : package_.pins) {
            longest = std::max(longest, pin.name.size() + pin.pin.size() + 2);
        }
        const double room = kNameWidth * static_cast<double>(longest) + 8;
        body_ = kPitch * (static_cast<double>(std::max<size_t>(ring.per_side, 8)) + 1);
        left_ = kMargin + room + kPinLength;
        top_ = kTitleHeight + room + kPinLength;
        const double outside = 2 * (room + kPinLength);
        begin(2 * kMargin + outside + body_, outside + body_);
        put("<rect x=\"{:g}\" y=\"{:g}\" width=\"{:g}\" height=\"{:g}\" rx=\"8\" "
            "fill=\"#334155\"/>\n<circle cx=\"{:g}\" cy=\"{:g}\" r=\"5\" fill=\"#e2e8f0\"/>\n",
            left_, top_, body_, body_, left_ + 16, top_ + 16);
        text(left_ + body_ / 2, top_ + body_ / 2 + 5, "middle", 16, "#ffffff", package_.part);
        for (size_t i = 0; i < package_.pins.size(); ++i) {
            draw_ring_pin(package_.pins[i], ring.places[i]);
        }
    }

    void draw_ring_pin(const PackagePin& pin, RingPlace place) {
        const double along = kPitch * (static_cast<double>(place.at) + 1) - kPinWidth / 2;
        const std::string after = pin.pin + "  " + pin.name;
        const std::string before = pin.name + "  " + pin.pin;
        const double middle = along + kPinWidth / 2;
        switch (place.side) {
        case Side::Left:
            box(left_ - kPinLength, top_ + along, kPinLength, kPinWidth, pin, true);
            return text(left_ - kPinLength - 6, top_ + middle + 4, "end", 11, kInk, before);
        case Side::Right:
            box(left_ + body_, top_ + along, kPinLength, kPinWidth, pin, true);
            return text(left_ + body_ + kPinLength + 6, top_ + middle + 4, "start", 11, kInk,
                        after);
        case Side::Bottom:
            box(left_ + along, top_ + body_, kPinWidth, kPinLength, pin, true);
            return turned(left_ + middle + 4, top_ + body_ + kPinLength + 6, "end", before);
        case Side::Top:
            box(left_ + along, top_ - kPinLength, kPinWidth, kPinLength, pin, true);
            return turned(left_ + middle + 4, top_ - kPinLength - 6, "start", after);
        case Side::Middle:
            box(left_ + body_ / 2 - 30, top_ + body_ / 2 + 24, 60, 24, pin, true);
            return text(left_ + body_ / 2, top_ + body_ / 2 + 64, "middle", 11, "#e2e8f0", after);
        }
    }

    // From below to above.
    void turned(double x, double y, std::string_view anchor, std::string_view words) {
        text(x, y, anchor, 11, kInk, words,
             fmt::format(" transform=\"rotate(-90 {:g} {:g})\"", x, y));
    }

    // ---- a grid ----

    void draw_grid(const Grid& grid) {
        left_ = kMargin + 30;
        top_ = kTitleHeight + 30;
        begin(left_ + kBallPitch * static_cast<double>(grid.columns) + kMargin,
              30 + kBallPitch * static_cast<double>(grid.rows.size()));
        for (size_t column = 0; column < grid.columns; ++column) {
            text(left_ + kBallPitch * (static_cast<double>(column) + 0.5), top_ - 10, "middle", 12,
                 "#64748b", fmt::format("{}", grid.first_column + column));
        }
        for (size_t row = 0; row < grid.rows.size(); ++row) {
            text(left_ - 10, top_ + kBallPitch * (static_cast<double>(row) + 0.5) - 2, "end", 12,
                 "#64748b", grid.rows[row]);
        }
        for (size_t i = 0; i < package_.pins.size(); ++i) {
            draw_ball(package_.pins[i], grid.places[i]);
        }
    }

    void draw_ball(const PackagePin& pin, GridPlace place) {
        const double x = left_ + kBallPitch * (static_cast<double>(place.column) + 0.5);
        const double y = top_ + kBallPitch * (static_cast<double>(place.row) + 0.5) - 6;
        const Paint paint = paint_of(pin);
        put("<circle cx=\"{:g}\" cy=\"{:g}\" r=\"{:g}\" fill=\"{}\" stroke=\"{}\"{}><title>{}"
            "</title></circle>\n",
            x, y, kBallRadius, paint.fill, paint.stroke, paint.dash, xml_text(about(pin)));
        text(x, y + 5, "middle", 13, paint.text, level_mark(pin));
        const std::string name =
            pin.name.size() > kBallName ? pin.name.substr(0, kBallName - 2) + ".." : pin.name;
        text(x, y + kBallRadius + 13, "middle", 10, kInk, name);
    }

    const Package& package_;
    double width_ = 0; // of the page
    double height_ = 0;
    double left_ = 0; // of the body
    double top_ = 0;
    double body_ = 0; // the side of a ring's
};

} // namespace

std::string to_svg(const Package& package) {
    return Picture(package).draw();
}

} // namespace talvor::boundary
