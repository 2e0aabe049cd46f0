#include "host/waveform/vcd_words.h"

namespace talvor::waveform {

namespace {

constexpr size_t kBufferBytes = size_t{1} << 16;
constexpr size_t kMaxWord = 4096;

} // namespace

VcdWords::VcdWords(std::istream& stream) : stream_(stream), buffer_(kBufferBytes) {}

std::string_view VcdWords::next() {
    word_.clear();
    cut_ = true;
    for (int c = get(); c >= 0; c = get()) {
        const bool blank = c == ' ' || (c >= '\t' && c <= '\r');
        if (!blank && word_.size() < kMaxWord) {
            word_.push_back(static_cast<char>(c));
            continue;
        }
        if (blank && !word_.empty()) {
            --at_; // the newline is counted with the next word
            cut_ = false;
            break;
        }
        line_ += c == '\n' ? 1 : 0;
    }
    return word_;
}

int VcdWords::get() {
    if (at_ == end_) {
        stream_.read(buffer_.data(), static_cast<std::streamsize>(buffer_.size()));
        at_ = 0;
        end_ = static_cast<size_t>(stream_.gcount());
        if (end_ == 0) {
            return -1;
        }
    }
    return static_cast<unsigned char>(buffer_[at_++]);
}

} // namespace talvor::waveform
