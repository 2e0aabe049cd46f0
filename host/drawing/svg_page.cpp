#include "host/drawing/svg_page.h"

#include "common/text.h"

namespace talvor {

void SvgPage::text(double x, double y, std::string_view anchor, int size, std::string_view ink,
                   std::string_view words, std::string_view more) {
    put("<text x=\"{:g}\" y=\"{:g}\" font-size=\"{}\" text-anchor=\"{}\" fill=\"{}\"{}>{}"
        "</text>\n",
        x, y, size, anchor, ink, more, xml_text(words));
}

void SvgPage::heading(double margin, std::string_view words) {
    if (!words.empty()) {
        put("<text x=\"{:g}\" y=\"{:g}\" font-size=\"15\" font-weight=\"600\" "
            "fill=\"{}\">{}</text>\n",
            margin, margin + 14, kTitleInk, xml_text(words));
    }
}

std::string SvgPage::document(double width, double height) const {
    return fmt::format(
        "<svg xmlns=\"http://www.w3.org/2000/svg\" width=\"{0:g}\" height=\"{1:g}\" "
        "viewBox=\"0 0 {0:g} {1:g}\" font-family=\"ui-monospace, 'DejaVu Sans Mono', Menlo, "
        "Consolas, monospace\">\n<rect width=\"{0:g}\" height=\"{1:g}\" rx=\"10\" "
        "fill=\"#ffffff\"/>\n{2}</svg>\n",
        width, height, elements_);
}

} // namespace talvor
