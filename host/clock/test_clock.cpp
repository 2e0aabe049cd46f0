#include "host/clock/test_clock.h"

#include "host/board/configuration.h"

#include <fmt/format.h>

#include <algorithm>

namespace talvor {
namespace {

constexpr uint32_t kFirstGeneration = 1;
constexpr uint32_t kMaxDivider1 = 12;
constexpr uint32_t kMaxDivider = 15;
constexpr uint32_t kMaxExponent = 7;

constexpr const char* kDividerKey = "KELM.POD_TCKDIV";
constexpr const char* kExponentKey = "KELM.POD_TCKEXP";
constexpr const char* kPredivideKey = "KELM.POD_TCKPREDIVENA";

std::string trimmed(double value) {
    std::string text = fmt::format("{:.3f}", value);
    text.erase(text.find_last_not_of('0') + 1);
    if (text.ends_with('.')) {
        text.pop_back();
    }
    return text;
}

} // namespace

TestClock::TestClock(ClockFormula formula, uint32_t generation)
    : formula_(formula), generation_(generation) {
    const bool first = generation_ == kFirstGeneration;
    for (const bool predivide : {false, true}) {
        for (uint32_t exponent = 0; exponent <= (first ? 0 : kMaxExponent); ++exponent) {
            for (uint32_t divider = 0; divider <= (first ? kMaxDivider1 : kMaxDivider); ++divider) {
                settings_.push_back({divider, exponent, predivide});
            }
        }
    }
    // Stable, so that of equal frequencies the one to be preferred comes first.
    std::stable_sort(settings_.begin(), settings_.end(),
                     [this](const ClockSetting& left, const ClockSetting& right) {
                         return hertz(left) < hertz(right);
                     });
}

uint64_t TestClock::hertz(const ClockSetting& setting) const noexcept {
    const uint64_t base = setting.predivide ? formula_.predivided_hz : formula_.base_hz;
    // A board file may hold anything; the driver refuses it later.
    const uint32_t exponent =
        generation_ == kFirstGeneration ? 0 : std::min(setting.exponent, kMaxExponent);
    return base / ((uint64_t{setting.divider} + formula_.offset) << exponent);
}

uint64_t TestClock::fastest() const noexcept {
    return hertz(settings_.back());
}
uint64_t TestClock::slowest() const noexcept {
    return hertz(settings_.front());
}

std::optional<ClockSetting> TestClock::at_most(double limit) const {
    const ClockSetting* best = nullptr;
    for (const ClockSetting& setting : settings_) {
        if (static_cast<double>(hertz(setting)) > limit) {
            break;
        }
        if (best == nullptr || hertz(setting) > hertz(*best)) {
            best = &setting;
        }
    }
    return best == nullptr ? std::nullopt : std::optional(*best);
}

ClockSetting TestClock::setting(const KeyStore& keys) const {
    ClockSetting setting;
    if (const Key* key = keys.find(kDividerKey)) {
        (void)parse_unsigned(key->text, setting.divider);
    }
    if (const Key* key = keys.find(kExponentKey)) {
        (void)parse_unsigned(key->text, setting.exponent);
    }
    if (const Key* key = keys.find(kPredivideKey)) {
        (void)parse_boolean(key->text, setting.predivide);
    }
    if (generation_ == kFirstGeneration) {
        setting.exponent = 0;
    }
    return setting;
}

void TestClock::apply(const ClockSetting& setting, KeyStore& keys) const {
    keys.set(kDividerKey, fmt::format("{}", setting.divider));
    if (generation_ != kFirstGeneration) {
        keys.set(kExponentKey, fmt::format("{}", setting.exponent));
    }
    keys.set(kPredivideKey, setting.predivide ? "true" : "false");
}

std::string frequency_text(double hertz) {
    if (hertz >= 1e6) {
        return trimmed(hertz / 1e6) + " MHz";
    }
    if (hertz >= 1e3) {
        return trimmed(hertz / 1e3) + " kHz";
    }
    return trimmed(hertz) + " Hz";
}

} // namespace talvor
