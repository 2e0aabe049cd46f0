// A host's configuration table that a test fills, and that records what the driver asks of it.
#pragma once

#include "cfg_export.h"

#include <cstdint>
#include <deque>
#include <map>
#include <optional>
#include <string>
#include <vector>

namespace test_support {

// What a test sets up, the driver reads; an unexpected call fails the test. Of the 88 slots the
// seven that the driver may call work; each call is checked: the handle is the host's own, pointers
// are not null, the context is the global one, the entry was null and nothing found before the
// look-up, and an entry that is read is one that a look-up gave. A call that answers an error
// spoils its outputs first, so that a driver which believes them is caught.
class RecordingConfig {
public:
    // What the host answers when a text is no number, no truth value.
    static constexpr JTI_Error kNotANumber = -9001;
    static constexpr JTI_Error kNotABoolean = -9002;

    enum class Read { String, Boolean, Unsigned32, Signed32 };

    using Keys = std::map<std::string, std::string>; // texts by key

    struct Call {
        std::string key;
        std::optional<Read> read; // nothing: a look-up
        bool operator==(const Call&) const = default;
    };

    // A configuration with a global context and no key in it.
    RecordingConfig();
    // One with these keys.
    explicit RecordingConfig(const Keys& keys);
    RecordingConfig(const RecordingConfig&) = delete;
    RecordingConfig& operator=(const RecordingConfig&) = delete;

    CFG_Handle handle() { return this; }
    CFG_Interface* table() { return &table_; }

    // Gives the key a text, in place of any before.
    void set(const std::string& key, const std::string& text);
    // Gives the key a text whose counted length is not its own. `text` may be null and must live.
    void set_raw(const std::string& key, const char* text, uint32_t length);
    void remove(const std::string& key);
    // Takes the key away, and answers reads of it with this text: a host that keeps a default.
    void set_absent_answer(const std::string& key, const char* text, uint32_t length);

    // No global context. Or one with the invalid id.
    void lack_global() { global_found_ = false; }
    void make_global_invalid() { global_id_ = kInvalidId; }

    // Errors to answer with: to the two questions about contexts, to the look-up of a key, to its
    // reads (one type of read, or every one).
    void fail_invalid_id(JTI_Error error) { invalid_id_error_ = error; }
    void fail_global_id(JTI_Error error) { global_id_error_ = error; }
    void fail_lookup(const std::string& key, JTI_Error error) { lookup_errors_[key] = error; }
    void fail_read(const std::string& key, JTI_Error error);
    void fail_read(const std::string& key, Read read, JTI_Error error);

    // What was asked since, in order: all of it, the keys looked up, the reads of one key.
    const std::vector<Call>& calls() const { return calls_; }
    std::vector<std::string> keys_asked() const;
    std::vector<Read> reads_of(const std::string& key) const;
    // The questions about contexts: an 'i' for the invalid id, a 'g' for the global one.
    const std::string& context_questions() const { return context_questions_; }

private:
    struct Entry {
        std::string key;
        bool found;
        std::string kept;
        const char* text;
        uint32_t length;
    };
    static constexpr uint32_t kInvalidId = 0xDEAD0000u;
    static constexpr uint32_t kGlobalId = 7;

    static RecordingConfig& self(CFG_Handle handle);
    static JTI_Error get_invalid_id(CFG_Handle, uint32_t*);
    static JTI_Error get_global_id(CFG_Handle, uint32_t*, bool*);
    static JTI_Error get_handle(CFG_Handle, uint32_t, const char*, JBD_Context*, bool*);
    static JTI_Error get_string(CFG_Handle, JBD_Context, uint32_t*, const char**);
    static JTI_Error get_boolean(CFG_Handle, JBD_Context, bool*);
    static JTI_Error get_unsigned(CFG_Handle, JBD_Context, uint32_t*);
    static JTI_Error get_signed(CFG_Handle, JBD_Context, int32_t*);

    Entry& entry_of(const std::string& key);
    const Entry* record_read(JBD_Context context, Read read);
    JTI_Error error_of(const Entry& entry, Read read) const;

    CFG_Interface table_;
    std::deque<Entry> entries_;
    bool global_found_ = true;
    uint32_t global_id_ = kGlobalId;
    JTI_Error invalid_id_error_ = 0;
    JTI_Error global_id_error_ = 0;
    std::map<std::string, JTI_Error> lookup_errors_;
    std::map<std::pair<std::string, Read>, JTI_Error> read_errors_;
    std::vector<Call> calls_;
    std::string context_questions_;
};

} // namespace test_support
