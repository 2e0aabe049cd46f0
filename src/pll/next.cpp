// The next-frequency search: a ramp up, a bisection, steps back. All its memory is the host's
// PLL_Next.
#include "pll/coord.h"

namespace {

struct Proposal {
    coord_t next;
    bool done;
};

coord_t raised(coord_t coord, uint32_t margin) {
    pll_AddMargin(&coord, margin);
    return coord;
}

coord_t lowered(coord_t coord, uint32_t margin) {
    pll_SubMargin(&coord, margin);
    return coord;
}

Proposal start_ramp(PLL_Next& history) {
    history.expect = history.finish;
    history.actual = raised(history.finish, history.retreat);
    if (pll_OneGteTwo(history.minimum, history.expect)) {
        history.expect = history.minimum;
        history.actual = raised(history.minimum, history.retreat);
    }
    if (pll_OneGteTwo(history.actual, history.maximum)) {
        history.actual = history.maximum;
        history.expect = lowered(history.maximum, history.retreat);
    }
    return {.next = history.start, .done = false};
}

Proposal step_ramp(const PLL_Next& history, coord_t last) {
    if (pll_OneGteTwo(last, history.actual)) {
        return {.next = history.actual, .done = true};
    }
    const coord_t next = raised(last, history.advance);
    if (pll_OneGteTwo(next, history.actual)) {
        return {.next = history.actual, .done = true};
    }
    return {.next = next, .done = false};
}

// Kept: the division truncates toward zero, so that across an octave half the distance is rounded
// up where the lower bound's mantissa is the greater one, and down elsewhere. Hosts' searches walk
// these midpoints.
coord_t midpoint(const PLL_Next& history) {
    const CoordParts low = coord_parts(history.lower);
    const CoordParts high = coord_parts(history.higher);
    const int32_t half =
        high.y == low.y ? (high.z - low.z) / 2 : kCoordUnits / 2 - (low.z - high.z) / 2;
    const auto step = static_cast<z_coord_t>(half);
    if (low.z + step <= PLL_TCLK_Z_MAX) {
        return coord_pack({.y = low.y, .z = static_cast<z_coord_t>(low.z + step)});
    }
    return coord_pack({.y = high.y, .z = static_cast<z_coord_t>(high.z - step)});
}

Proposal start_bisection(PLL_Next& history, coord_t last) {
    const CoordParts high = coord_parts(last);
    CoordParts low = {.y = PLL_TCLK_Y_MIN, .z = PLL_TCLK_Z_MIN};
    if (high.y > PLL_TCLK_Y_MIN) {
        low = {.y = static_cast<y_coord_t>(high.y - 1), .z = high.z};
    }
    history.lower = coord_pack(low);
    history.higher = coord_pack(high);
    return {.next = midpoint(history), .done = false};
}

Proposal step_bisection(PLL_Next& history, bool failed) {
    (failed ? history.higher : history.lower) = midpoint(history);
    const CoordParts low = coord_parts(history.lower);
    const CoordParts high = coord_parts(history.higher);
    const int32_t width = high.z - low.z + (low.y == high.y ? 0 : kCoordUnits);
    if (width <= 1) {
        return {.next = history.lower, .done = true};
    }
    return {.next = midpoint(history), .done = false};
}

Proposal start_back(const PLL_Next& history, coord_t last) {
    const coord_t next = lowered(last, history.retreat);
    if (pll_OneGteTwo(history.minimum, next)) {
        return {.next = history.minimum, .done = true};
    }
    return {.next = pll_OneGteTwo(next, history.expect) ? history.expect : next, .done = false};
}

Proposal step_back(const PLL_Next& history, coord_t last) {
    if (pll_OneGteTwo(history.minimum, last)) {
        return {.next = history.minimum, .done = true};
    }
    const coord_t next = lowered(last, history.retreat);
    if (pll_OneGteTwo(history.minimum, next)) {
        return {.next = history.minimum, .done = true};
    }
    return {.next = next, .done = false};
}

} // namespace

int pll_GetNextFrequency(bool status, coord_t lastFreq, uint32_t request, bool* pIsItDone,
                         coord_t* pNextFreq, PLL_Next* pHistory) {
    Proposal proposal{};
    switch (request) {
    case PLL_STATE_STEP_INIT:
        proposal = start_ramp(*pHistory);
        break;
    case PLL_STATE_STEP:
        proposal = step_ramp(*pHistory, lastFreq);
        break;
    case PLL_STATE_POWER_INIT:
        proposal = start_bisection(*pHistory, lastFreq);
        break;
    case PLL_STATE_POWER:
        proposal = step_bisection(*pHistory, status);
        break;
    case PLL_STATE_MARGIN_INIT:
        proposal = start_back(*pHistory, lastFreq);
        break;
    case PLL_STATE_MARGIN:
        proposal = step_back(*pHistory, lastFreq);
        break;
    default:
        return eJTI_ERROR_SEARCH_REQUEST;
    }
    *pNextFreq = proposal.next;
    *pIsItDone = proposal.done;
    return eJTI_ERROR_NONE;
}
