// Lines that a person types: with editing, history and completion where the library for it was
// there when the program was built, plain ones elsewhere. That library is known to its source file
// alone.
#pragma once

#include <cstdint>
#include <functional>
#include <memory>
#include <string>
#include <string_view>
#include <vector>

namespace talvor {

// Words that the last one of `before` (what stands left of the cursor) may become, whole.
using Completer = std::function<std::vector<std::string>(std::string_view before)>;

class LineEditor {
public:
    enum class Event : uint8_t {
        Line,        // text() is one, without its end
        End,         // there are no more
        Interrupted, // a signal came: see interrupt_signal()
    };

    explicit LineEditor(Completer completer);
    ~LineEditor();
    LineEditor(const LineEditor&) = delete;
    LineEditor& operator=(const LineEditor&) = delete;

    // Whether there are editing, history and completion.
    [[nodiscard]] static bool edits() noexcept;

    // Shows `prompt` and reads one line from the terminal.
    [[nodiscard]] Event read(const std::string& prompt);
    [[nodiscard]] const std::string& text() const noexcept { return text_; }
    // What the arrow keys bring back.
    void remember(const std::string& line);

private:
    struct Editor;

    std::unique_ptr<Editor> editor_;
    std::string text_;
};

// What `candidates` have in common from their beginning.
[[nodiscard]] std::string common_beginning(const std::vector<std::string>& candidates);

} // namespace talvor
