#include "host/clock/shmoo.h"
#include "host/drawing/svg_page.h"

#include <fmt/format.h>

#include <algorithm>

namespace talvor {
namespace {

// Everything in pixels.
constexpr double kMargin = 20;
constexpr double kLabels = 90;
constexpr double kCell = 22;
constexpr double kTitleHeight = 34;
constexpr double kAxisHeight = 44;

class Picture : SvgPage {
public:
    Picture(const Shmoo& shmoo, const std::string& title)
        : shmoo_(shmoo), title_(title), top_(kMargin + (title.empty() ? 0 : kTitleHeight)) {}

    std::string draw() {
        // Also a single delay leaves room for a title.
        const double columns = std::max<double>(static_cast<double>(shmoo_.delays.size()), 14);
        const double width = 2 * kMargin + kLabels + columns * kCell;
        const double height =
            top_ + static_cast<double>(shmoo_.clocks.size()) * kCell + kAxisHeight + kMargin;
        if (!title_.empty()) {
            text(kMargin, kMargin + 14, "start", 15, kInk, title_);
        }
        draw_cells();
        draw_choice();
        draw_axes();
        return document(width, height);
    }

private:
    [[nodiscard]] static double x(size_t delay) {
        return kMargin + kLabels + static_cast<double>(delay) * kCell;
    }
    [[nodiscard]] double y(size_t clock) const { return top_ + static_cast<double>(clock) * kCell; }

    void draw_cells() {
        for (size_t clock = 0; clock < shmoo_.clocks.size(); ++clock) {
            for (size_t delay = 0; delay < shmoo_.delays.size(); ++delay) {
                const bool works = shmoo_.at(clock, delay);
                put("<rect x=\"{:g}\" y=\"{:g}\" width=\"{:g}\" height=\"{:g}\" rx=\"3\" "
                    "fill=\"{}\"><title>{}, link delay {}: {}</title></rect>\n",
                    x(delay) + 1, y(clock) + 1, kCell - 2, kCell - 2, works ? "#34d399" : "#fee2e2",
                    frequency_text(static_cast<double>(shmoo_.clocks[clock].hertz)),
                    shmoo_.delays[delay], works ? "works" : "fails");
            }
        }
    }

    void draw_choice() {
        if (const auto choice = choose(shmoo_)) {
            put("<circle cx=\"{:g}\" cy=\"{:g}\" r=\"{:g}\" fill=\"none\" stroke=\"#0f172a\" "
                "stroke-width=\"2.5\"/>\n",
                x(choice->delay) + kCell / 2, y(choice->clock) + kCell / 2, kCell / 2 - 4);
        }
    }

    void draw_axes() {
        for (size_t clock = 0; clock < shmoo_.clocks.size(); ++clock) {
            text(x(0) - 8, y(clock) + kCell / 2 + 4, "end", 11, kInk,
                 frequency_text(static_cast<double>(shmoo_.clocks[clock].hertz)));
        }
        const double bottom = y(shmoo_.clocks.size());
        for (size_t delay = 0; delay < shmoo_.delays.size(); ++delay) {
            text(x(delay) + kCell / 2, bottom + 15, "middle", 11, kInk,
                 fmt::format("{}", shmoo_.delays[delay]));
        }
        text(x(0), bottom + 36, "start", 11, kInk, "link delay in test clocks");
    }

    const Shmoo& shmoo_;
    const std::string& title_;
    double top_;
};

} // namespace

std::string to_svg(const Shmoo& shmoo, const std::string& title) {
    return Picture(shmoo, title).draw();
}

} // namespace talvor
