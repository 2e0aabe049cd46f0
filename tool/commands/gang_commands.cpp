#include "tool/commands/gang_commands.h"

#include "common/text.h"
#include "host/clock/test_clock.h"
#include "tool/commands/rate_text.h"

#include <fmt/format.h>

#include <algorithm>
#include <charconv>

namespace talvor {
namespace {

std::string text_at(const Json& document, const std::string& path) {
    const Json* found = document.find(path);
    return found == nullptr ? std::string() : found->scalar_text().value_or("");
}

double number_at(const Json& document, const std::string& path) {
    const std::string text = text_at(document, path);
    double number = 0;
    (void)std::from_chars(text.data(), text.data() + text.size(), number);
    return number;
}

uint64_t count_at(const Json& document, const std::string& path) {
    return static_cast<uint64_t>(number_at(document, path));
}

std::string frequency_at(const Json& document, const std::string& path) {
    return frequency_text(number_at(document, path));
}

// "5 devices: 0x2C0DE7E3 0x1A2B3C4D - 0x3D5A07E3 0x05707E35"
std::string chain_summary(const Json& document) {
    const Json* devices = document.find("devices");
    const size_t count = devices == nullptr ? 0 : devices->size();
    std::string text = count_text(count, "device") + (count == 0 ? "" : ":");
    for (size_t i = 0; i < count; ++i) {
        const std::string code = text_at(*devices, fmt::format("{}.idcode", i));
        text += code == "null" ? " -" : " " + code;
    }
    return text;
}

std::string play_summary(const Json& document) {
    const auto sum = [&document](const char* one, const char* other) {
        return count_at(document, one) + count_at(document, other);
    };
    return fmt::format("{} of {}, {} compared{}",
                       count_text(sum("summary.ir_scans", "summary.dr_scans"), "scan"),
                       count_text(sum("summary.ir_bits", "summary.dr_bits"), "bit"),
                       count_at(document, "summary.compared_scans"),
                       text_at(document, "dry_run") == "true" ? "; can be played" : "");
}

size_t size_at(const Json& document, const std::string& path) {
    const Json* found = document.find(path);
    return found == nullptr ? 0 : found->size();
}

// "122 pins: 40 high, 60 low": the levels of the others are not known.
std::string pins_summary(const Json& document) {
    size_t count = 0;
    size_t high = 0;
    size_t low = 0;
    for (size_t i = 0; i < size_at(document, "devices"); ++i) {
        const std::string pins = fmt::format("devices.{}.pins", i);
        count += size_at(document, pins);
        for (size_t pin = 0; pin < size_at(document, pins); ++pin) {
            const std::string level = text_at(document, fmt::format("{}.{}.level", pins, pin));
            high += level == "1" ? 1U : 0U;
            low += level == "0" ? 1U : 0U;
        }
    }
    return fmt::format("{}: {} high, {} low", count_text(count, "pin"), high, low);
}

// "PA(0)=1 RESET=0"
std::string levels_summary(const Json& document) {
    std::string text;
    for (size_t i = 0; i < size_at(document, "pins"); ++i) {
        const std::string pin = fmt::format("pins.{}", i);
        const std::string level = text_at(document, pin + ".level");
        text += fmt::format("{}{}={}", text.empty() ? "" : " ", text_at(document, pin + ".name"),
                            level == "null" ? "-" : level);
    }
    return text;
}

std::string search_summary(const Json& document) {
    return fmt::format("{}, with the margin {}", frequency_at(document, "highest_hz"),
                       frequency_at(document, "chosen.actual_hz"));
}

std::string rate_text_at(const Json& document, const std::string& measurement) {
    return text_at(document, measurement + ".name") + ": " +
           rate_text(number_at(document, measurement + ".rate"),
                     text_at(document, measurement + ".unit"));
}

size_t measurements_of(const Json& document) {
    const Json* all = document.find("measurements");
    return all == nullptr ? 0 : all->size();
}

// The first one and the last, which are what exchanges and data may expect.
std::string bench_summary(const Json& document) {
    const size_t count = measurements_of(document);
    return count == 0 ? ""
                      : rate_text_at(document, "measurements.0") + ", " +
                            rate_text_at(document, fmt::format("measurements.{}", count - 1));
}

Json bench_together(const std::vector<const Json*>& documents) {
    Json all = Json::array();
    size_t count = documents.empty() ? 0 : measurements_of(*documents.front());
    for (const Json* document : documents) {
        count = std::min(count, measurements_of(*document));
    }
    for (size_t i = 0; i < count; ++i) {
        const std::string place = fmt::format("measurements.{}", i);
        std::vector<double> rates;
        for (const Json* document : documents) {
            rates.push_back(number_at(*document, place + ".rate"));
        }
        double sum = 0;
        for (const double rate : rates) {
            sum += rate;
        }
        const auto [least, most] = std::ranges::minmax(rates);
        const std::string name = text_at(*documents.front(), place + ".name");
        const std::string unit = text_at(*documents.front(), place + ".unit");
        all.push_back(
            Json{{"text",
                  fmt::format("{}: {} together; the slowest pod has {}, the fastest {}", name,
                              rate_text(sum, unit), rate_text(least, unit), rate_text(most, unit))},
                 {"name", name},
                 {"rate", sum},
                 {"slowest", least},
                 {"fastest", most},
                 {"unit", unit}});
    }
    return all;
}

} // namespace

std::span<const GangCommand> gang_commands() {
    static const std::vector<std::string_view> kPictures{"--svg", "--around"};
    static const std::vector<std::string_view> kSeries{"--svg", "--vcd", "--watch"};
    static const std::vector<GangCommand> kCommands{
        {"chain", chain_summary},
        {"pins", pins_summary, nullptr, kSeries},
        {"pins get", levels_summary},
        {"tclk search", search_summary},
        {"bench", bench_summary, bench_together},
        {"play", play_summary, nullptr, kPictures},
        {"svf", play_summary, nullptr, kPictures},
        {"xsvf", play_summary, nullptr, kPictures},
        {"stapl", play_summary, nullptr, kPictures},
    };
    return kCommands;
}

const GangCommand* find_gang_command(std::string_view path) {
    const auto found = std::ranges::find(gang_commands(), path, &GangCommand::path);
    return found == gang_commands().end() ? nullptr : &*found;
}

} // namespace talvor
