#include "config/key_reader.h"

#include "sys/check.h"
#include "sys/keyword.h"

#include <cstring>

namespace {

void* place_of(const KeyWalk& walk, KeyField field) {
    return static_cast<unsigned char*>(walk.record) + field.offset;
}

uint32_t stored_value(const KeyWalk& walk, KeyField field) {
    uint32_t value = 0;
    std::memcpy(&value, place_of(walk, field), sizeof(value));
    return value;
}

// Asks for the global context. *pFound is written only when the host answered.
int32_t enter_context(KeyWalk& walk, bool* pFound) {
    uint32_t invalid_id = 0;
    RETURN_ON_ERROR(walk.host->GetContextIdInvalid(walk.handle, &invalid_id));
    bool found = false;
    RETURN_ON_ERROR(walk.host->GetContextIdGlobal(walk.handle, &walk.context, &found));
    *pFound = found;
    return found && walk.context == invalid_id ? eJTI_ERROR_BAD_ARGUMENT : eJTI_ERROR_NONE;
}

int32_t read_row(KeyWalk& walk, const KeyRow& row) {
    if (row.when != nullptr && !row.when(walk)) {
        return eJTI_ERROR_NONE;
    }
    JBD_Context entry = nullptr;
    bool found = false;
    RETURN_ON_ERROR(
        walk.host->GetContextHandle(walk.handle, walk.context, row.name, &entry, &found));
    store_value(walk, row.use, found);
    if (found || row.always) {
        RETURN_ON_ERROR(row.read(walk, row, entry));
    } else if (row.absent) {
        store_value(walk, row.field, *row.absent);
    }
    return row.after != nullptr ? row.after(walk, row) : 0;
}

int32_t unreadable(const KeyRow& row, JTI_Error host_error) {
    return row.unreadable != 0 ? row.unreadable : host_error;
}

bool is_within(const KeyRow& row, uint32_t value) {
    return row.least <= value && value <= row.most;
}

} // namespace

int32_t walk_keys(CFG_Handle handle, const CFG_Interface* host, bool* pFound, void* record,
                  std::span<const KeyRow> rows) {
    RETURN_IF(handle == nullptr || host == nullptr, eJTI_ERROR_BAD_ARGUMENT);
    *pFound = false;
    KeyWalk walk = {handle, host, 0, record, 0};
    const int32_t error = enter_context(walk, pFound);
    if (error != 0 || !*pFound) {
        return error;
    }
    for (const KeyRow& row : rows) {
        RETURN_ON_ERROR(read_row(walk, row));
    }
    return eJTI_ERROR_NONE;
}

int32_t read_boolean(KeyWalk& walk, const KeyRow& row, JBD_Context entry) {
    bool value = false;
    if (const int32_t error = walk.host->GetContextBoolean(walk.handle, entry, &value)) {
        return unreadable(row, error);
    }
    store_value(walk, row.field, value);
    return eJTI_ERROR_NONE;
}

int32_t read_unsigned(KeyWalk& walk, const KeyRow& row, JBD_Context entry) {
    uint32_t value = 0;
    if (const int32_t error = walk.host->GetContextUnsign32(walk.handle, entry, &value)) {
        return unreadable(row, error);
    }
    store_value(walk, row.field, value);
    return eJTI_ERROR_NONE;
}

int32_t read_limited(KeyWalk& walk, const KeyRow& row, JBD_Context entry) {
    uint32_t value = 0;
    if (const int32_t error = walk.host->GetContextUnsign32(walk.handle, entry, &value)) {
        return unreadable(row, error);
    }
    RETURN_IF(!is_within(row, value), row.refused);
    store_value(walk, row.field, value);
    store_value(walk, row.known, true);
    return eJTI_ERROR_NONE;
}

int32_t read_text(KeyWalk& walk, const KeyRow& row, JBD_Context entry) {
    KeyText text;
    RETURN_ON_ERROR(get_text(walk, entry, &text));
    std::memcpy(place_of(walk, row.field), &text.text, sizeof(text.text));
    store_value(walk, row.length, text.length);
    return eJTI_ERROR_NONE;
}

int32_t read_keyword(KeyWalk& walk, const KeyRow& row, JBD_Context entry) {
    KeyText text;
    RETURN_ON_ERROR(get_text(walk, entry, &text));
    uint32_t value = 0;
    RETURN_IF(!find_word(text, row.words, &value), row.refused);
    store_value(walk, row.field, value);
    return eJTI_ERROR_NONE;
}

int32_t read_keyword_or_boolean(KeyWalk& walk, const KeyRow& row, JBD_Context entry) {
    KeyText text;
    RETURN_ON_ERROR(get_text(walk, entry, &text));
    uint32_t value = 0;
    if (!find_word(text, row.words, &value)) {
        return read_boolean(walk, row, entry);
    }
    store_value(walk, row.field, value);
    return eJTI_ERROR_NONE;
}

int32_t read_keyword_or_limited(KeyWalk& walk, const KeyRow& row, JBD_Context entry) {
    KeyText text;
    RETURN_ON_ERROR(get_text(walk, entry, &text));
    uint32_t value = 0;
    if (!find_word(text, row.words, &value)) {
        return read_limited(walk, row, entry);
    }
    store_value(walk, row.field, value);
    store_value(walk, row.known, false);
    return eJTI_ERROR_NONE;
}

int32_t within_limits(KeyWalk& walk, const KeyRow& row) {
    return is_within(row, stored_value(walk, row.field)) ? eJTI_ERROR_NONE : row.refused;
}

int32_t length_within_limits(KeyWalk& walk, const KeyRow& row) {
    return is_within(row, stored_value(walk, row.length)) ? eJTI_ERROR_NONE : row.refused;
}

int32_t get_text(const KeyWalk& walk, JBD_Context entry, KeyText* pText) {
    *pText = {};
    return walk.host->GetContextString(walk.handle, entry, &pText->length, &pText->text);
}

bool find_word(const KeyText& text, const KeyWords& words, uint32_t* pValue) {
    uint32_t index = 0;
    // The look-up would take a length of 0 for "the whole texts".
    if (text.length == 0 ||
        str0_find_keyword(text.text, words.titles, &index, text.length) == nullptr) {
        return false;
    }
    *pValue = words.values != nullptr ? words.values[index] : 0;
    return true;
}

uint32_t true_length(const KeyText& text) {
    return text.text != nullptr ? static_cast<uint32_t>(strnlen(text.text, text.length)) : 0;
}

void store_value(const KeyWalk& walk, KeyField field, uint32_t value) {
    if (field.size == sizeof(bool)) {
        const bool flag = value != 0;
        std::memcpy(place_of(walk, field), &flag, sizeof(flag));
    } else if (field.size == sizeof(value)) {
        std::memcpy(place_of(walk, field), &value, sizeof(value));
    }
}
