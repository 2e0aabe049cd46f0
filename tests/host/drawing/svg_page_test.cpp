#include "host/drawing/svg_page.h"

#include <gtest/gtest.h>

namespace talvor {
namespace {

const std::string kHead =
    "<svg xmlns=\"http://www.w3.org/2000/svg\" width=\"20\" height=\"10.5\" "
    "viewBox=\"0 0 20 10.5\" font-family=\"ui-monospace, 'DejaVu Sans Mono', Menlo, Consolas, "
    "monospace\">\n<rect width=\"20\" height=\"10.5\" rx=\"10\" fill=\"#ffffff\"/>\n";

TEST(SvgPageTest, IsADocumentAlsoWithoutAnything) {
    EXPECT_EQ(SvgPage().document(20, 10.5), kHead + "</svg>\n");
}

TEST(SvgPageTest, HoldsWhatWasPutInItsOrder) {
    SvgPage page;
    page.heading(8, "a & b");
    page.put("<path d=\"M{:g} {:g}\"/>\n", 0.25, 3.0);
    page.text(1, 2, "end", 11, SvgPage::kInk, "x < 1", " rotate=\"1\"");
    EXPECT_EQ(page.document(20, 10.5),
              kHead + "<text x=\"8\" y=\"22\" font-size=\"15\" font-weight=\"600\" "
                      "fill=\"#0f172a\">a &amp; b</text>\n"
                      "<path d=\"M0.25 3\"/>\n"
                      "<text x=\"1\" y=\"2\" font-size=\"11\" text-anchor=\"end\" fill=\"#334155\" "
                      "rotate=\"1\">x &lt; 1</text>\n</svg>\n");
}

TEST(SvgPageTest, NeedsNoHeading) {
    SvgPage page;
    page.heading(8, "");
    EXPECT_EQ(page.document(20, 10.5), SvgPage().document(20, 10.5));
}

} // namespace
} // namespace talvor
