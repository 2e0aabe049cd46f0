#include "sys/token.h"

#include <gtest/gtest.h>

#include <random>
#include <string>
#include <string_view>
#include <utility>
#include <vector>

namespace {

strfixed_t fixed(std::string_view text) {
    return {.str = text.data(), .len = static_cast<uint32_t>(text.size())};
}

struct Step {
    std::string_view text;
    std::string_view delimiters;
    uint32_t token;
    std::string_view rest; // empty: null is left
};

TEST(TokenTest, ATokenEndsAtTheFirstDelimiterAndAllDelimitersBehindItGo) {
    const Step cases[] = {
        {"ab,,cd", ",", 2, "cd"},
        {",ab", ",", 0, "ab"},
        {"ab", ",", 2, ""},
        {"ab,", ",", 2, ""},
        {"ab,,", ",", 2, ""},
        {",", ",", 0, ""},
        {"a;,b,c", ",;", 1, "b,c"},
        {",,;ab;c", ";,", 0, "ab;c"},
        {"a b\tc", " \t", 1, "b\tc"},
        {std::string_view("a\0b", 3), std::string_view("\0", 1), 1, "b"},
        {std::string_view("a\0b", 3), ",", 3, ""},
    };
    for (const Step& c : cases) {
        strfixed_t parse = fixed(c.text);
        strfixed_t delimiters = fixed(c.delimiters);
        EXPECT_EQ(sys_StrTokenSafe(&parse, &delimiters), c.token) << c.text;
        EXPECT_EQ(parse.len, c.rest.size()) << c.text;
        if (c.rest.empty()) {
            EXPECT_EQ(parse.str, nullptr) << c.text;
        } else {
            EXPECT_EQ(parse.str, c.text.data() + c.text.size() - c.rest.size()) << c.text;
            EXPECT_EQ(std::string_view(parse.str, parse.len), c.rest);
        }
        EXPECT_EQ(delimiters.str, c.delimiters.data());
        EXPECT_EQ(delimiters.len, c.delimiters.size());
    }
}

TEST(TokenTest, TheLengthBoundsTheText) {
    strfixed_t parse{.str = "abcd,e", .len = 3};
    strfixed_t delimiters{.str = ",x", .len = 1};
    EXPECT_EQ(sys_StrTokenSafe(&parse, &delimiters), 3U);
    EXPECT_EQ(parse.str, nullptr);

    strfixed_t with_x{.str = "axb,c", .len = 5};
    EXPECT_EQ(sys_StrTokenSafe(&with_x, &delimiters), 3U);
    EXPECT_EQ(std::string_view(with_x.str, with_x.len), "c");
}

TEST(TokenTest, NullAndEmptyTextsGiveZeroUnchanged) {
    const char* const text = "ab";
    const strfixed_t missing[] = {{nullptr, 0}, {nullptr, 3}, {text, 0}};
    for (const strfixed_t& none : missing) {
        strfixed_t parse = none;
        strfixed_t delimiters = fixed(",");
        EXPECT_EQ(sys_StrTokenSafe(&parse, &delimiters), 0U);
        EXPECT_EQ(parse.str, none.str);
        EXPECT_EQ(parse.len, none.len);

        parse = fixed(text);
        delimiters = none;
        EXPECT_EQ(sys_StrTokenSafe(&parse, &delimiters), 0U);
        EXPECT_EQ(parse.str, text);
        EXPECT_EQ(parse.len, 2U);
    }
    strfixed_t parse = fixed(text);
    EXPECT_EQ(sys_StrTokenSafe(&parse, nullptr), 0U);
    EXPECT_EQ(sys_StrTokenSafe(nullptr, &parse), 0U);
    EXPECT_EQ(parse.len, 2U);
}

// The first token's length and the rest, by the searches of std::string.
std::pair<size_t, std::string> model(const std::string& text, const std::string& set) {
    const size_t token = std::min(text.find_first_of(set), text.size());
    const size_t rest = text.find_first_not_of(set, token);
    return {token, rest == std::string::npos ? "" : text.substr(rest)};
}

TEST(TokenTest, AgreesWithStringSearches) {
    std::mt19937 random(20260105);
    const std::string letters = "ab,; ";
    std::uniform_int_distribution<size_t> letter(0, letters.size() - 1);
    std::uniform_int_distribution<size_t> length(1, 9);
    for (int i = 0; i < 100'000; ++i) {
        std::string text(length(random), ' ');
        for (char& character : text) {
            character = letters[letter(random)];
        }
        const std::string set = letters.substr(2, 1 + letter(random) % 3);
        strfixed_t parse = fixed(text);
        strfixed_t delimiters = fixed(set);
        const auto [token, rest] = model(text, set);
        ASSERT_EQ(sys_StrTokenSafe(&parse, &delimiters), token) << text;
        ASSERT_EQ(parse.str == nullptr ? "" : std::string(parse.str, parse.len), rest) << text;
    }
}

} // namespace
