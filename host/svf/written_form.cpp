#include "host/svf/written_form.h"

#include "host/svf/hex.h"

#include <cstring>

namespace talvor::svf {

namespace {

bool begins_with(const char* at, const char* end, const std::string& text) noexcept {
    return static_cast<size_t>(end - at) >= text.size() &&
           std::memcmp(at, text.data(), text.size()) == 0;
}

size_t length_without(const std::vector<WrittenValue>& values, size_t length) noexcept {
    for (const WrittenValue& value : values) {
        length -= value.to - value.from;
    }
    return length;
}

} // namespace

bool WrittenForm::learn(std::string_view text, const std::vector<WrittenValue>& values,
                        const Statement& statement, uint64_t newlines) {
    pieces_used_ = 0;
    if (values.size() > kParameters || length_without(values, text.size()) > kMaxText) {
        return false;
    }
    const uint64_t digits = (statement.scan.length_bits + 3) / 4;
    size_t from = 0;
    for (size_t i = 0; i < values.size(); ++i) {
        const WrittenValue& value = values[i];
        if (value.to - value.from != digits) {
            return false;
        }
        pieces_[i].text = text.substr(from, value.from - from);
        pieces_[i].parameter = value.parameter;
        from = value.to + 1;
    }
    pieces_[values.size()].text = text.substr(from);
    pieces_[values.size()].parameter = nullptr;
    newlines_ = newlines;
    length_bits_ = statement.scan.length_bits;
    run_ = statement.run;
    pieces_used_ = values.size() + 1;
    return true;
}

size_t WrittenForm::read(std::string_view text, Statement& statement) const {
    const char* at = text.data();
    const char* const end = at + text.size();
    if (pieces_used_ == 0 || !begins_with(at, end, pieces_[0].text)) {
        return 0;
    }
    ScanText& scan = statement.scan;
    scan.tdi.given = scan.tdo.given = scan.mask.given = scan.smask.given = false;
    for (size_t i = 0; i < pieces_used_; ++i) {
        const Piece& piece = pieces_[i];
        if (i != 0 && !begins_with(at, end, piece.text)) {
            return 0;
        }
        at += piece.text.size();
        if (piece.parameter != nullptr) {
            HexParameter& parameter = scan.*piece.parameter;
            parameter.given = true;
            at = read_whole_hex(at, end, length_bits_, parameter.value);
            if (at == nullptr) {
                return 0;
            }
        }
    }
    scan.length_bits = length_bits_;
    if (statement.kind == StatementKind::RunTest) {
        statement.run = run_;
    }
    return static_cast<size_t>(at - text.data());
}

const WrittenForm* WrittenForms::read(std::string_view text, Statement& statement,
                                      size_t& length) const {
    for (const WrittenForm& form : forms_) {
        length = form.read(text, statement);
        if (length != 0) {
            return &form;
        }
    }
    return nullptr;
}

void WrittenForms::learn(std::string_view text, const std::vector<WrittenValue>& values,
                         const Statement& statement, uint64_t newlines) {
    if (forms_[oldest_].learn(text, values, statement, newlines)) {
        oldest_ = (oldest_ + 1) % forms_.size();
    }
}

} // namespace talvor::svf
