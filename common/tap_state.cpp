#include "common/tap_state.h"

namespace talvor {
namespace {

void go_on(std::vector<TapState>& route, TapState to) {
    TapState at = route.back();
    const TmsPath path = shortest_path(at, to);
    for (unsigned i = 0; i < path.count; ++i) {
        at = next_state(at, ((path.tms >> i) & 1) != 0);
        route.push_back(at);
    }
}

} // namespace

std::vector<TapState> shortest_route(TapState from, TapState to) {
    std::vector<TapState> route{from};
    go_on(route, to);
    route.erase(route.begin());
    return route;
}

std::vector<TapState> standard_route(StableState from, StableState to) {
    std::vector<TapState> route{tap_state(from)};
    if (to == StableState::PauseDr) {
        go_on(route, TapState::CaptureDr);
    } else if (to == StableState::PauseIr) {
        go_on(route, TapState::CaptureIr);
    } else if (from == to) {
        return {tap_state(to)};
    }
    go_on(route, tap_state(to));
    route.erase(route.begin());
    return route;
}

} // namespace talvor
