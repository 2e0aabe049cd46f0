#include "host/interconnect/matrix_svg.h"

#include "common/text.h"
#include "host/drawing/svg_page.h"
#include "host/interconnect/finding_text.h"

#include <fmt/format.h>

#include <algorithm>
#include <set>
#include <string_view>
#include <vector>

namespace talvor::interconnect {
namespace {

// Everything in pixels.
constexpr double kMargin = 20;
constexpr double kCell = 18;
constexpr double kTitleHeight = 34;
constexpr double kHeadHeight = 26;
constexpr double kGap = 14;
constexpr double kCharacter = 6.7; // of the small text
constexpr int kSmall = 11;

constexpr std::string_view kBad = "#b91c1c";

std::string head_of(const Vector& vector, size_t bits) {
    switch (vector.kind) {
    case Vector::Kind::Code:
        return fmt::format("{}", vector.number);
    case Vector::Kind::Inverse:
        return fmt::format("{}", bits + vector.number);
    case Vector::Kind::All:
        return vector.value ? "H" : "L";
    case Vector::Kind::Walk:
        break;
    }
    return vector.value ? "h" : "l";
}

std::string told(const Vector& vector, std::span<const TestedNet> nets) {
    switch (vector.kind) {
    case Vector::Kind::Code:
        return fmt::format("bit {} of each net's code", vector.number);
    case Vector::Kind::Inverse:
        return fmt::format("bit {} of each net's code, inverted", vector.number);
    case Vector::Kind::All:
        return vector.value ? "all nets high" : "all nets low";
    case Vector::Kind::Walk:
        break;
    }
    return fmt::format("{} alone {}", nets[vector.number].name, vector.value ? "high" : "low");
}

class Picture : SvgPage {
public:
    Picture(const TestPlan& plan, const TestResult& result, const MatrixOptions& options)
        : plan_(plan), result_(result), options_(options),
          columns_(std::min(result.vectors.size(), options.most_vectors)) {
        for (const Finding& finding : result.diagnosis.findings) {
            for (const size_t net : finding.nets) {
                wrong_.insert(net);
            }
        }
        choose_rows();
        for (const size_t net : rows_) {
            name_width_ = std::max(name_width_, width_of(plan.nets[net].name));
            driver_width_ = std::max(driver_width_, width_of(plan.nets[net].driver.pin.name));
        }
    }

    std::string draw() {
        const double top = kMargin + (options_.title.empty() ? 0 : kTitleHeight) + kHeadHeight;
        heading(kMargin, options_.title);
        draw_heads(top);
        for (size_t row = 0; row < rows_.size(); ++row) {
            draw_row(rows_[row], top + static_cast<double>(row) * kCell);
        }
        double y = top + static_cast<double>(rows_.size()) * kCell + kGap;
        y = draw_findings(draw_legend(y));
        return document(width_ + kMargin, y + kMargin);
    }

private:
    static double width_of(const std::string& text) {
        return static_cast<double>(text.size()) * kCharacter;
    }
    // The page is as wide as the longest line from the left.
    void line(double x, double y, std::string_view ink, const std::string& words) {
        text(x, y, "start", kSmall, ink, words);
        width_ = std::max(width_, x + width_of(words));
    }

    // Nets with faults come first where there is not room for all; else the netlist's order.
    void choose_rows() {
        for (size_t net = 0; net < plan_.nets.size(); ++net) {
            rows_.push_back(net);
        }
        if (rows_.size() > options_.most_nets) {
            std::stable_partition(rows_.begin(), rows_.end(),
                                  [this](size_t net) { return wrong_.contains(net); });
            rows_.resize(options_.most_nets);
            std::sort(rows_.begin(), rows_.end());
        }
    }

    [[nodiscard]] double x(size_t column) const {
        return kMargin + name_width_ + kGap + driver_width_ + kGap +
               static_cast<double>(column) * kCell;
    }

    void draw_heads(double top) {
        width_ = x(columns_);
        width_ = std::max(width_, kMargin + static_cast<double>(options_.title.size()) * 9.2);
        line(kMargin, top - 8, kFaintInk, "net");
        line(kMargin + name_width_ + kGap, top - 8, kFaintInk, "driver");
        const size_t bits = result_.counting / 2;
        for (size_t v = 0; v < columns_; ++v) {
            put("<g><title>{}</title>", xml_text(told(result_.vectors[v], plan_.nets)));
            text(x(v) + kCell / 2, top - 8, "middle", 9, kFaintInk,
                 head_of(result_.vectors[v], bits));
            put("</g>\n");
        }
        line(x(columns_) + kGap, top - 8, kFaintInk, "receivers");
    }

