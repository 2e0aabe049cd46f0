// Reading of board-configuration keys. A reader of a group of keys is a table of KeyRow: its keys
// in the order in which the host is asked, each with what it means. This file is the one place that
// looks a key up, reads it as a type, matches a keyword and chooses the code of a failure.
//
// A key is added by adding a row; docs/board-file.md gets one too, and a test compares the two.
#pragma once

#include "cfg_export.h"
#include "jsc_external.h"
#include "sys/check.h"

#include <optional>
#include <span>

struct KeyRow;

// One run over a table.
struct KeyWalk {
    CFG_Handle handle;         // the host's
    const CFG_Interface* host; // its operations
    uint32_t context;          // id of the global context
    void* record;              // what the rows' fields are offsets into
    uint32_t choice;           // 0, or what one row chose for the rows behind it
};

// Where a value stands in the record.
struct KeyField {
    uint16_t offset = 0;
    uint16_t size = 0; // bytes: 1 for bool, 4 for uint32_t, 8 for a text; 0 for no field
};
#define KEY_FIELD(record, field)                                                                   \
    { static_cast<uint16_t>(offsetof(record, field)), sizeof(record::field) }

// Words that a key may have. Without values every word stands for 0.
struct KeyWords {
    const char* const* titles = nullptr;
    const uint32_t* values = nullptr;
};

// Reads the entry of a row into the record. Returns 0 or the code that ends the walk.
typedef int32_t (*KeyRead)(KeyWalk& walk, const KeyRow& row, JBD_Context entry);

// Does what binds the row's key to others, after it was read or found absent. Returns as KeyRead.
typedef int32_t (*KeyRule)(KeyWalk& walk, const KeyRow& row);

// Whether the row counts at all.
typedef bool (*KeyWhen)(const KeyWalk& walk);

constexpr uint32_t kNoLimit = 0xFFFFFFFFu;

struct KeyRow {
    const char* name;         // with its namespace
    KeyRead read;             // the type
    KeyField field = {};      // the value; the text's address
    KeyField length = {};     // the text's length in characters
    KeyField known = {};      // set when a number was given, not a word
    KeyField use = {};        // set to whether the key is there
    KeyWords words = {};      // for the keyword types
    uint32_t least = 0;       // numbers: smallest and largest one accepted, by
    uint32_t most = kNoLimit; //   read_limited and the like, or by the rule within_limits
    std::optional<uint32_t> absent = {}; // what an absent key stores; without it the field stays
    JTI_Error refused = 0;    // code of a text that is no keyword, or of a number out of range
    JTI_Error unreadable = 0; // code of a text that is no number or boolean; 0: the host's own
    bool always = false;      // read though the key is absent, for the host's empty answer
    KeyWhen when = nullptr;   // asked before the look-up; null: always
    KeyRule after = nullptr;  // null: no rule
};

// A counted text of the host's. It is NUL-terminated as well, but the two ends may disagree.
struct KeyText {
    uint32_t length = 0; // characters, as the host counts
    const char* text = nullptr;
};

// Walks the rows. `found` is cleared first; once the host answered, it tells whether the global
// context exists. Without one nothing else happens and the result is 0. The first error ends the
// walk: fields of rows before it keep what was read, those of later rows are not touched. A row's
// use flag is written at the look-up, so it stands although the value was refused.
//   record  in, out: what the rows' fields are offsets into
//   pFound  out: whether the global context exists
// -122 null handle or table, or a global context that has the invalid id. Else a row's code, or the
// host's.
int32_t walk_keys(CFG_Handle handle, const CFG_Interface* host, bool* pFound, void* record,
                  std::span<const KeyRow> rows);

// walk_keys for a record that begins with `found`. -122 also for a null record.
template <typename Variable>
int32_t read_keys(CFG_Handle handle, const CFG_Interface* host, Variable* record,
                  std::span<const KeyRow> rows) {
    RETURN_IF(record == nullptr, eJTI_ERROR_BAD_ARGUMENT);
    return walk_keys(handle, host, &record->found, record, rows);
}

// ---- types of keys -----------------------------------------------------------------------------
// A failed read of the text itself is the host's code, whatever the row says.

// A truth value.
int32_t read_boolean(KeyWalk& walk, const KeyRow& row, JBD_Context entry);

// A number. It is stored whatever the row's limits say.
int32_t read_unsigned(KeyWalk& walk, const KeyRow& row, JBD_Context entry);

// A number, stored only when it is within the limits. Sets `known`.
int32_t read_limited(KeyWalk& walk, const KeyRow& row, JBD_Context entry);

// A text; its address and length are stored as the host gives them.
int32_t read_text(KeyWalk& walk, const KeyRow& row, JBD_Context entry);

// A word. Stores its value.
int32_t read_keyword(KeyWalk& walk, const KeyRow& row, JBD_Context entry);

// A word, else a truth value.
int32_t read_keyword_or_boolean(KeyWalk& walk, const KeyRow& row, JBD_Context entry);

// A word, whose value the limits do not bind and which clears `known`; else as read_limited.
int32_t read_keyword_or_limited(KeyWalk& walk, const KeyRow& row, JBD_Context entry);

// ---- what types and rules are made of ----------------------------------------------------------

// The record of the walk.
template <typename Variable>
Variable& record_of(const KeyWalk& walk) {
    return *static_cast<Variable*>(walk.record);
}

// A rule: the field as it stands, read or not, is within the row's limits. Code `refused`.
int32_t within_limits(KeyWalk& walk, const KeyRow& row);

// A rule: the length of the text as it stands is within the row's limits. Code `refused`.
int32_t length_within_limits(KeyWalk& walk, const KeyRow& row);

// Gets the text of an entry. The host's code, or 0.
int32_t get_text(const KeyWalk& walk, JBD_Context entry, KeyText* pText);

// Looks the text up among the words: in any case, and by leading abbreviation. The first word that
// matches wins and gives *pValue, which is not written when the result is false. An empty text
// matches nothing.
bool find_word(const KeyText& text, const KeyWords& words, uint32_t* pValue);

// The characters of the text before its NUL, at most its counted length. 0 for a null text.
uint32_t true_length(const KeyText& text);

// Stores a number in a field of the record: a bool takes whether it is not 0. Nothing for no field.
void store_value(const KeyWalk& walk, KeyField field, uint32_t value);
