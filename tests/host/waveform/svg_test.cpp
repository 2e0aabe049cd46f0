#include "host/waveform/svg.h"
#include "host/waveform/vcd.h"
#include "tests/host/waveform/trace.h"

#include <gtest/gtest.h>

#include <algorithm>
#include <sstream>
#include <string>
#include <vector>

namespace talvor::waveform {
namespace {

Waveform wave_of(const Trace& trace) {
    std::istringstream stream(trace.text());
    return read_vcd(stream, "t.vcd").value();
}

Trace scan() {
    return Trace().moves("0100").shift(0x2A, 0x01, 8).moves("10");
}

size_t count(const std::string& text, std::string_view what) {
    size_t found = 0;
    for (size_t at = text.find(what); at != std::string::npos; at = text.find(what, at + 1)) {
        ++found;
    }
    return found;
}

bool has(const std::string& text, std::string_view what) {
    return text.find(what) != std::string::npos;
}

// Whether every element is closed in its turn.
bool well_formed(const std::string& xml) {
    std::vector<std::string> open;
    for (size_t at = xml.find('<'); at != std::string::npos; at = xml.find('<', at)) {
        const size_t end = xml.find('>', at);
        if (end == std::string::npos) {
            return false;
        }
        const std::string tag = xml.substr(at + 1, end - at - 1);
        at = end;
        if (tag.front() == '/') {
            if (open.empty() || open.back() != tag.substr(1)) {
                return false;
            }
            open.pop_back();
        } else if (tag.back() != '/') {
            open.push_back(tag.substr(0, tag.find(' ')));
        }
    }
    return open.empty();
}

TEST(SvgTest, IsOneWellFormedPicture) {
    const std::string svg = to_svg(wave_of(scan()));
    EXPECT_TRUE(svg.starts_with("<svg xmlns=\"http://www.w3.org/2000/svg\" width=\"440\""));
    EXPECT_TRUE(well_formed(svg)) << svg;
    EXPECT_TRUE(well_formed(to_svg(Waveform())));
}

TEST(SvgTest, NamesLanesStatesAndData) {
    const std::string svg = to_svg(wave_of(scan()));
    for (const char* text :
         {">TCK<", ">TMS<", ">state<", ">TDI<", ">TDO<", ">Shift-DR<", "<title>Capture-DR</title>",
          "CaD Capture-DR", ">50.000 ns<", ">DR TDI 8 bits: 0x2A<", ">DR TDO 8 bits: 0x01<"}) {
        EXPECT_TRUE(has(svg, text)) << text;
    }
    EXPECT_FALSE(has(svg, ">TRSTn<"));
}

// The left edge of the picture's lanes is at 84, a column takes 24, and low and high are 16 apart.
TEST(SvgTest, EdgesStandWhereTheyHappen) {
    const std::string svg = to_svg(wave_of(Trace().moves("01")));
    // TCK: low, up in the middle of the column, down at its end.
    EXPECT_TRUE(has(svg, "M84 63H96V47H108V63L108 63H120V47H132V63")) << svg;
    // TMS: 0, then 1 from the second column on.
    EXPECT_TRUE(has(svg, "M84 93H108V77H132")) << svg;
    // The state leaves Test-Logic-Reset with the first rising edge.
    EXPECT_TRUE(has(svg, "<title>Test-Logic-Reset</title><path d=\"M84 ")) << svg;
    EXPECT_TRUE(has(svg, "<title>Run-Test/Idle</title><path d=\"M96 ")) << svg;
    EXPECT_TRUE(has(svg, "<title>Select-DR-Scan</title><path d=\"M120 ")) << svg;
}

TEST(SvgTest, ANarrowShiftKeepsItsDigits) {
    const std::string svg = to_svg(wave_of(Trace().moves("0100").shift(1, 0, 1).moves("10")));
    EXPECT_TRUE(has(svg, ">1<"));
    EXPECT_TRUE(has(svg, ">0<"));
}

TEST(SvgTest, AShiftThatNobodyReadHasNoTdo) {
    Waveform wave = wave_of(scan());
    for (Sample& sample : wave.samples) {
        sample.tdo_known = false;
    }
    const std::string svg = to_svg(wave);
    EXPECT_TRUE(has(svg, ">DR TDI 8 bits: 0x2A<"));
    EXPECT_FALSE(has(svg, "DR TDO"));
}

TEST(SvgTest, ALongShiftIsCutAndSaysByHowMuch) {
    Trace trace;
    trace.moves("0100").shift(Bits::ones(600), Bits(600)).moves("10");
    const std::string svg = to_svg(wave_of(trace));
    EXPECT_TRUE(has(svg, ">580 more<"));
    EXPECT_TRUE(has(svg, "FF..FF"));
    EXPECT_TRUE(has(svg, "00..00"));
}

TEST(SvgTest, AValueWithoutRoomStandsBelowAsAWhole) {
    Trace trace;
    trace.moves("0100").shift(Bits::ones(600), Bits(600)).moves("10");
    const std::string svg = to_svg(wave_of(trace));
    EXPECT_TRUE(has(svg, ">DR TDI 600 bits:<"));
    EXPECT_TRUE(has(svg, ">DR TDO 600 bits:<"));
    // 600 bits are 150 digits, in lines as wide as the picture.
    const std::string start = svg.substr(svg.find(">0xF"));
    EXPECT_EQ(std::ranges::count(start.substr(0, start.find(">DR TDO")), 'F'), 150);
    const std::string fitting = to_svg(wave_of(scan()));
    EXPECT_FALSE(has(fitting, "bits:<")) << "what has room is not said twice";
}

// Across two rows: once whole, wherever there is most room.
TEST(SvgTest, AValueAcrossRowsIsWrittenWhole) {
    SvgOptions options;
    options.columns_per_row = 20;
    const std::string svg = to_svg(
        wave_of(Trace().moves("0100").shift(0xDEADBEEF, 0x4BA00477, 32).moves("10")), options);
    EXPECT_EQ(count(svg, ">TCK<"), 2U);
    EXPECT_TRUE(has(svg, ": 0xDEADBEEF<")) << svg;
    EXPECT_TRUE(has(svg, ": 0x4BA00477<"));
}

TEST(SvgTest, APassThatIsNotTheClientsIsPaleAndNamed) {
    Waveform wave = wave_of(Trace().moves("0100").shift(0x2A, 0x01, 8).moves("10"));
    EXPECT_EQ(count(to_svg(wave), "opacity=\"0.75\""), 0U);
    wave.passes = {{5, "marker"}, {3, ""}};
    const std::string svg = to_svg(wave);
    EXPECT_EQ(count(svg, "opacity=\"0.75\""), 1U);
    EXPECT_TRUE(has(svg, ">marker 0x0A<")) << svg;
    EXPECT_TRUE(has(svg, ">0x01<")) << "what comes out is the target's";
    EXPECT_TRUE(has(svg, ">0x1<"));
}

TEST(SvgTest, WrapsRowsAndShowsPinsThatChange) {
    SvgOptions options;
    options.columns_per_row = 8;
    const std::string svg =
        to_svg(wave_of(scan().pin('%', false).pin('%', true).moves("0")), options);
    EXPECT_EQ(count(svg, ">TCK<"), 2U);
    EXPECT_EQ(count(svg, ">TRSTn<"), 2U);
    EXPECT_EQ(count(svg, ">EMU0<"), 0U);
}

TEST(SvgTest, EscapesTheTitle) {
    SvgOptions options;
    options.title = "a < b & \"c\"";
    const std::string svg = to_svg(wave_of(scan()), options);
    EXPECT_TRUE(has(svg, ">a &lt; b &amp; &quot;c&quot;</text>"));
    EXPECT_TRUE(well_formed(svg));
}

} // namespace
} // namespace talvor::waveform
