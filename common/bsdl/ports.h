// The ports of a device by their names, and what refers to them.
#pragma once

#include "common/bsdl/report.h"
#include "common/bsdl/source.h"
#include "common/bsdl/word_reader.h"

#include <cstddef>
#include <optional>
#include <string>
#include <string_view>
#include <unordered_map>
#include <vector>

namespace talvor::bsdl {

struct Port {
    std::string_view name;
    size_t first = 0; // of its signals, which stand side by side in Device::signals
    size_t count = 1;
    std::optional<Bounds> bounds; // of a vector
};

class Ports {
public:
    // Devices with more signals, or longer names, there are none; and a vector of a few letters
    // takes no more memory than this allows.
    static constexpr size_t kMostSignals = 16384;
    static constexpr size_t kLongestName = 255;

    // Makes the signals of `source`. A fault: there are more, or one is called by a longer name.
    void build(const Source& source, std::vector<Signal>& signals, Report& report);

    [[nodiscard]] const std::vector<Port>& all() const noexcept { return ports_; }
    // Null: there is none of this name.
    [[nodiscard]] const Port* find(std::string_view name) const;
    // Nothing: the index is out of the bounds, or the port is no vector.
    [[nodiscard]] static std::optional<size_t> element(const Port& port, int64_t index) noexcept;

private:
    std::vector<Port> ports_;
    std::unordered_map<std::string, size_t> by_name_; // folded
};

// "PA", "PA(3)": where it stands, and what it means.
struct PortReference {
    Place place;
    std::string text;
    const Port* port = nullptr;   // null, with an error in the report: there is no such port
    std::optional<size_t> signal; // of an element, or of a port that has only one
};
// Reads one. An error for a port that does not exist and for an index out of its bounds.
[[nodiscard]] PortReference read_port(WordReader& words, const Ports& ports, Report& report);
// All signals that it refers to, those of a whole vector from left to right; they stand side by
// side.
struct SignalRange {
    size_t first = 0;
    size_t count = 0;
};
[[nodiscard]] SignalRange signals_of(const PortReference& reference) noexcept;

} // namespace talvor::bsdl
