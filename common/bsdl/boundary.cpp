#include "common/bsdl/boundary.h"

#include "common/bsdl/number.h"
#include "common/bsdl/word_reader.h"
#include "common/bsdl/words.h"

#include <fmt/format.h>

#include <algorithm>
#include <utility>

namespace talvor::bsdl {
namespace {

constexpr size_t kMostCells = size_t{1} << 20U;

class CellReader {
public:
    CellReader(Draft& draft, const JoinedText& text)
        : draft_(draft), words_(text, "BOUNDARY_REGISTER", draft.report) {}

    void read() {
        do {
            cell();
        } while (words_.more());
        if (!words_.at_end()) {
            words_.fault("a ',' or the end");
        }
    }

private:
    // "12 (BC_1, PA(3), output3, X, 13, 1, Z)".
    void cell() {
        Cell made;
        made.place = words_.place();
        made.number = number("the number of a cell");
        (void)words_.expect('(', "behind the number of a cell");
        made.type = words_.expect_word("the type of a cell").text;
        comma("behind the type of a cell");
        made.signal = signal();
        comma("behind the port of a cell");
        made.function = function();
        comma("behind the function of a cell");
        made.safe = bit("the safe value of a cell, 0, 1 or X", "01X");
        if (words_.take(',')) {
            driver(made);
        }
        (void)words_.expect(')', "behind a cell");
        if (!draft_.report.failed()) {
            draft_.device.cells.push_back(std::move(made));
        }
    }

    // "13, 1, Z" of an output; one word of an input, which says what it sees when nothing drives.
    void driver(Cell& made) {
        if (!words_.at_end() && words_.peek().text[0] >= 'A') {
            made.open_result = result();
            return;
        }
        made.control = number("the number of the cell that disables the output");
        comma("behind the number of a control cell");
        made.disable_value = bit("the value that disables the output, 0 or 1", "01");
        comma("behind the value that disables an output");
        made.disable_result = result().value_or(DisableResult::Z);
    }

    void comma(std::string_view where) { (void)words_.expect(',', where); }

    size_t number(const char* expected) {
        const auto value = integer_value(words_.peek().text);
        if (!value) {
            words_.fault(expected);
            return 0;
        }
        const Word word = words_.take();
        if (*value >= static_cast<int64_t>(kMostCells)) {
            draft_.report.fail(
                words_.place_of(word),
                fmt::format("no boundary register has more than {} cells", kMostCells));
        }
        return static_cast<size_t>(*value);
    }

    std::optional<size_t> signal() {
        if (words_.take('*')) {
            return std::nullopt;
        }
        const PortReference reference = read_port(words_, draft_.ports, draft_.report);
        if (reference.port != nullptr && !reference.signal) {
            draft_.report.error(reference.place,
                                fmt::format("a cell has one signal, and {} is a vector of {}",
                                            reference.text, reference.port->count));
        }
        return reference.signal;
    }

    CellFunction function() {
        const Word word = words_.expect_word("the function of a cell");
        const auto known = cell_function(word.text);
        if (!known && !draft_.report.failed()) {
            draft_.report.error(words_.place_of(word),
                                fmt::format("{} is no function of a cell", shown(word.text)));
        }
        return known.value_or(CellFunction::Internal);
    }

    char bit(const char* expected, std::string_view allowed) {
        const std::string_view word = words_.peek().text;
        const char c = word.size() != 1 ? '?' : word[0] == 'x' ? 'X' : word[0];
        if (allowed.find(c) == std::string_view::npos) {
            words_.fault(expected);
            return 'X';
        }
        (void)words_.take();
        return c;
    }

    std::optional<DisableResult> result() {
        const Word word = words_.expect_word("a result, as in Z or PULL1");
        const auto known = disable_result(word.text);
        if (!known && !draft_.report.failed()) {
            draft_.report.warning(words_.place_of(word),
                                  fmt::format("{} is no result that is known", shown(word.text)));
        }
        return known;
    }

    Draft& draft_;
    WordReader words_;
};

} // namespace

void read_boundary_length(Draft& draft, const Attribute& attribute) {
    draft.device.boundary_bits = count_of(attribute, kMostCells, draft.report).value_or(0);
}

void read_boundary_register(Draft& draft, const Attribute& attribute) {
    if (const JoinedText* text = text_of(attribute, draft.report)) {
        CellReader(draft, *text).read();
        std::vector<Cell>& cells = draft.device.cells;
        std::stable_sort(cells.begin(), cells.end(),
                         [](const Cell& a, const Cell& b) { return a.number < b.number; });
    }
}

} // namespace talvor::bsdl
