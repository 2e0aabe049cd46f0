// The readable notation of a batch: one item a line, the same in the simulator's log and in tests.
//
//   write 10 4080      write register 10 (port decimal, value hexadecimal)
//   read 22            read register 22
//   wait send          room to send one word          wait send many
//   wait recv          one word received              wait recv many
//   wait done          the controller has finished its operation
//   marker             an open read-count marker      marker full: closed after 2048 reads
//   reserved           the word at index 0 of every batch
//
// Words that no driver writes have a form too, so that a log can show them: `write 10 ?` is a write
// whose value is missing, `read 40` names a port that does not exist, `control 9999` is a control
// word without a meaning.
#pragma once

#include <cstddef>
#include <cstdint>
#include <optional>
#include <span>
#include <string>
#include <string_view>
#include <vector>

namespace talvor::notation {

enum class Kind {
    Write,
    WriteCut, // the batch ends before the value
    Read,
    WaitSendOne,
    WaitSendMany,
    WaitReceiveOne,
    WaitReceiveMany,
    WaitDone,
    MarkerOpen,
    MarkerFull,
    Reserved,
    Unknown, // a control word without a meaning
};

// One item of a batch.
struct Item {
    Kind kind{};
    uint16_t port{};  // of a write or read; above 31 in a broken batch
    uint16_t value{}; // of a write; of an unknown item the word itself
    bool operator==(const Item&) const = default;
};

// Number of out-block words that an item takes: 2 for a complete write, 1 for every other.
size_t length_words(const Item& item);

// The item that starts at words[index]. `index` must lie inside `words`.
Item item_at(std::span<const uint16_t> words, size_t index);

// All items of a word stream, in order. Never fails: what means nothing becomes Kind::Unknown.
std::vector<Item> items(std::span<const uint16_t> words);

// One item as text, without a line end.
std::string text(const Item& item);

// A word stream as one line of text an item.
std::vector<std::string> lines(std::span<const uint16_t> words);

// A word stream as one text, one item a line, each line ended by a newline.
std::string text(std::span<const uint16_t> words);

// The item that a line of the notation names; nothing when the line is not of the notation.
// Blanks around and between the parts are free.
std::optional<Item> parse_line(std::string_view line);

// The words of a text in the notation: lines end at a newline or a semicolon; empty lines count
// for nothing. Nothing when a line is not of the notation.
std::optional<std::vector<uint16_t>> parse(std::string_view text);

} // namespace talvor::notation
