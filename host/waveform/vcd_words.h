// The words of a value change dump.
#pragma once

#include <cstddef>
#include <cstdint>
#include <istream>
#include <string>
#include <string_view>
#include <vector>

namespace talvor::waveform {

// What stands between blanks, with the line it stands on. The end of a word that is longer than any
// that means something is dropped.
class VcdWords {
public:
    // The stream outlives them.
    explicit VcdWords(std::istream& stream);

    // The next word, good until the next call; empty at the end.
    [[nodiscard]] std::string_view next();

    [[nodiscard]] uint64_t line() const noexcept { return line_; }
    // Whether the file ends with the last word, which then may be the start of a longer one.
    [[nodiscard]] bool cut() const noexcept { return cut_; }

private:
    [[nodiscard]] int get();

    std::istream& stream_;
    std::vector<char> buffer_;
    size_t at_ = 0;
    size_t end_ = 0;
    std::string word_;
    bool cut_ = false;
    uint64_t line_ = 1;
};

} // namespace talvor::waveform
