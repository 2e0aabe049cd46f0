#include "host/svf/written_form.h"

#include "host/svf/hex.h"

#include <algorithm>
#include <cstring>
#include <emmintrin.h>

namespace talvor::svf {

namespace {

size_t length_without(const std::vector<WrittenValue>& values, size_t length) noexcept {
    for (const WrittenValue& value : values) {
        length -= value.to - value.from;
    }
    return length;
}

} // namespace

void WrittenForm::Piece::set(std::string_view text) {
    text_ = text;
    const size_t first = std::min(text.size(), kAtOnce);
    std::ranges::copy(text.substr(0, first), first_.begin());
    wanted_ = (1U << first) - 1;
}

bool WrittenForm::Piece::begins(const char* at, const char* end) const noexcept {
    const auto left = static_cast<size_t>(end - at);
    if (left < kAtOnce) {
        return left >= text_.size() && std::memcmp(at, text_.data(), text_.size()) == 0;
    }
    const __m128i there = _mm_loadu_si128(reinterpret_cast<const __m128i*>(at));
    const __m128i first = _mm_loadu_si128(reinterpret_cast<const __m128i*>(first_.data()));
    const auto equal = static_cast<unsigned>(_mm_movemask_epi8(_mm_cmpeq_epi8(there, first)));
    if ((equal & wanted_) != wanted_) {
        return false;
    }
    return text_.size() <= kAtOnce ||
           (left >= text_.size() && std::memcmp(at, text_.data(), text_.size()) == 0);
}

bool WrittenForm::learn(const WrittenText& written, const Statement& statement) {
    const std::vector<WrittenValue>& values = *written.values;
    pieces_used_ = 0;
    if (values.size() > kParameters || length_without(values, written.text.size()) > kMaxText) {
        return false;
    }
    const uint64_t digits = (statement.scan.length_bits + 3) / 4;
    size_t from = 0;
    for (size_t i = 0; i < values.size(); ++i) {
        const WrittenValue& value = values[i];
        if (value.to - value.from != digits) {
            return false;
        }
        pieces_[i].set(written.text.substr(from, value.from - from));
        pieces_[i].parameter = value.parameter;
        from = value.to + 1;
    }
    pieces_[values.size()].set(written.text.substr(from));
    pieces_[values.size()].parameter = nullptr;
    newlines_ = written.newlines;
    newlines_before_ = written.newlines_before;
    kind_ = statement.kind;
    length_bits_ = statement.scan.length_bits;
    run_ = statement.run;
    pieces_used_ = values.size() + 1;
    return true;
}

size_t WrittenForm::read(std::string_view text, Statement& statement) const {
    const char* at = text.data();
    const char* const end = at + text.size();
    if (pieces_used_ == 0 || !pieces_[0].begins(at, end)) {
        return 0;
    }
    ScanText& scan = statement.scan;
    scan.tdi.given = scan.tdo.given = scan.mask.given = scan.smask.given = false;
    at += pieces_[0].size();
    for (size_t i = 1; i < pieces_used_; ++i) {
        HexParameter& parameter = scan.*pieces_[i - 1].parameter;
        parameter.given = true;
        at = read_whole_hex(at, end, length_bits_, parameter.value);
        if (at == nullptr || !pieces_[i].begins(at, end)) {
            return 0;
        }
        at += pieces_[i].size();
    }
    statement.kind = kind_;
    scan.length_bits = length_bits_;
    if (kind_ == StatementKind::RunTest) {
        statement.run = run_;
    }
    return static_cast<size_t>(at - text.data());
}

void WrittenForms::passed(size_t index) noexcept {
    entries_[last_].next = index;
    last_ = index;
}

// What followed last time is likely to follow again.
const WrittenForm* WrittenForms::read(std::string_view text, Statement& statement, size_t& length) {
    const size_t likely = entries_[last_].next;
    for (size_t i = 0; i < entries_.size(); ++i) {
        const size_t index = (likely + i) % entries_.size();
        const WrittenForm& form = entries_[index].form;
        length = form.read(text, statement);
        if (length != 0) {
            passed(index);
            return &form;
        }
    }
    return nullptr;
}

void WrittenForms::learn(const WrittenText& written, const Statement& statement) {
    if (entries_[oldest_].form.learn(written, statement)) {
        passed(oldest_);
        oldest_ = (oldest_ + 1) % entries_.size();
    }
}

} // namespace talvor::svf
