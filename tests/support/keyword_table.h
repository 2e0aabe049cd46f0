// Comparison of a keyword table with what it must hold.
#pragma once

#include "jsc_export.h"

#include <gtest/gtest.h>

#include <string>
#include <utility>
#include <vector>

namespace test_support {

using Words = std::vector<std::pair<std::string, uint32_t>>;

// The table's words with their values, up to the null; 0 for a table without values.
inline Words words_of(const char* const* titles, const uint32_t* values) {
    Words words;
    for (; *titles != nullptr; ++titles) {
        words.emplace_back(*titles, values != nullptr ? *values++ : 0);
    }
    return words;
}

// Both arrays hold exactly these words and close with their ends.
inline void expect_table(const char* const* titles, const uint32_t* values, const Words& expected) {
    EXPECT_EQ(words_of(titles, values), expected);
    if (values != nullptr) {
        EXPECT_EQ(values[expected.size()], 0xFFFFFFFFu);
    }
}

} // namespace test_support
