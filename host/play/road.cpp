#include "host/play/road.h"

#include <algorithm>
#include <array>
#include <limits>

namespace talvor::play {

namespace {

constexpr std::array kStables{StableState::Reset, StableState::Idle, StableState::PauseDr,
                              StableState::PauseIr};
constexpr size_t index_of(StableState state) noexcept {
    return static_cast<size_t>(state);
}

// A visit that a target notices.
struct Visit {
    TapState state;
    uint64_t clocks;
};

bool noticed(TapState state) {
    switch (state) {
    case TapState::TestLogicReset:
    case TapState::RunTestIdle:
    case TapState::CaptureDr:
    case TapState::ShiftDr:
    case TapState::UpdateDr:
    case TapState::CaptureIr:
    case TapState::ShiftIr:
    case TapState::UpdateIr:
        return true;
    default:
        return false;
    }
}

std::vector<Visit> visits(std::span<const TapState> path) {
    std::vector<Visit> seen;
    for (const TapState state : path) {
        if (!noticed(state)) {
            continue;
        }
        if (is_stable(state) && !is_shift(state) && !seen.empty() && seen.back().state == state) {
            ++seen.back().clocks;
        } else {
            seen.push_back({state, 1});
        }
    }
    return seen;
}

// A route of the port: what leads over it, and what it costs.
struct Route {
    std::vector<Visit> visits;
    uint64_t clocks = 0;
};
using Routes = std::array<std::array<Route, kStables.size()>, kStables.size()>;

Routes routes_of(const JtagPort& port) {
    Routes routes;
    for (const StableState from : kStables) {
        for (const StableState to : kStables) {
            const std::vector<TapState> states =
                to == StableState::Reset ? shortest_route(tap_state(from), tap_state(to))
                                         : port.route(from, to);
            routes[index_of(from)][index_of(to)] = {visits(states), states.size()};
        }
    }
    // Where it stands already, one more clock does it.
    routes[index_of(StableState::Reset)][index_of(StableState::Reset)] = {
        {{TapState::TestLogicReset, 1}}, 1};
    return routes;
}

// Whether `route` makes the visits of `wanted`. Only where it ends can the TAP stay longer.
bool matches(const Route& route, std::span<const Visit> wanted) {
    const size_t count = route.visits.size();
    if (count == 0 || count > wanted.size()) {
        return false;
    }
    for (size_t i = 0; i < count; ++i) {
        if (route.visits[i].state != wanted[i].state) {
            return false;
        }
        if (i + 1 != count && wanted[i].state == TapState::RunTestIdle && wanted[i].clocks != 1) {
            return false;
        }
    }
    return true;
}

// The cheapest way to have made so many visits and to stand in a state.
struct Node {
    uint64_t cost = std::numeric_limits<uint64_t>::max();
    size_t visits_before = 0;
    StableState from = StableState::Reset;
};

std::vector<Leg> legs_to(StableState to, uint64_t clocks, bool stood_there) {
    if (to == StableState::Reset) {
        return {{Leg::Kind::Reset, to, 0}};
    }
    const bool stays = to == StableState::Idle && stood_there;
    std::vector<Leg> legs;
    if (!stays) {
        legs.push_back({Leg::Kind::Move, to, 0});
    }
    if (to == StableState::Idle && (stays || clocks > 1)) {
        legs.push_back({Leg::Kind::Stay, to, stays ? clocks : clocks - 1});
    }
    return legs;
}

// Every route makes a visit, so that a node depends on earlier ones only.
using Row = std::array<Node, kStables.size()>;

void extend(std::vector<Row>& rows, size_t at, StableState from, const Routes& routes,
            std::span<const Visit> wanted) {
    const uint64_t cost = rows[at][index_of(from)].cost;
    for (const StableState to : kStables) {
        const Route& route = routes[index_of(from)][index_of(to)];
        if (!matches(route, wanted.subspan(at))) {
            continue;
        }
        Node& node = rows[at + route.visits.size()][index_of(to)];
        if (cost + route.clocks < node.cost) {
            node = {cost + route.clocks, at, from};
        }
    }
}

} // namespace

std::optional<std::vector<Leg>> equal_road(const JtagPort& port, StableState from,
                                           std::span<const TapState> path) {
    const std::vector<Visit> wanted = visits(path);
    const Routes routes = routes_of(port);
    std::vector<Row> rows(wanted.size() + 1);
    rows[0][index_of(from)].cost = 0;
    for (size_t at = 0; at < wanted.size(); ++at) {
        for (const StableState state : kStables) {
            if (rows[at][index_of(state)].cost != std::numeric_limits<uint64_t>::max()) {
                extend(rows, at, state, routes, wanted);
            }
        }
    }
    StableState to = *stable_state(path.back());
    if (rows[wanted.size()][index_of(to)].cost == std::numeric_limits<uint64_t>::max()) {
        return std::nullopt;
    }
    std::vector<Leg> legs; // from the last to the first
    for (size_t at = wanted.size(); at != 0;) {
        const Node& node = rows[at][index_of(to)];
        const std::vector<Leg> more =
            legs_to(to, wanted[at - 1].clocks,
                    to == StableState::Idle && node.from == to && at == node.visits_before + 1);
        legs.insert(legs.end(), more.rbegin(), more.rend());
        at = node.visits_before;
        to = node.from;
    }
    std::reverse(legs.begin(), legs.end());
    return legs;
}

} // namespace talvor::play
