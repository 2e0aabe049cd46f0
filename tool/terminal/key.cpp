#include "tool/terminal/key.h"

#include "common/interrupt.h"
#include "tool/output/standard_streams.h"

#include <array>
#include <termios.h>
#include <unistd.h>

namespace talvor {
namespace {

// Each key arrives at once, and none is shown, while one lives.
class SingleKeys {
public:
    SingleKeys() noexcept : known_(tcgetattr(STDIN_FILENO, &before_) == 0) {
        if (known_) {
            termios single = before_;
            single.c_lflag &= static_cast<tcflag_t>(~(ICANON | ECHO));
            tcsetattr(STDIN_FILENO, TCSANOW, &single);
        }
    }
    ~SingleKeys() {
        if (known_) {
            tcsetattr(STDIN_FILENO, TCSANOW, &before_);
        }
    }
    SingleKeys(const SingleKeys&) = delete;
    SingleKeys& operator=(const SingleKeys&) = delete;

private:
    termios before_{};
    bool known_;
};

} // namespace

bool has_keys() noexcept {
    return isatty(STDIN_FILENO) == 1;
}

Status await_key() {
    const SingleKeys keys;
    TRY(await_input(STDIN_FILENO));
    std::array<char, 64> pressed{}; // an arrow is several
    [[maybe_unused]] const ssize_t taken = read(STDIN_FILENO, pressed.data(), pressed.size());
    return {};
}

Result<std::string> ask(const std::string& question) {
    write_error(question);
    std::string line;
    for (char byte = 0;;) {
        TRY(await_input(STDIN_FILENO));
        if (read(STDIN_FILENO, &byte, 1) != 1 || byte == '\n') {
            return line;
        }
        line += byte;
    }
}

} // namespace talvor