    [[nodiscard]] bool agrees(size_t net, size_t receiver, size_t vector) const {
        return result_.readings[net][receiver][vector] == result_.vectors[vector].level(net);
    }

    void draw_row(size_t net, double y) {
        const TestedNet& tested = plan_.nets[net];
        const std::string_view ink = wrong_.contains(net) ? kBad : kInk;
        line(kMargin, y + 13, ink, tested.name);
        line(kMargin + name_width_ + kGap, y + 13, kInk, tested.driver.pin.name);
        for (size_t v = 0; v < columns_; ++v) {
            draw_cell(net, v, y);
        }
        double at = x(columns_) + kGap;
        for (size_t r = 0; r < tested.receivers.size(); ++r) {
            bool right = true;
            for (size_t v = 0; v < result_.vectors.size(); ++v) {
                right = right && agrees(net, r, v);
            }
            line(at, y + 13, right ? kInk : kBad, tested.receivers[r].pin.name);
            at += width_of(tested.receivers[r].pin.name) + kCharacter;
        }
    }

    void draw_cell(size_t net, size_t vector, double y) {
        std::string wrong;
        for (size_t r = 0; r < plan_.nets[net].receivers.size(); ++r) {
            if (!agrees(net, r, vector)) {
                wrong += (wrong.empty() ? "" : ", ") + plan_.nets[net].receivers[r].pin.name;
            }
        }
        const bool high = result_.vectors[vector].level(net);
        put("<rect x=\"{:g}\" y=\"{:g}\" width=\"{:g}\" height=\"{:g}\" rx=\"3\" fill=\"{}\"",
            x(vector) + 1, y + 1, kCell - 2, kCell - 2,
            wrong.empty() ? (high ? "#475569" : "#e2e8f0") : (high ? "#dc2626" : "#fca5a5"));
        if (wrong.empty()) {
            put("/>\n");
            return;
        }
        put("><title>{} driven {}: {} {} {}</title></rect>\n", xml_text(plan_.nets[net].name),
            high ? 1 : 0, xml_text(wrong), wrong.find(',') == std::string::npos ? "reads" : "read",
            high ? 0 : 1);
        put("<text x=\"{:g}\" y=\"{:g}\" font-size=\"10\" text-anchor=\"middle\" fill=\"{}\">{}"
            "</text>\n",
            x(vector) + kCell / 2, y + 13, high ? "#ffffff" : "#7f1d1d", high ? 0 : 1);
    }

    double legend_box(double at, double y, const char* fill, const std::string& words) {
        put("<rect x=\"{:g}\" y=\"{:g}\" width=\"12\" height=\"12\" rx=\"3\" fill=\"{}\"/>\n", at,
            y, fill);
        line(at + 18, y + 10, kInk, words);
        return at + 18 + width_of(words) + kGap;
    }

    double draw_legend(double y) {
        double at = legend_box(kMargin, y, "#475569", "driven high");
        at = legend_box(at, y, "#e2e8f0", "driven low");
        at = legend_box(at, y, "#dc2626", "read low");
        (void)legend_box(at, y, "#fca5a5", "read high");
        y += 30;
        if (rows_.size() < plan_.nets.size()) {
            line(kMargin, y, kFaintInk,
                 fmt::format("and {} more", count_text(plan_.nets.size() - rows_.size(), "net")));
            y += kCell;
        }
        if (columns_ < result_.vectors.size()) {
            line(kMargin, y, kFaintInk,
                 fmt::format("and {} more",
                             count_text(result_.vectors.size() - columns_, "vector")));
            y += kCell;
        }
        return y;
    }

    // The bottom of them.
    double draw_findings(double y) {
        size_t drawn = 0;
        for (const Finding& finding : result_.diagnosis.findings) {
            if (++drawn > options_.most_nets) {
                break;
            }
            const std::vector<std::string> lines = finding_lines(plan_.nets, finding);
            line(kMargin, y, kBad, nets_text(plan_.nets, finding));
            for (const std::string& words : lines) {
                y += 15;
                line(kMargin + kGap, y, kInk, words);
            }
            y += kCell + 4;
        }
        if (result_.diagnosis.good()) {
            line(kMargin, y, "#047857", "no fault found");
            y += kCell;
        }
        return y - kCell;
    }

    const TestPlan& plan_;
    const TestResult& result_;
    const MatrixOptions& options_;
    size_t columns_;
    std::vector<size_t> rows_; // nets
    std::set<size_t> wrong_;
    double name_width_ = 3 * kCharacter;
    double driver_width_ = 6 * kCharacter;
    double width_ = 0;
};

} // namespace

std::string to_svg(const TestPlan& plan, const TestResult& result, const MatrixOptions& options) {
    return Picture(plan, result, options).draw();
}

} // namespace talvor::interconnect
