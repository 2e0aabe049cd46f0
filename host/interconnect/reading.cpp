#include "host/interconnect/reading.h"

#include <algorithm>

namespace talvor::interconnect {

ReadingClassifier::ReadingClassifier(std::span<const Vector> vectors, size_t nets)
    : vectors_(vectors), nets_(nets) {}

bool ReadingClassifier::right(size_t net, const Bits& bits) const {
    for (size_t v = 0; v < vectors_.size(); ++v) {
        if (bits[v] != vectors_[v].level(net)) {
            return false;
        }
    }
    return true;
}

bool ReadingClassifier::level(const Reading& reading, const Vector& vector) const {
    const auto at = [&vector](size_t net) { return vector.level(net); };
    return reading.kind == Reading::Kind::Or
               ? std::any_of(reading.sources.begin(), reading.sources.end(), at)
               : std::all_of(reading.sources.begin(), reading.sources.end(), at);
}

bool ReadingClassifier::explains(const Reading& reading, const Bits& bits) const {
    for (size_t v = 0; v < vectors_.size(); ++v) {
        if (bits[v] != level(reading, vectors_[v])) {
            return false;
        }
    }
    return !reading.sources.empty();
}

std::optional<size_t> ReadingClassifier::code_of(const Bits& bits) const {
    size_t code = 0;
    for (size_t v = 0; v < vectors_.size(); ++v) {
        if (vectors_[v].kind == Vector::Kind::Code && bits[v]) {
            code |= size_t{1} << vectors_[v].number;
        }
    }
    if (code == 0 || code > nets_) {
        return std::nullopt;
    }
    const size_t net = code - 1;
    for (size_t v = 0; v < vectors_.size(); ++v) {
        if (vectors_[v].kind == Vector::Kind::Inverse && bits[v] != vectors_[v].level(net)) {
            return std::nullopt;
        }
    }
    return net;
}

std::vector<size_t> ReadingClassifier::movers(const Bits& bits, bool value) const {
    std::vector<size_t> nets;
    for (size_t v = 0; v < vectors_.size(); ++v) {
        if (vectors_[v].kind == Vector::Kind::Walk && vectors_[v].value == value &&
            bits[v] == value) {
            nets.push_back(vectors_[v].number);
        }
    }
    std::sort(nets.begin(), nets.end());
    return nets;
}

Reading ReadingClassifier::classify(size_t net, const Bits& bits) const {
    if (right(net, bits)) {
        return {};
    }
    if (bits.all_zeros() || bits.all_ones()) {
        return {Reading::Kind::Still, bits[0], {}};
    }
    std::vector<Reading> attempts;
    if (const std::optional<size_t> source = code_of(bits)) {
        attempts.push_back({Reading::Kind::Follows, false, {*source}});
    }
    attempts.push_back({Reading::Kind::And, false, movers(bits, false)});
    attempts.push_back({Reading::Kind::Or, false, movers(bits, true)});
    for (Reading& attempt : attempts) {
        if (explains(attempt, bits)) {
            return std::move(attempt);
        }
    }
    return {Reading::Kind::Unclear, false, {}};
}

} // namespace talvor::interconnect
