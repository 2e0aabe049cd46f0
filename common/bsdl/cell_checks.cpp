#include "common/bsdl/checks.h"
#include "common/bsdl/words.h"
#include "common/text.h"

#include <fmt/format.h>

#include <algorithm>
#include <array>
#include <string>
#include <vector>

namespace talvor::bsdl {
namespace {

bool is_control(const Cell& cell) {
    return cell.function == CellFunction::Control || cell.function == CellFunction::ControlR;
}

bool watches(const Cell& cell) {
    return cell.function == CellFunction::Input || cell.function == CellFunction::Clock ||
           cell.function == CellFunction::ObserveOnly || cell.function == CellFunction::Bidir;
}

bool drives(const Cell& cell) {
    return cell.function == CellFunction::Output2 || cell.function == CellFunction::Output3 ||
           cell.function == CellFunction::Bidir;
}

bool is_output(PortMode mode) {
    return mode == PortMode::Out || mode == PortMode::Buffer || mode == PortMode::InOut;
}

bool is_input(PortMode mode) {
    return mode == PortMode::In || mode == PortMode::InOut;
}

class CellChecks {
public:
    explicit CellChecks(const Draft& draft)
        : draft_(draft), device_(draft.device), report_(draft.report) {}

    void check() {
        check_numbers();
        std::vector<bool> used(numbers_.size());
        for (const Cell& cell : device_.cells) {
            check_control(cell, used);
            check_signal(cell);
        }
        check_unused(used);
        check_drivers();
        check_cover();
    }

private:
    // Cells of one number stand side by side.
    [[nodiscard]] const Cell* find(size_t number) const {
        const auto found =
            std::lower_bound(device_.cells.begin(), device_.cells.end(), number,
                             [](const Cell& cell, size_t wanted) { return cell.number < wanted; });
        return found != device_.cells.end() && found->number == number ? &*found : nullptr;
    }

    [[nodiscard]] const Cell* find_control(size_t number) const {
        for (const Cell* cell = find(number);
             cell != nullptr && cell != &device_.cells.back() + 1 && cell->number == number;
             ++cell) {
            if (is_control(*cell)) {
                return cell;
            }
        }
        return nullptr;
    }

    // Every number below the length is there, once, or as two halves of a merged cell.
    void check_numbers() {
        std::vector<std::string> missing;
        size_t next = 0;
        for (size_t i = 0; i < device_.cells.size(); ++i) {
            const Cell& cell = device_.cells[i];
            if (i == 0 || cell.number != device_.cells[i - 1].number) {
                add_gap(next, std::min(cell.number, device_.boundary_bits), missing);
                next = cell.number + 1;
                numbers_.push_back(cell.number);
            } else {
                check_merged(i);
            }
            if (cell.number >= device_.boundary_bits && device_.boundary_bits != 0) {
                report_.error(cell.place, fmt::format("the cell {} is beyond BOUNDARY_LENGTH, {}",
                                                      cell.number, device_.boundary_bits));
            }
        }
        add_gap(next, device_.boundary_bits, missing);
        if (!missing.empty()) {
            report_.error(draft_.source.place, fmt::format("cells are missing in BOUNDARY_REGISTER:"
                                                           " {}",
                                                           listed(missing)));
        }
    }

    static void add_gap(size_t begin, size_t end, std::vector<std::string>& missing) {
        if (begin < end) {
            missing.push_back(end - begin == 1 ? fmt::format("{}", begin)
                                               : fmt::format("{} to {}", begin, end - 1));
        }
    }

    void check_merged(size_t i) {
        const Cell& first = device_.cells[i - 1];
        const Cell& second = device_.cells[i];
        const bool third = i >= 2 && device_.cells[i - 2].number == second.number;
        const auto in = [](const Cell& cell) { return watches(cell) && !drives(cell); };
        if (third || in(first) == in(second)) {
            report_.error(second.place,
                          fmt::format("the cell {} stands in line {} already; only an input may "
                                      "share its cell with an output or a control",
                                      second.number, first.place.line));
        }
    }

