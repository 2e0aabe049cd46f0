#include "host/interconnect/vectors.h"

#include <bit>

namespace talvor::interconnect {
namespace {

// The code of a net; 0 is left out.
bool code_bit(size_t net, uint32_t bit) noexcept {
    return (((net + 1) >> bit) & 1U) != 0;
}

} // namespace

bool Vector::level(size_t net) const noexcept {
    switch (kind) {
    case Kind::Code:
        return code_bit(net, number);
    case Kind::Inverse:
        return !code_bit(net, number);
    case Kind::All:
        return value;
    case Kind::Walk:
        break;
    }
    return (net == number) == value;
}

size_t code_bits(size_t nets) noexcept {
    return nets == 0 ? 0 : static_cast<size_t>(std::bit_width(nets + 1));
}

std::vector<Vector> counting_sequence(size_t nets) {
    std::vector<Vector> vectors;
    for (const Vector::Kind kind : {Vector::Kind::Code, Vector::Kind::Inverse}) {
        for (size_t bit = 0; bit < code_bits(nets); ++bit) {
            vectors.push_back({kind, static_cast<uint32_t>(bit), false});
        }
    }
    return vectors;
}

std::vector<Vector> closer_look(const std::vector<size_t>& nets) {
    std::vector<Vector> vectors{{Vector::Kind::All, 0, false}, {Vector::Kind::All, 0, true}};
    for (const size_t net : nets) {
        for (const bool value : {true, false}) {
            vectors.push_back({Vector::Kind::Walk, static_cast<uint32_t>(net), value});
        }
    }
    return vectors;
}

} // namespace talvor::interconnect
