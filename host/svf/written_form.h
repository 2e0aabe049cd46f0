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

// Where the digits of a value stand in the text of a statement: [from, to), and behind them the
// closing parenthesis.
struct WrittenValue {
    size_t from = 0;
    size_t to = 0;
    HexParameter ScanText::*parameter = nullptr;
};

// A text that said a scan or RUNTEST statement, from behind the statement before it.
struct WrittenText {
    std::string_view text;
    const std::vector<WrittenValue>* values; // in their order
    uint64_t newlines;                       // in all of the text
    uint64_t newlines_before;                // in front of the statement's name
};

// The form of such a text. Another one with the same text says the same, but for its values.
class WrittenForm {
public:
    static constexpr size_t kMaxText = 512; // without digits; longer ones are rarely written alike

    // Learns from what said `statement`, and answers whether it can: not when a value is not
    // written in one piece, with as many digits as its length asks for. Then the form is empty.
    bool learn(const WrittenText& written, const Statement& statement);

    // When `text` begins as the form does, with any digits: fills `statement`, but for its line,
    // with what it says, and answers how long it is. Otherwise 0, and the statement's content means
    // nothing.
    [[nodiscard]] size_t read(std::string_view text, Statement& statement) const;

    [[nodiscard]] uint64_t newlines() const noexcept { return newlines_; }
    [[nodiscard]] uint64_t newlines_before() const noexcept { return newlines_before_; }

private:
    static constexpr size_t kParameters = 4;

    // Text up to and with what opens the value behind it, or to the semicolon. Most pieces are
    // short, and are compared in one go.
    class Piece {
    public:
        void set(std::string_view text);
        [[nodiscard]] size_t size() const noexcept { return text_.size(); }
        // Whether [at, end) begins with it.
        [[nodiscard]] bool begins(const char* at, const char* end) const noexcept;

        HexParameter ScanText::*parameter = nullptr; // of the value behind it; null at the end

    private:
        static constexpr size_t kAtOnce = 16;

        std::string text_;
        std::array<char, kAtOnce> first_{}; // of the text
        unsigned wanted_ = 0;               // a bit for each of them
    };

    size_t pieces_used_ = 0; // 0: the form is empty
    std::array<Piece, kParameters + 1> pieces_;
    uint64_t newlines_ = 0;
    uint64_t newlines_before_ = 0;
    StatementKind kind_ = StatementKind::Sdr;
    uint64_t length_bits_ = 0; // of a scan
    RunTestText run_;          // of a RUNTEST
};

// The forms of the last statements.
class WrittenForms {
public:
    // As WrittenForm::read(), of any form; null when there is none.
    [[nodiscard]] const WrittenForm* read(std::string_view text, Statement& statement,
                                          size_t& length);
    // In place of the oldest form.
    void learn(const WrittenText& written, const Statement& statement);

private:
    struct Entry {
        WrittenForm form;
        size_t next = 0; // what followed it last time
    };

    void passed(size_t index) noexcept;

    std::array<Entry, 8> entries_;
    size_t last_ = 0; // the form of the last statement that had one
    size_t oldest_ = 0;
};

} // namespace talvor::svf
