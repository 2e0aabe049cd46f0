// Where the simulator says what happens: one stream, whole lines, from any thread.
#pragma once

#include <cstdio>
#include <mutex>
#include <string_view>

namespace talvor::podsim {

class Log {
public:
    // `stream` must outlive the log.
    explicit Log(std::FILE* stream) : stream_(stream) {}

    // Writes a text of one or more lines in one piece, and a newline.
    void write(std::string_view text) {
        const std::scoped_lock lock(mutex_);
        std::fwrite(text.data(), 1, text.size(), stream_);
        std::fputc('\n', stream_);
        std::fflush(stream_);
    }

private:
    std::mutex mutex_;
    std::FILE* stream_;
};

} // namespace talvor::podsim
