#include "tool/commands/script_line.h"

#include <algorithm>
#include <optional>

namespace talvor {
namespace {

bool is_blank(char c) {
    return c == ' ' || c == '\t' || c == '\r' || c == '\n';
}

class Splitter {
public:
    explicit Splitter(std::string_view line) : line_(line) {}

    Result<std::vector<std::string>> words() {
        while (at_ < line_.size()) {
            const char c = line_[at_++];
            if (c == '#' && !word_) {
                at_ = std::min(line_.find('\n', at_), line_.size());
            } else if (is_blank(c)) {
                end_word();
            } else if (c == '\\') {
                escaped();
            } else if (c == '\'' || c == '"') {
                TRY(quoted(c));
            } else {
                put(c);
            }
        }
        end_word();
        return std::move(words_);
    }

private:
    void put(char c) {
        if (!word_) {
            word_.emplace();
        }
        *word_ += c;
    }
    void end_word() {
        if (word_) {
            words_.push_back(*std::move(word_));
            word_.reset();
        }
    }
    void escaped() {
        if (at_ == line_.size()) {
            put('\\');
        } else if (line_[at_] == '\n') {
            ++at_;
        } else {
            put(line_[at_++]);
        }
    }
    Status quoted(char quote) {
        word_ = word_ ? std::move(word_) : std::string(); // may stay empty
        while (at_ < line_.size() && line_[at_] != quote) {
            if (line_[at_++] == '\\' && quote == '"') {
                escaped();
            } else {
                put(line_[at_ - 1]);
            }
        }
        if (at_ == line_.size()) {
            return usage_error(std::string(1, quote), "the quote has no end");
        }
        ++at_;
        return {};
    }

    std::string_view line_;
    size_t at_ = 0;
    std::vector<std::string> words_;
    std::optional<std::string> word_;
};

} // namespace

Result<std::vector<std::string>> split_words(std::string_view line) {
    return Splitter(line).words();
}

bool goes_on(std::string_view line) noexcept {
    const size_t last = line.find_last_not_of('\\');
    const size_t slashes = line.size() - (last == std::string_view::npos ? 0 : last + 1);
    return slashes % 2 == 1;
}

} // namespace talvor
