#include "host/play/plan.h"

#include <gtest/gtest.h>

#include <deque>
#include <random>
#include <string>
#include <vector>

namespace talvor::play {
namespace {

// Steps in memory. Values that steps point to lie in `values`.
class ListSource final : public StepSource {
public:
    std::vector<Step> steps;
    std::deque<Bits> values;

    Status rewind() override {
        at_ = 0;
        return {};
    }
    Result<bool> next(Step& step) override {
        if (at_ == steps.size()) {
            return false;
        }
        step = steps[at_++];
        return true;
    }
    uint64_t bytes_taken() const override { return at_ == 0 ? 0 : steps[at_ - 1].bytes; }
    uint64_t line() const override { return at_ == 0 ? 1 : steps[at_ - 1].line; }
    uint64_t total_bytes() const override { return 12345; }
    const std::string& name() const override { return name_; }
    std::span<const std::string_view> statements() const override { return kNames; }
    void on_chunk(std::function<bool()>) override {}

    const uint16_t* keep(Bits bits) {
        values.push_back(std::move(bits));
        return values.back().words().data();
    }

private:
    static constexpr std::array<std::string_view, 3> kNames{"A", "B", "C"};
    size_t at_ = 0;
    std::string name_ = "list";
};

std::string value_text(const uint16_t* words, const ScanPart& part) {
    return words == nullptr ? "-"
                            : Bits::from_words({words, part.words()}, part.length_bits).to_hex();
}

// Everything that a step says, in words.
std::string text(const Step& step) {
    std::string all = std::to_string(static_cast<int>(step.kind)) + " " +
                      std::to_string(step.statement) + " " + std::to_string(step.line) + " " +
                      std::to_string(step.bytes) + ":";
    const auto add = [&all](uint64_t number) { all += " " + std::to_string(number); };
    switch (step.kind) {
    case Step::Kind::Scan:
        add(static_cast<uint64_t>(step.scan.path));
        add(static_cast<uint64_t>(step.scan.end));
        add(step.scan.total_bits);
        add(step.scan.retry.times);
        add(step.scan.retry.clocks);
        add(static_cast<uint64_t>(step.scan.retry.time.count()));
        for (const ScanPart& part : step.scan.parts) {
            add(part.length_bits);
            if (part.length_bits != 0) {
                all += "/" + std::to_string(part.statement) + " " + value_text(part.tdi, part) +
                       " " + value_text(part.tdo, part) + " " +
                       (part.compares() ? value_text(part.mask, part) : "");
            }
        }
        break;
    case Step::Kind::Path:
        for (const Leg& leg : step.legs) {
            add(static_cast<uint64_t>(leg.kind));
            add(static_cast<uint64_t>(leg.to));
            add(leg.clocks);
        }
        break;
    case Step::Kind::Run:
        add(static_cast<uint64_t>(step.run.state));
        add(static_cast<uint64_t>(step.run.end));
        add(step.run.clocks);
        add(static_cast<uint64_t>(step.run.min_time.count()));
        all += step.run.max_time ? std::to_string(step.run.max_time->count()) : "none";
        break;
    case Step::Kind::Frequency:
        all += step.hertz ? std::to_string(*step.hertz) : "full";
        break;
    case Step::Kind::Trst:
        add(static_cast<uint64_t>(step.trst));
        break;
    case Step::Kind::Nothing:
    case Step::Kind::PulseTrst:
        break;
    }
    return all;
}

class Maker {
public:
    explicit Maker(uint32_t seed) : random_(seed) {}

    ListSource make(size_t count) {
        uint64_t line = 1;
        uint64_t bytes = 0;
        for (size_t i = 0; i < count; ++i) {
            Step step;
            step.kind = below(3) == 0 ? static_cast<Step::Kind>(below(7)) : Step::Kind::Scan;
            step.statement = static_cast<StatementId>(below(3));
            step.line = line += below(4) == 0 ? random_() : below(3);
            step.bytes = bytes += below(9) == 0 ? uint64_t{1} << below(40) : below(300);
            fill(step);
            list_.steps.push_back(std::move(step));
        }
        return std::move(list_);
    }

private:
    uint64_t below(uint64_t limit) { return random_() % limit; }
    StableState state() { return static_cast<StableState>(below(4)); }

    const uint16_t* value(uint64_t length) {
        Bits bits(length);
        // Few values, so that many are those of before.
        const bool repeated = below(2) == 0;
        for (uint16_t& word : bits.words()) {
            word = repeated ? 0x5A5A : static_cast<uint16_t>(random_());
        }
        bits.clear_unused();
        return list_.keep(std::move(bits));
    }

