// How a statement was written, but for its digits: a generated file writes thousands alike.
#pragma once

#include "host/svf/statement.h"

#include <array>
#include <cstddef>
#include <cstdint>
#include <string>
#include <string_view>
#include <vector>

namespace talvor::svf {

// Where the digits of a value stand in the text behind a statement's name: [from, to), and behind
// them the closing parenthesis.
struct WrittenValue {
    size_t from = 0;
    size_t to = 0;
    HexParameter ScanText::*parameter = nullptr;
};

// The text of one scan or RUNTEST statement from behind its name to its semicolon, and what it
// says. Another statement of that kind with the same text says the same, but for its values.
class WrittenForm {
public:
    static constexpr size_t kMaxText = 512; // without digits; longer ones are rarely written alike

    // Learns from `text`, which said what `statement` holds. `newlines` is how many of them it has.
    // Answers whether it can: not when a value is not written in one piece, with as many digits as
    // its length asks for. Otherwise the form is empty.
    bool learn(std::string_view text, const std::vector<WrittenValue>& values,
               const Statement& statement, uint64_t newlines);

    // When `text` begins as the form does, with any digits: fills `statement` with what it says,
    // and answers how long it is. Otherwise 0, and the statement's content means nothing.
    [[nodiscard]] size_t read(std::string_view text, Statement& statement) const;

    [[nodiscard]] uint64_t newlines() const noexcept { return newlines_; }

private:
    static constexpr size_t kParameters = 4;

    struct Piece {
        std::string text; // up to and with what opens the value behind it, or to the semicolon
        HexParameter ScanText::*parameter = nullptr; // of that value; null at the end
    };

    size_t pieces_used_ = 0; // 0: the form is empty
    std::array<Piece, kParameters + 1> pieces_;
    uint64_t newlines_ = 0;
    uint64_t length_bits_ = 0; // of a scan
    RunTestText run_;          // of a RUNTEST
};

// The forms in which statements of one kind were written last.
class WrittenForms {
public:
    // As WrittenForm::read(), of any form; null when there is none.
    [[nodiscard]] const WrittenForm* read(std::string_view text, Statement& statement,
                                          size_t& length) const;
    // In place of the oldest form.
    void learn(std::string_view text, const std::vector<WrittenValue>& values,
               const Statement& statement, uint64_t newlines);

private:
    std::array<WrittenForm, 3> forms_;
    size_t oldest_ = 0;
};

} // namespace talvor::svf
