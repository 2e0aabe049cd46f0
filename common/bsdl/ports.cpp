#include "common/bsdl/ports.h"

#include "common/bsdl/number.h"
#include "common/bsdl/words.h"

#include <fmt/format.h>

#include <utility>

namespace talvor::bsdl {
namespace {

// How many elements the bounds hold; 0: they run the wrong way.
size_t width(const Bounds& bounds) noexcept {
    const int64_t difference =
        bounds.down ? bounds.left - bounds.right : bounds.right - bounds.left;
    return difference < 0 ? 0 : static_cast<size_t>(difference) + 1;
}

void add_signals(const PortDeclaration& declared, const Port& port, std::vector<Signal>& signals) {
    for (size_t i = 0; i < port.count; ++i) {
        Signal signal;
        signal.port = declared.name;
        signal.name = signal.port;
        if (port.bounds) {
            const auto step = static_cast<int64_t>(i);
            signal.index = port.bounds->down ? port.bounds->left - step : port.bounds->left + step;
            signal.name = fmt::format("{}({})", signal.port, *signal.index);
        }
        signal.mode = declared.mode;
        signal.place = declared.place;
        signals.push_back(std::move(signal));
    }
}

} // namespace

void Ports::build(const Source& source, std::vector<Signal>& signals, Report& report) {
    for (const PortDeclaration& declared : source.ports) {
        const Port port{declared.name, signals.size(),
                        declared.bounds ? width(*declared.bounds) : 1, declared.bounds};
        if (port.count == 0) {
            report.error(declared.place,
                         fmt::format("the vector {} has no elements: its bounds run the wrong way",
                                     declared.name));
            continue;
        }
        if (port.name.size() > kLongestName) {
            report.fail(declared.place,
                        fmt::format("the name of a port has {} letters, and {} at most",
                                    port.name.size(), kLongestName));
            return;
        }
        if (port.count > kMostSignals - signals.size()) {
            report.fail(declared.place, fmt::format("with {} the device has more than {} signals",
                                                    declared.name, kMostSignals));
            return;
        }
        if (!by_name_.emplace(folded(port.name), ports_.size()).second) {
            report.error(declared.place, fmt::format("there is another port {}", declared.name));
            continue;
        }
        ports_.push_back(port);
        add_signals(declared, port, signals);
    }
}

const Port* Ports::find(std::string_view name) const {
    const auto found = by_name_.find(folded(name));
    return found == by_name_.end() ? nullptr : &ports_[found->second];
}

std::optional<size_t> Ports::element(const Port& port, int64_t index) noexcept {
    if (!port.bounds) {
        return std::nullopt;
    }
    const int64_t step = port.bounds->down ? port.bounds->left - index : index - port.bounds->left;
    return step < 0 || static_cast<uint64_t>(step) >= port.count
               ? std::nullopt
               : std::optional(port.first + static_cast<size_t>(step));
}

PortReference read_port(WordReader& words, const Ports& ports, Report& report) {
    const Word name = words.expect_word("a port");
    PortReference reference{words.place_of(name), std::string(name.text), ports.find(name.text),
                            std::nullopt};
    std::optional<Word> index;
    if (words.take('(')) {
        index = words.expect_word("the index of an element");
        (void)words.expect(')', "behind the index of an element");
        reference.text += fmt::format("({})", index->text);
    }
    if (reference.port == nullptr) {
        report.error(reference.place,
                     fmt::format("the device has no port {}", shown(reference.text)));
    } else if (index) {
        const auto number = integer_value(index->text);
        reference.signal = number ? Ports::element(*reference.port, *number) : std::nullopt;
        if (!reference.signal) {
            report.error(reference.place, fmt::format("the port {} has no element {}",
                                                      reference.port->name, shown(index->text)));
            reference.port = nullptr;
        }
    } else if (reference.port->count == 1) {
        reference.signal = reference.port->first;
    }
    return reference;
}

SignalRange signals_of(const PortReference& reference) noexcept {
    if (reference.signal) {
        return {*reference.signal, 1};
    }
    return reference.port != nullptr ? SignalRange{reference.port->first, reference.port->count}
                                     : SignalRange{};
}

} // namespace talvor::bsdl