    void fill_part(ScanPart& part, uint64_t least) {
        // Mostly of one shape, so that a part has something in common with the one before it.
        part.statement = static_cast<StatementId>(below(10) == 0 ? 1 : 0);
        part.length_bits = below(4) != 0 ? 37 : least + below(40) * (below(20) == 0 ? 5000 : 1);
        if (part.length_bits == 0) {
            return;
        }
        part.tdi = value(part.length_bits);
        part.tdo = below(2) == 0 ? nullptr : value(part.length_bits);
        part.mask = part.tdo == nullptr || below(2) == 0 ? nullptr : value(part.length_bits);
    }

    void fill(Step& step) {
        step.scan.path = below(2) == 0 ? ScanPath::Dr : ScanPath::Ir;
        step.scan.end = state();
        const bool wrapped = below(3) == 0;
        for (size_t i = 0; i < 3; ++i) {
            if (i == 1 || wrapped) {
                fill_part(step.scan.parts[i], i == 1 ? 1 : 0);
            }
            step.scan.total_bits += step.scan.parts[i].length_bits;
        }
        if (below(3) == 0) {
            step.scan.retry = {static_cast<uint32_t>(below(256)), random_(),
                               std::chrono::nanoseconds(random_() >> 1)};
        }
        for (uint64_t i = below(below(60) == 0 ? 3000 : 5); i > 0; --i) {
            step.legs.push_back({static_cast<Leg::Kind>(below(3)), state(), random_()});
        }
        step.run = {state(), random_() << below(30), std::chrono::nanoseconds(random_()),
                    std::nullopt, state()};
        if (below(2) == 0) {
            step.run.max_time = std::chrono::nanoseconds(random_());
        }
        if (below(2) == 0) {
            step.hertz = 1.5 + static_cast<double>(random_());
        }
        step.trst = static_cast<TrstLevel>(below(3));
    }

    std::mt19937_64 random_;
    ListSource list_;
};

TEST(PlanTest, GivesBackEveryStepAsItWas) {
    for (uint32_t seed = 1; seed <= 20; ++seed) {
        ListSource list = Maker(seed).make(150);
        Plan plan;
        for (const Step& step : list.steps) {
            plan.add(step);
        }
        ASSERT_TRUE(plan.whole());
        EXPECT_EQ(plan.steps(), list.steps.size());
        PlanReader reader(plan, list);
        // Twice: a plan is played as often as one likes.
        for (int pass = 0; pass < 2; ++pass) {
            ASSERT_TRUE(reader.rewind());
            Step step;
            for (const Step& expected : list.steps) {
                ASSERT_TRUE(reader.next(step).value());
                ASSERT_EQ(text(step), text(expected)) << seed;
                EXPECT_EQ(reader.line(), expected.line);
                EXPECT_EQ(reader.bytes_taken(), expected.bytes);
            }
            EXPECT_FALSE(reader.next(step).value());
        }
        EXPECT_EQ(reader.total_bytes(), 12345U);
        EXPECT_EQ(reader.name(), "list");
        EXPECT_EQ(reader.statements()[1], "B");
    }
}

Step scan_of(const Bits& tdi) {
    Step step;
    step.kind = Step::Kind::Scan;
    step.scan.parts[1] = {0, tdi.size(), tdi.words().data(), nullptr, nullptr};
    step.scan.total_bits = tdi.size();
    return step;
}

TEST(PlanTest, DropsEverythingWhenItDoesNotFit) {
    const Bits one(4'000'000, true);
    const Bits other(4'000'000, false);
    Plan plan(1'200'000);
    plan.add(scan_of(one));
    plan.add(scan_of(other));
    EXPECT_TRUE(plan.whole());
    EXPECT_GT(plan.bytes(), 1'000'000U);
    plan.add(scan_of(one));
    EXPECT_FALSE(plan.whole());
    EXPECT_EQ(plan.bytes(), 0U);
    plan.add(scan_of(Bits(1)));
    EXPECT_FALSE(plan.whole()) << "what is missing stays missing";
    EXPECT_EQ(plan.steps(), 0U);
    plan.clear();
    EXPECT_TRUE(plan.whole());
}

TEST(PlanTest, KeepsAValueThatComesAgainOnce) {
    const Bits value(4'000'000, true);
    Plan plan;
    for (int i = 0; i < 100; ++i) {
        plan.add(scan_of(value));
    }
    EXPECT_TRUE(plan.whole());
    EXPECT_LT(plan.bytes(), 1'000'000U);
}

TEST(PlanTest, HoldsNoFileThatCannotBePlayed) {
    Plan plan;
    Step step = scan_of(Bits(8));
    step.refusal = Error{ErrorKind::Refused, 0, "f:1", "no", ""};
    plan.add(step);
    EXPECT_FALSE(plan.whole());
}

} // namespace
} // namespace talvor::play
