// docs/board-file.md against the tables of keys in the code: the two must not drift apart. What the
// page says of a key in its columns is worked out from the key's row; the effect is prose.
#include "config/kelm_variable.h"
#include "config/qel_variable.h"
#include "config/tbc_variable.h"
#include "config/zdl_variable.h"
#include "pll/pll_variable.h"
#include "support/recording_config.h"

#include <gtest/gtest.h>

#include <cstring>
#include <fstream>
#include <map>
#include <set>

namespace {

using test_support::RecordingConfig;

enum Column { kKey, kType, kWords, kAbsent, kRange, kErrors, kAskedFor, kEffect, kColumns };
using PageRow = std::vector<std::string>;

std::string trimmed(const std::string& text) {
    const auto first = text.find_first_not_of(' ');
    const auto last = text.find_last_not_of(' ');
    return first == std::string::npos ? "" : text.substr(first, last - first + 1);
}

// The rows of the page's tables that describe a key.
std::vector<PageRow> page_rows() {
    std::ifstream page(TALVOR_BOARD_FILE_PAGE);
    EXPECT_TRUE(page.good()) << TALVOR_BOARD_FILE_PAGE;
    std::vector<PageRow> rows;
    for (std::string line; std::getline(page, line);) {
        if (!line.starts_with("| `VEXIL.") && !line.starts_with("| `KELM.")) {
            continue;
        }
        PageRow row;
        for (size_t at = 1; at < line.size();) {
            const size_t end = std::min(line.find('|', at), line.size());
            row.push_back(trimmed(line.substr(at, end - at)));
            at = end + 1;
        }
        rows.push_back(row);
    }
    return rows;
}

// The keys of the table for beginners, in whose rows they come second.
std::vector<std::string> first_keys() {
    std::ifstream page(TALVOR_BOARD_FILE_PAGE);
    std::vector<std::string> keys;
    for (std::string line; std::getline(page, line) && line != "## How keys are read";) {
        const size_t at = line.find("| `");
        if (line.starts_with("| ") && at != std::string::npos) {
            keys.push_back(line.substr(at + 2, line.find("` |", at) - at - 1));
        }
    }
    return keys;
}

// Types that a reader made for itself, by key.
const std::map<std::string, std::string> kOwnTypes = {
    {"VEXIL.LINKDELAY_MODE", "word"},
    {"VEXIL.LINKDELAY_VALUE", "word or number"},
    {"VEXIL.LINKDLY", "word or number"},
    {"VEXIL.TCLK_BEGINNING", "word or frequency"},
    {"VEXIL.TCLK_FREQUENCY", "word or frequency"},
    {"VEXIL.TCLK_REFERENCE", "word or frequency"},
    {"KELM.POD_LOGTYPE", "word"},
};

std::string type_of(const KeyRow& row) {
    const std::pair<KeyRead, const char*> types[] = {
        {read_boolean, "boolean"},
        {read_unsigned, "number"},
        {read_limited, "number"},
        {read_text, "text"},
        {read_keyword, "word"},
        {read_keyword_or_boolean, "word or boolean"},
        {read_keyword_or_limited, "word or number"},
    };
    for (const auto& [read, name] : types) {
        if (row.read == read) {
            return name;
        }
    }
    const auto own = kOwnTypes.find(row.name);
    return own != kOwnTypes.end() ? own->second : "unknown";
}

bool has(const std::string& type, const char* part) {
    return type.find(part) != std::string::npos;
}

std::string quoted(const char* word) {
    return std::string("`").append(word).append("`");
}

std::string words_of(const KeyRow& row) {
    std::string words;
    for (auto title = row.words.titles; title != nullptr && *title != nullptr; ++title) {
        words.append(words.empty() ? "" : ", ").append(quoted(*title));
    }
    return words.empty() ? "-" : words;
}

std::string range_of(const KeyRow& row) {
    const std::string most = std::to_string(row.most);
    if (row.least == 0 && row.most == kNoLimit) {
        return "-";
    }
    if (row.read == read_text) {
        return std::string("at most ").append(most).append(" characters");
    }
    return row.least == 0 ? std::string("at most ").append(most)
                          : std::to_string(row.least).append(" to ").append(most);
}

// Every code that the key can end the reading with, the host's own last. (A host error of the
// look-up and of reading a text is every key's.)
std::string errors_of(const KeyRow& row) {
    const std::string type = type_of(row);
    std::set<JTI_Error, std::greater<>> codes;
    bool hosts = type == "text";
    if (row.refused != 0) {
        codes.insert(row.refused);
    }
    if (has(type, "number") || has(type, "boolean")) {
        if (row.unreadable != 0) {
            codes.insert(row.unreadable);
        } else {
            hosts = true;
        }
    }
    std::string errors;
    for (const JTI_Error code : codes) {
        errors.append(errors.empty() ? "" : ", ").append(std::to_string(code));
    }
    if (hosts) {
        errors.append(errors.empty() ? "host's" : ", host's");
    }
    return errors.empty() ? "none" : errors;
}

// What an absent key leaves, from a record that an empty configuration filled.
std::string absent_of(const KeyRow& row, const void* record) {
    if (row.read == read_text) {
        return "empty";
    }
    if (row.field.size == 0) {
        return "-";
    }
    uint32_t value = 0;
    std::memcpy(&value, static_cast<const char*>(record) + row.field.offset, row.field.size);
    for (uint32_t i = 0; row.words.titles != nullptr && row.words.titles[i] != nullptr; ++i) {
        if ((row.words.values != nullptr ? row.words.values[i] : 0) == value) {
            return quoted(row.words.titles[i]);
        }
    }
    if (row.field.size == sizeof(bool)) {
        return value != 0 ? "yes" : "no";
    }
    return std::to_string(value);
}

// The columns of the row up to the prose.
PageRow columns_of(const KeyRow& row, const void* record) {
    return {quoted(row.name),       type_of(row),  words_of(row),
            absent_of(row, record), range_of(row), errors_of(row)};
}

void expect_rows(std::vector<PageRow>& page, std::span<const KeyRow> rows, const void* record) {
    for (const KeyRow& row : rows) {
        SCOPED_TRACE(row.name);
        ASSERT_FALSE(page.empty()) << "the page lacks this key";
        const PageRow described = page.front();
        page.erase(page.begin());
        ASSERT_EQ(described.size(), kColumns);
        EXPECT_EQ(PageRow(described.begin(), described.begin() + kAskedFor),
                  columns_of(row, record));
        EXPECT_EQ(described[kAskedFor] == "always", row.when == nullptr);
        EXPECT_NE(described[kAskedFor], "");
        EXPECT_NE(described[kEffect], "");
    }
}

// The record that a configuration without keys gives.
template <typename Record, typename Read>
Record empty_record(void (*initial)(Record*), Read read) {
    RecordingConfig config;
    Record record;
    initial(&record);
    EXPECT_EQ(read(config.handle(), config.table(), &record), 0);
    return record;
}

TEST(BoardFilePageTest, DescribesEveryKeyInTheOrderOfTheReaders) {
    std::vector<PageRow> page = page_rows();
    // The emulator's rows fill a record of the reader's own, in which absent keys leave zeros.
    const ZDL_Variable zdl = {};
    const auto tbc = empty_record(READ_TbcInitial, READ_TbcVariable);
    const auto pll = empty_record(READ_PllInitial, READ_PllVariable);
    const auto kelm = empty_record(READ_KelmInitial, READ_KelmVariable);
    const auto qel = empty_record(READ_QelInitial, READ_QelVariable);
    expect_rows(page, zdl_keys(), &zdl);
    expect_rows(page, tbc_keys(), &tbc);
    expect_rows(page, pll_keys(), &pll);
    expect_rows(page, kelm_keys(), &kelm);
    expect_rows(page, qel_keys(), &qel);
    EXPECT_TRUE(page.empty()) << "the page describes a key that is none: " << page.front()[kKey];
}

TEST(BoardFilePageTest, EveryOwnTypeIsAKeys) {
    std::set<std::string> keys;
    for (const auto rows : {zdl_keys(), tbc_keys(), pll_keys(), kelm_keys(), qel_keys()}) {
        for (const KeyRow& row : rows) {
            keys.insert(row.name);
            EXPECT_NE(type_of(row), "unknown") << row.name;
        }
    }
    for (const auto& [key, type] : kOwnTypes) {
        EXPECT_TRUE(keys.contains(key)) << key;
    }
}

TEST(BoardFilePageTest, BeginsWithTenKeysThatItDescribes) {
    std::set<std::string> described;
    for (const PageRow& row : page_rows()) {
        described.insert(row[kKey]);
    }
    const std::vector<std::string> first = first_keys();
    EXPECT_EQ(first.size(), 10U);
    for (const std::string& key : first) {
        EXPECT_TRUE(described.contains(key)) << key;
    }
}

} // namespace
