// Generated files, read by the parser and by a model of the format that is as simple as can be.
#include "host/svf/parser.h"

#include <gtest/gtest.h>

#include <algorithm>
#include <cctype>
#include <map>
#include <random>
#include <sstream>
#include <string>
#include <vector>

namespace talvor::svf {
namespace {

// A scan statement: its keyword, its length and its values as bits in writing order, first bit
// first shifted.
struct Scanned {
    std::string keyword;
    size_t length = 0;
    std::map<std::string, std::string> values;

    friend bool operator==(const Scanned&, const Scanned&) = default;
};

// The model: no streaming, no tables, one bit at a time.
std::string without_comments(const std::string& text) {
    std::istringstream lines(text);
    std::string plain;
    for (std::string line; std::getline(lines, line);) {
        line = line.substr(0, line.find('!'));
        plain += line.substr(0, line.find("//"));
        plain += '\n';
    }
    return plain;
}

std::string bits_of(const std::string& digits, size_t length) {
    std::string bits;
    for (auto digit = digits.rbegin(); digit != digits.rend(); ++digit) {
        const int value = std::stoi(std::string(1, *digit), nullptr, 16);
        for (int i = 0; i < 4; ++i) {
            bits += ((value >> i) & 1) != 0 ? '1' : '0';
        }
    }
    bits.resize(std::max(bits.size(), length), '0');
    EXPECT_EQ(bits.find('1', length), std::string::npos);
    return bits.substr(0, length);
}

std::vector<Scanned> model(const std::string& text) {
    std::vector<Scanned> all;
    std::istringstream statements(without_comments(text));
    for (std::string statement; std::getline(statements, statement, ';');) {
        std::string spaced;
        for (const char c : statement) {
            if (c == '(' || c == ')') {
                spaced += ' ';
                spaced += c;
                spaced += ' ';
            } else {
                spaced.push_back(static_cast<char>(std::toupper(c)));
            }
        }
        std::istringstream words(spaced);
        Scanned scanned;
        if (!(words >> scanned.keyword >> scanned.length)) {
            continue;
        }
        for (std::string name, word; words >> name;) {
            std::string digits;
            for (words >> word; words >> word && word != ")";) {
                digits += word;
            }
            scanned.values[name] = bits_of(digits, scanned.length);
        }
        all.push_back(scanned);
    }
    return all;
}

class Writer {
public:
    explicit Writer(uint32_t seed) : random_(seed) {}

    std::string file(int statements) {
        for (int i = 0; i < statements; ++i) {
            statement();
        }
        return text_;
    }

private:
    size_t below(size_t limit) { return random_() % limit; }

    // What may stand between two words; never nothing when `must`.
    void gap(bool must) {
        static const std::vector<std::string> kGaps{
            " ", "\n", "\t", "  \r\n", " ! any; (thing\n", " // more) FF\n", "!\n"};
        if (must) {
            text_ += kGaps[below(kGaps.size())];
        }
        while (below(4) == 0) {
            text_ += kGaps[below(kGaps.size())];
        }
    }

    void word(const std::string& word) {
        for (const char c : word) {
            text_ += static_cast<char>(below(2) == 0 ? std::tolower(c) : c);
        }
    }

    void value(size_t length) {
        std::string digits(below(3), '0');
        const size_t count = below(6) == 0 ? length / 8 : length / 4;
        if (count == length / 4 && length % 4 != 0) {
            digits += "0137"[below(length % 4 + 1)];
        }
        for (size_t i = 0; i < count; ++i) {
            digits += "0123456789ABCDEF"[below(16)];
        }
        if (digits.empty()) {
            digits.push_back('0');
        }
        text_ += '(';
        const size_t wrap = 1 + below(100);
        gap(false);
        for (size_t i = 0; i < digits.size(); ++i) {
            word(digits.substr(i, 1));
            if (i % wrap == 0 && below(2) == 0) {
                gap(false);
            }
        }
        text_ += ')';
    }

    void statement() {
        static const std::vector<std::string> kKeywords{"SDR", "SIR", "HDR", "HIR", "TDR", "TIR"};
        std::vector<std::string> parameters{"TDI", "TDO", "MASK", "SMASK"};
        std::shuffle(parameters.begin(), parameters.end(), random_);
        parameters.resize(below(5));
        const size_t length = below(10) == 0 ? below(5000) : below(70);
        gap(false);
        word(kKeywords[below(kKeywords.size())]);
        gap(true);
        text_ += std::to_string(length);
        gap(true);
        for (const std::string& parameter : parameters) {
            word(parameter);
            gap(false);
            value(length);
            gap(false);
        }
        text_ += ';';
    }

    std::mt19937 random_;
    std::string text_;
};

void take(Scanned& scanned, const char* name, const HexParameter& parameter) {
    if (!parameter.given) {
        return;
    }
    std::string bits;
    for (size_t i = 0; i < parameter.value.size(); ++i) {
        bits += parameter.value[i] ? '1' : '0';
    }
    scanned.values[name] = bits;
}

std::vector<Scanned> parse(const std::string& text, size_t chunk_bytes) {
    play::TextSource source(text, "generated", chunk_bytes);
    Parser parser(source);
    Statement statement;
    std::vector<Scanned> all;
    while (true) {
        const Result<bool> more = parser.next(statement);
        EXPECT_TRUE(more) << headline(more.error());
        if (!more || !*more) {
            return all;
        }
        Scanned scanned{std::string(name(statement.kind)), statement.scan.length_bits, {}};
        take(scanned, "TDI", statement.scan.tdi);
        take(scanned, "TDO", statement.scan.tdo);
        take(scanned, "MASK", statement.scan.mask);
        take(scanned, "SMASK", statement.scan.smask);
        all.push_back(scanned);
    }
}

TEST(ParserGeneratedTest, AgreesWithTheModelOnEveryFile) {
    for (uint32_t seed = 1; seed <= 60; ++seed) {
        const std::string text = Writer(seed).file(60);
        const std::vector<Scanned> expected = model(text);
        ASSERT_EQ(expected.size(), 60U);
        EXPECT_EQ(parse(text, SIZE_MAX), expected) << seed;
        EXPECT_EQ(parse(text, 1 + seed % 37), expected) << seed;
    }
}

} // namespace
} // namespace talvor::svf
