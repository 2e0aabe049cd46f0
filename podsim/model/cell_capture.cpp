#include "podsim/model/cell_capture.h"

#include "common/text.h"

#include <array>
#include <charconv>

namespace talvor::podsim {
namespace {

using enum CaptureSource;

// The columns: SAMPLE, EXTEST, INTEST. Where the standard leaves open what is captured, the cell
// captures the pin where it watches that anyway, else its update stage.
struct Columns {
    CaptureSource sample;
    CaptureSource extest;
    CaptureSource intest;
};

struct Type {
    Columns input;
    Columns output;
    Columns control;
};

constexpr Columns kPin{Pin, Pin, Pin};
constexpr Columns kPinButIntest{Pin, Pin, Latch};
constexpr Columns kCore{Core, Core, Core};
constexpr Columns kCoreButExtest{Core, Latch, Core};
constexpr Columns kCoreWatched{Core, Pin, Core};

constexpr std::array<Type, 11> kTypes{{
    {kPin, kCore, kCore},                            // BC_0: what every cell can be trusted to do
    {kPin, kCore, kCore},                            // BC_1
    {kPinButIntest, kCoreButExtest, kCoreButExtest}, // BC_2: its own output comes back
    {kPin, kCore, kCore},                            // BC_3: inputs, no update stage
    {kPin, kCore, kCore},                            // BC_4: watches only
    {kPinButIntest, kCore, {Core, Core, Latch}},     // BC_5: input and control merged
    {kPinButIntest, kCoreButExtest, kCore},          // BC_6: bidirectional
    {kPinButIntest, kCoreWatched, kCore},            // BC_7: bidirectional, watches its pin
    {kPin, kPin, kCore},                             // BC_8: the same, and in SAMPLE as well
    {kPin, kCoreWatched, kCore},                     // BC_9: an output that watches its pin
    {kPin, kPin, kCore},                             // BC_10: the same, and in SAMPLE as well
}};

const Type& type_of(std::string_view name) noexcept {
    constexpr size_t kLikeOthers = 1;
    constexpr size_t kPrefix = 3; // "BC_" or "AC_"
    const std::string_view prefix = name.substr(0, kPrefix);
    if (!same_name(prefix, "BC_") && !same_name(prefix, "AC_")) {
        return kTypes[kLikeOthers];
    }
    size_t number = kTypes.size();
    const char* const last = name.data() + name.size();
    const auto [end, error] = std::from_chars(name.data() + kPrefix, last, number);
    const bool known = error == std::errc{} && end == last && number < kTypes.size();
    return kTypes[known ? number : kLikeOthers];
}

const Columns& columns_of(const Type& type, bsdl::CellFunction function, bool enabled) noexcept {
    switch (function) {
    case bsdl::CellFunction::Input:
    case bsdl::CellFunction::Clock:
        return type.input;
    case bsdl::CellFunction::ObserveOnly:
        return kPin;
    case bsdl::CellFunction::Control:
    case bsdl::CellFunction::ControlR:
        return type.control;
    case bsdl::CellFunction::Internal:
        return kCore;
    case bsdl::CellFunction::Bidir:
        return enabled ? type.output : type.input;
    case bsdl::CellFunction::Output2:
    case bsdl::CellFunction::Output3:
        break;
    }
    return type.output;
}

} // namespace

CaptureSource capture_of(std::string_view type, bsdl::CellFunction function, bool enabled,
                         TestMode mode) noexcept {
    const Columns& columns = columns_of(type_of(type), function, enabled);
    switch (mode) {
    case TestMode::Extest:
        return columns.extest;
    case TestMode::Intest:
        return columns.intest;
    case TestMode::Normal:
    case TestMode::Highz:
        break;
    }
    return columns.sample;
}

} // namespace talvor::podsim
