// A source that is told what its scans brought.
#include "host/play/checker.h"
#include "host/play/player.h"
#include "tests/host/svf/recording_port.h"

#include <gtest/gtest.h>

#include <array>

namespace talvor::play {
namespace {

// Three scans: the second shifts what the first brought, the third is told of nothing.
class Asking final : public StepSource {
public:
    std::vector<std::string> told;
    std::optional<Error> complaint;
    int left = 3;

    Status rewind() override {
        left = 3;
        value_ = Bits::from_uint(0x5, 4);
        return {};
    }
    Result<bool> next(Step& step) override {
        if (left == 0) {
            return false;
        }
        step = {};
        step.kind = Step::Kind::Scan;
        step.scan.parts[0] = {0, 2, header_.words().data(), nullptr, nullptr};
        step.scan.parts[1] = {0, 4, value_.words().data(), value_.words().data(), nullptr};
        step.scan.total_bits = 6;
        step.scan.told = left-- != 1;
        if (left == 0) {
            step.scan.parts[1].tdo = nullptr;
        }
        return true;
    }
    void answer(const Step& step, const Bits& bits) override {
        told.push_back(bits.to_hex());
        value_ = bits.slice(step.scan.parts[0].length_bits, step.scan.parts[1].length_bits);
    }
    [[nodiscard]] bool fixed() const override { return false; }
    [[nodiscard]] std::optional<Error> verdict() const override { return complaint; }
    [[nodiscard]] uint64_t bytes_taken() const override { return 0; }
    [[nodiscard]] uint64_t line() const override { return 1; }
    [[nodiscard]] uint64_t total_bytes() const override { return 1; }
    [[nodiscard]] const std::string& name() const override { return name_; }
    [[nodiscard]] std::span<const std::string_view> statements() const override { return kNames; }
    void on_chunk(std::function<bool()>) override {}

private:
    static constexpr std::array<std::string_view, 1> kNames{"SCAN"};
    std::string name_ = "a";
    Bits header_ = Bits::from_uint(1, 2);
    Bits value_;
};

TEST(AnswerTest, ReachesTheSourceBeforeItsNextStepAndIsJudgedByItAlone) {
    svf::RecordingPort port;
    port.answers = {"2B", "0C"};
    Asking source;
    Player player(port, {});
    ASSERT_TRUE(player.play(source));
    EXPECT_EQ(source.told, (std::vector<std::string>{"2B", "0C"}));
    EXPECT_EQ(port.log,
              (std::vector<std::string>{"reset", "dr 6 15 receive IDLE", "dr 6 29 receive IDLE",
                                        "dr 6 0D IDLE", "flush"}));
    EXPECT_EQ(player.report().mismatches, 0U) << "the answers are other ones than the TDO";
    EXPECT_EQ(player.report().summary.compared_scans, 2U);
    EXPECT_TRUE(player.report().complete);
}

TEST(AnswerTest, WhatTheSourceSaysOfTheRunIsReported) {
    svf::RecordingPort port;
    Asking source;
    source.complaint = target_error("a:1", "it failed").value();
    Player player(port, {});
    ASSERT_TRUE(player.play(source));
    EXPECT_EQ(player.report().verdict, source.complaint);
    source.complaint.reset();
    ASSERT_TRUE(player.play(source));
    EXPECT_EQ(player.report().verdict, std::nullopt);
}

TEST(AnswerTest, ACheckTellsNothing) {
    Asking source;
    EXPECT_TRUE(check(source).value().can_be_played());
    EXPECT_TRUE(source.told.empty());
}

} // namespace
} // namespace talvor::play
