// Descriptions of pods as texts, and what is wrong with them.
#pragma once

#include "podsim/description/description.h"
#include "tests/podsim/reason.h"

#include <gtest/gtest.h>

#include <string>
#include <string_view>
#include <variant>
#include <vector>

namespace talvor::podsim::description {

inline Description parsed(std::string_view text) {
    auto description = parse(text, "pods.toml");
    EXPECT_TRUE(description) << reason_of(description);
    return description ? *std::move(description) : Description{};
}

inline const ChainDescription& chain_of(const Pod& pod) {
    return std::get<ChainDescription>(pod.target);
}

// A description that is wrong, and the one line that says so.
struct Wrong {
    std::string text;
    std::string reason;
};

inline void expect_reasons(const std::vector<Wrong>& all) {
    for (const Wrong& wrong : all) {
        const auto description = parse(wrong.text, "pods.toml");
        EXPECT_FALSE(description) << wrong.text;
        EXPECT_EQ(reason_of(description), "pods.toml:" + wrong.reason) << wrong.text;
    }
}

inline std::string pod_with(const std::string& lines) {
    return "[[pod]]\nserial = 1\n" + lines;
}

inline std::string tap_with(const std::string& lines) {
    return pod_with("[[pod.tap]]\nname = \"a\"\nir_length = 4\n" + lines);
}

inline std::string register_with(const std::string& lines) {
    return tap_with("[[pod.tap.register]]\nname = \"r\"\n" + lines);
}

} // namespace talvor::podsim::description