    void check_control(const Cell& cell, std::vector<bool>& used) {
        if (!cell.control) {
            if (cell.function == CellFunction::Output3 || cell.function == CellFunction::Bidir) {
                report_.error(cell.place,
                              fmt::format("the {} cell {} has no control cell",
                                          cell_function_word(cell.function), cell.number));
            }
            return;
        }
        const bool itself = *cell.control == cell.number && drives(cell);
        if (!itself && find_control(*cell.control) == nullptr) {
            report_.error(
                cell.place,
                fmt::format("the cell {} that disables the cell {} {}", *cell.control, cell.number,
                            find(*cell.control) == nullptr ? "is missing" : "is no control cell"));
            return;
        }
        const auto at = std::lower_bound(numbers_.begin(), numbers_.end(), *cell.control);
        if (at != numbers_.end() && *at == *cell.control) {
            used[static_cast<size_t>(at - numbers_.begin())] = true;
        }
    }

    void check_signal(const Cell& cell) {
        const bool needs_none = is_control(cell) || cell.function == CellFunction::Internal;
        if (!cell.signal) {
            // A port that is no port has been told of already, and looks the same.
            return;
        }
        const Signal& signal = device_.signals[*cell.signal];
        if (needs_none) {
            report_.warning(cell.place, fmt::format("the {} cell {} has a port, {}; expected '*'",
                                                    cell_function_word(cell.function), cell.number,
                                                    signal.name));
            return;
        }
        const bool watched_only = cell.function == CellFunction::ObserveOnly;
        const bool wrong = (drives(cell) && !is_output(signal.mode)) ||
                           (watches(cell) && !watched_only && !is_input(signal.mode));
        if (wrong) {
            report_.warning(cell.place, fmt::format("the {} cell {} is at {}, an '{}' port",
                                                    cell_function_word(cell.function), cell.number,
                                                    signal.name, port_mode_word(signal.mode)));
        }
    }

    void check_unused(const std::vector<bool>& used) {
        for (const Cell& cell : device_.cells) {
            const auto at = std::lower_bound(numbers_.begin(), numbers_.end(), cell.number);
            if (is_control(cell) && !used[static_cast<size_t>(at - numbers_.begin())]) {
                report_.warning(cell.place,
                                fmt::format("the {} cell {} disables no output",
                                            cell_function_word(cell.function), cell.number));
            }
        }
    }

    void check_drivers() {
        std::vector<const Cell*> drivers(device_.signals.size());
        for (const Cell& cell : device_.cells) {
            if (!cell.signal || !drives(cell)) {
                continue;
            }
            const Cell*& driver = drivers[*cell.signal];
            if (driver != nullptr) {
                report_.error(cell.place,
                              fmt::format("the cells {} and {} both drive {}", driver->number,
                                          cell.number, device_.signals[*cell.signal].name));
            }
            driver = driver == nullptr ? &cell : driver;
        }
    }

    // Signals that need no cell: those of the test access port and of compliance, and second ones
    // of pairs.
    [[nodiscard]] std::vector<bool> exempt() const {
        std::vector<bool> exempt(device_.signals.size());
        const TapSignals& tap = device_.tap;
        for (const std::optional<size_t>& signal : {tap.tck, tap.tms, tap.tdi, tap.tdo, tap.trst}) {
            if (signal) {
                exempt[*signal] = true;
            }
        }
        for (const size_t signal : device_.compliance.signals) {
            exempt[signal] = true;
        }
        for (const SignalPair& pair : device_.pairs) {
            exempt[pair.associated] = true;
        }
        return exempt;
    }

    void check_cover() {
        std::vector<bool> covered = exempt();
        for (const Cell& cell : device_.cells) {
            if (cell.signal) {
                covered[*cell.signal] = true;
            }
        }
        std::vector<std::string> bare;
        for (size_t i = 0; i < covered.size(); ++i) {
            const PortMode mode = device_.signals[i].mode;
            if (!covered[i] && (is_input(mode) || is_output(mode))) {
                bare.push_back(device_.signals[i].name);
            }
        }
        if (!bare.empty()) {
            report_.warning(draft_.source.place,
                            fmt::format("no cell of BOUNDARY_REGISTER is at {}", listed(bare)));
        }
    }

    const Draft& draft_;
    const Device& device_;
    Report& report_;
    std::vector<size_t> numbers_; // that there are, ascending
};

} // namespace

void check_cells(const Draft& draft) {
    const Device& device = draft.device;
    if (device.cells.empty()) {
        draft.report.warning(draft.source.place,
                             device.boundary_bits == 0
                                 ? "the device has no boundary register"
                                 : "BOUNDARY_REGISTER is missing, and BOUNDARY_LENGTH is there");
        return;
    }
    if (device.boundary_bits == 0) {
        draft.report.error(draft.source.place, "BOUNDARY_LENGTH is missing");
    }
    CellChecks(draft).check();
}

} // namespace talvor::bsdl
