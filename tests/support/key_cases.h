// What holds for every reader of configuration keys, checked against a table of its keys.
#pragma once

#include "support/describe_variable.h"
#include "support/recording_config.h"

#include <gtest/gtest.h>

#include <algorithm>
#include <cstring>
#include <iterator>

namespace test_support {

// One key of a full configuration, whose keys are all there and good.
template <typename Record>
struct KeyCase {
    const char* key;
    const char* text;
    bool Record::*use;                 // the use flag that the look-up writes, or null
    void (*effect)(Record&);           // what reading it leaves in the record
    const char* bad = nullptr;         // a text that is refused, if there is one,
    JTI_Error bad_code = 0;            //   with this code
    JTI_Error number_code = 0;         // replaces the host's code of a numeric or boolean
                                       //   read that failed; 0: the host's stands
    bool always = false;               // read though it is absent
    void (*absent)(Record&) = nullptr; // what its absence leaves in the record
    const char* skips[3] = {};         // keys not asked for when it is absent
    const char* instead = nullptr;     // key asked for behind it when it is absent
};

template <typename Record>
struct Family {
    void (*initial)(Record*);
    int32_t (*read)(CFG_Handle, CFG_Interface*, Record*);
    std::vector<KeyCase<Record>> cases;      // in the order in which the keys are asked for
    std::vector<std::string> asked_on_empty; // keys asked for when none is there
    void (*empty_effect)(Record&) = nullptr;
    bool all_or_nothing = false; // nothing but `found` is written unless everything is good
};

inline constexpr JTI_Error kHostError = -7777;

// Keys of the full configuration.
template <typename Record>
RecordingConfig& fill(const Family<Record>& family, RecordingConfig& config) {
    for (const KeyCase<Record>& item : family.cases) {
        config.set(item.key, item.text);
    }
    return config;
}

inline std::string_view text_or_empty(const char* text) {
    return text != nullptr ? text : "";
}

// A record as READ_...Initial leaves it, on memory that held something else.
template <typename Record>
Record initial_record(const Family<Record>& family) {
    Record record;
    std::memset(static_cast<void*>(&record), 0xA5, sizeof(record));
    family.initial(&record);
    return record;
}

// The record when the global context is there and the first `count` keys were read.
template <typename Record>
Record expected_after(const Family<Record>& family, size_t count) {
    Record record = initial_record(family);
    record.found = true;
    for (size_t i = 0; i < count; ++i) {
        family.cases[i].effect(record);
    }
    return record;
}

// The record when the reading failed at key `at`, which was found or not even looked up.
template <typename Record>
Record expected_failure(const Family<Record>& family, size_t at, bool found) {
    if (family.all_or_nothing) {
        return expected_after(family, 0);
    }
    Record record = expected_after(family, at);
    if (found && family.cases[at].use != nullptr) {
        record.*family.cases[at].use = true;
    }
    return record;
}

template <typename Record>
std::vector<std::string> first_keys(const Family<Record>& family, size_t count) {
    std::vector<std::string> keys;
    for (size_t i = 0; i < count; ++i) {
        keys.push_back(family.cases[i].key);
    }
    return keys;
}

template <typename Record>
void check_null_arguments(const Family<Record>& family) {
    RecordingConfig config;
    Record record = initial_record(family);
    EXPECT_EQ(family.read(nullptr, config.table(), &record), eJTI_ERROR_BAD_ARGUMENT);
    EXPECT_EQ(family.read(config.handle(), nullptr, &record), eJTI_ERROR_BAD_ARGUMENT);
    EXPECT_EQ(family.read(config.handle(), config.table(), nullptr), eJTI_ERROR_BAD_ARGUMENT);
    EXPECT_EQ(config.context_questions(), "");
    EXPECT_EQ(describe(record), describe(initial_record(family)));
    family.initial(nullptr);
}

// `prepare` sets the trouble up; the reader answers `code` after `questions` about contexts, asks
// for no key, and leaves all but `found` as it was.
template <typename Record, typename Prepare>
void check_context(const Family<Record>& family, Prepare prepare, JTI_Error code,
                   const char* questions, bool found) {
    RecordingConfig config;
    fill(family, config);
    prepare(config);
    Record record = initial_record(family);
    record.found = true;
    EXPECT_EQ(family.read(config.handle(), config.table(), &record), code);
    EXPECT_EQ(config.context_questions(), questions);
    EXPECT_TRUE(config.calls().empty());
    Record expected = initial_record(family);
    expected.found = found;
    EXPECT_EQ(describe(record), describe(expected));
}

template <typename Record>
void check_contexts(const Family<Record>& family) {
    check_context(
        family, [](RecordingConfig& config) { config.lack_global(); }, 0, "ig", false);
    check_context(
        family, [](RecordingConfig& config) { config.make_global_invalid(); },
        eJTI_ERROR_BAD_ARGUMENT, "ig", true);
    check_context(
        family, [](RecordingConfig& config) { config.fail_invalid_id(kHostError); }, kHostError,
        "i", false);
    check_context(
        family, [](RecordingConfig& config) { config.fail_global_id(kHostError); }, kHostError,
        "ig", false);
}

template <typename Record>
void check_empty(const Family<Record>& family) {
    RecordingConfig config;
    Record record = initial_record(family);
    EXPECT_EQ(family.read(config.handle(), config.table(), &record), 0);
    EXPECT_EQ(config.context_questions(), "ig");
    EXPECT_EQ(config.keys_asked(), family.asked_on_empty);
    Record expected = expected_after(family, 0);
    if (family.empty_effect) {
        family.empty_effect(expected);
    }
    EXPECT_EQ(describe(record), describe(expected));
}

template <typename Record>
void check_full(const Family<Record>& family) {
    RecordingConfig config;
    fill(family, config);
    Record record = initial_record(family);
    EXPECT_EQ(family.read(config.handle(), config.table(), &record), 0);
    EXPECT_EQ(config.context_questions(), "ig");
    EXPECT_EQ(config.keys_asked(), first_keys(family, family.cases.size()));
    EXPECT_EQ(describe(record), describe(expected_after(family, family.cases.size())));
}

// The host refuses to look a key up: its code, nothing of this key and the later ones is touched.
template <typename Record>
void check_lookup_errors(const Family<Record>& family) {
    for (size_t at = 0; at < family.cases.size(); ++at) {
        SCOPED_TRACE(family.cases[at].key);
        RecordingConfig config;
        fill(family, config).fail_lookup(family.cases[at].key, kHostError);
        Record record = initial_record(family);
        EXPECT_EQ(family.read(config.handle(), config.table(), &record), kHostError);
        EXPECT_EQ(config.keys_asked(), first_keys(family, at + 1));
        EXPECT_TRUE(config.reads_of(family.cases[at].key).empty());
        EXPECT_EQ(describe(record), describe(expected_failure(family, at, false)));
    }
}

// The host refuses a read: each read that a key is given, in turn. A failed text read is always the
// host's code, a failed number or truth value may be the key's.
template <typename Record>
void check_read_errors(const Family<Record>& family) {
    RecordingConfig full;
    fill(family, full);
    Record scratch = initial_record(family);
    ASSERT_EQ(family.read(full.handle(), full.table(), &scratch), 0);
    for (size_t at = 0; at < family.cases.size(); ++at) {
        const KeyCase<Record>& item = family.cases[at];
        SCOPED_TRACE(item.key);
        const auto reads = full.reads_of(item.key);
        ASSERT_FALSE(reads.empty());
        for (const RecordingConfig::Read read : reads) {
            RecordingConfig config;
            fill(family, config).fail_read(item.key, read, kHostError);
            Record record = initial_record(family);
            const bool own = read != RecordingConfig::Read::String && item.number_code != 0;
            EXPECT_EQ(family.read(config.handle(), config.table(), &record),
                      own ? item.number_code : kHostError);
            EXPECT_EQ(config.keys_asked(), first_keys(family, at + 1));
            EXPECT_EQ(describe(record), describe(expected_failure(family, at, true)));
        }
    }
}

// A text that is no good: the code of the table, nothing later is asked.
template <typename Record>
void check_bad_texts(const Family<Record>& family) {
    for (size_t at = 0; at < family.cases.size(); ++at) {
        const KeyCase<Record>& item = family.cases[at];
        if (item.bad == nullptr) {
            continue;
        }
        SCOPED_TRACE(item.key);
        RecordingConfig config;
        fill(family, config).set(item.key, item.bad);
        Record record = initial_record(family);
        EXPECT_EQ(family.read(config.handle(), config.table(), &record), item.bad_code);
        EXPECT_EQ(config.keys_asked(), first_keys(family, at + 1));
        EXPECT_EQ(describe(record), describe(expected_failure(family, at, true)));
    }
}

// One key missing from the full configuration: what it leaves, which keys are then passed over, and
// whether it is read all the same.
template <typename Record>
void check_each_absent(const Family<Record>& family) {
    for (const KeyCase<Record>& missing : family.cases) {
        SCOPED_TRACE(missing.key);
        RecordingConfig config;
        fill(family, config).remove(missing.key);
        Record record = initial_record(family);
        EXPECT_EQ(family.read(config.handle(), config.table(), &record), 0);

        Record expected = expected_after(family, 0);
        std::vector<std::string> asked;
        for (const KeyCase<Record>& item : family.cases) {
            if (std::ranges::find(missing.skips, std::string_view(item.key), text_or_empty) !=
                std::end(missing.skips)) {
                continue;
            }
            asked.push_back(item.key);
            if (&item == &missing && item.instead != nullptr) {
                asked.push_back(item.instead);
            }
            const auto effect = &item == &missing ? item.absent : item.effect;
            if (effect) {
                effect(expected);
            }
        }
        EXPECT_EQ(config.keys_asked(), asked);
        EXPECT_EQ(config.reads_of(missing.key).size(), missing.always ? 1u : 0u);
        EXPECT_EQ(describe(record), describe(expected));
    }
}

// A key that is read though it is absent: the host's refusal of that read counts.
template <typename Record>
void check_read_errors_though_absent(const Family<Record>& family) {
    for (const KeyCase<Record>& item : family.cases) {
        SCOPED_TRACE(item.key);
        RecordingConfig config;
        fill(family, config).remove(item.key);
        config.fail_read(item.key, kHostError);
        Record record = initial_record(family);
        EXPECT_EQ(family.read(config.handle(), config.table(), &record),
                  item.always ? kHostError : 0);
    }
}

// The use flag of an absent key is cleared, when the key is asked for at all.
template <typename Record>
void check_flags_of_absent_keys(const Family<Record>& family) {
    for (const KeyCase<Record>& item : family.cases) {
        if (item.use == nullptr) {
            continue;
        }
        SCOPED_TRACE(item.key);
        RecordingConfig config;
        Record record = initial_record(family);
        record.*item.use = true;
        EXPECT_EQ(family.read(config.handle(), config.table(), &record), 0);
        const auto asked = config.keys_asked();
        EXPECT_EQ(record.*item.use, std::ranges::count(asked, item.key) == 0);
    }
}

// Reads one configuration into an initial record.
template <typename Record>
struct Outcome {
    JTI_Error code;
    Record record;
    std::vector<std::string> asked;
};
template <typename Record>
Outcome<Record> read_config(const Family<Record>& family, RecordingConfig& config) {
    Outcome<Record> outcome = {0, initial_record(family), {}};
    outcome.code = family.read(config.handle(), config.table(), &outcome.record);
    outcome.asked = config.keys_asked();
    return outcome;
}
template <typename Record>
Outcome<Record> read_config(const Family<Record>& family, const RecordingConfig::Keys& keys) {
    RecordingConfig config(keys);
    return read_config(family, config);
}

// The index of the word that `text` stands for, found the slow way: the first one that begins with
// it in any case; -1 for none.
inline int matching_word(const std::string& text, const char* const* titles) {
    for (int i = 0; !text.empty() && titles[i] != nullptr; ++i) {
        const std::string word = titles[i];
        if (text.size() <= word.size() &&
            std::equal(text.begin(), text.end(), word.begin(), [](char a, char b) {
                return std::tolower(static_cast<unsigned char>(a)) ==
                       std::tolower(static_cast<unsigned char>(b));
            })) {
            return i;
        }
    }
    return -1;
}

// Texts to try against a table: each word and each of its abbreviations in lower, upper and mixed
// case, each word with a character too many, and the empty text.
inline std::vector<std::string> texts_for(const char* const* titles) {
    std::vector<std::string> texts = {""};
    for (; *titles != nullptr; ++titles) {
        const std::string word = *titles;
        for (size_t length = 1; length <= word.size(); ++length) {
            std::string lower = word.substr(0, length);
            std::ranges::transform(lower, lower.begin(), [](unsigned char c) {
                return static_cast<char>(std::tolower(c));
            });
            std::string upper = lower;
            std::ranges::transform(upper, upper.begin(), [](unsigned char c) {
                return static_cast<char>(std::toupper(c));
            });
            std::string mixed = lower;
            mixed[0] = upper[0];
            texts.insert(texts.end(), {lower, upper, mixed});
        }
        texts.push_back(word + "x");
    }
    return texts;
}

// Every text for the words of `key`, the only key there besides `others`. A match gives the value
// of the same position (0 without values), anything else `refused`; texts that `spare` names are
// left out.
template <typename Record, typename Value>
void check_words(const Family<Record>& family, const std::string& key, const char* const* titles,
                 const uint32_t* values, Value Record::*field, JTI_Error refused,
                 const RecordingConfig::Keys& others = {},
                 bool (*spare)(const std::string&) = nullptr) {
    for (const std::string& text : texts_for(titles)) {
        if (spare && spare(text)) {
            continue;
        }
        SCOPED_TRACE(key + " = \"" + text + "\"");
        RecordingConfig::Keys keys = others;
        keys[key] = text;
        const Outcome<Record> outcome = read_config(family, keys);
        const int index = matching_word(text, titles);
        if (index < 0) {
            EXPECT_EQ(outcome.code, refused);
            EXPECT_EQ(outcome.asked.back(), key);
            EXPECT_EQ(outcome.record.*field, initial_record(family).*field);
        } else {
            EXPECT_EQ(outcome.code, 0);
            EXPECT_EQ(outcome.record.*field,
                      static_cast<Value>(values != nullptr ? values[index] : 0));
        }
    }
}

} // namespace test_support
