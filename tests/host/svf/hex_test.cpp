#include "host/svf/hex.h"

#include <gtest/gtest.h>

#include <optional>
#include <random>
#include <string>

namespace talvor::svf {
namespace {

// The value of `text` fed in pieces of `piece` characters; nothing when it is too wide.
std::optional<Bits> read(HexReader& reader, const std::string& text, size_t length,
                         size_t piece = SIZE_MAX) {
    reader.begin(length);
    for (size_t at = 0; at < text.size();) {
        const size_t count = std::min(piece, text.size() - at);
        const char* from = text.data() + at;
        EXPECT_EQ(reader.feed(from, from + count), from + count);
        at += count;
    }
    if (reader.too_wide()) {
        return std::nullopt;
    }
    Bits bits;
    reader.finish(bits);
    return bits;
}

TEST(HexReaderTest, StopsAtTheFirstCharacterThatIsNoDigit) {
    for (size_t digits = 0; digits < 40; ++digits) {
        for (const char stop : {')', ' ', '\n', 'g', 'G', '/', ':', '@', '`', '\x10', '\xB1'}) {
            std::string text(digits, '7');
            text.push_back(stop);
            text.append(30, '7');
            HexReader reader;
            reader.begin(1000);
            EXPECT_EQ(reader.feed(text.data(), text.data() + text.size()), text.data() + digits)
                << digits << " then " << static_cast<int>(stop);
            EXPECT_EQ(reader.has_digits(), digits != 0);
        }
    }
}

TEST(HexReaderTest, AgreesWithTheSimpleReaderInPiecesOfAnySize) {
    std::mt19937 random(2);
    HexReader reader;
    for (int round = 0; round < 500; ++round) {
        std::string text;
        for (size_t i = 1 + random() % 150; i > 0; --i) {
            text += "0123456789abcdefABCDEF"[random() % 22];
        }
        const size_t length = text.size() * 4 + random() % 40;
        EXPECT_EQ(read(reader, text, length, 1 + random() % 50),
                  Bits::from_hex(text, length).value())
            << text;
    }
}

TEST(HexReaderTest, MeasuresTheValueAndNotTheDigits) {
    HexReader reader;
    EXPECT_EQ(read(reader, "0000000000000000000000001F", 5), Bits::from_uint(0x1F, 5));
    EXPECT_EQ(read(reader, "1F", 4), std::nullopt);
    EXPECT_EQ(read(reader, "20", 5), std::nullopt);
    EXPECT_EQ(read(reader, "0", 0), Bits());
    EXPECT_EQ(read(reader, "1", 0), std::nullopt);
    EXPECT_EQ(read(reader, std::string(64, 'F'), 256), Bits::ones(256));
    EXPECT_EQ(read(reader, std::string(64, 'F'), 255), std::nullopt);
    EXPECT_EQ(read(reader, std::string("7").append(63, 'F'), 255), Bits::ones(255));
    EXPECT_EQ(read(reader, std::string(100000, 'F'), 255), std::nullopt);
    EXPECT_EQ(read(reader, std::string(100, '0') + "1", 8), Bits::from_uint(1, 8));
}

TEST(HexReaderTest, ServesOneValueAfterTheOther) {
    HexReader reader;
    EXPECT_EQ(read(reader, "123456789ABCDEF01234", 80)->to_hex(), "123456789ABCDEF01234");
    EXPECT_EQ(read(reader, "5", 80)->to_hex(), "00000000000000000005");
}

TEST(WholeHexTest, AgreesWithTheSimpleReader) {
    std::mt19937 random(4);
    for (int round = 0; round < 3000; ++round) {
        const size_t length = 1 + random() % 300;
        std::string text;
        for (size_t i = (length + 3) / 4; i > 0; --i) {
            text += "0123456789abcdefABCDEF"[random() % 22];
        }
        const Result<Bits> expected = Bits::from_hex(text, length);
        const std::string all = text + ")rest";
        Bits value = Bits::ones(random() % 400); // what it held before means nothing
        const char* const end = read_whole_hex(all.data(), all.data() + all.size(), length, value);
        if (!expected) {
            EXPECT_EQ(end, nullptr) << text << " in " << length;
        } else {
            ASSERT_EQ(end, all.data() + text.size() + 1) << text << " in " << length;
            EXPECT_EQ(value, *expected);
        }
    }
}

TEST(WholeHexTest, LeavesWhatIsNotOneStretchToTheReader) {
    const std::string good = "0123456789ABCDEF0123456789ABCDEF01234";
    Bits value;
    const auto read = [&value](const std::string& text, size_t length) {
        return read_whole_hex(text.data(), text.data() + text.size(), length, value) != nullptr;
    };
    const size_t length = good.size() * 4;
    EXPECT_TRUE(read(good + ")", length));
    EXPECT_FALSE(read(good, length)) << "no end in sight";
    EXPECT_FALSE(read(good.substr(1) + ")", length));
    EXPECT_FALSE(read("0" + good + ")", length));
    EXPECT_FALSE(read(")", 0));
    for (size_t i = 0; i < good.size(); ++i) {
        for (const char wrong : {' ', '\n', ')', 'g', '@', '`', '/', ':', '\0', '\xB1'}) {
            std::string bad = good + ")";
            bad[i] = wrong;
            EXPECT_FALSE(read(bad, length)) << i << " " << static_cast<int>(wrong);
        }
    }
}

TEST(HexReaderTest, KnowsDigits) {
    std::string digits;
    for (int c = -3; c < 256; ++c) {
        if (HexReader::is_digit(c)) {
            digits += static_cast<char>(c);
        }
    }
    EXPECT_EQ(digits, "0123456789ABCDEFabcdef");
}

} // namespace
} // namespace talvor::svf
