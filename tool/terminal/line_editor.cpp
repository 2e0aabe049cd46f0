#include "tool/terminal/line_editor.h"

#include "common/interrupt.h"
#include "tool/output/standard_streams.h"

#include <algorithm>
#include <array>
#include <clocale>
#include <cstdio>
#include <cstring>
#include <cwchar>
#include <unistd.h>

#ifdef TALVOR_HAS_LIBEDIT
#include <histedit.h>
#endif

namespace talvor {

std::string common_beginning(const std::vector<std::string>& candidates) {
    std::string common = candidates.empty() ? "" : candidates.front();
    for (const std::string& one : candidates) {
        const auto [mine, theirs] =
            std::mismatch(common.begin(), common.end(), one.begin(), one.end());
        common.erase(mine, common.end());
    }
    return common;
}

#ifdef TALVOR_HAS_LIBEDIT

namespace {

constexpr int kRemembered = 1000;

// The last word of what stands left of the cursor.
std::string_view last_word(std::string_view before) {
    return before.substr(before.find_last_of(" \t") + 1); // npos + 1 is 0
}

void list(const std::vector<std::string>& candidates) {
    std::string text = "\n";
    for (const std::string& one : candidates) {
        text += one + "  ";
    }
    write_output(text + "\n");
    (void)flush_output();
}

} // namespace

struct LineEditor::Editor {
    explicit Editor(Completer complete_line) : completer(std::move(complete_line)) {
        std::setlocale(LC_CTYPE, "");
        line = el_init("talvor", stdin, stdout, stderr);
        remembered = history_init();
        HistEvent event{};
        history(remembered, &event, H_SETSIZE, kRemembered);
        history(remembered, &event, H_SETUNIQUE, 1);
        el_set(line, EL_CLIENTDATA, this);
        el_set(
            line, EL_PROMPT, +[](EditLine* of) { return editor_of(of)->prompt.data(); });
        el_set(line, EL_EDITOR, "emacs");
        el_set(line, EL_SIGNAL, 0);
        el_set(line, EL_HIST, history, remembered);
        el_set(line, EL_GETCFN, &Editor::next_character);
        el_set(line, EL_ADDFN, "talvor-complete", "Complete a word", &Editor::complete);
        el_set(line, EL_BIND, "^I", "talvor-complete", nullptr);
        el_set(line, EL_BIND, "^R", "em-inc-search-prev", nullptr);
    }
    ~Editor() {
        el_end(line);
        history_end(remembered);
    }
    Editor(const Editor&) = delete;
    Editor& operator=(const Editor&) = delete;

    static Editor* editor_of(EditLine* line) {
        void* data = nullptr;
        el_get(line, EL_CLIENTDATA, &data);
        return static_cast<Editor*>(data);
    }

    // Its own reading would go on after a signal.
    static int next_character(EditLine* /*line*/, wchar_t* character) {
        std::mbstate_t state{};
        for (;;) {
            if (!await_input(STDIN_FILENO)) {
                return -1;
            }
            char byte = 0;
            const ssize_t got = ::read(STDIN_FILENO, &byte, 1);
            if (got <= 0) {
                return static_cast<int>(got);
            }
            const size_t used = std::mbrtowc(character, &byte, 1, &state);
            if (used == 0 || used == 1) {
                return 1;
            }
            if (used == static_cast<size_t>(-1)) {
                state = {}; // no character of this locale
            }
        }
    }

    static unsigned char complete(EditLine* line, int /*key*/) {
        const LineInfo* const info = el_line(line);
        const std::string_view before(info->buffer,
                                      static_cast<size_t>(info->cursor - info->buffer));
        const std::vector<std::string> candidates = editor_of(line)->completer(before);
        const std::string_view word = last_word(before);
        std::string more = common_beginning(candidates);
        if (more.size() < word.size()) {
            return CC_ERROR;
        }
        more.erase(0, word.size());
        if (candidates.size() == 1 && !candidates.front().ends_with('/')) {
            more += ' ';
        }
        if (more.empty()) {
            list(candidates);
            return CC_REDISPLAY;
        }
        el_insertstr(line, more.c_str());
        return CC_REFRESH;
    }

    Completer completer;
    std::string prompt;
    EditLine* line = nullptr;
    History* remembered = nullptr;
};

LineEditor::LineEditor(Completer completer)
    : editor_(std::make_unique<Editor>(std::move(completer))) {}

bool LineEditor::edits() noexcept {
    return true;
}

LineEditor::Event LineEditor::read(const std::string& prompt) {
    editor_->prompt = prompt;
    int count = 0;
    const char* const line = el_gets(editor_->line, &count);
    if (line == nullptr || count <= 0) {
        write_output("\n");
        return interrupt_signal() != 0 ? Event::Interrupted : Event::End;
    }
    text_.assign(line, static_cast<size_t>(count));
    text_.erase(text_.find_last_not_of("\r\n") + 1);
    return Event::Line;
}

void LineEditor::remember(const std::string& line) {
    HistEvent event{};
    history(editor_->remembered, &event, H_ENTER, line.c_str());
}

#else

struct LineEditor::Editor {};

LineEditor::LineEditor(Completer /*completer*/) {}

bool LineEditor::edits() noexcept {
    return false;
}

LineEditor::Event LineEditor::read(const std::string& prompt) {
    write_output(prompt);
    (void)flush_output();
    text_.clear();
    for (;;) {
        char byte = 0;
        if (!await_input(STDIN_FILENO)) {
            write_output("\n");
            return Event::Interrupted;
        }
        if (::read(STDIN_FILENO, &byte, 1) <= 0) {
            return text_.empty() ? Event::End : Event::Line;
        }
        if (byte == '\n') {
            return Event::Line;
        }
        text_ += byte;
    }
}

void LineEditor::remember(const std::string& /*line*/) {}

#endif

LineEditor::~LineEditor() = default;

} // namespace talvor
