#include "host/boundary/package.h"

#include <algorithm>
#include <charconv>
#include <map>
#include <string_view>
#include <utility>

namespace talvor::boundary {
namespace {

constexpr size_t kSides = 4;
// A package with more places than this is none.
constexpr uint32_t kMostColumns = 200;
constexpr uint32_t kMostSpare = 2; // places for each pin, where numbers are left out

std::optional<uint32_t> number_in(std::string_view text) {
    uint32_t number = 0;
    const auto [end, error] = std::from_chars(text.data(), text.data() + text.size(), number);
    return error == std::errc() && end == text.data() + text.size() && number != 0
               ? std::optional(number)
               : std::nullopt;
}

struct Ball {
    std::string row;
    uint32_t column = 0;
};

std::optional<Ball> ball_of(std::string_view pin) {
    size_t letters = 0;
    while (letters < pin.size() && ((pin[letters] >= 'A' && pin[letters] <= 'Z') ||
                                    (pin[letters] >= 'a' && pin[letters] <= 'z'))) {
        ++letters;
    }
    const auto column = number_in(pin.substr(letters));
    if (letters == 0 || letters > 2 || !column || *column > kMostColumns) {
        return std::nullopt;
    }
    Ball ball{std::string(pin.substr(0, letters)), *column};
    for (char& letter : ball.row) {
        letter = static_cast<char>(letter >= 'a' ? letter - 'a' + 'A' : letter);
    }
    return ball;
}

// Rows are A to Z, then AA.
bool comes_before(const std::string& one, const std::string& other) {
    return std::pair(one.size(), one) < std::pair(other.size(), other);
}

// The positions of the pins in the ring, from 0.
std::vector<uint32_t> positions(const std::vector<PackagePin>& pins) {
    std::vector<uint32_t> numbers;
    for (const PackagePin& pin : pins) {
        numbers.push_back(number_in(pin.pin).value_or(0));
    }
    const auto [least, most] = std::ranges::minmax_element(numbers);
    if (*least == 0 || *most > kMostSpare * pins.size()) {
        for (uint32_t i = 0; i < numbers.size(); ++i) {
            numbers[i] = i;
        }
        return numbers;
    }
    for (uint32_t& number : numbers) {
        --number;
    }
    return numbers;
}

RingPlace place_of(size_t position, size_t per_side) {
    const size_t along = position % per_side;
    const size_t from_end = per_side - 1 - along;
    switch (position / per_side) {
    case 0:
        return {Side::Left, along};
    case 1:
        return {Side::Bottom, along};
    case 2:
        return {Side::Right, from_end};
    case 3:
        return {Side::Top, from_end};
    default:
        return {Side::Middle, 0};
    }
}

} // namespace

std::optional<Grid> grid_of(const std::vector<PackagePin>& pins) {
    std::vector<Ball> balls;
    Grid grid;
    for (const PackagePin& pin : pins) {
        const auto ball = ball_of(pin.pin);
        if (!ball) {
            return std::nullopt;
        }
        balls.push_back(*ball);
        grid.rows.push_back(ball->row);
    }
    if (balls.empty()) {
        return std::nullopt;
    }
    std::ranges::sort(grid.rows, comes_before);
    grid.rows.erase(std::unique(grid.rows.begin(), grid.rows.end()), grid.rows.end());
    const auto [least, most] = std::ranges::minmax_element(balls, {}, &Ball::column);
    grid.first_column = least->column;
    grid.columns = most->column - least->column + 1;
    for (const Ball& ball : balls) {
        const auto row = std::ranges::lower_bound(grid.rows, ball.row, comes_before);
        grid.places.push_back(
            {static_cast<size_t>(row - grid.rows.begin()), ball.column - grid.first_column});
    }
    return grid;
}

Ring ring_of(const std::vector<PackagePin>& pins) {
    Ring ring;
    if (pins.empty()) {
        return ring;
    }
    const std::vector<uint32_t> numbers = positions(pins);
    const auto last = std::ranges::max_element(numbers);
    const PackagePin& last_pin = pins[static_cast<size_t>(last - numbers.begin())];
    const bool pad = *last % kSides == 0 && *last != 0 && last_pin.kind == PinKind::Linkage;
    const size_t places = pad ? *last : *last + size_t{1};
    ring.per_side = (places + kSides - 1) / kSides;
    for (const uint32_t number : numbers) {
        ring.places.push_back(place_of(number, ring.per_side));
    }
    return ring;
}

} // namespace talvor::boundary
