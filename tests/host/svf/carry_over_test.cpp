// Random statements, read by reader and plan, and by a model of what carries over that keeps text.
#include "host/play/checker.h"
#include "host/play/plan.h"
#include "host/svf/reader.h"
#include "tests/host/svf/recording_port.h"

#include <fmt/format.h>
#include <gtest/gtest.h>

#include <map>
#include <optional>
#include <random>
#include <string>
#include <vector>

namespace talvor::svf {
namespace {

// A value as digits of the width of its length, or nothing.
using Value = std::optional<std::string>;

struct Said {
    size_t length = 0;
    Value tdi;
    Value tdo;
    Value mask;
};

std::string one_part(const std::string& name, const Said& said) {
    if (said.length == 0) {
        return "";
    }
    const std::string ones = Bits::ones(said.length).to_hex();
    return fmt::format("{}{}:{}>{}&{} ", name, said.length, *said.tdi, said.tdo.value_or("-"),
                       said.tdo ? said.mask.value_or(ones) : "");
}

// Writes statements and, beside them, what each scan must be.
class Author {
public:
    explicit Author(uint32_t seed) : random_(seed) {}

    void statement() {
        static const std::vector<std::string> kNames{"SDR", "SDR", "SDR", "SIR", "SIR",
                                                     "HDR", "TDR", "HIR", "TIR"};
        const std::string name = kNames[random_() % kNames.size()];
        Said& said = memory_[name];
        const bool scans = name[0] == 'S';
        const size_t length =
            random_() % 3 != 0 && said.length != 0 ? said.length : random_() % 70 + (scans ? 1 : 0);
        if (length != said.length) {
            said = {length, std::nullopt, std::nullopt, std::nullopt};
        }
        text += fmt::format("{} {}", name, length);
        const bool must = !said.tdi && length != 0;
        parameter("TDI", said.length, must ? 1 : 2, said.tdi);
        said.tdo.reset();
        parameter("TDO", said.length, 2, said.tdo);
        parameter("MASK", said.length, 3, said.mask);
        Value smask;
        parameter("SMASK", said.length, 4, smask);
        text += ";\n";
        if (scans) {
            const std::string path = name.substr(1);
            expected.push_back(one_part("H" + path, memory_["H" + path]) + one_part(name, said) +
                               one_part("T" + path, memory_["T" + path]));
        }
    }

    std::string text;
    std::vector<std::string> expected;

private:
    void parameter(const char* keyword, size_t length, uint32_t one_of, Value& value) {
        if (length == 0 || random_() % one_of != 0) {
            return;
        }
        Bits bits(length);
        const uint32_t how = random_() % 4; // zeros and ones as often as anything else
        for (uint16_t& word : bits.words()) {
            word = static_cast<uint16_t>(how == 0 ? 0 : how == 1 ? 0xFFFF : random_());
        }
        bits.clear_unused();
        value = bits.to_hex();
        std::string written = *value;
        if (random_() % 3 == 0) {
            written.erase(0, std::min(written.find_first_not_of('0'), written.size() - 1));
        }
        if (random_() % 5 == 0) {
            written.insert(written.size() / 2, "\n ");
        }
        text += fmt::format(" {} ({})", keyword, written);
    }

    std::mt19937 random_;
    std::map<std::string, Said> memory_;
};

Value digits(const uint16_t* words, const play::ScanPart& part) {
    return words == nullptr
               ? Value()
               : Value(Bits::from_words({words, part.words()}, part.length_bits).to_hex());
}

std::vector<std::string> scans_of(play::StepSource& source) {
    std::vector<std::string> seen;
    EXPECT_TRUE(source.rewind());
    play::Step step;
    while (true) {
        const Result<bool> more = source.next(step);
        EXPECT_TRUE(more) << headline(more.error());
        if (!more || !*more) {
            return seen;
        }
        EXPECT_FALSE(step.refusal) << headline(*step.refusal);
        if (step.kind != play::Step::Kind::Scan) {
            continue;
        }
        std::string line;
        for (const play::ScanPart& part : step.scan.parts) {
            line += one_part(std::string(source.statements()[part.statement]),
                             {part.length_bits, digits(part.tdi, part), digits(part.tdo, part),
                              digits(part.mask, part)});
        }
        seen.push_back(line);
    }
}

TEST(CarryOverTest, ReaderAndPlanAgreeWithTheModel) {
    for (uint32_t seed = 1; seed <= 40; ++seed) {
        Author author(seed);
        for (int i = 0; i < 150; ++i) {
            author.statement();
        }
        const RecordingPort port;
        for (const size_t chunk : {SIZE_MAX, size_t{1} + seed}) {
            play::TextSource text(author.text, "t.svf", chunk);
            Reader reader(text, port);
            ASSERT_EQ(scans_of(reader), author.expected) << seed;
            play::Plan plan;
            const Result<play::CheckReport> checked = play::check(reader, {{}, &plan});
            ASSERT_TRUE(checked);
            ASSERT_TRUE(checked->can_be_played());
            ASSERT_TRUE(plan.whole());
            play::PlanReader planned(plan, reader);
            ASSERT_EQ(scans_of(planned), author.expected) << seed;
        }
    }
}

} // namespace
} // namespace talvor::svf
