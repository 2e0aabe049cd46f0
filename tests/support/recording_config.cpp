#include "support/recording_config.h"

#include <gtest/gtest.h>

#include <algorithm>
#include <array>
#include <cstring>
#include <strings.h>
#include <utility>

namespace test_support {
namespace {

constexpr size_t kSlots = sizeof(CFG_Interface) / sizeof(CFG_Unused_t);
constexpr JTI_Error kUnexpectedCall = -9099;

template <size_t slot>
JTI_Error unexpected() {
    ADD_FAILURE() << "the driver called slot " << slot << " of the host's table";
    return kUnexpectedCall;
}

template <size_t... slots>
std::array<CFG_Unused_t, kSlots> all_unexpected(std::index_sequence<slots...>) {
    return {&unexpected<slots>...};
}

template <typename Number>
JTI_Error parse_number(const char* text, Number* pNumber) {
    const std::string whole = text != nullptr ? text : "";
    size_t used = 0;
    try {
        const long long number = std::stoll(whole, &used, 0);
        if (used == whole.size() && number >= std::numeric_limits<Number>::min() &&
            number <= std::numeric_limits<Number>::max()) {
            *pNumber = static_cast<Number>(number);
            return 0;
        }
    } catch (const std::exception&) {
    }
    return RecordingConfig::kNotANumber;
}

} // namespace

RecordingConfig::RecordingConfig() {
    static_assert(kSlots == 88);
    const auto slots = all_unexpected(std::make_index_sequence<kSlots>());
    std::memcpy(&table_, slots.data(), sizeof(table_));
    table_.GetContextIdInvalid = get_invalid_id;
    table_.GetContextIdGlobal = get_global_id;
    table_.GetContextHandle = get_handle;
    table_.GetContextString = get_string;
    table_.GetContextBoolean = get_boolean;
    table_.GetContextUnsign32 = get_unsigned;
    table_.GetContextSigned32 = get_signed;
}

RecordingConfig::RecordingConfig(const Keys& keys) : RecordingConfig() {
    for (const auto& [key, text] : keys) {
        set(key, text);
    }
}

RecordingConfig::Entry& RecordingConfig::entry_of(const std::string& key) {
    const auto place = std::ranges::find(entries_, key, &Entry::key);
    return place != entries_.end() ? *place : entries_.emplace_back(Entry{key, false, "", "", 0});
}

void RecordingConfig::set(const std::string& key, const std::string& text) {
    Entry& entry = entry_of(key);
    entry.kept = text;
    entry.text = entry.kept.c_str();
    entry.length = static_cast<uint32_t>(text.size());
    entry.found = true;
}

void RecordingConfig::set_raw(const std::string& key, const char* text, uint32_t length) {
    Entry& entry = entry_of(key);
    entry.text = text;
    entry.length = length;
    entry.found = true;
}

void RecordingConfig::remove(const std::string& key) {
    set_absent_answer(key, "", 0);
}

void RecordingConfig::set_absent_answer(const std::string& key, const char* text, uint32_t length) {
    Entry& entry = entry_of(key);
    entry.text = text;
    entry.length = length;
    entry.found = false;
}

void RecordingConfig::fail_read(const std::string& key, JTI_Error error) {
    for (const Read read : {Read::String, Read::Boolean, Read::Unsigned32, Read::Signed32}) {
        fail_read(key, read, error);
    }
}

void RecordingConfig::fail_read(const std::string& key, Read read, JTI_Error error) {
    read_errors_[{key, read}] = error;
}

std::vector<std::string> RecordingConfig::keys_asked() const {
    std::vector<std::string> keys;
    for (const Call& call : calls_) {
        if (!call.read) {
            keys.push_back(call.key);
        }
    }
    return keys;
}

std::vector<RecordingConfig::Read> RecordingConfig::reads_of(const std::string& key) const {
    std::vector<Read> reads;
    for (const Call& call : calls_) {
        if (call.read && call.key == key) {
            reads.push_back(*call.read);
        }
    }
    return reads;
}

RecordingConfig& RecordingConfig::self(CFG_Handle handle) {
    return *static_cast<RecordingConfig*>(handle);
}

JTI_Error RecordingConfig::get_invalid_id(CFG_Handle handle, uint32_t* pContextId) {
    RecordingConfig& config = self(handle);
    config.context_questions_ += 'i';
    *pContextId = kInvalidId;
    return config.invalid_id_error_;
}

JTI_Error RecordingConfig::get_global_id(CFG_Handle handle, uint32_t* pContextId, bool* pFound) {
    RecordingConfig& config = self(handle);
    config.context_questions_ += 'g';
    *pContextId = config.global_id_;
    *pFound = config.global_found_ || config.global_id_error_ != 0;
    return config.global_id_error_;
}

JTI_Error RecordingConfig::get_handle(CFG_Handle handle, uint32_t contextId, const char* pKeyName,
                                      JBD_Context* pEntry, bool* pFound) {
    RecordingConfig& config = self(handle);
    EXPECT_EQ(contextId, kGlobalId);
    EXPECT_EQ(*pEntry, nullptr) << pKeyName << ": the entry is null before the look-up";
    EXPECT_FALSE(*pFound) << pKeyName << ": nothing is found before the look-up";
    config.calls_.push_back({pKeyName, std::nullopt});
    const auto error = config.lookup_errors_.find(pKeyName);
    if (error != config.lookup_errors_.end()) {
        *pEntry = &config;
        *pFound = true;
        return error->second;
    }
    Entry& entry = config.entry_of(pKeyName);
    *pEntry = &entry;
    *pFound = entry.found;
    return 0;
}

const RecordingConfig::Entry* RecordingConfig::record_read(JBD_Context context, Read read) {
    for (const Entry& entry : entries_) {
        if (&entry == context) {
            calls_.push_back({entry.key, read});
            return &entry;
        }
    }
    ADD_FAILURE() << "a read of an entry that no look-up gave";
    return nullptr;
}

JTI_Error RecordingConfig::error_of(const Entry& entry, Read read) const {
    const auto error = read_errors_.find({entry.key, read});
    return error != read_errors_.end() ? error->second : 0;
}

JTI_Error RecordingConfig::get_string(CFG_Handle handle, JBD_Context context, uint32_t* pLength,
                                      const char** ppText) {
    RecordingConfig& config = self(handle);
    const Entry* entry = config.record_read(context, Read::String);
    if (entry == nullptr) {
        return kUnexpectedCall;
    }
    const JTI_Error error = config.error_of(*entry, Read::String);
    *pLength = error == 0 ? entry->length : 5;
    *ppText = error == 0 ? entry->text : "spoil";
    return error;
}

JTI_Error RecordingConfig::get_boolean(CFG_Handle handle, JBD_Context context, bool* pValue) {
    RecordingConfig& config = self(handle);
    const Entry* entry = config.record_read(context, Read::Boolean);
    if (entry == nullptr) {
        return kUnexpectedCall;
    }
    *pValue = true;
    if (const JTI_Error error = config.error_of(*entry, Read::Boolean)) {
        return error;
    }
    for (const char* word : {"yes", "true", "1"}) {
        if (strcasecmp(entry->text, word) == 0) {
            return 0;
        }
    }
    *pValue = false;
    for (const char* word : {"no", "false", "0"}) {
        if (strcasecmp(entry->text, word) == 0) {
            return 0;
        }
    }
    *pValue = entry->found;
    return entry->found ? kNotABoolean : 0;
}

JTI_Error RecordingConfig::get_unsigned(CFG_Handle handle, JBD_Context context, uint32_t* pValue) {
    RecordingConfig& config = self(handle);
    const Entry* entry = config.record_read(context, Read::Unsigned32);
    if (entry == nullptr) {
        return kUnexpectedCall;
    }
    *pValue = 0xBAD;
    if (const JTI_Error error = config.error_of(*entry, Read::Unsigned32)) {
        return error;
    }
    if (!entry->found) {
        *pValue = 0;
        return 0;
    }
    return parse_number(entry->text, pValue);
}

JTI_Error RecordingConfig::get_signed(CFG_Handle handle, JBD_Context context, int32_t* pValue) {
    RecordingConfig& config = self(handle);
    const Entry* entry = config.record_read(context, Read::Signed32);
    if (entry == nullptr) {
        return kUnexpectedCall;
    }
    *pValue = 0xBAD;
    if (const JTI_Error error = config.error_of(*entry, Read::Signed32)) {
        return error;
    }
    if (!entry->found) {
        *pValue = 0;
        return 0;
    }
    return parse_number(entry->text, pValue);
}

} // namespace test_support
