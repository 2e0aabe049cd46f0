// A client's bytes, given to a protocol in pieces, as a connection does it.
#pragma once

#include "host/serve/protocol.h"

#include <gtest/gtest.h>

#include <string>
#include <vector>

namespace talvor {

using Bytes = std::vector<uint8_t>;

inline void put(Bytes& bytes, std::string_view text) {
    bytes.insert(bytes.end(), text.begin(), text.end());
}
inline void put(Bytes& bytes, const Bytes& more) {
    bytes.insert(bytes.end(), more.begin(), more.end());
}

struct Heard {
    Bytes answer;
    bool over = false;
    size_t unused = 0; // bytes that wait for more
    std::optional<Error> error;
};

// `cuts` are the places where a piece ends; the last one ends with the bytes.
inline Heard talk(Protocol& protocol, const Bytes& bytes, std::vector<size_t> cuts = {}) {
    Heard heard;
    Bytes pending;
    cuts.push_back(bytes.size());
    size_t at = 0;
    for (const size_t cut : cuts) {
        pending.insert(pending.end(), bytes.begin() + static_cast<ptrdiff_t>(at),
                       bytes.begin() + static_cast<ptrdiff_t>(cut));
        at = cut;
        const auto served = protocol.serve(pending, heard.answer);
        if (!served) {
            heard.error = served.error();
            return heard;
        }
        EXPECT_LE(served->bytes, pending.size());
        pending.erase(pending.begin(), pending.begin() + static_cast<ptrdiff_t>(served->bytes));
        EXPECT_LT(pending.size(), protocol.longest_request());
        heard.over = heard.over || served->over;
    }
    heard.unused = pending.size();
    return heard;
}

// Every byte a piece of its own.
inline std::vector<size_t> cut_everywhere(const Bytes& bytes) {
    std::vector<size_t> cuts;
    for (size_t i = 1; i < bytes.size(); ++i) {
        cuts.push_back(i);
    }
    return cuts;
}

} // namespace talvor
