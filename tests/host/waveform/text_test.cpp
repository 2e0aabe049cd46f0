#include "host/waveform/text.h"
#include "host/waveform/vcd.h"
#include "tests/host/waveform/trace.h"

#include <gtest/gtest.h>

#include <sstream>

namespace talvor::waveform {
namespace {

Waveform wave_of(const Trace& trace) {
    std::istringstream stream(trace.text());
    return read_vcd(stream, "t.vcd").value();
}

Waveform scan_of_four_bits() {
    return wave_of(Trace().moves("00100").shift(0x5, 0x3, 4).moves("10"));
}

// Characters, not bytes.
size_t columns_of(std::string_view line) {
    size_t count = 0;
    for (const char c : line) {
        count += (static_cast<unsigned char>(c) & 0xC0U) != 0x80U ? 1 : 0;
    }
    return count;
}

TEST(TextTest, DrawsAScanInAscii) {
    TextOptions options;
    options.unicode = false;
    EXPECT_EQ(to_text(scan_of_four_bits(), options),
              "      TCK 0 at 50.000 ns\n"
              "TCK   __~~__~~__~~__~~__~~__~~__~~__~~__~~__~~__~~\n"
              "TMS   ________~~~~____________________~~~~~~~~____\n"
              "state |-|--RTI--|SeD|CaD|---Shift-DR----|E1D|UpD|-\n"
              "TDI   ~~~~~~~~~~~~~~~~~~~~~~~~____~~~~____~~~~~~~~\n"
              "TDO   ....................~~~~~~~~________........\n"
              "  DR 4 bits  TDI 5  TDO 3\n"
              "\n"
              "RTI Run-Test/Idle  SeD Select-DR-Scan  CaD Capture-DR  E1D Exit1-DR\n"
              "UpD Update-DR\n");
}

TEST(TextTest, DrawsAScanInUnicode) {
    EXPECT_EQ(to_text(scan_of_four_bits()),
              "      TCK 0 at 50.000 ns\n"
              "TCK   ▁▁▔▔▁▁▔▔▁▁▔▔▁▁▔▔▁▁▔▔▁▁▔▔▁▁▔▔▁▁▔▔▁▁▔▔▁▁▔▔▁▁▔▔\n"
              "TMS   ▁▁▁▁▁▁▁▁▔▔▔▔▁▁▁▁▁▁▁▁▁▁▁▁▁▁▁▁▁▁▁▁▔▔▔▔▔▔▔▔▁▁▁▁\n"
              "state │─│──RTI──│SeD│CaD│───Shift-DR────│E1D│UpD│─\n"
              "TDI   ▔▔▔▔▔▔▔▔▔▔▔▔▔▔▔▔▔▔▔▔▔▔▔▔▁▁▁▁▔▔▔▔▁▁▁▁▔▔▔▔▔▔▔▔\n"
              "TDO   ┈┈┈┈┈┈┈┈┈┈┈┈┈┈┈┈┈┈┈┈▔▔▔▔▔▔▔▔▁▁▁▁▁▁▁▁┈┈┈┈┈┈┈┈\n"
              "  DR 4 bits  TDI 5  TDO 3\n"
              "\n"
              "RTI Run-Test/Idle  SeD Select-DR-Scan  CaD Capture-DR  E1D Exit1-DR\n"
              "UpD Update-DR\n");
}

TEST(TextTest, ShowsPinsThatChangeAndMarksWhatIsLeftOut) {
    TextOptions options;
    options.unicode = false;
    options.longest_run = 4;
    Trace trace;
    trace.moves("0").pin('%', false).pin('%', true).moves(std::string(30, '0')).pin('&', false);
    EXPECT_EQ(to_text(wave_of(trace.moves("00")), options), "      TCK 0 at 50.000 ns +27\n"
                                                            "TCK   __~~__~~__~~__~~::::__~~__~~\n"
                                                            "TMS   ________________::::________\n"
                                                            "state |-TLR-|----Run-Test/Idle----\n"
                                                            "TDI   ~~~~~~~~~~~~~~~~::::~~~~~~~~\n"
                                                            "TDO   ................::::........\n"
                                                            "TRSTn ~~~~_~~~~~~~~~~~~~~~~~~~~~~~\n"
                                                            "EMU0  ~~~~~~~~~~~~~~~~~~~~________\n"
                                                            "\n"
                                                            "TLR Test-Logic-Reset\n");
}

TEST(TextTest, NoLineIsWiderThanAsked) {
    Trace trace;
    trace.moves("11111001100").shift(0x2A, 1, 8).moves("10100");
    trace.shift(Bits::ones(300), Bits(300)).moves("1").moves(std::string(90, '0'));
    trace.moves("0100").shift(0xDEADBEEF, 0x4BA00477, 32).moves("10");
    const Waveform wave = wave_of(trace);
    for (size_t width = 24; width < 160; width += 3) {
        for (const bool unicode : {false, true}) {
            TextOptions options;
            options.width = width;
            options.unicode = unicode;
            std::istringstream lines(to_text(wave, options));
            for (std::string line; std::getline(lines, line);) {
                EXPECT_LE(columns_of(line), width) << line;
            }
        }
    }
}

TEST(TextTest, LongValuesTakeTheirOwnLines) {
    Trace trace;
    trace.moves("0100").shift(Bits::ones(600), Bits(600)).moves("10");
    const std::string text = to_text(wave_of(trace));
    // All of them, in lines that begin below each other.
    const std::string ones(72, 'F');
    const std::string zeros(72, '0');
    const std::string gap(8, ' ');
    EXPECT_NE(text.find("  DR 600 bits\n    TDI " + ones + "\n" + gap + ones + "\n" + gap +
                        "FFFFFF\n    TDO " + zeros + "\n" + gap + zeros + "\n" + gap + "000000\n"),
              std::string::npos)
        << text;
}

TEST(TextTest, AShiftThatNobodyReadHasNoTdo) {
    Waveform wave = scan_of_four_bits();
    for (Sample& sample : wave.samples) {
        sample.tdo_known = false;
    }
    const std::string text = to_text(wave);
    EXPECT_NE(text.find("  DR 4 bits  TDI 5  TDO not read\n"), std::string::npos);
    EXPECT_EQ(text.find("TDO   ┈┈┈┈┈┈┈┈┈┈┈┈┈┈┈┈┈┈┈┈▔"), std::string::npos);
}

TEST(TextTest, ColoursOnlyWhenAsked) {
    TextOptions options;
    EXPECT_EQ(to_text(scan_of_four_bits(), options).find('\x1b'), std::string::npos);
    options.color = true;
    EXPECT_NE(to_text(scan_of_four_bits(), options).find("\x1b[1;36m───Shift-DR────\x1b[0m"),
              std::string::npos);
}

TEST(TextTest, NothingIsDrawnOfNothing) {
    EXPECT_EQ(to_text(Waveform()), "");
}

} // namespace
} // namespace talvor::waveform
