// Files that are written anew in the other format, and do the same.
#include "host/play/player.h"
#include "host/svf/reader.h"
#include "host/svf/writer.h"
#include "host/xsvf/reader.h"
#include "host/xsvf/writer.h"
#include "tests/host/svf/recording_port.h"

#include <fmt/format.h>
#include <gtest/gtest.h>

#include <random>
#include <string>
#include <vector>

namespace talvor::xsvf {
namespace {

using Lines = std::vector<std::string>;

Lines played(play::StepSource& source, svf::RecordingPort& port) {
    play::Player player(port, {});
    const Status status = player.play(source);
    EXPECT_TRUE(status) << headline(status.error());
    return port.log;
}

Lines played_svf(const std::string& text) {
    svf::RecordingPort port;
    play::TextSource source(text, "a.svf");
    svf::Reader reader(source, port);
    return played(reader, port);
}

Lines played_xsvf(const std::string& text) {
    svf::RecordingPort port;
    play::TextSource source(text, "a.xsvf");
    Reader reader(source, port);
    return played(reader, port);
}

// The file, and what of it could not be said.
template <typename Writer>
std::pair<std::string, Lines> written(play::StepSource& source) {
    Writer writer;
    play::Step step;
    std::pair<std::string, Lines> result;
    while (source.next(step).value()) {
        if (const auto left = writer.add(step, result.first)) {
            result.second.push_back(*left);
        }
    }
    return result;
}

std::pair<std::string, Lines> to_xsvf(const std::string& text) {
    svf::RecordingPort port;
    play::TextSource source(text, "a.svf");
    svf::Reader reader(source, port);
    auto result = written<Writer>(reader);
    Writer().finish(result.first);
    return result;
}

std::pair<std::string, Lines> to_svf(const std::string& bytes) {
    svf::RecordingPort port;
    play::TextSource source(bytes, "a.xsvf");
    Reader reader(source, port);
    return written<svf::Writer>(reader);
}

TEST(XsvfWriterTest, WritesWhatSvfSays) {
    const auto [bytes, left] = to_xsvf("HDR 4 TDI (5) TDO (A) MASK (C); SIR 6 TDI (2A);\n"
                                       "ENDDR DRPAUSE; SDR 8 TDI (7E); RUNTEST 300 TCK;\n"
                                       "STATE IRPAUSE; SDR 8 TDI (7F) TDO (0F);");
    EXPECT_EQ(left, Lines{});
    std::string hex;
    for (const char byte : bytes) {
        hex += fmt::format("{:02X} ", static_cast<unsigned char>(byte));
    }
    EXPECT_EQ(hex, "07 00 02 06 2A 14 01 08 00 00 00 0C 01 00 0C 09 07 E5 00 08 "
                   "17 01 01 00 00 01 2C 12 0D 01 0F FC 09 07 F5 00 F8 00 ");
}

TEST(XsvfWriterTest, NamesWhatXsvfCannotSay) {
    EXPECT_EQ(to_xsvf("FREQUENCY 1E6 HZ; TRST ON; TRST OFF; SIR 4 TDI (5) TDO (1); ENDDR RESET;\n"
                      "SDR 4 TDI (5); RUNTEST 1 SEC MAXIMUM 2 SEC; RUNTEST 5000 SEC;")
                  .second,
              (Lines{"the test clock", "TRST", "TRST", "the expected answer of an instruction scan",
                     "a scan that ends in Test-Logic-Reset", "the longest time of a wait",
                     "a wait of more than 4294 s"}));
}

TEST(XsvfWriterTest, WhatIsExpectedNoMoreIsNotCompared) {
    const std::string svf = "SDR 8 TDI (01) TDO (01);\nSDR 8 TDI (02);\nSDR 8 TDI (03) TDO (03);\n";
    const auto [bytes, left] = to_xsvf(svf);
    svf::RecordingPort port;
    port.answers = {"01", "FF", "03"};
    play::TextSource source(bytes, "a.xsvf");
    Reader reader(source, port);
    play::Player player(port, {});
    ASSERT_TRUE(player.play(reader));
    EXPECT_TRUE(player.report().complete);
    EXPECT_EQ(player.report().mismatches, 0U);
}

std::string random_svf(std::mt19937& random) {
    static const std::vector<std::string> kStates{"IDLE", "DRPAUSE", "IRPAUSE", "RESET"};
    const auto value = [&](size_t bits) {
        std::string digits = "0";
        for (size_t i = 1; i < (bits + 3) / 4; ++i) {
            digits += "0123456789ABCDEF"[random() % 16];
        }
        return digits;
    };
    std::string text;
    for (int i = 0; i < 60; ++i) {
        const size_t bits = random() % 3 == 0 ? 1 + random() % 600 : 12;
        switch (random() % 7) {
        case 0:
            text += fmt::format("SIR {} TDI ({});\n", bits, value(bits));
            break;
        case 1:
            text += fmt::format("ENDDR {};\nENDIR {};\n", kStates[random() % 2],
                                kStates[random() % 2 * 2]);
            break;
        case 2:
            text += fmt::format("STATE {};\n", kStates[random() % 4]);
            break;
        case 3:
            text += fmt::format("RUNTEST IDLE {} TCK 0.{:06} SEC;\n", random() % 5000 + 1,
                                random() % 5000 + 5000);
            break;
        case 4:
            text += fmt::format("HDR {} TDI ({});\n", bits % 7, value(bits % 7));
            break;
        default:
            text += fmt::format("SDR {} TDI ({})", bits, value(bits));
            text += random() % 2 == 0 ? fmt::format(" TDO ({})", value(bits)) : "";
            text += random() % 2 == 0 ? fmt::format(" MASK ({})", value(bits)) : "";
            text += ";\n";
            break;
        }
    }
    return text;
}

// Clocks are as many as microseconds in XSVF, and every later scan of a size is compared with
// something: neither is a bit that is shifted.
Lines bits_of(const Lines& log) {
    Lines all;
    for (std::string line : log) {
        if (const size_t receive = line.find(" receive"); receive != std::string::npos) {
            line.erase(receive, 8);
        }
        if (line.starts_with("run ")) {
            const size_t clocks = line.find(' ', 4) + 1;
            line.erase(clocks, line.find(' ', clocks) - clocks);
        }
        all.push_back(line);
    }
    return all;
}

TEST(XsvfWriterTest, RandomFilesShiftTheSameBitsInBothFormats) {
    for (uint32_t seed = 1; seed <= 100; ++seed) {
        SCOPED_TRACE(seed);
        std::mt19937 random(seed);
        const std::string svf = random_svf(random);
        const auto [bytes, left] = to_xsvf(svf);
        EXPECT_EQ(left, Lines{});
        // The port answers what it is sent, so a comparison ends some of them early.
        svf::RecordingPort first;
        svf::RecordingPort second;
        play::TextSource text_source(svf, "a.svf");
        play::TextSource byte_source(bytes, "a.xsvf");
        svf::Reader text_reader(text_source, first);
        Reader byte_reader(byte_source, second);
        play::PlayOptions on;
        on.keep_going = true;
        play::Player text_player(first, on);
        play::Player byte_player(second, on);
        ASSERT_TRUE(text_player.play(text_reader));
        ASSERT_TRUE(byte_player.play(byte_reader));
        EXPECT_EQ(bits_of(first.log), bits_of(second.log)) << svf;
        EXPECT_EQ(text_player.report().mismatches, byte_player.report().mismatches);

        const auto [again, lost] = to_svf(bytes);
        EXPECT_EQ(lost, Lines{});
        svf::RecordingPort third;
        play::TextSource again_source(again, "b.svf");
        svf::Reader again_reader(again_source, third);
        play::Player again_player(third, on);
        ASSERT_TRUE(again_player.play(again_reader));
        EXPECT_EQ(third.log, second.log) << again;
    }
}

TEST(SvfWriterTest, WritesEveryStep) {
    const std::string text =
        "FREQUENCY 1000000 HZ;\nFREQUENCY;\nTRST ON;\nTRST OFF;\nENDIR IRPAUSE;\n"
        "SIR 8 TDI (2A) TDO (01) MASK (0F);\nENDDR DRPAUSE;\n"
        "SDR 300 TDI (" +
        std::string(75, '5') +
        ");\nRUNTEST IDLE 7 TCK 0.000001 SEC MAXIMUM 2 SEC ENDSTATE RESET;\n"
        "STATE IDLE;\n";
    svf::RecordingPort port;
    play::TextSource source(text, "a.svf");
    svf::Reader reader(source, port);
    const auto [again, left] = written<svf::Writer>(reader);
    EXPECT_EQ(left, Lines{});
    EXPECT_EQ(again,
              "FREQUENCY 1000000 HZ;\nFREQUENCY;\nTRST ON;\nTRST OFF;\nENDIR IRPAUSE;\n"
              "SIR 8 TDI (2A) TDO (01) MASK (0F);\nENDDR DRPAUSE;\n"
              "SDR 300 TDI (" +
                  std::string(64, '5') + "\n " + std::string(11, '5') +
                  ");\nRUNTEST IDLE 7 TCK 0.000001000 SEC MAXIMUM 2.000000000 SEC ENDSTATE RESET;\n"
                  "STATE IDLE;\n");
    EXPECT_EQ(played_svf(again), played_svf(text));
}

TEST(SvfWriterTest, NamesWhatSvfCannotSay) {
    const std::string bytes{'\x08', 0, 0, 0, 8, '\x09', 1, 1, 0};
    EXPECT_EQ(to_svf(bytes).second, (Lines{"asking again for a wrong answer"}));
    EXPECT_EQ(played_xsvf(bytes).size(), 3U);
}

} // namespace
} // namespace talvor::xsvf
